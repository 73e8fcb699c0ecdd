#include "cdatabasehandler.h"

#include "database/cregisterreads.h"
#include "database/storeschema.h"
#include "database/storesqlite.h"

#include "core/clogfile.h"
#include "core/constants.h"
#include "core/cstopsignals.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSqlError>
#include <QStorageInfo>
#include <QThread>
#include <QVariant>

#include <sqlite3.h>

#include <chrono>
#include <mutex>

namespace {
const QString kDriver = QStringLiteral("QSQLITE");

using namespace StoreSchema;
using StoreSqlite::isBusy;
using StoreSqlite::logWithSql;

// Far above the queries a plant's clients and uplinks ask for; past it the compiled ones start over.
constexpr int kMaxCompiledQueries = 256;

// The window's and the tool's operations: long enough for a write of the
// program's own, short enough not to stall the ModBus clients for long.
constexpr int kDefaultBusyWaitMs = 1000;
// An uplink asks for the file briefly and comes back later, so that the reads
// of the clients go on meanwhile.
constexpr int kWriteAttemptWaitMs = 20;
constexpr int kWriteRetryMs = 250;
// A commit waits for the readers of other programs to finish theirs.
constexpr int kCommitWaitMs = 1000;
// A few minutes of uplinks of a large site.
constexpr int kMaxWaitingUplinks = 1000;
constexpr int kStartProbeWaitMs = 1000;
constexpr int kStartRetryMs = 500;

QString openFailure(const QString &error)
{
    return QStringLiteral("CRITICAL_ERROR! Data base hasn't been created/opened! Error_text[%1]. "
                          "DataBaseHandler is not running!")
            .arg(error);
}

// Reads the file's header, which a file another program holds locked refuses.
constexpr const char *kProbeSql = "SELECT count(*) FROM sqlite_master;";

// Where the index statements are made, as the index failure texts name it.
const QString kIndexSource = QStringLiteral("CDataBaseHandler::{ctor}::<lambda_1>::operator ()");

} // namespace

CDataBaseHandler *CDataBaseHandler::m_instance = nullptr;
bool CDataBaseHandler::databaseStartFailed = false;
int CDataBaseHandler::m_startWaitMs = -1;
QString CDataBaseHandler::m_filePath;

void CDataBaseHandler::setStartWait(int milliseconds)
{
    m_startWaitMs = milliseconds;
}

void CDataBaseHandler::setFilePath(const QString &path)
{
    m_filePath = path;
}

CDataBaseHandler *CDataBaseHandler::getInstance()
{
    if (!m_instance)
        m_instance = new CDataBaseHandler();
    if (databaseStartFailed) {
        m_instance = nullptr;
        databaseStartFailed = false;
        return nullptr;
    }
    return m_instance;
}

CDataBaseHandler::CDataBaseHandler()
    : m_busyWaitMs(kDefaultBusyWaitMs)
    , m_rows(m_db, m_decimals)
    , m_backlog(kMaxWaitingUplinks)
    , m_retryTimer(this)
{
    m_retryTimer.setSingleShot(true);
    m_retryTimer.setInterval(kWriteRetryMs);
    connect(&m_retryTimer, &QTimer::timeout, this, &CDataBaseHandler::storeBacklog);

    m_db = QSqlDatabase::addDatabase(kDriver, DbName::connection);
    m_db.setDatabaseName(m_filePath.isEmpty() ? FileName::database : m_filePath);
    if (!m_db.open()) {
        failStart(openFailure(m_db.lastError().text()));
        return;
    }
    if (!waitForFile())
        return;

    QSqlQuery query(m_db);
    if (!createTables(query))
        return;
    createIndexes(query);
    if (!m_decimals.load(m_db))
        logWithSql(QStringLiteral("ERROR: [CDataBaseHandler] The decimals of the registers are not read"),
                   DbName::decimalsTable);
    reportUnwritable();
}

