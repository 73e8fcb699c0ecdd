#include "cdevicerows.h"

#include "database/storesqlite.h"
#include "database/storeschema.h"

#include "core/clogfile.h"

#include <QSqlError>
#include <QVariant>

#include <sqlite3.h>

namespace {

using namespace StoreSchema;
using StoreSqlite::logWithSql;

constexpr int kParentRow = 1;

constexpr const char *kDeleteSavepointSql = "SAVEPOINT deleteDevice;";
constexpr const char *kUndoDeleteSql = "ROLLBACK TO deleteDevice;";
constexpr const char *kEndDeleteSql = "RELEASE deleteDevice;";

} // namespace

CDeviceRows::CDeviceRows(QSqlDatabase &db, CRegisterDecimals &decimals)
    : m_db(db)
    , m_decimals(decimals)
{
}

bool CDeviceRows::add(const DB::SDeviceRegMapDescription &device, ProtocolOption protocol)
{
    const QString &table = deviceTableFor(protocol);
    if (!isNewDevice(table, device.devEui) || !insertDevice(table, device, protocol))
        return false;

    const quint32 deviceId = readDeviceId(table, device.devEui);
    if (deviceId == 0)
        return false;
    if (protocol != ProtocolOption::ModBus)
        return true;
    if (!insertRegisters(deviceId, device))
        return false;
    QList<CRegisterDecimals::SEntry> decimals;
    for (const DB::SDeviceRegDescription &reg : device.regs)
        decimals.append({device.startAddr + reg.regAddr, reg.decimals});
    return writeDecimals(deviceId, decimals);
}

bool CDeviceRows::writeDecimals(quint32 deviceId, const QList<CRegisterDecimals::SEntry> &decimals)
{
    if (m_decimals.write(m_db, deviceId, decimals))
        return true;
    CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler] The decimals of device [%1] are not stored")
                             .arg(deviceId));
    return false;
}

bool CDeviceRows::isNewDevice(const QString &table, const QString &devEui)
{
    QSqlQuery query(m_db);
    if (!query.exec(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2='%3';").arg(table, dev(DevEui), devEui))) {
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::registerNewDevice] Invalid SQL request [1]"));
        return false;
    }
    if (query.next() && query.value(0).toInt() != 0) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::registerNewDevice] Device [%1] already exist!")
                                 .arg(devEui));
        return false;
    }
    return true;
}

bool CDeviceRows::insertDevice(const QString &table, const DB::SDeviceRegMapDescription &device,
                               ProtocolOption protocol)
{
    QString sql = QStringLiteral("INSERT INTO %1 (%2, %3, %4, %5) VALUES (:%2, :%3, :%4, :%5);")
                          .arg(table, dev(DevName), dev(DevAppEui), dev(DevEui), dev(DevPort));
    if (protocol == ProtocolOption::ModBus) {
        sql.replace(QLatin1String(");"), QStringLiteral(", :%1);").arg(dev(DevStartAddr)));
        sql.replace(QLatin1String(") VALUES"), QStringLiteral(", %1) VALUES").arg(dev(DevStartAddr)));
    }

    QSqlQuery query(m_db);
    query.prepare(sql);
    if (protocol == ProtocolOption::ModBus)
        query.bindValue(placeholder(dev(DevStartAddr)), device.startAddr);
    query.bindValue(placeholder(dev(DevName)), device.name);
    query.bindValue(placeholder(dev(DevAppEui)), device.appEui);
    query.bindValue(placeholder(dev(DevEui)), device.devEui);
    query.bindValue(placeholder(dev(DevPort)), device.port);
    if (!query.exec()) {
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::registerNewDevice] Invalid SQL request [2]"));
        return false;
    }
    return true;
}

quint32 CDeviceRows::readDeviceId(const QString &table, const QString &devEui)
{
    QSqlQuery query(m_db);
    if (!query.exec(kSelectDeviceIdFormat.arg(table, dev(DevDevice), dev(DevEui), devEui))) {
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::registerNewDevice] Invalid SQL request [3]"));
        return 0;
    }
    if (!query.next()) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::registerNewDevice] Device [%1] is not created!")
                                 .arg(devEui));
        return 0;
    }
    const quint32 deviceId = query.value(0).toUInt();
    if (deviceId == 0) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::registerNewDevice] "
                                        "Device [%1] is not created [NULL ID]!")
                                 .arg(devEui));
    }
    return deviceId;
}

