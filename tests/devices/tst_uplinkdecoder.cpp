#include "devices/cuplinkdecoder.h"
#include "logspy.h"
#include "testworkdir.h"

#include <QJsonArray>
#include <QtTest>

#include <algorithm>

namespace {

constexpr quint32 kStartAddr = 100;
constexpr int kFieldBias = 4;

// A field of "type/bits/endianness".
QJsonObject field(const QString &shape, int packetBias = 1, int regMapBias = kFieldBias, int bitBias = 0)
{
    const QStringList parts = shape.split(QLatin1Char('/'));
    QJsonObject object{{"data_name", "f"}, {"packet_bias", packetBias}, {"data_bit_bias", bitBias},
                       {"data_bit_size", parts.at(1).toInt()}, {"data_type", parts.at(0)},
                       {"reg_map_bias", regMapBias}, {"reg_bit_bias", 0},
                       {"reg_bit_size", qMin(parts.at(1).toInt(), 64)}};
    if (parts.size() > 2)
        object.insert("endianness", parts.at(2));
    return object;
}

QJsonObject packet(qint32 type, int size, const QJsonArray &fields)
{
    return {{"packet_type", type}, {"packet_size", size}, {"packet_fields", fields}};
}

SDeviceTemplate makeTemplate(const QJsonArray &packets, const QJsonArray &serverData = {})
{
    return SDeviceTemplate(QJsonObject{{"app_eui", "F1A7C0DE0000D001"}, {"dev_type", "Fields"},
                                       {"device_packets", packets}, {"server_data", serverData}});
}

API::SApiDeviceData uplink(const QByteArray &payload, const QString &devEui = QStringLiteral("00000000000000F1"))
{
    API::SApiDeviceData data;
    data.devEui = devEui;
    data.ts = Q_UINT64_C(1700000000123);
    data.gatewayId = QStringLiteral("0011223344556677");
    data.fcnt = 0x12345;
    data.rssi = -113;
    data.snr = -9.5;
    data.data = QByteArray::fromHex(payload);
    data.valid = true;
    return data;
}

// "offset:value|full value" by ascending offset.
QStringList texts(const std::optional<DB::SDbDeviceRegDataSet> &set)
{
    if (!set)
        return {QStringLiteral("no set")};
    QList<DB::SDbRegValue> regs = set->regs;
    std::stable_sort(regs.begin(), regs.end(), [](const auto &a, const auto &b) { return a.regOffset < b.regOffset; });
    QStringList result;
    for (const DB::SDbRegValue &reg : regs)
        result.append(QStringLiteral("%1:%2|%3").arg(reg.regOffset).arg(reg.value, reg.fullValue));
    return result;
}

CUplinkDecoder::ScalingLookup unscaled()
{
    return [](quint32) { return DB::SRegisterParam(); };
}

} // namespace

class TestUplinkDecoder : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    LogSpy *m_log = nullptr;

