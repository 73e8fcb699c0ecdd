#include "devices/devicetemplate.h"
#include "devices/tcpdevicetemplate.h"
#include "logspy.h"
#include "testworkdir.h"

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
QByteArray deviceTemplate(const QByteArray &rest)
{
    return R"({"app_eui":"f1a7c0de0000ab01","dev_type":"Kind")" + rest + '}';
}

const QByteArray kOnePacket = deviceTemplate(",\"device_packets\":[" + packet(1, field("A")) + ']');

// Undefined removes the key.
QByteArray withValue(const QByteArray &text, const QString &key, const QJsonValue &value)
{
    QJsonObject object = json(text);
    object.insert(key, value);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QStringList fault(const char *record, const char *reason)
{
    return {QStringLiteral("[%1] %2").arg(QLatin1String(record), QLatin1String(reason))};
}

const QStringList kEndiannessFault = fault("SDevicePacketField",
                                           R"(Invalid endianness field value, can be "le" or "be")");

QByteArray downlinkField(const QByteArray &extra = QByteArray(), int regMapBias = 10)
{
    return R"({"data_name":"V","reg_map_bias":)" + QByteArray::number(regMapBias)
           + R"(,"packet_bias":1,"data_bit_size":16,"data_type":"integer")" + extra + '}';
}

QByteArray downlink(const QByteArray &name, const QByteArray &fields, const QByteArray &extra = QByteArray(),
                    int statusReg = 20)
{
    return R"({"name":")" + name + R"(","port":10,"packet_type":16,"status_reg":)" + QByteArray::number(statusReg)
           + R"(,"status_time_reg":)" + QByteArray::number(statusReg + 1) + R"(,"packet_fields":[)" + fields + ']'
           + extra + '}';
}

QStringList refusedForItsField(const char *reason)
{
    return fault("SDownlinkField", reason) + QStringList{R"([SDownlink] Downlink "D": refused for its invalid field)"};
}

struct SRecord
{
    const char *name;
    Parse parse;
    QByteArray valid;
    QList<const char *> requiredKeys;
};

} // namespace

Q_DECLARE_METATYPE(Parse)

