#include "cstorereader.h"

#include "core/constants.h"
#include "database/cdatabasehandler.h"
#include "database/storesqlite.h"

#include <QFileInfo>
#include <QSqlError>
#include <QUuid>

namespace {

// Waits out a write of another program instead of failing with SQLITE_BUSY.
const QString kConnectOptions = QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=%1");
const QString kDriver = QStringLiteral("QSQLITE");
const QStringList kTables = {DbName::deviceTable, DbName::tcpDeviceTable, DbName::registerTable};

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
    const std::optional<QStringList> tables = CStoreRows::tableNames(query);
    if (!tables)
        return failQuery(QStringLiteral("is not a Quillbar register file"), query);
    for (const QString &table : kTables) {
        if (!tables->contains(table))
            return fail(QStringLiteral("is not a Quillbar register file"), QStringLiteral("no table %1").arg(table));
    }
    if (!m_decimals.load(db))
        return fail(QStringLiteral("cannot be read"), QStringLiteral("table %1").arg(DbName::decimalsTable));
    return true;
}

std::optional<DB::SDeviceRegMapDescription> CStoreReader::device(const QString &devEui)
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    std::optional<DB::SDeviceRegMapDescription> stored;
    if (!CStoreRows::device(query, devEui, stored))
        failQuery(QStringLiteral("cannot be read"), query);
    return stored;
}

DB::SRegisterParam CStoreReader::registerParam(const QString &devEui, quint32 regAddr)
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.prepare(CDataBaseHandler::registerParamSql());
    CDataBaseHandler::bindRegisterParam(query, devEui, regAddr);
    if (!query.exec()) {
        // Kept for the caller: a preview scaled by the defaults would mislead.
        failQuery(QStringLiteral("cannot be read"), query);
        m_paramFailed = true;
        return DB::SRegisterParam();
    }
    if (!query.next())
        return DB::SRegisterParam();
    DB::SRegisterParam param = CDataBaseHandler::registerParamOf(query, regAddr);
    param.decimals = m_decimals.decimals(devEui, regAddr);
    return param;
}

std::optional<QList<SStoredRegister>> CStoreReader::registers()
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    std::optional<QList<SStoredRegister>> result = CStoreRows::registers(query);
    if (!result) {
        failQuery(QStringLiteral("cannot be read"), query);
        return std::nullopt;
    }
    for (SStoredRegister &reg : *result)
        reg.decimals = m_decimals.decimals(reg.devEui, reg.address);
    return result;
}

std::optional<QList<SStoredTcpDevice>> CStoreReader::tcpDevices()
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    std::optional<QList<SStoredTcpDevice>> result = CStoreRows::tcpDevices(query);
    if (!result)
        failQuery(QStringLiteral("cannot be read"), query);
    return result;
}

std::optional<QList<SStoredDevice>> CStoreReader::devices()
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    std::optional<QList<SStoredDevice>> result = CStoreRows::devices(query);
    if (!result)
        failQuery(QStringLiteral("cannot be read"), query);
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

QString CStoreReader::busyError(const QString &filePath)
{
    return QStringLiteral("register file \"%1\" is busy: another program is writing it; retry or stop the service")
            .arg(filePath);
}

bool CStoreReader::failQuery(const QString &what, const QSqlQuery &query)
{
    if (!StoreSqlite::connectionIsBusy(QSqlDatabase::database(m_connectionName, false)))
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