bool CDeviceRows::insertRegisters(quint32 deviceId, const DB::SDeviceRegMapDescription &device)
{
    const QString sql = fill(QStringLiteral("INSERT INTO %1 (%2, %3, %4, %5, %6, %7, %8, %9, %10, %11, %12) "
                                            "VALUES ( ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ? ) "),
                             {DbName::registerTable, reg(RegDevice), reg(RegPort), reg(RegAddr),
                              reg(RegStartValue), reg(RegGratingPeriod), reg(RegBitSize), reg(RegDataType),
                              reg(RegName), reg(RegParent), reg(RegSource), reg(RegUnit)});
    QSqlQuery query(m_db);
    query.prepare(sql);

    QList<quint32> takenAddresses;
    for (const DB::SDeviceRegDescription &regDescription : device.regs) {
        const quint32 address = device.startAddr + regDescription.regAddr;
        if (takenAddresses.contains(address)) {
            CLogFile::addLog(QStringLiteral("WARNING: [CDataBaseHandler::registerNewDevice] "
                                            "Register [0x%1] for device [%2] already exist!")
                                     .arg(QStringLiteral("%1").arg(address, 4, 16, QLatin1Char('0')),
                                          device.devEui));
            continue;
        }
        query.addBindValue(deviceId);
        query.addBindValue(device.port);
        query.addBindValue(address);
        query.addBindValue(regDescription.startValue);
        query.addBindValue(regDescription.gratingPeriod);
        query.addBindValue(regDescription.bitSize);
        query.addBindValue(regDescription.dataType);
        query.addBindValue(regDescription.name);
        query.addBindValue(kParentRow);
        query.addBindValue(regDescription.source);
        query.addBindValue(regDescription.unit);
        takenAddresses.append(address);
        if (!query.exec()) {
            logWithSql(QStringLiteral("[CDataBaseHandler::registerNewDevice] Invalid SQL request [4]"), sql);
            return false;
        }
    }
    return true;
}

bool CDeviceRows::remove(quint32 deviceId, ProtocolOption protocol, bool *busy)
{
    // The device and its registers go together: registers left behind would
    // still answer the clients of the port. A savepoint also nests in the
    // transaction of a caller.
    *busy = false;
    sqlite3 *handle = StoreSqlite::handleOf(m_db);
    const auto execute = [handle](const char *sql) { return StoreSqlite::execute(handle, sql); };
    if (execute(kDeleteSavepointSql) != SQLITE_OK) {
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::deleteDevice] Invalid SQL request [1]"));
        return false;
    }
    const QString format = QStringLiteral("DELETE FROM %1 WHERE %2=%3;");
    const QString id = QString::number(deviceId);
    QSqlQuery query(m_db);
    bool deleted = query.exec(format.arg(deviceTableFor(protocol), dev(DevDevice), id));
    if (!deleted) {
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::deleteDevice] Invalid SQL request [1]"));
    } else if (protocol == ProtocolOption::ModBus) {
        deleted = query.exec(format.arg(DbName::registerTable, reg(RegDevice), id))
                && m_decimals.removeDevice(m_db, deviceId);
        if (!deleted)
            CLogFile::addLog(QStringLiteral("[CDataBaseHandler::deleteDevice] Invalid SQL request [2]"));
    }
    *busy = !deleted && StoreSqlite::isBusy(query.lastError().nativeErrorCode().toInt());
    query.finish();
    if (!deleted)
        execute(kUndoDeleteSql);
    const int released = execute(kEndDeleteSql);
    if (released != SQLITE_OK) {
        *busy = StoreSqlite::isBusy(released);
        execute(kUndoDeleteSql);
        execute(kEndDeleteSql);
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::deleteDevice] Invalid SQL request [1]"));
        m_decimals.load(m_db);
        return false;
    }
    m_decimals.load(m_db);
    return deleted;
}

QSqlQuery CDeviceRows::devices(const QString &search, ProtocolOption protocol) const
{
    const QString filter = search.isEmpty()
            ? QString()
            : QStringLiteral("WHERE %1 LIKE \"%%2%\"").arg(dev(DevName)).arg(search);
    // Chained on purpose, one substitution at a time, the search text before
    // the sort column: a search that looks like a marker ("1...", "2...")
    // takes that marker's place. Lists filtered by such texts have always
    // behaved so, and the list views rely on the same statement.
    const QString sql = QStringLiteral("SELECT * FROM %1 %2 ORDER BY %3 ASC;")
                                .arg(deviceTableFor(protocol))
                                .arg(filter)
                                .arg(dev(DevName));
    QSqlQuery query(m_db);
    if (!query.exec(sql))
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::getDevices] Invalid SQL request [1]"));
    return query;
}

