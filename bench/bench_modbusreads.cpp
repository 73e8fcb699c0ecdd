#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "modbusclient.h"
#include "tcp/cdevicehandler.h"
#include "testnet.h"

#include <QEventLoop>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <sys/select.h>

#include <atomic>
#include <thread>
#include <vector>

#ifdef QUILLBAR_HAVE_LIBMODBUS
#include "libmodbusserver.h"
#endif

namespace {

constexpr int kRegisters = 16;
constexpr int kRequestsPerClient = 2000;
const QString kDevEui = QStringLiteral("70B3D50000000001");

// One blocking client: reads of 16 registers from address 0, one at a time.
bool readRegisters(quint16 port, int requests)
{
    const int fd = ModbusClient::connectTo(port);
    if (fd < 0)
        return false;
    bool ok = true;
    for (int i = 0; i < requests && ok; ++i)
        ok = ModbusClient::readOnce(fd, i, kRegisters);
    ::close(fd);
    return ok;
}

// Runs the clients on their own threads; `wait` turns whatever the server needs
// meanwhile, and the last client to end calls `done`.
template<typename Wait, typename Done>
bool runClients(quint16 port, int clients, Wait wait, Done done)
{
    std::atomic<int> failures{0};
    std::atomic<int> running{clients};
    std::vector<std::thread> threads;
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&] {
            if (!readRegisters(port, kRequestsPerClient))
                ++failures;
            if (--running == 0)
                done();
        });
    }
    wait();
    for (std::thread &thread : threads)
        thread.join();
    return failures == 0;
}

#ifdef QUILLBAR_HAVE_LIBMODBUS
// The reference server on a thread of its own, listening from its making.
class CLibModbusServerThread
{
public:
    explicit CLibModbusServerThread(quint16 port)
        : m_server(kRegisters)
    {
        if (m_server.listen(port))
            m_thread = std::thread([this] { m_server.serve(m_stop); });
    }

    ~CLibModbusServerThread()
    {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    CLibModbusServer m_server;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};
#endif

} // namespace

// Reads of 16 registers over loopback, by 1 and by 8 clients at once, against
// the same reads from a libmodbus server that keeps its registers in memory.
class BenchModbusReads : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void quillbar_data();
    void quillbar();
    void libmodbus_data();
    void libmodbus();

private:
    QTemporaryDir m_dir;
    QThread m_thread;
    CDeviceHandler *m_listener = nullptr;
    quint16 m_port = 0;
};

void BenchModbusReads::initTestCase()
{
    // The debug stream is plumbing, not what a user runs with; the log file stays on.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    QVERIFY(QDir::setCurrent(m_dir.path()));
    CSettings::getInstance(FileName::settings);
    CLogFile::getInstance(FileName::logBase, QString());
    qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    QVERIFY(store);
    store->moveToThread(&m_thread);
    m_thread.start();

    m_port = freePort();
    DB::SDeviceRegMapDescription device{kDevEui, QStringLiteral("F1A7C0DE000000B1"), kDevEui, 0, {}, m_port};
    DB::SDbDeviceRegDataSet values{kDevEui, 0, {}};
    for (quint32 offset = 0; offset < kRegisters; ++offset) {
        device.regs.append({QStringLiteral("r%1").arg(offset), 1, offset, 16, DataType::uinteger, 0.0, 1.0, QString()});
        const QString text = QStringLiteral("%1").arg(offset, 4, 16, QLatin1Char('0'));
        values.regs.append({text, text, offset});
    }
    QVERIFY(store->registerNewDevice(device, ProtocolOption::ModBus));
    QVERIFY(QMetaObject::invokeMethod(store, "saveRegisterData", Qt::BlockingQueuedConnection,
                                      Q_ARG(DB::SDbDeviceRegDataSet, values)));
    m_listener = new CDeviceHandler(m_port, ProtocolOption::ModBus, kDevEui, this);
    QVERIFY(m_listener->isListening());
}

void BenchModbusReads::cleanupTestCase()
{
    m_thread.quit();
    m_thread.wait();
}

void BenchModbusReads::quillbar_data()
{
    QTest::addColumn<int>("clients");
    QTest::addColumn<bool>("log");
    QTest::newRow("1 client") << 1 << true;
    QTest::newRow("8 clients") << 8 << true;
    // The operator's switch in the logging dialog: what the two lines per request cost.
    QTest::newRow("1 client, log off") << 1 << false;
    QTest::newRow("8 clients, log off") << 8 << false;
}

void BenchModbusReads::quillbar()
{
    QFETCH(int, clients);
    QFETCH(bool, log);
    CSettings::writeValue(SettingsKey::useLog, log);
    QElapsedTimer timer;
    timer.start();
    int rounds = 0;
    QBENCHMARK {
        QEventLoop loop;
        const bool ok = runClients(m_port, clients, [&loop] { loop.exec(); },
                                   [&loop] { QMetaObject::invokeMethod(&loop, "quit", Qt::QueuedConnection); });
        QVERIFY(ok);
        ++rounds;
    }
    qInfo("quillbar, %d client(s), log %s: %.0f requests/s", clients, log ? "on" : "off",
          rounds * clients * kRequestsPerClient * 1000.0 / timer.elapsed());
}

void BenchModbusReads::libmodbus_data()
{
    QTest::addColumn<int>("clients");
    QTest::newRow("1 client") << 1;
    QTest::newRow("8 clients") << 8;
}

void BenchModbusReads::libmodbus()
{
#ifdef QUILLBAR_HAVE_LIBMODBUS
    QFETCH(int, clients);
    const quint16 port = freePort();
    CLibModbusServerThread server(port);
    QElapsedTimer timer;
    timer.start();
    int rounds = 0;
    QBENCHMARK {
        QVERIFY(runClients(port, clients, [] {}, [] {}));
        ++rounds;
    }
    qInfo("libmodbus, %d client(s): %.0f requests/s", clients,
          rounds * clients * kRequestsPerClient * 1000.0 / timer.elapsed());
#else
    QSKIP("libmodbus is not installed");
#endif
}

QTEST_GUILESS_MAIN(BenchModbusReads)
#include "bench_modbusreads.moc"
