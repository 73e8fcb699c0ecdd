#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "database/storeschema.h"
#include "devices/calldevicehandler.h"
#include "fakenetworkserver.h"
#include "modbusclient.h"
#include "server/cserverhandler.h"
#include "testnet.h"

#include <QJsonArray>
#include <QLoggingCategory>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStorageInfo>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

constexpr int kRegisters = 8;
constexpr int kBatch = 50;
constexpr int kUplinksPerSecond = 20;
constexpr int kLatencySeconds = 5;
constexpr int kFloorUplinks = 50;
const QString kAppEui = QStringLiteral("F1A7C0DE000000E8");
const QString kDevEui = QStringLiteral("70B3D500000000E8");

QJsonObject eightRegisterTemplate()
{
    QJsonArray fields;
    for (int i = 0; i < kRegisters; ++i) {
        fields.append(QJsonObject{{"data_name", QStringLiteral("v%1").arg(i)}, {"packet_bias", 1 + 2 * i},
                                  {"data_bit_bias", 0}, {"data_bit_size", 16}, {"data_type", "uinteger"},
                                  {"endianness", "be"}, {"reg_map_bias", i}, {"reg_bit_bias", 0},
                                  {"reg_bit_size", 16}});
    }
    const QJsonObject packet{{"packet_type", 1}, {"packet_size", 1 + 2 * kRegisters}, {"packet_fields", fields}};
    return {{"app_eui", kAppEui}, {"dev_type", "Eight registers"}, {"device_packets", QJsonArray{packet}}};
}

QString payload(quint16 value)
{
    QByteArray bytes(1, '\1');
    for (int i = 0; i < kRegisters; ++i)
        bytes += QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(4, '0'));
    return QString::fromLatin1(bytes.toHex());
}

// Reads all registers of the device, one request at a time, until told to stop,
// and gives the time of each request in microseconds; empty if one failed.
std::vector<double> timedReads(quint16 port, const std::atomic<bool> &stop)
{
    std::vector<double> times;
    const int fd = ModbusClient::connectTo(port);
    if (fd < 0)
        return times;
    for (int i = 0; !stop; ++i) {
        const auto began = std::chrono::steady_clock::now();
        if (!ModbusClient::readOnce(fd, i, kRegisters)) {
            times.clear();
            break;
        }
        times.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - began).count());
    }
    ::close(fd);
    return times;
}

double percentile(std::vector<double> values, double share)
{
    std::sort(values.begin(), values.end());
    return values.at(std::min(values.size() - 1, size_t(share * double(values.size()))));
}

bool exec(sqlite3 *db, const char *sql)
{
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

} // namespace

// Uplinks pushed by the network server until the last one is readable over
// ModBus, for a device whose template maps 8 registers.
class BenchUplinks : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void pushedUntilReadable();
    void readLatencyWhileUplinksArrive_data();
    void readLatencyWhileUplinksArrive();
    void storageFloor();

private:
    quint16 readFirstRegister();

    QTemporaryDir m_dir;
    QThread m_thread;
    FakeNetworkServer *m_server = nullptr;
    CAllDeviceHandler *m_registry = nullptr;
    quint16 m_port = 0;
    quint16 m_value = 0;
};

