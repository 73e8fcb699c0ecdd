#pragma once

#include <QHash>
#include <QList>
#include <QMap>
#include <QSqlDatabase>
#include <QString>

// The opt-in decimals a register keeps of its scaled value: the stored value
// is the scaled value times 10^decimals, rounded. They stand in a table of
// their own, made with the first decimals given, so that a file that never
// had any keeps the register file's format exactly; a register with none
// keeps the default, 0. The caller serialises the calls on its connection.
class CRegisterDecimals
{
public:
    // A 16-bit register holds ±32767: more would leave room for nothing.
    static constexpr int kMaxDecimals = 4;

    struct SEntry
    {
        quint32 regAddr = 0;    // absolute address
        int decimals = 0;       // 0 removes the entry
    };

    // Reads what the file holds; false when the file could not be read.
    bool load(QSqlDatabase &db);
    int decimals(const QString &devEui, quint32 regAddr) const;
    QMap<quint32, int> ofDevice(QSqlDatabase &db, quint32 deviceId) const;
    bool write(QSqlDatabase &db, quint32 deviceId, const QList<SEntry> &entries);
    // Run inside the caller's transaction; load() again if it is rolled back.
    bool removeDevice(QSqlDatabase &db, quint32 deviceId);

private:
    bool m_tableExists = false;
    QHash<QString, QHash<quint32, int>> m_byDevice;     // by DevEUI, then address
};
