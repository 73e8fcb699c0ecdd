#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "fakenetworkserver.h"
#include "logspy.h"
#include "server/cserverhandler.h"
#include "tcp/cdevicehandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QThread>
#include <QtTest>

namespace {

const QString kClimateSensor = QStringLiteral("70B3D5000000C001");
const QString kPulseCounter = QStringLiteral("70B3D5000000C002");
const QString kSerialGateway = QStringLiteral("70B3D5000000D001");
constexpr quint32 kClimateStart = 1000;
constexpr quint32 kPulseStart = 2000;
constexpr int kClimateTemperature = 10;   // register of the 0.1 °C reading

QByteArray hex(const QByteArray &text)
{
    return QByteArray::fromHex(text);
}

// One TCP device frame: type 3 carries its header from byte 2, type 5 from byte 6.
QByteArray chunkFrame(quint8 type, quint8 sizeHigh, quint8 sizeLow, quint8 number, quint8 total,
                      const QByteArray &data)
{
    QByteArray frame(type == 5 ? 6 : 2, '\0');
    frame[0] = char(type);
    frame += char(sizeHigh);
    frame += char(sizeLow);
    frame += char(data.size());
    frame += char(number);
    frame += char(total);
    return frame + data;
}

} // namespace

class TestDataPath : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void uplinkBecomesModbusRegisters();
    void devicesShareTheirPort();
    void tcpDeviceMessagesReachEveryClient();
    void damagedTcpMessagesAreDiscarded();
    void clientBytesBecomeADownlink();

private:
    void publish(const QString &devEui, const QString &appEui, quint32 startAddr, quint16 port,
                 ProtocolOption protocol);
    void push(const QString &devEui, const QByteArray &payload);
    QByteArray read(quint16 port, const QByteArray &request, int answerSize);

    TestWorkDir m_workDir;
    QThread m_thread;
    FakeNetworkServer *m_server = nullptr;
    CAllDeviceHandler *m_registry = nullptr;
    LogSpy *m_log = nullptr;
    quint16 m_modbusPort = 0;
    quint16 m_tcpPort = 0;
};

void TestDataPath::initTestCase()
{
    registerApiMetaTypes();
    qRegisterMetaType<DB::SDbDeviceRegDataSet>("DB::SDbDeviceRegDataSet");
    CSettings::getInstance(QStringLiteral("settings.conf"));
    CLogFile::getInstance(QStringLiteral("history"), QString());
    m_log = new LogSpy;

    QVERIFY(QDir().mkdir(QStringLiteral("deviceFolder")));
    const QDir samples(QStringLiteral(SAMPLE_TEMPLATES_DIR));
    for (const QString &name : samples.entryList({QStringLiteral("*.json")}, QDir::Files))
        QVERIFY(QFile::copy(samples.filePath(name), QDir(QStringLiteral("deviceFolder")).filePath(name)));

    // The start-up order of the program: session, store on its thread, registry, then the uplink route.
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

    m_modbusPort = freePort();
    m_tcpPort = freePort();
    publish(kClimateSensor, QStringLiteral("F1A7C0DE00000101"), kClimateStart, m_modbusPort, ProtocolOption::ModBus);
    publish(kPulseCounter, QStringLiteral("F1A7C0DE00000202"), kPulseStart, m_modbusPort, ProtocolOption::ModBus);
    publish(kSerialGateway, QStringLiteral("F1A7C0DE00000303"), 0, m_tcpPort, ProtocolOption::TCP);
}

void TestDataPath::cleanupTestCase()
{
    m_thread.quit();
    m_thread.wait();
}

void TestDataPath::publish(const QString &devEui, const QString &appEui, quint32 startAddr, quint16 port,
                           ProtocolOption protocol)
{
    DB::SDeviceRegMapDescription device = m_registry->registerMap(appEui);
    device.devEui = devEui;
    device.appEui = appEui;
    device.name = devEui;
    device.startAddr = startAddr;
    device.port = port;
    for (DB::SDeviceRegDescription &reg : device.regs) {
        if (reg.regAddr == kClimateTemperature)
            reg.gratingPeriod = 0.1;
    }
    QVERIFY(CDataBaseHandler::getInstance()->registerNewDevice(device, protocol));
    m_registry->addNewDevice(device, protocol);
}

void TestDataPath::push(const QString &devEui, const QByteArray &payload)
{
    m_server->push(QJsonObject{{"cmd", "rx"}, {"type", "UNCONF_UP"}, {"devEui", devEui.toLower()},
                               {"ts", 1700000000123LL}, {"gatewayId", "0011223344556677+aa"}, {"ack", false},
                               {"fcnt", 7}, {"port", 2}, {"data", QString::fromLatin1(payload)}, {"freq", 868100000},
                               {"dr", 5}, {"rssi", -80}, {"snr", 7.25}});
}

QByteArray TestDataPath::read(quint16 port, const QByteArray &request, int answerSize)
{
    const auto client = connectClient(port);
    if (!client)
        return QByteArray();
    client->write(request);
    if (!QTest::qWaitFor([&client, answerSize] { return client->bytesAvailable() >= answerSize; }, 5000))
        qWarning("No full answer in time");
    return client->readAll();
}

