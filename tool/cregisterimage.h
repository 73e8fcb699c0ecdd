#pragma once

#include "database/dbtypes.h"

#include <QList>
#include <QMap>
#include <QString>

// One register a ModBus client reads after an uplink.
struct SRegisterWord
{
    quint32 address = 0;
    quint16 word = 0;
    QString name;
    QString fullValue;  // the whole value, on the first register of a wide one
};

// The rows a device of a template gets in the store, the decoded values
// written into them and read back word by word as a ModBus read serves them:
// a row at the first address that a template offset takes, the later words of
// a wide value expanded from its whole value, 0 where nothing was written.
class CRegisterImage
{
public:
    CRegisterImage(const DB::SDeviceRegMapDescription &registerMap, quint32 startAddr);

    void write(const DB::SDbDeviceRegDataSet &set);
    QList<SRegisterWord> words() const;

private:
    struct SRow
    {
        quint32 address = 0;
        int bitSize = 0;
        QString name;
        QString fullValue;
    };

    QList<SRow> m_rows;
};
