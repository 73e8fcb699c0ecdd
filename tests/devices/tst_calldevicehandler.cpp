#include "core/cstatusboard.h"
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

QByteArray modbusTemplate(const QByteArray &appEui, const QByteArray &devType, const QByteArray &color = "#102030")
{
    return R"({"app_eui":")" + appEui + R"(","dev_type":")" + devType + R"(","color":")" + color
            + R"(","device_packets":[
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

} // namespace

class TestCAllDeviceHandler : public QObject
{
    Q_OBJECT

    static CAllDeviceHandler *registry() { return CAllDeviceHandler::getInstance(); }

    TestWorkDir m_workDir;
    LogSpy *m_log = nullptr;

private slots:
    void initTestCase()
    {
        registerApiMetaTypes();
        m_log = new LogSpy;
    }

    void folderFaultsLoadNothing()
    {
        const QString missing = QStringLiteral("[CAllDeviceHandler::init] Dirrectory with device signature "
                                               "is not existed");
        QTest::ignoreMessage(QtDebugMsg, qPrintable(missing));
        registry();
        QCOMPARE(m_log->takeLines(), QStringList(missing));

        QVERIFY(QDir().mkdir(kFolder));
        writeFile(QStringLiteral("notes.txt"), "not a template");
        const QString empty = QStringLiteral("[CAllDeviceHandler::init] Dirrectory with device signature is empty");
        QTest::ignoreMessage(QtDebugMsg, qPrintable(empty));
        registry()->init();
        QCOMPARE(m_log->takeLines(), QStringList(empty));
        QVERIFY(registry()->deviceTemplates().isEmpty() && registry()->tcpDeviceTemplates().isEmpty());
    }

