#include "core/clogfile.h"
#include "core/csettings.h"
#include "devices/devicetemplate.h"
#include "devices/tcpdevicetemplate.h"
#include "testworkdir.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

namespace {

using Parse = bool (*)(const QJsonObject &);
template<typename Record>
bool parsedValid(const QJsonObject &object) { return Record(object).isValid; }

QJsonObject json(const QByteArray &text) { return QJsonDocument::fromJson(text).object(); }

QByteArray field(const QByteArray &name, int regMapBias = 3, const QByteArray &extra = QByteArray())
{
    return R"({"packet_bias":1,"data_bit_bias":0,"data_bit_size":16,"data_type":"integer","reg_bit_bias":0,)"
           R"("reg_bit_size":16,"reg_map_bias":)" + QByteArray::number(regMapBias) + R"(,"data_name":")" + name
            + "\"" + extra + '}';
}

QByteArray packet(int type, const QByteArray &fields)
{
    return R"({"packet_type":)" + QByteArray::number(type) + R"(,"packet_size":3,"packet_fields":[)" + fields + "]}";
}

QByteArray datum(const QByteArray &code, int regMapBias = 0)
{
    return R"({"data_code":")" + code + R"(","data_name":")" + code + R"(","reg_bit_bias":0,"reg_bit_size":32,)"
           R"("reg_map_bias":)" + QByteArray::number(regMapBias) + '}';
}

// app_eui and dev_type, then `rest` with its leading comma.
QByteArray deviceTemplate(const QByteArray &rest) { return R"({"app_eui":"f1a7c0de0000ab01","dev_type":"Kind")" + rest + '}'; }

const QJsonValue kAbsent(QJsonValue::Undefined);
const QByteArray kOnePacket = deviceTemplate(",\"device_packets\":[" + packet(1, field("A")) + ']');
const QString kEndiannessFault = QStringLiteral(R"([SDevicePacketField] Invalid endianness field value, can be "le" or "be")");

QByteArray withValue(const QByteArray &text, const QString &key, const QJsonValue &value)
{
    QJsonObject object = json(text);
    object.insert(key, value);   // kAbsent removes the key
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject sample(const QString &fileName)
{
    QFile file(QDir(QStringLiteral(SAMPLE_TEMPLATES_DIR)).filePath(fileName));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

} // namespace

Q_DECLARE_METATYPE(Parse)

class TestDeviceTemplate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void faultsDropTheirElement_data();
    void faultsDropTheirElement();
    void fieldValues();
    void appEuiAndDuplicates();
    void unknownServerKeywordIsLogged();
    void colors_data();
    void colors();
    void registerMapOrder();
    void shippedModbusSamples_data();
    void shippedModbusSamples();
    void shippedTcpSample();

private:
    TestWorkDir m_workDir;
};

void TestDeviceTemplate::initTestCase()
{
    CSettings::getInstance(QStringLiteral("settings.conf"));
    CLogFile::getInstance(QStringLiteral("history"), QString());
}

