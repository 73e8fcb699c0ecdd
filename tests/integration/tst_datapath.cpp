#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "fakenetworkserver.h"
#include "logspy.h"
#include "programcore.h"
#include "server/cserverhandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

#include <memory>

namespace {

const QString kClimateSensor = QStringLiteral("70B3D5000000C001");
const QString kSerialGateway = QStringLiteral("70B3D5000000D001");
constexpr int kClimateTemperature = 10;   // register of the 0.1 °C reading

// One TCP device frame: type 5 carries its header from byte 6, the others from byte 2.
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
    return (frame + data).toHex();
}

} // namespace

class TestDataPath : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    FakeNetworkServer *m_server = nullptr;
    CAllDeviceHandler *m_registry = nullptr;
    LogSpy *m_log = nullptr;
    quint16 m_modbusPort = 0;
    quint16 m_tcpPort = 0;

    void publish(const QString &devEui, const QString &appEui, quint32 startAddr, quint16 port,
                 ProtocolOption protocol)
    {
        DB::SDeviceRegMapDescription device = ProgramCore::deviceOf(devEui, appEui, devEui, startAddr, port, protocol);
        for (DB::SDeviceRegDescription &reg : device.regs) {
            if (reg.regAddr == kClimateTemperature)
                reg.gratingPeriod = 0.1;
        }
        QVERIFY(ProgramCore::publishDevice(device, protocol));
    }

    void push(const QString &devEui, const QByteArray &payload)
    {
        m_server->push(QJsonObject{{"cmd", "rx"}, {"type", "UNCONF_UP"}, {"devEui", devEui.toLower()},
                                   {"ts", 1700000000123LL}, {"gatewayId", "0011223344556677+aa"}, {"ack", false},
                                   {"fcnt", 7}, {"port", 2}, {"data", QString::fromLatin1(payload)},
                                   {"freq", 868100000}, {"dr", 5}, {"rssi", -80}, {"snr", 7.25}});
    }

private slots:
    void initTestCase()
    {
        m_log = new LogSpy;
        m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
        m_registry = CAllDeviceHandler::getInstance();
        CServerHandler *session = CServerHandler::getInstance();

        m_server = new FakeNetworkServer(this);
        QSignalSpy status(session, &CServerHandler::changeServerStatus);
        session->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
        QTRY_VERIFY(!status.isEmpty() && status.last().at(0).value<COMM::EServerStatus>() == COMM::Success);

        m_modbusPort = freePort();
        m_tcpPort = freePort();
        publish(kClimateSensor, QStringLiteral("F1A7C0DE00000101"), 1000, m_modbusPort, ProtocolOption::ModBus);
        publish(kSerialGateway, QStringLiteral("F1A7C0DE00000303"), 0, m_tcpPort, ProtocolOption::TCP);
    }

    void cleanupTestCase()
    {
        m_core.reset();
    }

    void uplinkBecomesModbusRegisters()
    {
        QSignalSpy newData(m_registry, &CAllDeviceHandler::newDataForDevice);
        m_log->forget();
        // Temperature 23.5 °C in tenths, humidity 514, dew point -10, battery 3134 mV little-endian.
        push(kClimateSensor, "0100eb0202f63e0c");
        QTRY_COMPARE(newData.count(), 1);
        QCOMPARE(newData.at(0).at(0).toString(), kClimateSensor);
        QCOMPARE(m_log->takeLines(), QStringList("INFO: [CAllDeviceHandler::processDataSlot] Recived data "
                                                 "[0100eb0202f63e0c] from device [70B3D5000000C001]."));

        // ts, fcnt, rssi (a negative text reads as its magnitude), snr, four unused, then the packet.
        const QByteArray answer = hex("0001 0000 001f 01 03 1c 6553 f100 0000 0007 0050 0007 0000 0000 0000 0000"
                                      "                         0018 0202 000a 0c3e");
        QCOMPARE(exchange(m_modbusPort, hex("0001 0000 0006 01 03 03e8 000e"), answer.size()).toHex(), answer.toHex());
    }

    void tcpDeviceMessagesReachEveryClient()
    {
        const auto first = connectClient(m_tcpPort);
        const auto second = connectClient(m_tcpPort);
        QVERIFY(first && second);
        const QByteArray head(100, 'h');
        const QByteArray tail(50, 't');

        push(kSerialGateway, chunkFrame(3, 0x00, 0x96, 0, 2, head));
        push(kSerialGateway, chunkFrame(5, 0x96, 0x00, 1, 2, tail));
        push(kSerialGateway, chunkFrame(6, 0x00, 0x05, 0, 1, "hello"));
        // The two size bytes are added, not read as one number.
        push(kSerialGateway, chunkFrame(13, 0x02, 0x03, 0, 1, "world"));

        for (QTcpSocket *client : {first.get(), second.get()}) {
            QTRY_COMPARE(client->bytesAvailable(), head.size() + tail.size() + 10);
            QCOMPARE(client->readAll(), head + tail + "helloworld");
        }
    }

    void clientBytesBecomeADownlink()
    {
        const auto client = connectClient(m_tcpPort);
        QVERIFY(client);
        client->write(hex("0102"));

        QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("send_data_req")).size(), 1);
        const QString text = m_server->receivedWithCmd(QStringLiteral("send_data_req")).first();
        const QJsonObject request = QJsonDocument::fromJson(text.toUtf8()).object();
        QCOMPARE(request.value("data_list").toArray(),
                 QJsonArray({QJsonObject{{"devEui", kSerialGateway}, {"ack", true}, {"port", 2}, {"data", "040102"}}}));
    }
};

QTEST_GUILESS_MAIN(TestDataPath)
#include "tst_datapath.moc"