void BenchUplinks::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    QVERIFY(QDir::setCurrent(m_dir.path()));
    registerApiMetaTypes();
    qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
    CSettings::getInstance(FileName::settings);
    CLogFile::getInstance(FileName::logBase, QString());
    QVERIFY(QDir().mkdir(FileName::deviceFolder));
    QFile file(FileName::deviceFolder + QStringLiteral("/eight.json"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QJsonDocument(eightRegisterTemplate()).toJson());
    file.close();

    CServerHandler *session = CServerHandler::getInstance();
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    QVERIFY(store);
    store->moveToThread(&m_thread);
    m_thread.start();
    m_registry = CAllDeviceHandler::getInstance();
    connect(session, &CServerHandler::newPacketReceived, m_registry, &CAllDeviceHandler::newPacketReceivedSlot,
            Qt::QueuedConnection);
    m_server = new FakeNetworkServer(this);
    QSignalSpy status(session, &CServerHandler::changeServerStatus);
    session->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
    QTRY_VERIFY(!status.isEmpty() && status.last().at(0).value<COMM::EServerStatus>() == COMM::Success);

    m_port = freePort();
    DB::SDeviceRegMapDescription device = m_registry->registerMap(kAppEui);
    device.devEui = kDevEui;
    device.name = kDevEui;
    device.port = m_port;
    QVERIFY(store->registerNewDevice(device, ProtocolOption::ModBus));
    m_registry->addNewDevice(device, ProtocolOption::ModBus);

    QSqlDatabase inspect = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("inspect"));
    inspect.setDatabaseName(QDir(m_dir.path()).filePath(FileName::database));
    QVERIFY(inspect.open());
    QSqlQuery pragma(inspect);
    QVERIFY(pragma.exec(QStringLiteral("PRAGMA journal_mode;")) && pragma.next());
    const QString journal = pragma.value(0).toString();
    QVERIFY(pragma.exec(QStringLiteral("PRAGMA synchronous;")) && pragma.next());
    qInfo("storage: %s file system, journal_mode %s, synchronous %s",
          QStorageInfo(m_dir.path()).fileSystemType().constData(), qPrintable(journal),
          qPrintable(pragma.value(0).toString()));
}

void BenchUplinks::cleanupTestCase()
{
    m_thread.quit();
    m_thread.wait();
}

quint16 BenchUplinks::readFirstRegister()
{
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, m_port);
    if (!QTest::qWaitFor([&client] { return client.state() == QAbstractSocket::ConnectedState; }, 5000))
        return 0;
    client.write(QByteArray::fromHex("000100000006010300000001"));
    if (!QTest::qWaitFor([&client] { return client.bytesAvailable() >= 11; }, 5000))
        return 0;
    const QByteArray answer = client.readAll();
    return quint16(quint8(answer.at(9)) << 8 | quint8(answer.at(10)));
}

void BenchUplinks::pushedUntilReadable()
{
    QSignalSpy decoded(m_registry, &CAllDeviceHandler::newDataForDevice);
    QElapsedTimer timer;
    timer.start();
    int rounds = 0;
    QBENCHMARK {
        decoded.clear();
        for (int i = 0; i < kBatch; ++i) {
            ++m_value;
            m_server->push(QJsonObject{{"cmd", "rx"}, {"type", "UNCONF_UP"}, {"devEui", kDevEui},
                                       {"ts", 1700000000123LL}, {"fcnt", m_value}, {"data", payload(m_value)}});
        }
        QTRY_COMPARE_WITH_TIMEOUT(decoded.count(), kBatch, 60000);
        QCOMPARE(readFirstRegister(), m_value);
        ++rounds;
    }
    qInfo("%.0f uplinks/s", rounds * kBatch * 1000.0 / timer.elapsed());
}

void BenchUplinks::readLatencyWhileUplinksArrive_data()
{
    QTest::addColumn<int>("uplinksPerSecond");
    QTest::newRow("no uplinks") << 0;
    QTest::newRow("20 uplinks/s") << kUplinksPerSecond;
}

// One ModBus client reading as fast as it can while the network server pushes
// uplinks at a steady rate: the latency of each read, p50 and p99.
void BenchUplinks::readLatencyWhileUplinksArrive()
{
    QFETCH(int, uplinksPerSecond);
    QSignalSpy decoded(m_registry, &CAllDeviceHandler::newDataForDevice);
    QTimer pushes;
    int pushed = 0;
    if (uplinksPerSecond > 0) {
        pushes.setInterval(1000 / uplinksPerSecond);
        connect(&pushes, &QTimer::timeout, this, [this, &pushed] {
            ++pushed;
            ++m_value;
            m_server->push(QJsonObject{{"cmd", "rx"}, {"type", "UNCONF_UP"}, {"devEui", kDevEui},
                                       {"ts", 1700000000123LL}, {"fcnt", m_value}, {"data", payload(m_value)}});
        });
        pushes.start();
    }
    std::atomic<bool> stop{false};
    std::atomic<bool> finished{false};
    std::vector<double> times;
    std::thread client([&] {
        times = timedReads(m_port, stop);
        finished = true;
    });
    QTest::qWait(kLatencySeconds * 1000);
    stop = true;
    pushes.stop();
    // The last read is answered by this thread's event loop.
    const bool ended = QTest::qWaitFor([&finished] { return finished.load(); }, 10000);
    client.join();
    QVERIFY(ended);
    QVERIFY(!times.empty());
    QTRY_COMPARE_WITH_TIMEOUT(int(decoded.count()), pushed, 10000);
    // The pushes share the main thread with the decoder, so a slow disk lowers the rate that arrives.
    qInfo("%d uplinks/s offered, %d arrived and decoded in %d s: %zu reads, latency p50 %.0f us, p99 %.0f us, "
          "max %.0f us", uplinksPerSecond, pushed, kLatencySeconds, times.size(), percentile(times, 0.5),
          percentile(times, 0.99), percentile(times, 1.0));
}

