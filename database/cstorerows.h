#pragma once

#include "database/dbtypes.h"

#include <QList>
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

// The rows of the register file as the tool lists them, read with a query
// of any connection to the file. Nothing when the query fails; the query
// then tells why.
class CStoreRows
{
public:
    // The names of the file's tables.
    static std::optional<QStringList> tableNames(QSqlQuery &query);
    // By port and address; the decimals are left to the caller.
    static std::optional<QList<SStoredRegister>> registers(QSqlQuery &query);
    static std::optional<QList<SStoredDevice>> devices(QSqlQuery &query);
    static std::optional<QList<SStoredTcpDevice>> tcpDevices(QSqlQuery &query);
    // The start address and application EUI of a ModBus device; false when the query fails.
    static bool device(QSqlQuery &query, const QString &devEui, std::optional<DB::SDeviceRegMapDescription> &stored);
};