// Another program may hold the file locked at start (an import, a backup):
// the devices are published once it frees, not left out for the whole run.
bool CDataBaseHandler::waitForFile()
{
    useBusyWait(m_startWaitMs >= 0 ? qMin(m_startWaitMs, kStartProbeWaitMs) : kStartProbeWaitMs);
    QElapsedTimer waited;
    waited.start();
    bool told = false;
    for (int result = execute(kProbeSql); isBusy(result);
         result = execute(kProbeSql)) {
        const QString cause = QString::fromUtf8(sqlite3_errstr(result));
        if (!told) {
            told = true;
            CLogFile::addLog(QStringLiteral("WARNING: [CDataBaseHandler] The register file is held by another "
                                            "program (%1): waiting for it before the devices are published.")
                                     .arg(cause),
                             CLogFile::LogError, true);
        }
        if (m_startWaitMs >= 0 && waited.elapsed() >= m_startWaitMs) {
            failStart(openFailure(cause));
            return false;
        }
        // The service manager's stop comes before the event loop could see it.
        if (CStopSignals::received() != 0) {
            databaseStartFailed = true;
            return false;
        }
        QThread::msleep(kStartRetryMs);
    }
    if (told)
        CLogFile::addLog(QStringLiteral("INFO: [CDataBaseHandler] The register file is free: starting."));
    useBusyWait(m_busyWaitMs);
    return true;
}

// Said at start, before the first uplink fails on it.
void CDataBaseHandler::reportUnwritable()
{
    sqlite3 *handle = connectionHandle();
    int reason = SQLITE_OK;
    if (handle && sqlite3_db_readonly(handle, "main") == 1)
        reason = SQLITE_READONLY;
    else if (QStorageInfo(QFileInfo(m_db.databaseName()).absolutePath()).bytesAvailable() == 0)
        reason = SQLITE_FULL;
    if (reason != SQLITE_OK)
        noteUnwritable(QString::fromUtf8(sqlite3_errstr(reason)));
}

void CDataBaseHandler::noteUnwritable(const QString &cause)
{
    if (m_writeFailing)
        return;
    m_writeFailing = true;
    CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] The register file cannot be "
                                    "written (%1): uplinks are not stored until it can.")
                             .arg(cause),
                     CLogFile::LogError, true);
}

void CDataBaseHandler::setBusyWait(int milliseconds)
{
    QMutexLocker locker(&m_mutex);
    m_busyWaitMs = milliseconds;
    // Also for the statements a caller runs on the connection itself.
    useBusyWait(milliseconds);
}

void CDataBaseHandler::useBusyWait(int milliseconds)
{
    if (milliseconds == m_busyWaitSet)
        return;
    sqlite3 *handle = connectionHandle();
    if (!handle)
        return;
    sqlite3_busy_timeout(handle, milliseconds);
    m_busyWaitSet = milliseconds;
}

int CDataBaseHandler::execute(const char *sql)
{
    return StoreSqlite::execute(connectionHandle(), sql);
}

bool CDataBaseHandler::beginWrite()
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return executeWrite(kBeginWriteSql);
}

bool CDataBaseHandler::commitWrite()
{
    QMutexLocker locker(&m_mutex);
    return executeWrite(kCommitSql);
}

void CDataBaseHandler::rollbackWrite()
{
    QMutexLocker locker(&m_mutex);
    rollback();
}

bool CDataBaseHandler::executeWrite(const char *sql)
{
    const int result = execute(sql);
    m_writeWasBusy = isBusy(result);
    sqlite3 *handle = connectionHandle();
    m_writeError = result == SQLITE_OK ? QString()
                   : handle        ? QString::fromUtf8(sqlite3_errmsg(handle))
                                   : QString::fromUtf8(sqlite3_errstr(result));
    return result == SQLITE_OK;
}

void CDataBaseHandler::rollback()
{
    sqlite3 *handle = connectionHandle();
    if (handle && !sqlite3_get_autocommit(handle))
        sqlite3_exec(handle, kRollbackSql, nullptr, nullptr, nullptr);
}

void CDataBaseHandler::failStart(const QString &message)
{
    CLogFile::addLog(message, CLogFile::LogInfo, true);
    deleteLater();
    databaseStartFailed = true;
}

bool CDataBaseHandler::checkColumnCount(const QStringList &columns, int expected, const QString &table)
{
    if (columns.size() == expected)
        return true;
    failStart(QStringLiteral("ERROR! Invalid size of colums in table \"%1\"! DataBaseHandler is not running!")
                      .arg(table));
    return false;
}