private slots:
    void initTestCase()
    {
        m_log = new LogSpy;
    }

    void fieldsBecomeRegisters_data()
    {
        QTest::addColumn<QString>("shape");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<double>("grating");
        QTest::addColumn<double>("start");
        QTest::addColumn<QStringList>("registers");  // "value|full value" from the field's register on

        // Most fields are read unscaled: a grating of 1 from a start value of 0.
        const auto addRow = [](const char *name, const char *shape, const QByteArray &bytes,
                               const QStringList &registers, double grating = 1.0, double start = 0.0) {
            QTest::newRow(name) << QString(shape) << bytes << grating << start << registers;
        };
        addRow("u16 be", "uinteger/16/be", "0102", {"0102|0102"});
        addRow("u16 le", "uinteger/16/le", "0102", {"0201|0201"});
        addRow("u32 le", "uinteger/32/le", "78563412", {"1234|12345678", "5678|"});
        addRow("i8 minus one", "integer/8", "ff", {"-001|-001"});
        addRow("u8 255", "uinteger/8", "ff", {"00ff|00ff"});
        addRow("i16 2.5 rounds up", "integer/16/be", "0019", {"0003|0003"}, 0.1);
        addRow("i16 -2.5 rounds down", "integer/16/be", "ffe7", {"-003|-003"}, 0.1);
        addRow("i16 wide negative loses its sign", "integer/16/be", "edcc", {"1234|1234"});
        addRow("u16 start value", "uinteger/16/le", "0500", {"000f|000f"}, 1.0, 10.4);
        addRow("u8 overflow wraps", "uinteger/8", "c8", {"0d40|0d40"}, 1000.0);
        addRow("i32 negative", "integer/32/be", "ffffff9c", {"-000|-0000064", "0064|"}, 1.0, 0.5);
        addRow("u64 truncates", "uinteger/64/be", "0000000000000019",
               {"0000|0000000000000002", "0000|", "0000|", "0002|"}, 0.1);
        addRow("i64 rounds", "integer/64/be", "0000000000000019",
               {"0000|0000000000000003", "0000|", "0000|", "0003|"}, 0.1);
        addRow("i64 le minus one", "integer/64/le", "ffffffffffffffff",
               {"-000|-000000000000001", "0000|", "0000|", "0001|"});
        addRow("u64 above 2^63", "uinteger/64/be", "8000000000000000",
               {"8000|8000000000000000", "0000|", "0000|", "0000|"});
        addRow("text of 1 byte, unscaled", "text/8", "41", {"A|A"}, 2.0, 5.0);
        addRow("text of 4 bytes", "text/32", "76312e32", {"v1.2|v1.2"});
        addRow("text of 8 bytes", "text/64", "4142434445464748", {"ABCD|ABCDEFGH", "EFGH|"});
    }

    void fieldsBecomeRegisters()
    {
        QFETCH(QString, shape);
        QFETCH(QByteArray, bytes);
        QFETCH(double, grating);
        QFETCH(double, start);
        QFETCH(QStringList, registers);

        const SDeviceTemplate deviceTemplate = makeTemplate({packet(7, 1 + bytes.size() / 2, {field(shape)})});
        // The scaling belongs to the field's register at its absolute address.
        const CUplinkDecoder decoder(deviceTemplate, [grating, start](quint32 regAddr) {
            DB::SRegisterParam param;
            if (regAddr == kStartAddr + kFieldBias)
                param = {regAddr, start, grating, QString()};
            return param;
        });

        QStringList expected;
        for (int i = 0; i < registers.size(); ++i)
            expected.append(QStringLiteral("%1:%2").arg(kFieldBias + i).arg(registers.at(i)));
        QCOMPARE(texts(decoder.decode(uplink("07" + bytes), kStartAddr)), expected);
    }

    void refusedFieldKeepsTheRest_data()
    {
        QTest::addColumn<QString>("shape");
        QTest::addColumn<int>("bitBias");
        QTest::addColumn<QString>("log");

        const QString warning = QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Unsupport ");
        const QString error = QStringLiteral("ERROR: [CAllDeviceHandler::processDataSlot] Unsupport ");
        QTest::newRow("three bytes") << "uinteger/24/be" << 0 << warning + "size of data [3]";
        QTest::newRow("sixteen bytes") << "uinteger/128/be" << 0 << warning + "size of data [16]";
        QTest::newRow("12 bits") << "uinteger/12/be" << 0 << error + "functional";
        QTest::newRow("bit bias 4") << "integer/8" << 4 << error + "functional";
        QTest::newRow("boolean") << "boolean/8" << 0 << warning + "data type [boolean] for size [1]";
        QTest::newRow("type word case") << "Integer/16/be" << 0 << warning + "data type [Integer] for size [2]";
        QTest::newRow("percent in the type word") << "rate%1/16/be" << 0 << warning + "data type [rate%1] for size [2]";
    }

    void refusedFieldKeepsTheRest()
    {
        QFETCH(QString, shape);
        QFETCH(int, bitBias);
        QFETCH(QString, log);
        m_log->forget();

        const SDeviceTemplate deviceTemplate = makeTemplate(
                {packet(40, 5, {field(shape, 1, kFieldBias, bitBias), field("uinteger/8", 4, kFieldBias + 1)})});
        QCOMPARE(texts(CUplinkDecoder(deviceTemplate, unscaled()).decode(uplink("280102032a"), kStartAddr)),
                 QStringList(QStringLiteral("%1:002a|002a").arg(kFieldBias + 1)));
        QCOMPARE(m_log->takeLines(), QStringList(log));
    }

    void packetSelection_data()
    {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("log");   // empty when the packet is decoded

        const QString unknown = QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] "
                                               "Uncknown packet type [%1]");
        const QString size = QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Invalid size of packet "
                                            "[%1][%2]. Expect [%3], real [%4]");
        QTest::newRow("negative type") << QByteArray("c82a") << QString();
        QTest::newRow("unknown type") << QByteArray("63aa") << unknown.arg("99");
        QTest::newRow("zero filled") << QByteArray("00") << unknown.arg("00");
        QTest::newRow("negative unknown") << QByteArray("f6") << unknown.arg("-10");
        QTest::newRow("201 is not 0xc9") << QByteArray("c901") << unknown.arg("-55");
        QTest::newRow("too long") << QByteArray("01010203") << size.arg("01", "01010203", "3", "4");
        QTest::newRow("too short") << QByteArray("0101") << size.arg("01", "0101", "3", "2");
        QTest::newRow("negative type too short") << QByteArray("c8") << size.arg("-56", "c8", "2", "1");
    }

    void packetSelection()
    {
        QFETCH(QByteArray, payload);
        QFETCH(QString, log);
        m_log->forget();

        const QJsonArray rssi = {QJsonObject{{"data_code", "rssi"}, {"data_name", "rssi"}, {"reg_map_bias", 0},
                                             {"reg_bit_bias", 0}, {"reg_bit_size", 16}}};
        const SDeviceTemplate deviceTemplate = makeTemplate({packet(1, 3, {field("uinteger/16/be")}),
                                                             packet(-56, 2, {field("uinteger/8")}),
                                                             packet(201, 2, {field("uinteger/8")})}, rssi);
        const auto set = CUplinkDecoder(deviceTemplate, unscaled()).decode(uplink(payload), kStartAddr);

        // A refused packet saves not even the server data.
        QCOMPARE(texts(set), log.isEmpty() ? QStringList({"0:-071|-071", "4:002a|002a"}) : QStringList("no set"));
        QCOMPARE(m_log->takeLines(), log.isEmpty() ? QStringList() : QStringList(log));
    }

    void packetWithoutSizeRefusesItsUplinks()
    {
        m_log->forget();
        QJsonObject sizeless = packet(1, 3, {field("uinteger/16/be")});
        sizeless.remove("packet_size");
        const SDeviceTemplate deviceTemplate = makeTemplate({sizeless});
        QVERIFY(deviceTemplate.isValid);

        QCOMPARE(texts(CUplinkDecoder(deviceTemplate, unscaled()).decode(uplink("010203"), kStartAddr)),
                 QStringList("no set"));
        QCOMPARE(m_log->takeLines(), QStringList("WARNING: [CAllDeviceHandler::processDataSlot] Invalid size of "
                                                 "packet [01][010203]. Expect [0], real [3]"));
    }

    // Server data ahead of a packet field at 15, in registers of the size each row gives.
    void serverData_data()
    {
        QTest::addColumn<QStringList>("codes");
        QTest::addColumn<int>("regBitSize");
        QTest::addColumn<quint64>("milliseconds");
        QTest::addColumn<QStringList>("expected");

        const auto addRow = [](const char *name, const QStringList &codes, int regBitSize, quint64 milliseconds,
                               const QStringList &expected) {
            QTest::newRow(name) << codes << regBitSize << milliseconds << expected;
        };
        // The time stamp keeps its whole text.
        addRow("ts of eight digits", {"ts"}, 64, Q_UINT64_C(1700000000123), {"0:6553|6553f100", "1:f100|"});
        addRow("ts of 2^32 seconds", {"ts"}, 64, Q_UINT64_C(4294967296000), {"0:1000|100000000", "1:0000|"});
        addRow("ts in microseconds", {"ts"}, 64, Q_UINT64_C(1700000000123456), {"0:18bc|18bcfe5687b", "1:687b|"});

        // Every keyword: the time stamp and rssi come first in each.
        const auto addSizeRow = [&addRow](const char *name, int regBitSize, const QStringList &afterRssi) {
            addRow(name, {"ts", "rssi", "snr", "fcnt", "gatewayId", "devEui"}, regBitSize, Q_UINT64_C(1700000000123),
                   QStringList{"0:6553|6553f100", "1:f100|", "2:-071|-071"} + afterRssi);
        };
        addSizeRow("64 bits", 64, {"3:-000|-000000a", "4:000a|", "5:0001|00012345", "6:2345|",
                                   "7:0011|0011223344556677", "8:2233|", "9:4455|", "10:6677|",
                                   "11:0011|0011223344556664", "12:2233|", "13:4455|", "14:6664|"});
        addSizeRow("48 bits", 48, {"3:-000|-000000a", "4:000a|", "5:0001|00012345", "6:2345|", "7:2233|223344556677",
                                   "8:4455|", "9:6677|", "11:2233|223344556648", "12:4455|", "13:6648|"});
        addSizeRow("32 bits", 32, {"3:-000|-000000a", "4:000a|", "5:0001|00012345", "6:2345|", "7:4455|44556677",
                                   "8:6677|", "11:4455|44556632", "12:6632|"});
        addSizeRow("16 bits", 16, {"3:000a|000a", "5:2345|2345", "7:6677|6677", "11:6616|6616"});
    }

    void serverData()
    {
        QFETCH(QStringList, codes);
        QFETCH(int, regBitSize);
        QFETCH(quint64, milliseconds);
        QFETCH(QStringList, expected);

        const QMap<QString, int> biases = {{"ts", 0}, {"rssi", 2}, {"snr", 3}, {"fcnt", 5}, {"gatewayId", 7},
                                           {"devEui", 11}};
        QJsonArray data;
        for (const QString &code : codes) {
            data.append(QJsonObject{{"data_code", code}, {"data_name", code}, {"reg_map_bias", biases.value(code)},
                                    {"reg_bit_bias", 0}, {"reg_bit_size", regBitSize}});
        }
        const SDeviceTemplate deviceTemplate = makeTemplate({packet(0x2a, 1, {field("uinteger/8", 0, 15)})}, data);
        API::SApiDeviceData uplinkData = uplink("2a", QStringLiteral("00112233445566%1").arg(regBitSize));
        uplinkData.ts = milliseconds;
        QCOMPARE(texts(CUplinkDecoder(deviceTemplate, unscaled()).decode(uplinkData, kStartAddr)),
                 expected + QStringList("15:002a|002a"));
    }
};

QTEST_GUILESS_MAIN(TestUplinkDecoder)
#include "tst_uplinkdecoder.moc"
