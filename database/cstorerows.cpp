#include "cstorerows.h"

namespace {

const QString kRegistersSql = QStringLiteral(
        "SELECT d.port, r.reg_addr, r.bit_size, d.name, d.dev_eui, d.app_eui, r.name, r.unit, r.data_type, "
        "r.grating_period, r.start_value FROM dev_data r JOIN devices d ON r.device = d.device "
        "WHERE r.parent = 1 ORDER BY d.port, r.reg_addr, d.device;");
const QString kTcpDevicesSql = QStringLiteral(
        "SELECT port, name, dev_eui, app_eui, device FROM devicesTCP ORDER BY port, device;");
const QString kDevicesSql = QStringLiteral(
        "SELECT device, port, start_addr, name, dev_eui, app_eui FROM devices ORDER BY port, start_addr, device;");
const QString kDeviceSql = QStringLiteral("SELECT start_addr, app_eui FROM devices WHERE dev_eui = :dev_eui;");

} // namespace

std::optional<QStringList> CStoreRows::tableNames(QSqlQuery &query)
{
    if (!query.exec(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table';")))
        return std::nullopt;
    QStringList tables;
    while (query.next())
        tables.append(query.value(0).toString());
    return tables;
}

std::optional<QList<SStoredRegister>> CStoreRows::registers(QSqlQuery &query)
{
    query.setForwardOnly(true);
    if (!query.exec(kRegistersSql))
        return std::nullopt;
    QList<SStoredRegister> result;
    while (query.next()) {
        SStoredRegister reg;
        reg.port = query.value(0).toUInt();
        reg.address = query.value(1).toUInt();
        reg.bitSize = query.value(2).toInt();
        reg.deviceName = query.value(3).toString();
        reg.devEui = query.value(4).toString();
        reg.appEui = query.value(5).toString();
        reg.name = query.value(6).toString();
        reg.unit = query.value(7).toString();
        reg.dataType = query.value(8).toString();
        reg.multiplier = query.value(9).toDouble();
        reg.offset = query.value(10).toDouble();
        result.append(reg);
    }
    return result;
}

std::optional<QList<SStoredDevice>> CStoreRows::devices(QSqlQuery &query)
{
    query.setForwardOnly(true);
    if (!query.exec(kDevicesSql))
        return std::nullopt;
    QList<SStoredDevice> result;
    while (query.next())
        result.append({query.value(0).toUInt(), query.value(1).toUInt(), query.value(2).toUInt(),
                       query.value(3).toString(), query.value(4).toString(), query.value(5).toString()});
    return result;
}

std::optional<QList<SStoredTcpDevice>> CStoreRows::tcpDevices(QSqlQuery &query)
{
    query.setForwardOnly(true);
    if (!query.exec(kTcpDevicesSql))
        return std::nullopt;
    QList<SStoredTcpDevice> result;
    while (query.next())
        result.append({query.value(0).toUInt(), query.value(1).toString(), query.value(2).toString(),
                       query.value(3).toString(), query.value(4).toUInt()});
    return result;
}

bool CStoreRows::device(QSqlQuery &query, const QString &devEui, std::optional<DB::SDeviceRegMapDescription> &stored)
{
    query.prepare(kDeviceSql);
    query.bindValue(QStringLiteral(":dev_eui"), devEui);
    if (!query.exec())
        return false;
    stored.reset();
    if (query.next()) {
        DB::SDeviceRegMapDescription found;
        found.devEui = devEui;
        found.startAddr = query.value(0).toUInt();
        found.appEui = query.value(1).toString();
        stored = found;
    }
    return true;
}

QString SStoredDevices::holderOf(quint32 port) const
{
    for (const SStoredDevice &device : modbus) {
        if (device.port == port)
            return QStringLiteral("ModBus device %1").arg(device.devEui);
    }
    for (const SStoredTcpDevice &device : tcp) {
        if (device.port == port)
            return QStringLiteral("TCP device %1").arg(device.devEui);
    }
    return QString();
}