QSqlQuery CDeviceRows::registers(quint32 deviceId) const
{
    QSqlQuery query(m_db);
    if (!query.exec(QStringLiteral("SELECT * FROM %1 WHERE %2=%3 AND %4=1 ORDER BY %5 ASC;")
                            .arg(DbName::registerTable, reg(RegDevice), QString::number(deviceId),
                                 reg(RegParent), reg(RegAddr)))) {
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::getRegisters] Invalid SQL request [1]"));
    }
    return query;
}

QList<DB::SDeviceLastStored> CDeviceRows::lastStoredTimes() const
{
    QList<DB::SDeviceLastStored> devices;
    const QString sql = fill(QStringLiteral("SELECT d.%3, MAX(r.%4) FROM %1 d LEFT JOIN %2 r ON r.%5 = d.%6 "
                                            "GROUP BY d.%6 ORDER BY d.%6;"),
                             {DbName::deviceTable, DbName::registerTable, dev(DevEui), reg(RegTime),
                              reg(RegDevice), dev(DevDevice)});
    QSqlQuery query(m_db);
    if (!query.exec(sql)) {
        logWithSql(QStringLiteral("ERROR: [CDataBaseHandler::lastStoredTimes] Invalid SQL request [1]"), sql);
        return devices;
    }
    while (query.next())
        devices.append({query.value(0).toString(), query.value(1).toLongLong()});
    return devices;
}

QStringList CDeviceRows::devEuis(ProtocolOption protocol) const
{
    QStringList devEuis;
    QSqlQuery query(m_db);
    if (!query.exec(QStringLiteral("SELECT %2 FROM %1;").arg(deviceTableFor(protocol), dev(DevEui)))) {
        CLogFile::addLog(QStringLiteral("[CDataBaseHandler::getRegisteredDevices] Invalid SQL request [1]"));
        return devEuis;
    }
    while (query.next())
        devEuis.append(query.value(0).toString().toUpper());
    return devEuis;
}

bool CDeviceRows::updateScaling(const DB::SDeviceRegUpdate &update)
{
    const QString sql = kUpdateRegisterFormat.arg(DbName::registerTable, reg(RegStartValue), reg(RegGratingPeriod),
                                                  reg(RegUnit), reg(RegDevice), reg(RegAddr));
    QSqlQuery query(m_db);
    query.prepare(sql);
    for (const DB::SRegisterParam &param : update.regs) {
        query.bindValue(placeholder(reg(RegStartValue)), param.startValue);
        query.bindValue(placeholder(reg(RegGratingPeriod)), param.gratingPeriod);
        query.bindValue(placeholder(reg(RegUnit)), param.unit);
        query.bindValue(placeholder(reg(RegDevice)), update.deviceId);
        query.bindValue(placeholder(reg(RegAddr)), param.regAddr);
        if (!query.exec()) {
            logWithSql(QStringLiteral("ERROR: [CDataBaseHandler::updateRegInfo] Invalid SQL request [1]"), sql);
            return false;
        }
    }
    if (!update.withDecimals)
        return true;
    QList<CRegisterDecimals::SEntry> decimals;
    for (const DB::SRegisterParam &param : update.regs)
        decimals.append({param.regAddr, param.decimals});
    return writeDecimals(update.deviceId, decimals);
}

void CDeviceRows::updateTcpPort(const DB::SDeviceRegUpdate &update) const
{
    const QString sql = QStringLiteral("UPDATE %1 SET %2=:%2 WHERE %3=:%3;")
                                .arg(DbName::tcpDeviceTable, dev(DevPort), dev(DevDevice));
    QSqlQuery query(m_db);
    query.prepare(sql);
    query.bindValue(placeholder(dev(DevPort)), update.port);
    query.bindValue(placeholder(dev(DevDevice)), update.deviceId);
    if (!query.exec())
        logWithSql(QStringLiteral("ERROR: [CDataBaseHandler::updateRegInfo] Invalid SQL request [1]"), sql);
}
