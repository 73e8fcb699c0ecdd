#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "fakenetworkserver.h"
#include "server/cserverhandler.h"

#include <QJsonArray>
#include <QLoggingCategory>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStorageInfo>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

namespace {

constexpr int kRegisters = 8;
constexpr int kBatch = 100;
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

    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    m_port = probe.serverPort();
    probe.close();
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

QTEST_GUILESS_MAIN(BenchUplinks)
#include "bench_uplinks.moc"
