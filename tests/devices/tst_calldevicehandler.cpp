#include "core/csettings.h"
#include "devices/calldevicehandler.h"
#include "logspy.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QDir>
#include <QtTest>

using Protocol = std::optional<ProtocolOption>;
Q_DECLARE_METATYPE(Protocol)

namespace {

const QString kFolder = QStringLiteral("deviceFolder");

QByteArray modbusTemplate(const QByteArray &appEui, const QByteArray &devType)
{
    return R"({"app_eui":")" + appEui + R"(","dev_type":")" + devType + R"(","color":"#102030","device_packets":[
        {"packet_type":1,"packet_size":3,"packet_fields":[{"data_name":"v","packet_bias":1,"data_bit_bias":0,
        "data_bit_size":16,"data_type":"uinteger","reg_map_bias":4,"reg_bit_bias":0,"reg_bit_size":16}]}]})";
}

void writeFile(const QString &name, const QByteArray &content)
{
    QFile file(QDir(kFolder).filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

DB::SDeviceRegMapDescription device(const QString &devEui, quint16 port)
{
    DB::SDeviceRegMapDescription description;
    description.devEui = devEui;
    description.appEui = QStringLiteral("F1A7C0DE000000A1");
    description.port = port;
    return description;
}

API::SApiDeviceData uplink(const QString &devEui, const QByteArray &hex)
{
    API::SApiDeviceData data;
    data.devEui = devEui;
    data.data = QByteArray::fromHex(hex);
    data.valid = true;
    return data;
}

bool accepts(quint16 port)
{
    return connectClient(port) != nullptr;
}

} // namespace

class TestCAllDeviceHandler : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void missingFolderLoadsNothing();
    void emptyFolderLoadsNothing();
    void templatesLoadInNameOrder();
    void lookUpsOfTemplates_data();
    void lookUpsOfTemplates();
    void unreadableTcpFileLogsEachStep();
    void devicesOnOnePortShareItsListener();
    void unknownPortChangesNothing();
    void tcpDeviceMovesWithItsListener();
    void uplinksOutsideTheDataPathAreDropped();

private:
    static CAllDeviceHandler *registry() { return CAllDeviceHandler::getInstance(); }

    TestWorkDir m_workDir;
    LogSpy *m_log = nullptr;
};

void TestCAllDeviceHandler::initTestCase()
{
    registerApiMetaTypes();
    CSettings::getInstance(QStringLiteral("settings.conf"));
    CLogFile::getInstance(QStringLiteral("history"), QString());
    m_log = new LogSpy;
}

void TestCAllDeviceHandler::missingFolderLoadsNothing()
{
    const QString message = QStringLiteral("[CAllDeviceHandler::init] Dirrectory with device signature is not existed");
    QTest::ignoreMessage(QtDebugMsg, qPrintable(message));
    CAllDeviceHandler::getInstance();
    QTRY_COMPARE(m_log->lines(), QStringList({message}));
    QVERIFY(registry()->deviceTemplates().isEmpty());
}

void TestCAllDeviceHandler::emptyFolderLoadsNothing()
{
    m_log->forget();
    QVERIFY(QDir().mkdir(kFolder));
    writeFile(QStringLiteral("notes.txt"), "not a template");
    const QString message = QStringLiteral("[CAllDeviceHandler::init] Dirrectory with device signature is empty");
    QTest::ignoreMessage(QtDebugMsg, qPrintable(message));
    registry()->init();
    QTRY_COMPARE(m_log->lines(), QStringList({message}));
    QVERIFY(registry()->deviceTemplates().isEmpty());
    QVERIFY(registry()->tcpDeviceTemplates().isEmpty());
}

