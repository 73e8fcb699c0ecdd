#pragma once

#include "database/cregisterdecimals.h"
#include "database/cstorerows.h"
#include "database/dbtypes.h"

#include <QList>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

#include <optional>

// Reads the program's register file without ever changing it: the file is
// opened read-only, a missing one is not made, and a file another program is
// writing at that moment is waited for as long as asked rather than failed.
class CStoreReader
{
public:
    CStoreReader(const QString &filePath, int waitMs);
    ~CStoreReader();

    CStoreReader(const CStoreReader &) = delete;
    CStoreReader &operator=(const CStoreReader &) = delete;

    // False, with errorText() set, when the file is missing, unreadable, busy
    // or not a register file of the program.
    bool open();
    QString errorText() const { return m_error; }

    static QString busyError(const QString &filePath);

    // The stored record of a ModBus device (start address and application
    // EUI), if it is stored.
    std::optional<DB::SDeviceRegMapDescription> device(const QString &devEui);
    // The scaling of one register as the program's decoder looks it up:
    // multiplier 1 and offset 0 when it has no row.
    DB::SRegisterParam registerParam(const QString &devEui, quint32 regAddr);
    // Whether a look-up of registerParam could not read the file; errorText() says why.
    bool paramFailed() const { return m_paramFailed; }
    std::optional<QList<SStoredRegister>> registers();
    std::optional<QList<SStoredTcpDevice>> tcpDevices();
    std::optional<QList<SStoredDevice>> devices();
    std::optional<SStoredDevices> allDevices();

private:
    bool fail(const QString &what, const QString &detail);
    // A failed statement: busy, or the given failure with SQLite's text.
    bool failQuery(const QString &what, const QSqlQuery &query);

    QString m_filePath;
    int m_waitMs = 0;
    QString m_connectionName;
    QString m_error;
    CRegisterDecimals m_decimals;
    bool m_paramFailed = false;
};
