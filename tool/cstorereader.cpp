#include "cstorereader.h"

#include "core/constants.h"
#include "database/cdatabasehandler.h"

#include <QFileInfo>
#include <QSqlError>
#include <QUuid>


namespace {

// Waits out a write of another program instead of failing with SQLITE_BUSY.
const QString kConnectOptions = QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=%1");
const QString kDriver = QStringLiteral("QSQLITE");
const QStringList kTables = {DbName::deviceTable, DbName::tcpDeviceTable, DbName::registerTable};

const QString kRegistersSql = QStringLiteral(
        "SELECT d.port, r.reg_addr, r.bit_size, d.name, d.dev_eui, d.app_eui, r.name, r.unit, r.data_type, "
        "r.grating_period, r.start_value FROM dev_data r JOIN devices d ON r.device = d.device "
        "WHERE r.parent = 1 ORDER BY d.port, r.reg_addr, d.device;");
const QString kTcpDevicesSql = QStringLiteral(
        "SELECT port, name, dev_eui, app_eui, device FROM devicesTCP ORDER BY port, device;");
const QString kDevicesSql = QStringLiteral(
        "SELECT device, port, start_addr, name, dev_eui, app_eui FROM devices ORDER BY port, start_addr, device;");
const QString kDeviceSql = QStringLiteral("SELECT start_addr, app_eui FROM devices WHERE dev_eui = :dev_eui;");
const QString kParamSql = QStringLiteral(
        "SELECT start_value, grating_period, unit FROM dev_data WHERE device IN "
        "( SELECT device FROM devices WHERE dev_eui = :dev_eui ) AND reg_addr = :reg_addr;");

} // namespace

CStoreReader::CStoreReader(const QString &filePath, int waitMs)
    : m_filePath(filePath)
    , m_waitMs(waitMs)
    , m_connectionName(QUuid::createUuid().toString())
{
}

CStoreReader::~CStoreReader()
{
    {
        QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(m_connectionName);
}

bool CStoreReader::open()
{
    if (!QFileInfo(m_filePath).isFile())
        return fail(QStringLiteral("does not exist"), QString());
    QSqlDatabase db = QSqlDatabase::addDatabase(kDriver, m_connectionName);
    db.setDatabaseName(m_filePath);
    db.setConnectOptions(kConnectOptions.arg(m_waitMs));
    if (!db.open())
        return fail(QStringLiteral("cannot be opened"), db.lastError().text());

    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table';")))
        return failQuery(QStringLiteral("is not a Quillbar register file"), query);
    QStringList tables;
    while (query.next())
        tables.append(query.value(0).toString());
    for (const QString &table : kTables) {
        if (!tables.contains(table))
            return fail(QStringLiteral("is not a Quillbar register file"), QStringLiteral("no table %1").arg(table));
    }
    if (!m_decimals.load(db))
        return fail(QStringLiteral("cannot be read"), QStringLiteral("table %1").arg(DbName::decimalsTable));
    return true;
}

std::optional<DB::SDeviceRegMapDescription> CStoreReader::device(const QString &devEui)
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.prepare(kDeviceSql);
    query.bindValue(QStringLiteral(":dev_eui"), devEui);
    if (!query.exec()) {
        failQuery(QStringLiteral("cannot be read"), query);
        return std::nullopt;
    }
    if (!query.next())
        return std::nullopt;
    DB::SDeviceRegMapDescription stored;
    stored.devEui = devEui;
    stored.startAddr = query.value(0).toUInt();
    stored.appEui = query.value(1).toString();
    return stored;
}

DB::SRegisterParam CStoreReader::registerParam(const QString &devEui, quint32 regAddr)
{
    DB::SRegisterParam param;
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.prepare(kParamSql);
    query.bindValue(QStringLiteral(":dev_eui"), devEui);
    query.bindValue(QStringLiteral(":reg_addr"), regAddr);
    if (!query.exec()) {
        // Kept for the caller: a preview scaled by the defaults would mislead.
        failQuery(QStringLiteral("cannot be read"), query);
        m_paramFailed = true;
        return param;
    }
    if (query.next()) {
        param.regAddr = regAddr;
        param.startValue = query.value(0).toDouble();
        param.gratingPeriod = query.value(1).toDouble();
        param.unit = query.value(2).toString();
        param.decimals = m_decimals.decimals(devEui, regAddr);
    }
    return param;
}

std::optional<QList<SStoredRegister>> CStoreReader::registers()
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.setForwardOnly(true);
    if (!query.exec(kRegistersSql)) {
        failQuery(QStringLiteral("cannot be read"), query);
        return std::nullopt;
    }
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
        reg.decimals = m_decimals.decimals(reg.devEui, reg.address);
        result.append(reg);
    }
    return result;
}

std::optional<QList<SStoredTcpDevice>> CStoreReader::tcpDevices()
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.setForwardOnly(true);
    if (!query.exec(kTcpDevicesSql)) {
        failQuery(QStringLiteral("cannot be read"), query);
        return std::nullopt;
    }
    QList<SStoredTcpDevice> result;
    while (query.next())
        result.append({query.value(0).toUInt(), query.value(1).toString(), query.value(2).toString(),
                       query.value(3).toString(), query.value(4).toUInt()});
    return result;
}

std::optional<QList<SStoredDevice>> CStoreReader::devices()
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.setForwardOnly(true);
    if (!query.exec(kDevicesSql)) {
        failQuery(QStringLiteral("cannot be read"), query);
        return std::nullopt;
    }
    QList<SStoredDevice> result;
    while (query.next())
        result.append({query.value(0).toUInt(), query.value(1).toUInt(), query.value(2).toUInt(),
                       query.value(3).toString(), query.value(4).toString(), query.value(5).toString()});
    return result;
}

std::optional<SStoredDevices> CStoreReader::allDevices()
{
    std::optional<QList<SStoredDevice>> modbus = devices();
    std::optional<QList<SStoredTcpDevice>> tcp = modbus ? tcpDevices() : std::nullopt;
    if (!tcp)
        return std::nullopt;
    return SStoredDevices{*modbus, *tcp};
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

QString CStoreReader::busyError(const QString &filePath)
{
    return QStringLiteral("register file \"%1\" is busy: another program is writing it; retry or stop the service")
            .arg(filePath);
}

bool CStoreReader::failQuery(const QString &what, const QSqlQuery &query)
{
    if (!CDataBaseHandler::connectionIsBusy(QSqlDatabase::database(m_connectionName, false)))
        return fail(what, query.lastError().text());
    m_error = busyError(m_filePath);
    return false;
}

bool CStoreReader::fail(const QString &what, const QString &detail)
{
    m_error = QStringLiteral("register file \"%1\" %2").arg(m_filePath, what);
    if (!detail.trimmed().isEmpty())
        m_error += QStringLiteral(" (%1)").arg(detail.trimmed());
    return false;
}