void TestCAllDeviceHandler::templatesLoadInNameOrder()
{
    m_log->forget();
    writeFile(QStringLiteral("b_kind.json"), modbusTemplate("f1a7c0de000000b2", "Second by name"));
    writeFile(QStringLiteral("a_kind.json"), modbusTemplate("F1A7C0DE000000B2", "First by name"));
    writeFile(QStringLiteral("c_kind.json"), modbusTemplate("F1A7C0DE000000A1", "Other"));
    writeFile(QStringLiteral("broken.json"), R"({"app_eui": })");
    writeFile(QStringLiteral("no_packets.json"), R"({"app_eui":"F1A7C0DE000000C3","dev_type":"x"})");
    writeFile(QStringLiteral("xTCP.json"), R"({"data":[{"app_eui":"f1a7c0de000000d4","dev_type":"Gateway"},
        {"app_eui":"F1A7C0DE000000D4","dev_type":"Again"},{"app_eui":"F1A7C0DE000000D5"},
        {"app_eui":"F1A7C0DE000000D6","dev_type":"Odd colour","color":"not a colour"}]})");
    registry()->init();

    const QString broken = QDir(kFolder).absoluteFilePath(QStringLiteral("broken.json"));
    QTRY_COMPARE(m_log->lines(),
                 QStringList({"Device [F1A7C0DE000000B2] inited SUCCESSULLY",
                              "Device [F1A7C0DE000000B2] already inited. Skip",
                              QStringLiteral("ERROR: [CAllDeviceHandler] Invalid parsing JSON file [%1]: "
                                             "error[object is missing after a comma], row[13]").arg(broken),
                              "Device [F1A7C0DE000000A1] inited SUCCESSULLY",
                              "TCP device [F1A7C0DE000000D4] inited SUCCESSULLY",
                              "TCP device [F1A7C0DE000000D4] already inited. Skip",
                              "TCP device [F1A7C0DE000000D6] inited SUCCESSULLY"}));
}

void TestCAllDeviceHandler::lookUpsOfTemplates_data()
{
    QTest::addColumn<bool>("tcp");
    QTest::addColumn<QString>("appEui");
    QTest::addColumn<bool>("known");
    QTest::addColumn<QString>("devType");
    QTest::addColumn<QColor>("color");

    QTest::newRow("first file wins") << false << "F1A7C0DE000000B2" << true << "First by name" << QColor(0x102030);
    QTest::newRow("unknown") << false << "F1A7C0DE000000FF" << false << "" << QColor();
    QTest::newRow("tcp template is not modbus") << false << "F1A7C0DE000000D4" << false << "" << QColor();
    QTest::newRow("tcp first element wins") << true << "F1A7C0DE000000D4" << true << "Gateway" << QColor(0x94999D);
    QTest::newRow("tcp invalid colour") << true << "F1A7C0DE000000D6" << true << "Odd colour" << QColor(0x94999D);
    QTest::newRow("tcp without type") << true << "F1A7C0DE000000D5" << false << "" << QColor();
}

void TestCAllDeviceHandler::lookUpsOfTemplates()
{
    QFETCH(bool, tcp);
    QFETCH(QString, appEui);
    QFETCH(bool, known);
    QFETCH(QString, devType);
    QFETCH(QColor, color);

    const STemplateInfo info = tcp ? registry()->tcpTemplateInfo(appEui) : registry()->templateInfo(appEui);
    QCOMPARE(tcp ? registry()->hasTcpTemplate(appEui) : registry()->hasTemplate(appEui), known);
    QCOMPARE(info.appEui, known ? appEui : QString());
    QCOMPARE(info.devType, devType);
    QCOMPARE(info.color, color);

    QStringList listed;
    for (const STemplateInfo &summary : tcp ? registry()->tcpDeviceTemplates() : registry()->deviceTemplates())
        listed.append(summary.appEui);
    QCOMPARE(listed, tcp ? QStringList({"F1A7C0DE000000D4", "F1A7C0DE000000D6"})
                         : QStringList({"F1A7C0DE000000A1", "F1A7C0DE000000B2"}));
    QCOMPARE(registry()->registerMap(appEui).regs.size(), !tcp && known ? 1 : 0);
}

void TestCAllDeviceHandler::unreadableTcpFileLogsEachStep()
{
    m_log->forget();
    const QString path = QDir(kFolder).absoluteFilePath(QStringLiteral("absentTCP.json"));
    registry()->initTCP(path);
    QTRY_COMPARE(m_log->lines(),
                 QStringList({"File [TCP.json] is not opened",
                              QStringLiteral("ERROR: [CAllDeviceHandler] Invalid parsing JSON file [%1]: "
                                             "error[illegal value], row[0]").arg(path),
                              "File [TCP.json] is not contans JSON document"}));
}