// The storage the store is bound to, with nothing around it: for each uplink
// one SELECT of the device and one autocommitted UPDATE per register, on a
// file of the same schema in the same folder; and the SELECT of one read.
void BenchUplinks::storageFloor()
{
    sqlite3 *db = nullptr;
    QVERIFY(sqlite3_open(qPrintable(QDir(m_dir.path()).filePath(QStringLiteral("floor.db"))), &db) == SQLITE_OK);
    for (const StoreSchema::STable &table : StoreSchema::tables())
        QVERIFY(exec(db, qPrintable(table.sql)));
    for (const StoreSchema::SIndex &index : StoreSchema::indexes())
        QVERIFY(exec(db, qPrintable(index.sql)));
    QVERIFY(exec(db, "INSERT INTO devices VALUES (1, 'd', 'a', '70B3D500000000E8', 5020, 0);"));
    for (int i = 0; i < kRegisters; ++i) {
        QVERIFY(exec(db, qPrintable(QStringLiteral("INSERT INTO dev_data (device, port, reg_addr, bit_size, parent) "
                                                   "VALUES (1, 5020, %1, 16, 1);").arg(i))));
    }

    sqlite3_stmt *update = nullptr;
    QVERIFY(sqlite3_prepare_v2(db, "UPDATE dev_data SET value=:value, full_value=:full_value, time=:time "
                                   "WHERE device=:device AND reg_addr=:reg_addr;", -1, &update, nullptr) == SQLITE_OK);
    QElapsedTimer timer;
    timer.start();
    for (int uplink = 0; uplink < kFloorUplinks; ++uplink) {
        QVERIFY(exec(db, "SELECT device FROM devices WHERE dev_eui='70B3D500000000E8';"));
        for (int i = 0; i < kRegisters; ++i) {
            sqlite3_bind_text(update, 1, "0001", -1, SQLITE_STATIC);
            sqlite3_bind_text(update, 2, "0001", -1, SQLITE_STATIC);
            sqlite3_bind_int64(update, 3, QDateTime::currentMSecsSinceEpoch());
            sqlite3_bind_int(update, 4, 1);
            sqlite3_bind_int(update, 5, i);
            QVERIFY(sqlite3_step(update) == SQLITE_DONE);
            sqlite3_reset(update);
        }
    }
    const double uplinkMs = double(timer.nsecsElapsed()) / 1e6 / kFloorUplinks;
    sqlite3_finalize(update);

    sqlite3_stmt *read = nullptr;
    QVERIFY(sqlite3_prepare_v2(db, "SELECT * FROM dev_data WHERE port=5020 AND reg_addr BETWEEN 0 AND 7;", -1, &read,
                               nullptr) == SQLITE_OK);
    constexpr int reads = 20000;
    timer.restart();
    for (int i = 0; i < reads; ++i) {
        while (sqlite3_step(read) == SQLITE_ROW)
            sqlite3_column_text(read, 8);
        sqlite3_reset(read);
    }
    const double readUs = double(timer.nsecsElapsed()) / 1e3 / reads;
    sqlite3_finalize(read);
    sqlite3_close(db);
    qInfo("storage floor: %.2f ms an uplink of %d registers (%.0f uplinks/s at most), %.1f us a read's SELECT",
          uplinkMs, kRegisters, 1000.0 / uplinkMs, readUs);
}

QTEST_GUILESS_MAIN(BenchUplinks)
#include "bench_uplinks.moc"
