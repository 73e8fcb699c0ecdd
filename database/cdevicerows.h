#pragma once

#include "core/coretypes.h"
#include "database/cregisterdecimals.h"
#include "database/dbtypes.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>

// The device rows of the register file: ModBus devices with their register
// rows and decimals, and TCP devices. It runs on the store's connection; the
// store serialises the calls and sets how long they wait for the file.
class CDeviceRows
{
public:
    CDeviceRows(QSqlDatabase &db, CRegisterDecimals &decimals);

    // A new device with, for ModBus, its registers; false when the DevEUI is
    // taken or a statement fails.
    bool add(const DB::SDeviceRegMapDescription &device, ProtocolOption protocol);
    // The device with its registers and decimals, or nothing of it. `busy`
    // tells whether another program's lock made it fail.
    bool remove(quint32 deviceId, ProtocolOption protocol, bool *busy);
    // The returned queries are executed; on failure they come back inactive.
    QSqlQuery devices(const QString &search, ProtocolOption protocol) const;
    QSqlQuery registers(quint32 deviceId) const;
    QStringList devEuis(ProtocolOption protocol) const;
    // Every ModBus device by ascending device id, with the newest time of its rows.
    QList<DB::SDeviceLastStored> lastStoredTimes() const;
    // False after the first register that failed; the ones before it stay.
    bool updateScaling(const DB::SDeviceRegUpdate &update);
    void updateTcpPort(const DB::SDeviceRegUpdate &update) const;

private:
    bool isNewDevice(const QString &table, const QString &devEui);
    bool insertDevice(const QString &table, const DB::SDeviceRegMapDescription &device, ProtocolOption protocol);
    quint32 readDeviceId(const QString &table, const QString &devEui);
    bool insertRegisters(quint32 deviceId, const DB::SDeviceRegMapDescription &device);
    bool writeDecimals(quint32 deviceId, const QList<CRegisterDecimals::SEntry> &decimals);

    QSqlDatabase &m_db;
    CRegisterDecimals &m_decimals;
};