// Without its tables the bridge would run with nothing to serve: the start
// fails, and the program ends so that its service starts it again.
bool CDataBaseHandler::createTableOrFail(QSqlQuery &query, const QString &table, const QString &sql)
{
    if (query.exec(sql))
        return true;
    CLogFile::addLog(QStringLiteral("ERROR! Table \"%1\" is not created!").arg(table), CLogFile::LogInfo, true);
    failStart(openFailure(query.lastError().databaseText()));
    return false;
}

bool CDataBaseHandler::createTables(QSqlQuery &query)
{
    if (!checkColumnCount(kDeviceColumns, DevColumnCount, DbName::deviceTable)
        || !checkColumnCount(kDeviceColumns, DevColumnCount, DbName::tcpDeviceTable)
        || !checkColumnCount(kRegisterColumns, RegColumnCount, DbName::registerTable)) {
        return false;
    }
    for (const STable &table : tables()) {
        if (!createTableOrFail(query, table.name, table.sql))
            return false;
    }
    return true;
}

// The first failure ends the run: later indexes and tables are skipped.
void CDataBaseHandler::createIndexes(QSqlQuery &query)
{
    for (const SIndex &index : indexes()) {
        if (!query.exec(index.sql)) {
            CLogFile::addLog(QStringLiteral("ERROR [%1-%2]: invalid sql request 3 for <%3.%4>!")
                                     .arg(kIndexSource, QString::number(__LINE__), index.table, index.name),
                             CLogFile::LogError);
            CLogFile::addLog(index.sql, CLogFile::LogError);
            return;
        }
    }
}

bool CDataBaseHandler::registerNewDevice(const DB::SDeviceRegMapDescription &device, ProtocolOption protocol)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return m_rows.add(device, protocol);
}

bool CDataBaseHandler::deleteDevice(quint32 deviceId, ProtocolOption protocol)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return m_rows.remove(deviceId, protocol, &m_deleteWasBusy);
}

QSqlQuery CDataBaseHandler::getDevices(const QString &search, ProtocolOption protocol)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return m_rows.devices(search, protocol);
}

QSqlQuery CDataBaseHandler::getRegisters(quint32 deviceId)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return m_rows.registers(deviceId);
}

QList<DB::SDeviceLastStored> CDataBaseHandler::lastStoredTimes()
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return m_rows.lastStoredTimes();
}

QStringList CDataBaseHandler::getRegisteredDevices(ProtocolOption protocol)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return m_rows.devEuis(protocol);
}

bool CDataBaseHandler::updateRegInfo(DB::SDeviceRegUpdate update)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return m_rows.updateScaling(update);
}

void CDataBaseHandler::updateRegInfoTCP(DB::SDeviceRegUpdate update)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    m_rows.updateTcpPort(update);
}

bool CDataBaseHandler::saveRegisterData(DB::SDbDeviceRegDataSet regData)
{
    if (regData.regs.isEmpty()) {
        CLogFile::addLog(QStringLiteral("INFO: [CDataBaseHandler::saveRegisterData] Empty input data"));
        return false;
    }

    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    const int begun = execute(kBeginWriteSql);
    EWriteOutcome outcome = begun == SQLITE_OK ? writeValues(regData) : writeFailure(begun, QString());
    if (outcome == EWriteOutcome::Stored) {
        const int committed = execute(kCommitSql);
        if (committed != SQLITE_OK)
            outcome = writeFailure(committed, QString());
    }
    if (outcome != EWriteOutcome::Stored)
        rollback();
    if (outcome == EWriteOutcome::Busy) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] The register file is busy "
                                        "(%1): the values are not stored.")
                                 .arg(m_failureCause),
                         CLogFile::LogError);
    }
    noteWritten(outcome);
    return outcome == EWriteOutcome::Stored;
}