void TestDeviceTemplate::faultsDropTheirElement_data()
{
    QTest::addColumn<Parse>("parse");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("debugLines");
    QTest::addColumn<bool>("valid");

    const Parse modbus = parsedValid<SDeviceTemplate>;
    QTest::newRow("template: empty") << modbus << QByteArray("{}") << QStringList{"[SDeviceTemplate] Empty input JSON"} << false;
    QTest::newRow("template: no app_eui") << modbus << withValue(kOnePacket, "app_eui", kAbsent) << QStringList{"[SDeviceTemplate] Invalid input JSON"} << false;
    QTest::newRow("template: missing before null") << modbus << QByteArray(R"({"app_eui":null})") << QStringList{"[SDeviceTemplate] Invalid input JSON"} << false;
    QTest::newRow("template: null dev_type") << modbus << withValue(kOnePacket, "dev_type", QJsonValue::Null) << QStringList{"[SDeviceTemplate] One or several values of input JSON is NULL"} << false;
    QTest::newRow("template: no packets") << modbus << deviceTemplate("") << QStringList{"[SDeviceTemplate] Device packets array is empty"} << false;
    QTest::newRow("template: all packets bad") << modbus << deviceTemplate(R"(,"device_packets":[{},{"packet_type":1},{"packet_type":2,"packet_fields":[]},7])")
        << QStringList{"[SDevicePacket] Invalid input JSON", "[SDevicePacket] Packet fields array is empty", "[SDeviceTemplate] Device packets array is empty"} << false;
    QTest::newRow("template: texts of wrong type") << modbus << withValue(withValue(kOnePacket, "app_eui", 1), "dev_type", 2) << QStringList() << true;

    const Parse packetValid = parsedValid<SDevicePacket>;
    QTest::newRow("packet: empty, silently") << packetValid << QByteArray("{}") << QStringList() << false;
    QTest::newRow("packet: no packet_type") << packetValid << withValue(packet(1, field("A")), "packet_type", kAbsent) << QStringList{"[SDevicePacket] Invalid input JSON"} << false;
    QTest::newRow("packet: null fields") << packetValid << withValue(packet(1, field("A")), "packet_fields", QJsonValue::Null) << QStringList{"[SDevicePacket] One or several values of input JSON is NULL"} << false;
    QTest::newRow("packet: all fields bad") << packetValid << packet(1, "{}," + field("A", 3, R"(,"endianness":"mixed")")) << QStringList{"[SDevicePacketField] Empty input JSON", kEndiannessFault} << false;

    const Parse fieldValid = parsedValid<SDevicePacketField>;
    for (const char *key : {"packet_bias", "data_bit_bias", "data_bit_size", "data_type", "reg_map_bias", "reg_bit_bias", "reg_bit_size", "data_name"}) {
        QTest::addRow("field: no %s", key) << fieldValid << withValue(field("A"), key, kAbsent) << QStringList{"[SDevicePacketField] Invalid input JSON"} << false;
        QTest::addRow("field: null %s", key) << fieldValid << withValue(field("A"), key, QJsonValue::Null) << QStringList{"[SDevicePacketField] One or several values of input JSON is NULL"} << false;
    }
    QTest::newRow("field: endianness before keys") << fieldValid << QByteArray(R"({"endianness":"big"})") << QStringList{kEndiannessFault} << false;
    QTest::newRow("field: null endianness") << fieldValid << field("A", 3, R"(,"endianness":null)") << QStringList{kEndiannessFault} << false;

    const Parse datumValid = parsedValid<SServerData>;
    for (const char *key : {"data_code", "data_name", "reg_map_bias", "reg_bit_bias", "reg_bit_size"}) {
        QTest::addRow("datum: no %s", key) << datumValid << withValue(datum("ts"), key, kAbsent) << QStringList{"[SServerData] Invalid input JSON"} << false;
        QTest::addRow("datum: null %s", key) << datumValid << withValue(datum("ts"), key, QJsonValue::Null) << QStringList{"[SServerData] One or several values of input JSON is NULL"} << false;
    }
    QTest::newRow("datum: empty") << datumValid << QByteArray("{}") << QStringList{"[SServerData] Empty input JSON"} << false;
    QTest::newRow("datum: ts") << datumValid << datum("ts") << QStringList{"[ts] - bitSize[64], type[uinteger]"} << true;

    const Parse tcp = parsedValid<STCPDeviceTemplate>;
    QTest::newRow("tcp: empty") << tcp << QByteArray("{}") << QStringList{"[STCPDeviceTemplate] Empty input JSON"} << false;
    QTest::newRow("tcp: no dev_type") << tcp << QByteArray(R"({"app_eui":"a1"})") << QStringList{"[STCPDeviceTemplate] Invalid input JSON"} << false;
    QTest::newRow("tcp: null app_eui") << tcp << QByteArray(R"({"app_eui":null,"dev_type":"x"})") << QStringList{"[STCPDeviceTemplate] One or several values of input JSON is NULL"} << false;
}