void TestDataPath::uplinkBecomesModbusRegisters()
{
    QSignalSpy newData(m_registry, &CAllDeviceHandler::newDataForDevice);
    // Temperature 23.5 °C in tenths, humidity 514, dew point -10, battery 3134 mV little-endian.
    push(kClimateSensor, "0100eb0202f63e0c");
    QTRY_COMPARE(newData.count(), 1);
    QCOMPARE(newData.at(0).at(0).toString(), kClimateSensor);

    // ts, fcnt, rssi (a negative text reads as its magnitude), snr, four unused, then the packet.
    const QByteArray answer = hex("0001 0000 001f 01 03 1c 6553 f100 0000 0007 0050 0007 0000 0000 0000 0000"
                                  "                         0018 0202 000a 0c3e");
    QCOMPARE(read(m_modbusPort, hex("0001 0000 0006 01 03 03e8 000e"), answer.size()).toHex(), answer.toHex());
}

void TestDataPath::devicesShareTheirPort()
{
    QSignalSpy newData(m_registry, &CAllDeviceHandler::newDataForDevice);
    // Packet type -128: tamper code 5, board temperature 35, tamper time 0x01020304.
    push(kPulseCounter, "800523 01020304");
    QTRY_COMPARE(newData.count(), 1);

    const QByteArray identifiers = hex("0002 0000 0013 01 04 10 70b3 d500 0000 c002 0011 2233 4455 6677");
    QCOMPARE(read(m_modbusPort, hex("0002 0000 0006 01 04 07d4 0008"), identifiers.size()).toHex(),
             identifiers.toHex());
    const QByteArray tamper = hex("0003 0000 000b 01 03 08 0005 0023 0102 0304");
    QCOMPARE(read(m_modbusPort, hex("0003 0000 0006 01 03 07f4 0004"), tamper.size()).toHex(), tamper.toHex());
    const QByteArray climate = hex("0004 0000 0005 01 03 02 0018");
    QCOMPARE(read(m_modbusPort, hex("0004 0000 0006 01 03 03f2 0001"), climate.size()).toHex(), climate.toHex());
}

void TestDataPath::tcpDeviceMessagesReachEveryClient()
{
    const auto first = connectClient(m_tcpPort);
    const auto second = connectClient(m_tcpPort);
    QVERIFY(first && second);
    const QByteArray head(100, 'h');
    const QByteArray tail(50, 't');
    const QByteArray single("hello");

    push(kSerialGateway, chunkFrame(3, 0x00, 0x96, 0, 2, head).toHex());
    push(kSerialGateway, chunkFrame(5, 0x96, 0x00, 1, 2, tail).toHex());
    push(kSerialGateway, chunkFrame(4, 0x00, 0x05, 0, 1, single).toHex());
    push(kSerialGateway, chunkFrame(13, 0x02, 0x03, 0, 1, single).toHex());

    for (QTcpSocket *client : {first.get(), second.get()}) {
        QTRY_COMPARE(client->bytesAvailable(), head.size() + tail.size() + single.size());
        QCOMPARE(client->readAll(), head + tail + single);
    }
}

void TestDataPath::damagedTcpMessagesAreDiscarded()
{
    const auto client = connectClient(m_tcpPort);
    QVERIFY(client);
    m_log->forget();
    const QByteArray chunk(120, 'c');

    push(kSerialGateway, chunkFrame(6, 0x00, 0xef, 0, 2, chunk).toHex());
    push(kSerialGateway, chunkFrame(6, 0x00, 0xef, 1, 2, chunk).toHex());
    for (quint8 number = 0; number < 6; ++number)
        push(kSerialGateway, chunkFrame(3, 0x00, quint8(720 % 256), number, 6, chunk).toHex());
    push(kSerialGateway, chunkFrame(3, 0x00, 0xf0, 0, 2, chunk).toHex());
    QTRY_COMPARE(m_log->lines().filter(QStringLiteral("Parse_Data_from_Device")).size(), 9);

    CDeviceHandler *listener = nullptr;
    for (CDeviceHandler *candidate : m_registry->findChildren<CDeviceHandler *>()) {
        if (candidate->listenPort() == m_tcpPort)
            listener = candidate;
    }
    QVERIFY(listener);
    listener->waitingTimeout();
    push(kSerialGateway, chunkFrame(3, 0x00, 0x78, 0, 1, chunk).toHex());

    QTRY_COMPARE(client->bytesAvailable(), chunk.size());
    QCOMPARE(client->readAll(), chunk);
    const QString source = QStringLiteral("ERROR: [CDeviceHandler::%1] Package %2 device ") + kSerialGateway;
    QCOMPARE(m_log->lines().filter(QStringLiteral("ERROR")),
             QStringList({source.arg("sendTCPData", "from") + " has been damaged or lost! Total packet size is [239], "
                                                              "received packet size is [240]. Data discarded.",
                          source.arg("sendTCPData", "size from") + " is exceeded! The maximum size should be no more "
                                                                   "than 600 bytes.",
                          source.arg("waitingTimeout", "from") + " has been damaged or lost! Waiting timeout. "
                                                                 "Data discarded."}));
}

void TestDataPath::clientBytesBecomeADownlink()
{
    const auto client = connectClient(m_tcpPort);
    QVERIFY(client);
    client->write(hex("0102"));

    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).size(), 1);
    const QJsonObject request =
            QJsonDocument::fromJson(m_server->receivedWithCmd(QStringLiteral("send_data_req")).first().toUtf8()).object();
    QCOMPARE(request.value("data_list").toArray(),
             QJsonArray({QJsonObject{{"devEui", kSerialGateway}, {"ack", true}, {"port", 2}, {"data", "040102"}}}));
}

QTEST_GUILESS_MAIN(TestDataPath)
#include "tst_datapath.moc"