// The rows of one uplink, inside the caller's transaction; the first failure
// ends it, so that the caller can roll the whole uplink back.
CDataBaseHandler::EWriteOutcome CDataBaseHandler::writeValues(const DB::SDbDeviceRegDataSet &regData)
{
    if (regData.regs.isEmpty()) {
        CLogFile::addLog(QStringLiteral("INFO: [CDataBaseHandler::saveRegisterData] Empty input data"));
        return EWriteOutcome::Refused;
    }
    QSqlQuery query(m_db);
    if (!query.exec(kSelectDeviceIdFormat.arg(DbName::deviceTable, dev(DevDevice), dev(DevEui), regData.devEui))) {
        const EWriteOutcome outcome = writeFailure(query.lastError().nativeErrorCode().toInt(),
                                                   query.lastError().databaseText());
        if (outcome == EWriteOutcome::Failed)
            CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] Invalid SQL request [1]"));
        return outcome;
    }
    if (!query.next()) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] Uncknown DevEUI [%1]")
                                 .arg(regData.devEui));
        return EWriteOutcome::Refused;
    }
    const quint32 deviceId = query.value(0).toUInt();
    if (deviceId == 0) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] Uncknown DevEUI [ID=0] [%1]")
                                 .arg(regData.devEui));
        return EWriteOutcome::Refused;
    }

    const QString sql = kUpdateRegisterFormat.arg(DbName::registerTable, reg(RegValue), reg(RegFullValue),
                                                  reg(RegTime), reg(RegDevice), reg(RegAddr));
    query.prepare(sql);
    for (const DB::SDbRegValue &value : regData.regs) {
        const quint32 address = regData.startAddr + value.regOffset;
        query.bindValue(placeholder(reg(RegValue)), value.value);
        // A null string stores NULL: later words of a wide value carry no whole value.
        query.bindValue(placeholder(reg(RegFullValue)), value.fullValue.isEmpty() ? QString() : value.fullValue);
        query.bindValue(placeholder(reg(RegTime)), QDateTime::currentMSecsSinceEpoch());
        query.bindValue(placeholder(reg(RegDevice)), deviceId);
        query.bindValue(placeholder(reg(RegAddr)), address);
        if (!query.exec()) {
            const EWriteOutcome outcome = writeFailure(query.lastError().nativeErrorCode().toInt(),
                                                       query.lastError().databaseText());
            if (outcome == EWriteOutcome::Busy)
                return outcome;
            CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] Invalid SQL request [2]"));
            CLogFile::addLog(QStringLiteral("    Query [%1]").arg(sql));
            CLogFile::addLog(QStringLiteral("    Set: deviceId[%1], regAddr[%2]")
                                     .arg(QString::number(deviceId), QString::number(address)));
            return outcome;
        }
    }
    return EWriteOutcome::Stored;
}

// Busy is the other program's turn, logged by the backlog; anything else is
// a file that cannot take writes (read-only, full), said once until it can.
CDataBaseHandler::EWriteOutcome CDataBaseHandler::writeFailure(int result, const QString &cause)
{
    sqlite3 *handle = connectionHandle();
    const int code = handle && result == SQLITE_ERROR ? sqlite3_errcode(handle) : result;
    m_failureCause = !cause.isEmpty() ? cause
            : handle                  ? QString::fromUtf8(sqlite3_errmsg(handle))
                                      : QString::fromUtf8(sqlite3_errstr(code));
    if (isBusy(code) || isBusy(result))
        return EWriteOutcome::Busy;
    noteUnwritable(m_failureCause);
    return EWriteOutcome::Failed;
}

void CDataBaseHandler::noteWritten(EWriteOutcome outcome)
{
    if (outcome != EWriteOutcome::Stored || !m_writeFailing)
        return;
    m_writeFailing = false;
    CLogFile::addLog(QStringLiteral("INFO: [CDataBaseHandler::saveRegisterData] The register file is written "
                                    "again."));
}

void CDataBaseHandler::queueUplink(const DB::SUplinkWrite &write)
{
    QMetaObject::invokeMethod(this, [this, write] { appendUplink(write); }, Qt::QueuedConnection);
}

void CDataBaseHandler::appendUplink(const DB::SUplinkWrite &write)
{
    if (std::optional<CUplinkBacklog::SEntry> dropped = m_backlog.append(write)) {
        if (dropped->write.done)
            dropped->write.done(false);
    }
    // While the file is busy the retry takes the new uplink with the others, in order.
    if (!m_retryTimer.isActive())
        storeBacklog();
}

void CDataBaseHandler::storeBacklog()
{
    while (!m_backlog.isEmpty()) {
        const EWriteOutcome outcome = storeUplink(m_backlog.head());
        if (outcome == EWriteOutcome::Busy) {
            m_backlog.busy(m_failureCause);
            m_retryTimer.start();
            return;
        }
        const CUplinkBacklog::SEntry entry = m_backlog.takeHead();
        if (entry.values && entry.write.done)
            entry.write.done(outcome == EWriteOutcome::Stored);
    }
    m_backlog.free();
}