    void templatesLoadInNameOrder()
    {
        writeFile(QStringLiteral("b_kind.json"), modbusTemplate("f1a7c0de000000b2", "Second by name"));
        writeFile(QStringLiteral("a_kind.json"), modbusTemplate("F1A7C0DE000000B2", "First by name"));
        writeFile(QStringLiteral("c_kind.json"), modbusTemplate("F1A7C0DE000000A1", "Other", "teal"));
        writeFile(QStringLiteral("broken.json"), R"({"app_eui": })");
        writeFile(QStringLiteral("no_packets.json"), R"({"app_eui":"F1A7C0DE000000C3","dev_type":"x"})");
        writeFile(QStringLiteral("xTCP.json"), R"({"data":[{"app_eui":"f1a7c0de000000d4","dev_type":"Gateway"},
            {"app_eui":"F1A7C0DE000000D4","dev_type":"Again"},{"app_eui":"F1A7C0DE000000D5"},
            {"app_eui":"F1A7C0DE000000D6","dev_type":"Odd colour","color":"not a colour"}]})");
        registry()->init();

        const QString broken = QDir(kFolder).absoluteFilePath(QStringLiteral("broken.json"));
        QCOMPARE(m_log->takeLines(),
                 QStringList({"Device [F1A7C0DE000000B2] inited SUCCESSULLY",
                              "Device [F1A7C0DE000000B2] already inited. Skip",
                              QStringLiteral("ERROR: [CAllDeviceHandler] Invalid parsing JSON file [%1]: "
                                             "error[object is missing after a comma], row[13]").arg(broken),
                              "Device [F1A7C0DE000000A1] inited SUCCESSULLY",
                              "TCP device [F1A7C0DE000000D4] inited SUCCESSULLY",
                              "TCP device [F1A7C0DE000000D4] already inited. Skip",
                              "TCP device [F1A7C0DE000000D6] inited SUCCESSULLY"}));
        QCOMPARE(registry()->deviceTemplates().size() + registry()->tcpDeviceTemplates().size(), 4);

        const STemplateInfo first = registry()->templateInfo(QStringLiteral("F1A7C0DE000000B2"));
        QCOMPARE(first.devType + ' ' + first.color.name(), QStringLiteral("First by name #102030"));
        QCOMPARE(registry()->registerMap(QStringLiteral("F1A7C0DE000000B2")).regs.size(), 1);
        QCOMPARE(registry()->templateInfo(QStringLiteral("F1A7C0DE000000A1")).color, QColor(0, 0x80, 0x80));
        QVERIFY(!registry()->hasTemplate(QStringLiteral("F1A7C0DE000000D4")));
        QVERIFY(!registry()->hasTcpTemplate(QStringLiteral("F1A7C0DE000000D5")));
        const STemplateInfo tcp = registry()->tcpTemplateInfo(QStringLiteral("F1A7C0DE000000D4"));
        QCOMPARE(tcp.appEui + ' ' + tcp.devType, QStringLiteral("F1A7C0DE000000D4 Gateway"));
        QCOMPARE(registry()->tcpTemplateInfo(QStringLiteral("F1A7C0DE000000D6")).color, kDefaultDeviceColor);
    }

    void onlyTheExactCaseNameIsTheTcpFile()
    {
        writeFile(QStringLiteral("tcp.json"), R"({"data":[{"app_eui":"F1A7C0DE000000D7","dev_type":"Lower"}]})");
        QTest::ignoreMessage(QtDebugMsg, "[SDeviceTemplate] Invalid input JSON");
        registry()->init();
        QVERIFY(!registry()->hasTcpTemplate(QStringLiteral("F1A7C0DE000000D7")));
        QVERIFY(registry()->hasTcpTemplate(QStringLiteral("F1A7C0DE000000D4")));
        m_log->forget();
    }

    void unreadableTcpFileLogsEachStep()
    {
        const QString path = QDir(kFolder).absoluteFilePath(QStringLiteral("absentTCP.json"));
        registry()->initTCP(path);
        QCOMPARE(m_log->takeLines(),
                 QStringList({"File [TCP.json] is not opened",
                              QStringLiteral("ERROR: [CAllDeviceHandler] Invalid parsing JSON file [%1]: "
                                             "error[illegal value], row[0]").arg(path),
                              "File [TCP.json] is not contans JSON document"}));
    }

    void devicesOnOnePortShareItsListener()
    {
        const quint16 port = freePort();
        const QString first = QStringLiteral("00000000000000A1");
        // A placeholder inside the data stays as it stands in the log texts.
        const QString second = QStringLiteral("000000000000%1A2");
        registry()->addNewDevice(device(first, port), ProtocolOption::ModBus);
        m_log->forget();
        registry()->addNewDevice(device(second, port), ProtocolOption::ModBus);
        QCOMPARE(m_log->takeLines(),
                 QStringList({QStringLiteral("INFO: [CAllDeviceHandler::addNewDevice] port [%1] is already open")
                                      .arg(port),
                              QStringLiteral("[CAllDeviceHandler::addNewDevice] New device: DevEUI[%1], port[%2]")
                                      .arg(second, QString::number(port))}));

        const quint16 otherPort = freePort();
        registry()->removeDevice(first, otherPort);
        QCOMPARE(m_log->takeLines(), QStringList(QStringLiteral("WARNING: [CAllDeviceHandler::removeDevice] "
                                                                "uncknown port [%1]!").arg(otherPort)));
        registry()->removeDevice(first, port);
        QVERIFY(connectClient(port));
        QCOMPARE(registry()->portProtocol(port), Protocol(ProtocolOption::ModBus));

        const QString deleted = QStringLiteral("[CAllDeviceHandler::removeDevice] Delete device: DevEUI[%1], port[%2]");
        QTest::ignoreMessage(QtDebugMsg, qPrintable(deleted.arg(second, QString::number(port))));
        registry()->removeDevice(second, port);
        QCOMPARE(registry()->portProtocol(port), Protocol());
        QVERIFY(!connectClient(port));
    }

    void tcpDeviceMovesWithItsListener()
    {
        const quint16 oldPort = freePort();
        DB::SDeviceRegMapDescription moved = device(QStringLiteral("00000000000000C1"), oldPort);
        registry()->addNewDevice(moved, ProtocolOption::TCP);
        const auto client = connectClient(oldPort);
        QVERIFY(client);

        const quint16 newPort = freePort();
        moved.port = newPort;
        m_log->forget();
        registry()->updatePortRegisteredDevice(moved, oldPort);
        QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState);
        QCOMPARE(registry()->portProtocol(oldPort), Protocol());
        QCOMPARE(registry()->portProtocol(newPort), Protocol(ProtocolOption::TCP));
        QVERIFY(!connectClient(oldPort));
        QVERIFY(connectClient(newPort));

        registry()->updatePortRegisteredDevice(device(QStringLiteral("00000000000000A9"), oldPort), newPort);
        QCOMPARE(m_log->takeLines(),
                 QStringList({QStringLiteral("[CAllDeviceHandler::addNewDevice] Device DevEUI[00000000000000C1] "
                                             "updated is new port[%1]!").arg(newPort),
                              "[CAllDeviceHandler::addNewDevice] Device DevEUI[00000000000000A9] is not registered!"}));
        QCOMPARE(registry()->portProtocol(newPort), Protocol(ProtocolOption::TCP));
    }

    void uplinksOutsideTheDataPathAreDropped()
    {
        const quint16 port = freePort();
        registry()->addNewDevice(device(QStringLiteral("00000000000000E1"), port), ProtocolOption::TCP);
        registry()->addNewDevice(device(QStringLiteral("00000000000000E2"), port), ProtocolOption::TCP);
        registry()->removeDevice(QStringLiteral("00000000000000E2"), port);
        m_log->forget();
        QSignalSpy newData(registry(), &CAllDeviceHandler::newDataForDevice);

        // Unknown, removed, a TCP device's frame that carries no chunk, an empty one, a chunk frame, then the
        // unknown device again.
        const QList<QPair<QString, QByteArray>> uplinks = {
            {"00000000000000F9", "0301"}, {"00000000000000E2", "0301"}, {"00000000000000E1", "04010203"},
            {"00000000000000E1", ""}, {"00000000000000E1", "0d"}, {"00000000000000F9", "0301"}};
        for (const auto &[devEui, payload] : uplinks) {
            API::SApiDeviceData uplink;
            uplink.devEui = devEui;
            uplink.data = QByteArray::fromHex(payload);
            uplink.valid = true;
            registry()->newPacketReceivedSlot(uplink);
        }
        const QString unknown = QStringLiteral("WARNING: [CAllDeviceHandler] Uplink of unknown device [%1] dropped: "
                                               "it is not registered here. Its later uplinks are dropped without a "
                                               "line.");
        QCOMPARE(m_log->takeLines(),
                 QStringList({unknown.arg("00000000000000F9"), unknown.arg("00000000000000E2"),
                              "INFO: [CAllDeviceHandler::Parse_Data_from_Device] Recived data [0d] from device "
                              "[00000000000000E1]."}));
        const quint16 counter = StatusBlock::UnknownDeviceUplinks;
        QCOMPARE(CStatusBoard::getInstance()->read(counter, 2),
                 (QMap<quint16, quint16>{{counter, 0}, {quint16(counter + 1), 3}}));
        QCOMPARE(newData.count(), 0);
    }
};

QTEST_GUILESS_MAIN(TestCAllDeviceHandler)
#include "tst_calldevicehandler.moc"