void TestDeviceTemplate::faultsDropTheirElement()
{
    QFETCH(Parse, parse);
    QFETCH(QByteArray, text);
    QFETCH(QStringList, debugLines);
    QFETCH(bool, valid);

    for (const QString &line : debugLines)
        QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
    QCOMPARE(parse(json(text)), valid);
}

void TestDeviceTemplate::fieldValues()
{
    const SDevicePacketField parsed(json(R"({"packet_bias":2,"data_bit_bias":8,"data_bit_size":32,"data_type":"text",)"
                                         R"("reg_map_bias":-4,"reg_bit_bias":5,"reg_bit_size":64,"data_name":"Flow","endianness":"BE"})"));
    QVERIFY(parsed.isValid);
    QCOMPARE(parsed.endianness, SDevicePacketField::BigEndian);
    QCOMPARE(QList<int>({parsed.packetBias, parsed.dataBitBias, parsed.dataBitSize, parsed.regMapBias, parsed.regBitBias, parsed.regBitSize}),
             QList<int>({2, 8, 32, -4, 5, 64}));
    QCOMPARE(parsed.dataType + '/' + parsed.dataName, QStringLiteral("text/Flow"));

    // Wrong JSON types read as 0 and empty text, not as faults.
    const SDevicePacketField lenient(json(R"({"packet_bias":"2","data_bit_bias":1.5,"data_bit_size":true,"data_type":7,)"
                                          R"("reg_map_bias":{},"reg_bit_bias":[],"reg_bit_size":"x","data_name":false,"endianness":"Le"})"));
    QVERIFY(lenient.isValid);
    QCOMPARE(lenient.endianness, SDevicePacketField::LittleEndian);
    QCOMPARE(lenient.packetBias | lenient.dataBitBias | lenient.dataBitSize | lenient.regMapBias | lenient.regBitSize, 0);
    QVERIFY(lenient.dataType.isEmpty() && lenient.dataName.isEmpty());
}

void TestDeviceTemplate::appEuiAndDuplicates()
{
    const QByteArray packets = R"(,"device_packets":[)" + packet(2, field("Old")) + ',' + packet(-56, field("Alarm"))
            + R"(,{"packet_type":2,"packet_fields":[)" + field("New") + "]}]";
    const SDeviceTemplate parsed(json(deviceTemplate(packets + R"(,"server_data":[)" + datum("fcnt", 1) + ',' + datum("fcnt", 9) + "]")));
    QVERIFY(parsed.isValid);
    QCOMPARE(parsed.appEui, QStringLiteral("F1A7C0DE0000AB01"));
    QCOMPARE(parsed.devicePackets.keys(), QList<quint32>({2u, 0xFFFFFFC8u}));
    QCOMPARE(parsed.devicePackets.value(2).packetFields.first().dataName, QStringLiteral("New"));
    QCOMPARE(parsed.devicePackets.value(2).packetSize, 0);
    QCOMPARE(parsed.serverData.value(QStringLiteral("fcnt")).regMapBias, 9);

    // The same EUI in another letter case is the same key, for TCP templates too.
    QCOMPARE(SDeviceTemplate(json(deviceTemplate(packets).replace("f1a7c0de", "F1a7C0De"))).appEui, parsed.appEui);
    QCOMPARE(STCPDeviceTemplate(json(R"({"app_eui":"f1a7c0de0000ab01","dev_type":"Serial gateway"})")).appEui, parsed.appEui);
}

void TestDeviceTemplate::unknownServerKeywordIsLogged()
{
    QSignalSpy logSpy(CLogFile::instance(), &CLogFile::addLogSignal);
    QTest::ignoreMessage(QtDebugMsg, "[rssi] - bitSize[16], type[integer]");
    const SDeviceTemplate parsed(json(withValue(kOnePacket, "server_data", QJsonDocument::fromJson("[" + datum("rssi") + ',' + datum("RSSI") + "]").array())));
    QVERIFY(parsed.isValid);
    QCOMPARE(parsed.serverData.keys(), QStringList{"rssi"});
    QTRY_COMPARE(logSpy.count(), 1);
    QVERIFY(logSpy.at(0).at(0).toString().endsWith(QStringLiteral("ERROR: [SServerData] Server keyword [RSSI] is unknown!")));
    QCOMPARE(logSpy.at(0).at(1).value<CLogFile::ELogMessageType>(), CLogFile::LogError);
}

