#pragma once

#include "database/cregisterdecimals.h"
#include "database/dbtypes.h"

#include <QList>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

#include <optional>

// One stored register of a ModBus device, with its device, for the map.
struct SStoredRegister
{
    quint32 port = 0;
    quint32 address = 0;
    int bitSize = 0;
    QString deviceName;
    QString devEui;
    QString appEui;
    QString name;
    QString unit;
    QString dataType;
    double multiplier = 1.0;
    double offset = 0.0;
    int decimals = 0;
};

// One stored ModBus device.
struct SStoredDevice
{
    quint32 id = 0;
    quint32 port = 0;
    quint32 startAddr = 0;
    QString deviceName;
    QString devEui;
    QString appEui;
};

// One stored TCP device.
struct SStoredTcpDevice
{
    quint32 port = 0;
    QString deviceName;
    QString devEui;
    QString appEui;
    quint32 id = 0;
};

// Both kinds of stored device.
struct SStoredDevices
{
    QList<SStoredDevice> modbus;
    QList<SStoredTcpDevice> tcp;

    // The device that publishes on the port, as "ModBus device EUI", or empty
    // when none does.
    QString holderOf(quint32 port) const;
};

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
