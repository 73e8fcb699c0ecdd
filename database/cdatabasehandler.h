#pragma once

#include "database/dbtypes.h"

#include <QHash>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>

struct sqlite3;
struct sqlite3_stmt;

// The one owner of the SQLite file "server.db": ModBus devices with their
// register rows, and TCP devices. Only saveRegisterData runs on the handler's
// own thread; every other operation runs on its caller's thread, and one mutex
// serialises all of them on the single shared connection.
class CDataBaseHandler : public QObject
{
    Q_OBJECT

public:
    ~CDataBaseHandler() override;

    // Null once after a start that failed; the next call tries again.
    static CDataBaseHandler *getInstance();

    bool registerNewDevice(const DB::SDeviceRegMapDescription &device, ProtocolOption protocol);
    bool deleteDevice(quint32 deviceId, ProtocolOption protocol);
    // The returned queries are executed; on failure they come back inactive.
    QSqlQuery getDevices(const QString &search, ProtocolOption protocol);
    QSqlQuery getRegisters(quint32 deviceId);
    QStringList getRegisteredDevices(ProtocolOption protocol);

    // Address to word for every address of the request, 0 where nothing is
    // stored; a wide value starting inside the range may add later addresses.
    QMap<quint16, quint16> getRegisterData(const quint32 &port, const quint32 &startAddress,
                                           const quint32 &count);
    DB::SRegisterParam getRegisterParam(const QString &devEui, quint32 regAddr);
    // False after the first update that failed; the ones before it stay.
    bool updateRegInfo(DB::SDeviceRegUpdate update);
    void updateRegInfoTCP(DB::SDeviceRegUpdate update);

    // Every ModBus device by ascending device id, with the newest time of its rows.
    QList<DB::SDeviceLastStored> lastStoredTimes();

public slots:
    // False when the uplink's values could not all be stored.
    bool saveRegisterData(DB::SDbDeviceRegDataSet regData);

private:
    CDataBaseHandler();

    void failStart(const QString &message);
    bool checkColumnCount(const QStringList &columns, int expected, const QString &table);
    void createTable(QSqlQuery &query, const QString &table, const QString &sql);
    bool createTables(QSqlQuery &query);
    void createIndexes(QSqlQuery &query);

    bool isNewDevice(const QString &table, const QString &devEui);
    bool insertDevice(const QString &table, const DB::SDeviceRegMapDescription &device,
                      ProtocolOption protocol);
    quint32 readDeviceId(const QString &table, const QString &devEui);
    bool insertRegisters(quint32 deviceId, const DB::SDeviceRegMapDescription &device);
    QSqlQuery &compiledQuery(const QString &sql);
    sqlite3 *connectionHandle() const;
    // The addresses a ModBus read asks for on a port, first to last.
    struct SReadRange
    {
        quint32 port;
        quint32 first;
        quint32 last;
        friend bool operator==(const SReadRange &a, const SReadRange &b)
        {
            return a.port == b.port && a.first == b.first && a.last == b.last;
        }
        friend size_t qHash(const SReadRange &range, size_t seed = 0)
        {
            return qHashMulti(seed, range.port, range.first, range.last);
        }
    };
    sqlite3_stmt *compiledRead(const SReadRange &range);
    void dropCompiledRead(const SReadRange &range);

    QSqlDatabase m_db;
    QMutex m_mutex;
    // The reads of the ModBus clients and the decoder, compiled: the same
    // texts come again and again, and compiling one costs about as much as
    // running it.
    QHash<QString, QSqlQuery> m_compiledQueries;
    QHash<SReadRange, sqlite3_stmt *> m_compiledReads;

    static CDataBaseHandler *m_instance;
    static bool databaseStartFailed;
};
