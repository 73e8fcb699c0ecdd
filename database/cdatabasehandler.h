#pragma once

#include "database/cdevicerows.h"
#include "database/cregisterdecimals.h"
#include "database/cregisterreads.h"
#include "database/cuplinkbacklog.h"
#include "database/dbtypes.h"

#include <QHash>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>
#include <QTimer>

#include <optional>

struct sqlite3;

// The one owner of the SQLite file "server.db": ModBus devices with their
// register rows, and TCP devices. Uplinks are stored on the handler's own
// thread; every other operation runs on its caller's thread, and one mutex
// serialises all of them on the single shared connection.
//
// Other programs may hold the file (the tool, a backup, a browser): an uplink
// is stored whole in one transaction or waits in memory until the file frees,
// and a ModBus read gives up after a short bound rather than stall the clients
// of every port.
class CDataBaseHandler : public QObject
{
    Q_OBJECT

public:
    // How long a ModBus read may wait for the file.
    static constexpr int kReadWaitMs = 200;

    ~CDataBaseHandler() override;

    // Null once after a start that failed; the next call tries again.
    static CDataBaseHandler *getInstance();
    // How long the start waits for a file that another program holds locked,
    // before it fails; below 0, for as long as it takes. Set before the first
    // getInstance().
    static void setStartWait(int milliseconds);
    // The file to open instead of the one in the current directory. Set
    // before the first getInstance().
    static void setFilePath(const QString &path);
    // How long the operations of the window and the tool wait for a locked file.
    void setBusyWait(int milliseconds);

    bool registerNewDevice(const DB::SDeviceRegMapDescription &device, ProtocolOption protocol);
    bool deleteDevice(quint32 deviceId, ProtocolOption protocol);
    // Whether the last delete failed because another program held the file.
    bool deleteWasBusy() const { return m_deleteWasBusy; }
    // The returned queries are executed; on failure they come back inactive.
    QSqlQuery getDevices(const QString &search, ProtocolOption protocol);
    QSqlQuery getRegisters(quint32 deviceId);
    QStringList getRegisteredDevices(ProtocolOption protocol);

    // Address to word for every address of the request, 0 where nothing is
    // stored; a wide value starting inside the range may add later addresses.
    QMap<quint16, quint16> getRegisterData(const quint32 &port, const quint32 &startAddress,
                                           const quint32 &count);
    // The same, or nothing when the file could not be read within the wait;
    // `rows`, if given, counts the stored registers that start in the range.
    std::optional<QMap<quint16, quint16>> readRegisters(quint32 port, quint32 startAddress, quint32 count,
                                                        int waitMs, int *rows = nullptr);
    DB::SRegisterParam getRegisterParam(const QString &devEui, quint32 regAddr);
    // Absolute address to decimals, for the registers of the device that keep any.
    QMap<quint32, int> getRegisterDecimals(quint32 deviceId);
    // False after the first update that failed; the ones before it stay.
    bool updateRegInfo(DB::SDeviceRegUpdate update);
    void updateRegInfoTCP(DB::SDeviceRegUpdate update);

    // A write of several operations that stores all of them or none, for a
    // caller on the handler's own thread: the write lock is taken at its
    // start. On failure the reason is kept, and whether another program's
    // lock was the cause.
    bool beginWrite();
    bool commitWrite();
    void rollbackWrite();
    QString writeError() const { return m_writeError; }
    bool writeWasBusy() const { return m_writeWasBusy; }
    // Whether the last failure on the handler's connection came from another program.
    bool lastFailureWasBusy() const;

    // The scaling look-up of one register by DevEUI and absolute address, as
    // the decoder makes it, for a query of any connection to the file.
    static QString registerParamSql();
    static void bindRegisterParam(QSqlQuery &query, const QString &devEui, quint32 regAddr);
    // The scaling of the row the query stands on; the decimals are kept apart.
    static DB::SRegisterParam registerParamOf(const QSqlQuery &row, quint32 regAddr);

    // Every ModBus device by ascending device id, with the newest time of its rows.
    QList<DB::SDeviceLastStored> lastStoredTimes();

    // Stores the uplink on the handler's thread, whole or not at all, in the
    // order given; any thread may call it.
    void queueUplink(const DB::SUplinkWrite &write);
    // Stores what waits, trying for at most the given time; on the handler's
    // thread, the last call before the process ends.
    Q_INVOKABLE void storeWaitingUplinks(int waitMs);

public slots:
    // False when the uplink's values could not all be stored; then none is.
    bool saveRegisterData(DB::SDbDeviceRegDataSet regData);

private:
    enum class EWriteOutcome {
        Stored,
        Nothing,    // the uplink had no values to store
        Refused,    // logged: an unknown device, no values
        Busy,       // another program holds the file
        Failed,     // logged: the file cannot be written
    };

    CDataBaseHandler();

    bool waitForFile();
    void reportUnwritable();
    void noteUnwritable(const QString &cause);
    void useBusyWait(int milliseconds);
    int execute(const char *sql);
    void rollback();
    bool executeWrite(const char *sql);
    EWriteOutcome writeFailure(int result, const QString &cause);
    EWriteOutcome storeUplink(CUplinkBacklog::SEntry &entry);
    EWriteOutcome writeValues(const DB::SDbDeviceRegDataSet &regData);
    void appendUplink(const DB::SUplinkWrite &write);
    void storeBacklog();
    void noteWritten(EWriteOutcome outcome);
    DB::SRegisterParam lookupParam(const QString &devEui, quint32 regAddr, bool *failed);
    // Whether the device still has its row; nothing when the file could not be read.
    std::optional<bool> deviceIsStored(const QString &devEui);
    void noteRemovedDevice(const QString &devEui);

    void failStart(const QString &message);
    bool checkColumnCount(const QStringList &columns, int expected, const QString &table);
    bool createTables(QSqlQuery &query);
    bool createTableOrFail(QSqlQuery &query, const QString &table, const QString &sql);
    void createIndexes(QSqlQuery &query);

    QSqlQuery &compiledQuery(const QString &sql);
    sqlite3 *connectionHandle() const;

    QSqlDatabase m_db;
    QMutex m_mutex;
    // The reads of the ModBus clients and the decoder, compiled: the same
    // texts come again and again, and compiling one costs about as much as
    // running it.
    QHash<QString, QSqlQuery> m_compiledQueries;
    CRegisterReads m_reads;
    int m_busyWaitMs = 0;
    int m_busyWaitSet = -1;     // what SQLite was last told
    CRegisterDecimals m_decimals;
    CDeviceRows m_rows;
    CUplinkBacklog m_backlog;
    QTimer m_retryTimer;
    bool m_writeFailing = false;
    bool m_deleteWasBusy = false;
    // Devices that another program removed while they are published, said once.
    QSet<QString> m_removedDevices;
    QString m_failureCause;     // of the last write that failed, SQLite's words
    QString m_writeError;
    bool m_writeWasBusy = false;

    static CDataBaseHandler *m_instance;
    static bool databaseStartFailed;
    static int m_startWaitMs;
    static QString m_filePath;
};