void TestDeviceTemplate::colors_data()
{
    QTest::addColumn<QJsonValue>("name");
    QTest::addColumn<QColor>("expected");
    QTest::addColumn<QString>("debugLine");

    const QColor fallback(0x94, 0x99, 0x9D);
    QTest::newRow("absent") << kAbsent << fallback << QString();
    QTest::newRow("hex") << QJsonValue("#1A2B3C") << QColor(0x1A, 0x2B, 0x3C) << QString();
    QTest::newRow("svg name") << QJsonValue("teal") << QColor(0, 0x80, 0x80) << QString();
    QTest::newRow("unknown word") << QJsonValue("blurple") << fallback << "[SDeviceTemplate] Invalid color name [blurple]";
    QTest::newRow("number") << QJsonValue(5) << fallback << "[SDeviceTemplate] Invalid color name []";
}

void TestDeviceTemplate::colors()
{
    QFETCH(QJsonValue, name);
    QFETCH(QColor, expected);
    QFETCH(QString, debugLine);

    for (int i = 0; i < 2 && !debugLine.isEmpty(); ++i)
        QTest::ignoreMessage(QtDebugMsg, qPrintable(debugLine));
    const SDeviceTemplate modbus(json(withValue(kOnePacket, "color", name)));
    const STCPDeviceTemplate tcp(json(withValue(R"({"app_eui":"a1","dev_type":"x"})", "color", name)));
    QVERIFY(modbus.isValid && tcp.isValid);
    QCOMPARE(modbus.color, expected);
    QCOMPARE(tcp.color, expected);
}

void TestDeviceTemplate::registerMapOrder()
{
    const QByteArray text = deviceTemplate(
            R"(,"server_data":[)" + datum("ts", 0) + ',' + datum("rssi", 4) + ',' + datum("fcnt", 2) + "],"
            R"("device_packets":[)" + packet(3, field("C1", 20)) + ',' + packet(-56, field("Alarm", 10))
            + ',' + packet(1, field("A1", 10) + ',' + field("A2", 11) + ',' + field("A3", 6)) + ']');
    const DB::SDeviceRegMapDescription map = SDeviceTemplate(json(text)).registerMap();

    QStringList regs;
    for (const DB::SDeviceRegDescription &reg : map.regs) {
        regs << QStringLiteral("%1 %2 %3/%4 %5").arg(reg.name).arg(reg.source).arg(reg.regAddr).arg(reg.bitSize).arg(reg.dataType);
        QVERIFY(reg.startValue == 0.0 && reg.gratingPeriod == 1.0 && reg.unit.isEmpty());
    }
    QCOMPARE(map.appEui, QStringLiteral("F1A7C0DE0000AB01"));
    QCOMPARE(regs, QStringList({"fcnt 0 2/32 uinteger", "rssi 0 4/32 integer", "ts 0 0/32 uinteger",
                                "A1 1 10/16 integer", "A2 1 11/16 integer", "A3 1 6/16 integer",
                                "C1 1 20/16 integer", "Alarm 1 10/16 integer"}));
    QVERIFY(SDeviceTemplate().registerMap().regs.isEmpty());
}