class TestDeviceTemplate : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    void faultsDropTheirElement_data()
    {
        QTest::addColumn<Parse>("parse");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QStringList>("debugLines");
        QTest::addColumn<bool>("valid");

        const QList<SRecord> records = {
            {"SDeviceTemplate", parsedValid<SDeviceTemplate>, kOnePacket, {"app_eui", "dev_type"}},
            {"SDevicePacket", parsedValid<SDevicePacket>, packet(1, field("A")), {"packet_type", "packet_fields"}},
            {"SDevicePacketField", parsedValid<SDevicePacketField>, field("A"),
             {"packet_bias", "data_bit_bias", "data_bit_size", "data_type", "reg_map_bias", "reg_bit_bias",
              "reg_bit_size", "data_name"}},
            {"SServerData", parsedValid<SServerData>, datum("fcnt"),
             {"data_code", "data_name", "reg_map_bias", "reg_bit_bias", "reg_bit_size"}},
            {"STCPDeviceTemplate", parsedValid<STCPDeviceTemplate>, R"({"app_eui":"a1","dev_type":"x"})",
             {"app_eui", "dev_type"}},
        };
        for (const SRecord &record : records) {
            // A packet alone stays silent about an empty object.
            const bool silent = QByteArray(record.name) == "SDevicePacket";
            QTest::addRow("%s: empty", record.name) << record.parse << QByteArray("{}")
                                                    << (silent ? QStringList() : fault(record.name, "Empty input JSON"))
                                                    << false;
            for (const char *key : record.requiredKeys) {
                QTest::addRow("%s: no %s", record.name, key)
                        << record.parse << withValue(record.valid, key, QJsonValue::Undefined)
                        << fault(record.name, "Invalid input JSON") << false;
                QTest::addRow("%s: null %s", record.name, key)
                        << record.parse << withValue(record.valid, key, QJsonValue::Null)
                        << fault(record.name, "One or several values of input JSON is NULL") << false;
            }
        }

        const Parse modbus = parsedValid<SDeviceTemplate>;
        const Parse packetField = parsedValid<SDevicePacketField>;
        QTest::newRow("template: no packets") << modbus << deviceTemplate("")
                                              << fault("SDeviceTemplate", "Device packets array is empty") << false;
        QTest::newRow("template: all packets bad")
                << modbus << deviceTemplate(R"(,"device_packets":[{},{"packet_type":1},)"
                                            R"({"packet_type":2,"packet_fields":[]},7])")
                << fault("SDevicePacket", "Invalid input JSON") + fault("SDevicePacket", "Packet fields array is empty")
                           + fault("SDeviceTemplate", "Device packets array is empty") << false;
        QTest::newRow("template: texts of wrong type")
                << modbus << withValue(withValue(kOnePacket, "app_eui", 1), "dev_type", 2) << QStringList() << true;
        // The opt-in word is exact: a misspelt one would store magnitudes unnoticed.
        const QStringList signedWordsFault = fault("SDeviceTemplate",
                                                   R"(Invalid signed_words value, can be "twos_complement")");
        QTest::newRow("template: two's complement")
                << modbus << withValue(kOnePacket, "signed_words", "twos_complement") << QStringList() << true;
        QTest::newRow("template: signed_words misspelt")
                << modbus << withValue(kOnePacket, "signed_words", "twos-complement") << signedWordsFault << false;
        QTest::newRow("template: signed_words not a text")
                << modbus << withValue(kOnePacket, "signed_words", true) << signedWordsFault << false;
        QTest::newRow("packet: all fields bad")
                << Parse(parsedValid<SDevicePacket>) << packet(1, "{}," + field("A", 3, R"(,"endianness":"mixed")"))
                << fault("SDevicePacketField", "Empty input JSON") + kEndiannessFault << false;
        QTest::newRow("field: register wider than 64 bits")
                << packetField << withValue(field("A"), "reg_bit_size", 2147483647)
                << fault("SDevicePacketField", "Invalid register size [2147483647], can be 0 to 64 bits") << false;
        QTest::newRow("field: negative register size") << packetField << withValue(field("A"), "reg_bit_size", -16)
                << fault("SDevicePacketField", "Invalid register size [-16], can be 0 to 64 bits") << false;
        QTest::newRow("field: 64-bit register")
                << packetField << withValue(field("A"), "reg_bit_size", 64) << QStringList() << true;
        QTest::newRow("datum: register wider than 64 bits")
                << Parse(parsedValid<SServerData>) << withValue(datum("ts"), "reg_bit_size", 65)
                << QStringList{"[ts] - bitSize[64], type[uinteger]",
                               "[SServerData] Invalid register size [65], can be 0 to 64 bits"} << false;
        QTest::newRow("field: null endianness")
                << packetField << field("A", 3, R"(,"endianness":null)") << kEndiannessFault << false;
    }

    void faultsDropTheirElement()
    {
        QFETCH(Parse, parse);
        QFETCH(QByteArray, text);
        QFETCH(QStringList, debugLines);
        QFETCH(bool, valid);

        for (const QString &line : debugLines)
            QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
        QCOMPARE(parse(json(text)), valid);
    }

    // A refused entry leaves the template and its other entries standing.
    void downlinkEntries_data()
    {
        QTest::addColumn<QByteArray>("downlinks");
        QTest::addColumn<QStringList>("debugLines");
        QTest::addColumn<int>("accepted");

        const QByteArray one = downlinkField();
        const auto entries = [](const QByteArray &list) { return '[' + list + ']'; };
        QTest::newRow("accepted") << entries(downlink("D", one, R"(,"confirmed":true)")) << QStringList() << 1;
        QTest::newRow("not an array") << QByteArray(R"({"name":"D"})")
                << fault("SDeviceTemplate", "Invalid downlinks value, must be an array of entries") << 0;
        QTest::newRow("no LoRaWAN port") << entries(withValue(downlink("D", one), "port", QJsonValue::Undefined))
                << fault("SDownlink", "Invalid input JSON") << 0;
        QTest::newRow("LoRaWAN port 224") << entries(withValue(downlink("D", one), "port", 224))
                << QStringList{R"([SDownlink] Downlink "D": invalid LoRaWAN port [224], can be 1 to 223)"} << 0;
        const auto addRefusedField = [&entries](const char *name, const QByteArray &field, const char *reason) {
            QTest::newRow(name) << entries(downlink("D", field)) << refusedForItsField(reason) << 0;
        };
        addRefusedField("boolean field", withValue(one, "data_type", "boolean"),
                        "Invalid data type [boolean], can be integer, uinteger or text");
        addRefusedField("limit as a text", downlinkField(R"(,"max":"300")"), "Invalid max: it must be a number");
        addRefusedField("min above max", downlinkField(R"(,"min":5,"max":4)"),
                        "Invalid limits: min [5] is above max [4]");
        addRefusedField("multiplier 0", downlinkField(R"(,"multiplier":0)"),
                        "Invalid multiplier or offset: the multiplier must not be 0");
        addRefusedField("on the packet type's byte", withValue(one, "packet_bias", 0),
                        "Invalid packet bias [0], can be 1 to 254: byte 0 is the packet type");
        addRefusedField("text wider than its register", downlinkField(R"(,"data_type":"text","data_bit_size":24)"),
                        "Invalid size of text [24], can be whole bytes up to the register size");
        QTest::newRow("two fields on one byte")
                << entries(downlink("D", one + ',' + withValue(downlinkField({}, 11), "packet_bias", 2)))
                << QStringList{R"([SDownlink] Downlink "D": two fields take payload byte 2)"} << 0;
        QTest::newRow("packet too short for its fields") << entries(downlink("D", one, R"(,"packet_size":2)"))
                << QStringList{R"([SDownlink] Downlink "D": packet size [2] does not hold its fields (3 bytes))"} << 0;
        QTest::newRow("status register over an uplink register") << entries(downlink("D", one, {}, 3))
                << fault("SDeviceTemplate", R"(Downlink "D" refused: its status register 3 is an uplink register)")
                << 0;
        QTest::newRow("a register of an earlier entry")
                << entries(downlink("D", one) + ',' + downlink("E", one, {}, 30))
                << fault("SDeviceTemplate", R"(Downlink "E" refused: register 10 belongs to another downlink)") << 1;
    }

    void downlinkEntries()
    {
        QFETCH(QByteArray, downlinks);
        QFETCH(QStringList, debugLines);
        QFETCH(int, accepted);

        for (const QString &line : debugLines)
            QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
        const SDeviceTemplate parsed(json(withValue(kOnePacket, "downlinks",
                                                    QJsonDocument::fromJson("[" + downlinks + "]").array().at(0))));
        QVERIFY(parsed.isValid);
        QCOMPARE(parsed.downlinks.size(), accepted);
        QCOMPARE(parsed.refusedDownlinks, debugLines.isEmpty() ? 0 : 1);
    }

    void endiannessInAnyCase_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("endianness");

        for (const char *word : {"be", "BE", "bE"})
            QTest::newRow(word) << QString(word) << int(SDevicePacketField::BigEndian);
        for (const char *word : {"LE", "Le"})
            QTest::newRow(word) << QString(word) << int(SDevicePacketField::LittleEndian);
    }

    void endiannessInAnyCase()
    {
        QFETCH(QString, word);
        QFETCH(int, endianness);

        const SDevicePacketField parsed(json(withValue(field("A"), "endianness", word)));
        QVERIFY(parsed.isValid);
        QCOMPARE(int(parsed.endianness), endianness);
    }

    void laterDuplicatesWin()
    {
        const QByteArray packets = R"(,"device_packets":[)" + packet(2, field("Old")) + ','
                + packet(-56, field("Alarm")) + R"(,{"packet_type":2,"packet_fields":[)" + field("New") + "]}]";
        const QByteArray data = R"(,"server_data":[)" + datum("fcnt", 1) + ',' + datum("fcnt", 9) + "]";
        const SDeviceTemplate parsed(json(deviceTemplate(packets + data)));
        QVERIFY(parsed.isValid);
        QCOMPARE(parsed.devicePackets.keys(), QList<quint32>({2u, 0xFFFFFFC8u}));
        QCOMPARE(parsed.devicePackets.value(2).packetFields.first().dataName, QStringLiteral("New"));
        QCOMPARE(parsed.serverData.value(QStringLiteral("fcnt")).regMapBias, 9);

        // The EUI is the key in upper case, for TCP templates too.
        QCOMPARE(parsed.appEui, QStringLiteral("F1A7C0DE0000AB01"));
        QCOMPARE(STCPDeviceTemplate(json(R"({"app_eui":"f1a7c0de0000ab01","dev_type":"G"})")).appEui, parsed.appEui);
    }

    void unknownServerKeywordIsLogged()
    {
        LogSpy log;
        QTest::ignoreMessage(QtDebugMsg, "[rssi] - bitSize[16], type[integer]");
        const QJsonValue data = QJsonDocument::fromJson("[" + datum("rssi") + ',' + datum("RSSI") + "]").array();
        const SDeviceTemplate parsed(json(withValue(kOnePacket, "server_data", data)));
        QVERIFY(parsed.isValid);
        QCOMPARE(parsed.serverData.keys(), QStringList{"rssi"});
        QCOMPARE(log.takeLines(), QStringList("ERROR: [SServerData] Server keyword [RSSI] is unknown!"));
    }

    void registerMapOrder()
    {
        const QByteArray text = deviceTemplate(
                R"(,"server_data":[)" + datum("ts", 0) + ',' + datum("rssi", 4) + ',' + datum("fcnt", 2) + "],"
                R"("device_packets":[)" + packet(3, field("C1", 20)) + ',' + packet(-56, field("Alarm", 10))
                + ',' + packet(1, field("A1", 10) + ',' + field("A2", 11) + ',' + field("A3", 6)) + ']');
        const DB::SDeviceRegMapDescription map = SDeviceTemplate(json(text)).registerMap();

        QStringList regs;
        for (const DB::SDeviceRegDescription &reg : map.regs) {
            regs << QStringLiteral("%1 %2 %3/%4 %5").arg(reg.name).arg(reg.source).arg(reg.regAddr).arg(reg.bitSize)
                            .arg(reg.dataType);
            QVERIFY(reg.startValue == 0.0 && reg.gratingPeriod == 1.0 && reg.unit.isEmpty());
        }
        QCOMPARE(map.appEui, QStringLiteral("F1A7C0DE0000AB01"));
        QCOMPARE(regs, QStringList({"fcnt 0 2/32 uinteger", "rssi 0 4/32 integer", "ts 0 0/32 uinteger",
                                    "A1 1 10/16 integer", "A2 1 11/16 integer", "A3 1 6/16 integer",
                                    "C1 1 20/16 integer", "Alarm 1 10/16 integer"}));
    }
};

QTEST_GUILESS_MAIN(TestDeviceTemplate)
#include "tst_devicetemplate.moc"