void CDataBaseHandler::storeWaitingUplinks(int waitMs)
{
    QElapsedTimer waited;
    waited.start();
    m_retryTimer.stop();
    storeBacklog();
    while (!m_backlog.isEmpty() && waited.elapsed() < waitMs) {
        QThread::msleep(kWriteRetryMs);
        storeBacklog();
    }
    m_retryTimer.stop();
    if (!m_backlog.isEmpty()) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] %1 uplink(s) could not be "
                                        "stored before the end.")
                                 .arg(m_backlog.size()),
                         CLogFile::LogError, true);
    }
}

// One uplink in one transaction: its scaling is read and its rows written
// while no other program can write, and a stop halfway leaves none of it.
CDataBaseHandler::EWriteOutcome CDataBaseHandler::storeUplink(CUplinkBacklog::SEntry &entry)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(kWriteAttemptWaitMs);
    const int begun = execute(kBeginWriteSql);
    if (begun != SQLITE_OK)
        return writeFailure(begun, QString());
    if (!entry.decoded) {
        // A device removed behind the program's back (by the tool) is said
        // once, rather than with the failed look-up of each of its registers.
        const std::optional<bool> stored = deviceIsStored(entry.write.devEui);
        if (!stored) {
            sqlite3 *handle = connectionHandle();
            const EWriteOutcome outcome = writeFailure(handle ? sqlite3_extended_errcode(handle) : SQLITE_ERROR,
                                                       QString());
            rollback();
            return outcome;
        }
        if (!*stored) {
            noteRemovedDevice(entry.write.devEui);
            rollback();
            noteWritten(EWriteOutcome::Refused);
            return EWriteOutcome::Refused;
        }
        bool lookupFailed = false;
        const QString &devEui = entry.write.devEui;
        entry.values = entry.write.decode([this, &devEui, &lookupFailed](quint32 regAddr) {
            return lookupParam(devEui, regAddr, &lookupFailed);
        });
        // Never stored with a scaling that could not be read.
        if (lookupFailed) {
            sqlite3 *handle = connectionHandle();
            const EWriteOutcome outcome = writeFailure(handle ? sqlite3_extended_errcode(handle) : SQLITE_ERROR,
                                                       QString());
            rollback();
            entry.values.reset();
            return outcome;
        }
        entry.decoded = true;
    }
    EWriteOutcome outcome = entry.values ? writeValues(*entry.values) : EWriteOutcome::Nothing;
    if (outcome == EWriteOutcome::Stored) {
        useBusyWait(kCommitWaitMs);
        const int committed = execute(kCommitSql);
        if (committed != SQLITE_OK)
            outcome = writeFailure(committed, QString());
    }
    if (outcome != EWriteOutcome::Stored)
        rollback();
    noteWritten(outcome);
    return outcome;
}

QMap<quint16, quint16> CDataBaseHandler::getRegisterData(const quint32 &port, const quint32 &startAddress,
                                                         const quint32 &count)
{
    return readRegisters(port, startAddress, count, m_busyWaitMs).value_or(QMap<quint16, quint16>());
}

std::optional<QMap<quint16, quint16>> CDataBaseHandler::readRegisters(quint32 port, quint32 startAddress,
                                                                      quint32 count, int waitMs, int *rows)
{
    if (count == 0)
        return QMap<quint16, quint16>();

    QElapsedTimer waited;
    waited.start();
    std::unique_lock<QMutex> locker(m_mutex, std::defer_lock);
    if (!locker.try_lock_for(std::chrono::milliseconds(waitMs)))
        return std::nullopt;
    useBusyWait(int(qMax<qint64>(0, waitMs - waited.elapsed())));
    std::optional<QMap<quint16, quint16>> words = m_reads.read(connectionHandle(), port, startAddress, count, rows);
    if (!words) {
        logWithSql(QStringLiteral("ERROR: [CDataBaseHandler::getRegisterData] Invalid SQL request [1]"),
                   CRegisterReads::sql(port, startAddress, startAddress + count - 1));
    }
    return words;
}

sqlite3 *CDataBaseHandler::connectionHandle() const
{
    return StoreSqlite::handleOf(m_db);
}

bool CDataBaseHandler::lastFailureWasBusy() const
{
    return StoreSqlite::connectionIsBusy(m_db);
}