void TestDeviceTemplate::shippedModbusSamples_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("appEuiAndColor");
    QTest::addColumn<QStringList>("packets");    // key/size
    QTest::addColumn<QStringList>("registers");  // offset/bits type, in register list order

    QTest::newRow("climate sensor") << "ClimateSensor_TH20.json" << "F1A7C0DE00000101 #2e86c1" << QStringList{"1/8", "2/14", "3/8", "4/13"}
        << QStringList{"2/32 uinteger", "4/16 integer", "5/16 integer", "0/32 uinteger", "10/16 integer", "11/16 uinteger",
                       "12/16 integer", "13/16 uinteger", "14/16 integer", "15/16 integer", "16/16 uinteger", "17/32 uinteger",
                       "19/32 uinteger", "21/16 uinteger", "10/16 integer", "11/16 uinteger", "22/16 integer", "23/64 uinteger", "27/32 text"};
    QTest::newRow("pulse counter") << "PulseCounter_PC2.json" << "F1A7C0DE00000202 #27ae60" << QStringList{"1/9", "2/9", "3/17", "4294967168/7"}
        << QStringList{"4/64 text", "2/32 uinteger", "8/64 text", "12/16 integer", "0/32 uinteger", "20/32 uinteger", "22/32 uinteger",
                       "24/32 integer", "26/32 integer", "28/64 uinteger", "32/64 integer", "36/16 uinteger", "37/16 integer", "38/32 uinteger"};
}

void TestDeviceTemplate::shippedModbusSamples()
{
    QFETCH(QString, fileName);
    QFETCH(QString, appEuiAndColor);
    QFETCH(QStringList, packets);
    QFETCH(QStringList, registers);

    const SDeviceTemplate parsed(sample(fileName));
    QVERIFY(parsed.isValid && !parsed.devType.isEmpty());
    QCOMPARE(parsed.appEui + ' ' + parsed.color.name(), appEuiAndColor);

    QStringList sizes;
    for (auto it = parsed.devicePackets.cbegin(); it != parsed.devicePackets.cend(); ++it) {
        sizes << QStringLiteral("%1/%2").arg(it.key()).arg(it->packetSize);
        // Each payload byte behind the type byte belongs to one field of a size that the decoder serves.
        QByteArray used(qMax(1, it->packetSize), '\0');
        used[0] = 1;
        for (const SDevicePacketField &field : it->packetFields) {
            QVERIFY2(QList<int>({8, 16, 32, 64}).contains(field.dataBitSize) && field.regBitSize == qMax(16, field.dataBitSize), qPrintable(field.dataName));
            for (int i = field.packetBias; i < field.packetBias + field.dataBitSize / 8; ++i) {
                QVERIFY2(i < used.size() && used.at(i) == 0, qPrintable(field.dataName));
                used[i] = 1;
            }
        }
        QVERIFY(!used.contains('\0'));
    }
    QCOMPARE(sizes, packets);

    // Registers overlap only where packets deliberately update the same value.
    QStringList regs;
    QMap<quint32, QString> owners;
    for (const DB::SDeviceRegDescription &reg : parsed.registerMap().regs) {
        regs << QStringLiteral("%1/%2 %3").arg(reg.regAddr).arg(reg.bitSize).arg(reg.dataType);
        for (quint32 addr = reg.regAddr; addr < reg.regAddr + (reg.bitSize + 15) / 16; ++addr) {
            QVERIFY2(owners.value(addr, reg.name) == reg.name, qPrintable(reg.name));
            owners.insert(addr, reg.name);
        }
    }
    QCOMPARE(regs, registers);
}

void TestDeviceTemplate::shippedTcpSample()
{
    QCOMPARE(QDir(QStringLiteral(SAMPLE_TEMPLATES_DIR)).entryList({QStringLiteral("*.json")}, QDir::Files),
             QStringList({"ClimateSensor_TH20.json", "PulseCounter_PC2.json", "TCP.json"}));
    const QJsonArray elements = sample(QStringLiteral("TCP.json")).value(QStringLiteral("data")).toArray();
    QCOMPARE(elements.size(), 1);
    const STCPDeviceTemplate parsed(elements.first().toObject());
    QVERIFY(parsed.isValid);
    QCOMPARE(parsed.appEui + ' ' + parsed.color.name() + ' ' + parsed.devType, QStringLiteral("F1A7C0DE00000303 #8e44ad RS-485 serial gateway SG-1"));
}

QTEST_GUILESS_MAIN(TestDeviceTemplate)
#include "tst_devicetemplate.moc"