void TestCAllDeviceHandler::devicesOnOnePortShareItsListener()
{
    const quint16 port = freePort();
    registry()->addNewDevice(device(QStringLiteral("00000000000000A1"), port), ProtocolOption::ModBus);
    m_log->forget();
    registry()->addNewDevice(device(QStringLiteral("00000000000000A2"), port), ProtocolOption::ModBus);
    QTRY_COMPARE(m_log->lines(),
                 QStringList({QStringLiteral("INFO: [CAllDeviceHandler::addNewDevice] port [%1] is already open").arg(port),
                              QStringLiteral("[CAllDeviceHandler::addNewDevice] New device: DevEUI[00000000000000A2], "
                                             "port[%1]").arg(port)}));
    QCOMPARE(registry()->portProtocol(port), Protocol(ProtocolOption::ModBus));

    registry()->removeDevice(QStringLiteral("00000000000000A1"), port);
    QVERIFY(accepts(port));
    QCOMPARE(registry()->portProtocol(port), Protocol(ProtocolOption::ModBus));

    registry()->removeDevice(QStringLiteral("00000000000000A2"), port);
    QCOMPARE(registry()->portProtocol(port), Protocol());
    QVERIFY(!accepts(port));
}

void TestCAllDeviceHandler::unknownPortChangesNothing()
{
    const quint16 port = freePort();
    registry()->addNewDevice(device(QStringLiteral("00000000000000B1"), port), ProtocolOption::TCP);
    m_log->forget();
    const quint16 otherPort = freePort();
    registry()->removeDevice(QStringLiteral("00000000000000B1"), otherPort);
    QTRY_COMPARE(m_log->lines(),
                 QStringList({QStringLiteral("WARNING: [CAllDeviceHandler::removeDevice] uncknown port [%1]!")
                                      .arg(otherPort)}));
    QCOMPARE(registry()->portProtocol(port), Protocol(ProtocolOption::TCP));
    QVERIFY(accepts(port));
    registry()->removeDevice(QStringLiteral("00000000000000B1"), port);
}

void TestCAllDeviceHandler::tcpDeviceMovesWithItsListener()
{
    const quint16 oldPort = freePort();
    DB::SDeviceRegMapDescription moved = device(QStringLiteral("00000000000000C1"), oldPort);
    registry()->addNewDevice(moved, ProtocolOption::TCP);
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, oldPort);
    QVERIFY(client.waitForConnected(5000));

    moved.port = freePort();
    m_log->forget();
    registry()->updatePortRegisteredDevice(moved, oldPort);
    QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(registry()->portProtocol(oldPort), Protocol());
    QCOMPARE(registry()->portProtocol(quint16(moved.port)), Protocol(ProtocolOption::TCP));
    QVERIFY(!accepts(oldPort));
    QVERIFY(accepts(quint16(moved.port)));

    registry()->updatePortRegisteredDevice(device(QStringLiteral("00000000000000A1"), oldPort), quint16(moved.port));
    QTRY_COMPARE(m_log->lines(),
                 QStringList({QStringLiteral("[CAllDeviceHandler::addNewDevice] Device DevEUI[00000000000000C1] "
                                             "updated is new port[%1]!").arg(moved.port),
                              "[CAllDeviceHandler::addNewDevice] Device DevEUI[00000000000000A1] is not registered!"}));
    QCOMPARE(registry()->portProtocol(quint16(moved.port)), Protocol(ProtocolOption::TCP));
}

void TestCAllDeviceHandler::uplinksOutsideTheDataPathAreDropped()
{
    const quint16 port = freePort();
    registry()->addNewDevice(device(QStringLiteral("00000000000000E1"), port), ProtocolOption::TCP);
    registry()->addNewDevice(device(QStringLiteral("00000000000000E2"), port), ProtocolOption::TCP);
    registry()->removeDevice(QStringLiteral("00000000000000E2"), port);
    m_log->forget();
    QSignalSpy newData(registry(), &CAllDeviceHandler::newDataForDevice);

    registry()->newPacketReceivedSlot(uplink(QStringLiteral("00000000000000F9"), "0301"));
    registry()->newPacketReceivedSlot(uplink(QStringLiteral("00000000000000E2"), "0301"));
    registry()->newPacketReceivedSlot(uplink(QStringLiteral("00000000000000E1"), "04010203"));
    registry()->newPacketReceivedSlot(uplink(QStringLiteral("00000000000000E1"), ""));
    registry()->newPacketReceivedSlot(uplink(QStringLiteral("00000000000000E1"), "0d"));

    // The last uplink reaches the bridge; the log keeps the order of the calls.
    QTRY_COMPARE(m_log->lines(),
                 QStringList({"INFO: [CAllDeviceHandler::Parse_Data_from_Device] Recived data [0d] from device "
                              "[00000000000000E1]."}));
    QCOMPARE(newData.count(), 0);
}

QTEST_GUILESS_MAIN(TestCAllDeviceHandler)
#include "tst_calldevicehandler.moc"