CDataBaseHandler::~CDataBaseHandler() = default;

QSqlQuery &CDataBaseHandler::compiledQuery(const QString &sql)
{
    auto it = m_compiledQueries.find(sql);
    if (it != m_compiledQueries.end())
        return it.value();
    if (m_compiledQueries.size() >= kMaxCompiledQueries)
        m_compiledQueries.clear();
    QSqlQuery query(m_db);
    // Read once from first row to last: no rows are kept for going back.
    query.setForwardOnly(true);
    query.prepare(sql);
    return m_compiledQueries.insert(sql, query).value();
}

DB::SRegisterParam CDataBaseHandler::getRegisterParam(const QString &devEui, quint32 regAddr)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    bool failed = false;
    return lookupParam(devEui, regAddr, &failed);
}

QString CDataBaseHandler::registerParamSql()
{
    // Written out once: the look-up runs for every register of every uplink.
    static const QString sql =
            QStringLiteral("SELECT * FROM %1 WHERE %1.%3 IN ( SELECT %2.%4 FROM %2 WHERE %2.%5=:%5 ) AND %1.%6=:%6;")
                    .arg(DbName::registerTable, DbName::deviceTable, reg(RegDevice), dev(DevDevice), dev(DevEui),
                         reg(RegAddr));
    return sql;
}

void CDataBaseHandler::bindRegisterParam(QSqlQuery &query, const QString &devEui, quint32 regAddr)
{
    query.bindValue(placeholder(dev(DevEui)), devEui);
    query.bindValue(placeholder(reg(RegAddr)), regAddr);
}

DB::SRegisterParam CDataBaseHandler::registerParamOf(const QSqlQuery &row, quint32 regAddr)
{
    DB::SRegisterParam param;
    param.gratingPeriod = row.value(RegGratingPeriod).toDouble();
    param.startValue = row.value(RegStartValue).toDouble();
    param.unit = row.value(RegUnit).toString();
    param.regAddr = regAddr;
    return param;
}

// The defaults when the register has no row; a failed read is told apart, so
// that no value is ever scaled by guesswork.
DB::SRegisterParam CDataBaseHandler::lookupParam(const QString &devEui, quint32 regAddr, bool *failed)
{
    DB::SRegisterParam param;
    const QString sql = registerParamSql();
    QSqlQuery &query = compiledQuery(sql);
    bindRegisterParam(query, devEui, regAddr);
    if (!query.exec()) {
        logWithSql(QStringLiteral("ERROR: [CDataBaseHandler::getRegisterParam] Invalid SQL request [1]"), sql);
        m_compiledQueries.remove(sql);
        *failed = true;
        return param;
    }
    if (query.next()) {
        param = registerParamOf(query, regAddr);
        param.decimals = m_decimals.decimals(devEui, regAddr);
    } else {
        logWithSql(QStringLiteral("ERROR: [CDataBaseHandler::getRegisterParam] Register is not exist!"), sql);
    }
    // Only the first row is read: ending the read here leaves the file unlocked.
    query.finish();
    return param;
}

std::optional<bool> CDataBaseHandler::deviceIsStored(const QString &devEui)
{
    QSqlQuery &query = compiledQuery(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2=:%2;")
                                             .arg(DbName::deviceTable, dev(DevEui)));
    query.bindValue(placeholder(dev(DevEui)), devEui);
    if (!query.exec() || !query.next())
        return std::nullopt;
    const bool stored = query.value(0).toInt() > 0;
    query.finish();
    if (stored)
        m_removedDevices.remove(devEui);
    return stored;
}

void CDataBaseHandler::noteRemovedDevice(const QString &devEui)
{
    if (m_removedDevices.contains(devEui))
        return;
    m_removedDevices.insert(devEui);
    CLogFile::addLog(QStringLiteral("WARNING: [CDataBaseHandler] Device [%1] is no longer in the register file: "
                                    "another program removed it. Its uplinks are not stored; restart the program "
                                    "to stop publishing it.")
                             .arg(devEui));
}

QMap<quint32, int> CDataBaseHandler::getRegisterDecimals(quint32 deviceId)
{
    QMutexLocker locker(&m_mutex);
    useBusyWait(m_busyWaitMs);
    return m_decimals.ofDevice(m_db, deviceId);
}

