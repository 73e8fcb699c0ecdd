#include "logspy.h"
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QtTest>

namespace {

const QString kAppEui = QStringLiteral("F1A7C0DE0000DEC0");
const QString kTemplateFile = QStringLiteral("source/decode_kind.json");
// The same packets with negative values stored as two's complement.
const QString kTwosAppEui = QStringLiteral("F1A7C0DE0000DEC1");
const QString kTwosTemplateFile = QStringLiteral("source/decode_twos.json");
const QString kRxFile = QStringLiteral("rx.json");
constexpr quint32 kStartAddr = 100;
constexpr quint32 kSpan = 30;

// "type/bits/endianness" at a payload byte and a register.
QJsonObject field(const QString &name, const QString &shape, int packetBias, int regMapBias)
{
    const QStringList parts = shape.split(QLatin1Char('/'));
    QJsonObject object{{"data_name", name}, {"packet_bias", packetBias}, {"data_bit_bias", 0},
                       {"data_bit_size", parts.at(1).toInt()}, {"data_type", parts.at(0)},
                       {"reg_map_bias", regMapBias}, {"reg_bit_bias", 0}, {"reg_bit_size", parts.at(1).toInt()}};
    if (parts.size() > 2)
        object.insert("endianness", parts.at(2));
    return object;
}

QJsonObject datum(const QString &code, int regMapBias, int regBitSize)
{
    return {{"data_code", code}, {"data_name", code}, {"reg_map_bias", regMapBias}, {"reg_bit_bias", 0},
            {"reg_bit_size", regBitSize}};
}

QJsonObject packet(int type, int size, const QJsonArray &fields)
{
    return {{"packet_type", type}, {"packet_size", size}, {"packet_fields", fields}};
}

QByteArray templateText(const QString &appEui, bool twosComplement)
{
    const QJsonArray packets = {
        packet(1, 5, {field("Big", "uinteger/16/be", 1, 10), field("Little", "uinteger/16/LE", 3, 11)}),
        packet(2, 4, {field("Minus one", "integer/8", 1, 12), field("Signed", "integer/16/Be", 2, 13)}),
        packet(3, 13, {field("Counter", "uinteger/32/le", 1, 14), field("Balance", "integer/64/be", 5, 16)}),
        packet(4, 3, {field("Scaled", "uinteger/16/be", 1, 20)}),
        packet(5, 7, {field("Temperature", "integer/16/le", 1, 23), field("Level", "integer/32/be", 3, 24)}),
        packet(-56, 5, {field("Label", "text/32", 1, 21)}),
    };
    const QJsonArray data = {datum("ts", 0, 32), datum("rssi", 2, 16), datum("fcnt", 3, 32), datum("snr", 5, 16)};
    QJsonObject object{{"app_eui", appEui.toLower()}, {"dev_type", "Decode table"},
                       {"device_packets", packets}, {"server_data", data}};
    if (twosComplement)
        object.insert("signed_words", "twos_complement");
    return QJsonDocument(object).toJson();
}

const QJsonObject kRx{{"cmd", "rx"}, {"type", "UNCONF_UP"}, {"devEui", "00000000000000ff"},
                      {"ts", 1700000000123LL}, {"gatewayId", "aabbccddeeff0011"}, {"fcnt", 70000},
                      {"rssi", -87}, {"snr", 7.25}, {"data", "00"}};

// Address to word of the tool's register lines.
QMap<quint32, quint16> toolWords(const QStringList &lines)
{
    static const QRegularExpression pattern(QStringLiteral("^\\s*(\\d+)  0x([0-9a-f]{4})\\s+(\\d+)  "));
    QMap<quint32, quint16> words;
    for (const QString &line : lines) {
        const QRegularExpressionMatch match = pattern.match(line);
        if (match.hasMatch() && match.captured(2).toUShort(nullptr, 16) == match.captured(3).toUShort())
            words.insert(match.captured(1).toUInt(), match.captured(3).toUShort());
    }
    return words;
}

} // namespace

class TestToolDecode : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_program;
    LogSpy *m_log = nullptr;
    int m_device = 0;

private slots:
    void initTestCase()
    {
        QVERIFY(QDir().mkdir(QStringLiteral("source")));
        writeFile(kTemplateFile, templateText(kAppEui, false));
        writeFile(kTwosTemplateFile, templateText(kTwosAppEui, true));
        writeFile(kRxFile, QJsonDocument(kRx).toJson());
        m_program = std::make_unique<ProgramCore>(QStringLiteral("source"));
        m_log = new LogSpy;
        QVERIFY(CAllDeviceHandler::getInstance()->hasTemplate(kAppEui));
        QVERIFY(CAllDeviceHandler::getInstance()->hasTemplate(kTwosAppEui));
    }

    void cleanupTestCase()
    {
        delete m_log;
        m_program.reset();
    }

    void sameWordsAsTheProgram_data()
    {
        QTest::addColumn<bool>("twos");         // the template that stores two's complement
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<bool>("withRx");
        QTest::addColumn<bool>("byDevice");     // the stored device's start address and scaling
        QTest::addColumn<QString>("scaling");  // "multiplier/offset[/decimals]" stored for register 20
        QTest::addColumn<QStringList>("expected");  // "address=word", or the warning of a refused payload
        QTest::addColumn<int>("exitCode");
        const auto row = [](const char *name, bool twos, const char *payload, bool withRx, bool byDevice,
                            const QString &scaling, const QStringList &expected, int exitCode = 0) {
            QTest::newRow(name) << twos << QByteArray(payload) << withRx << byDevice << scaling << expected << exitCode;
        };

        row("byte orders", false, "0101020304", false, false, "", {"110=258", "111=1027"});
        row("signed values", false, "02fffffe", false, true, "", {"112=1", "113=2"});
        row("wide values", false, "0378563412fffffffffffffffe", false, true, "",
            {"114=4660", "115=22136", "116=0", "119=2"});
        // A ModBus read takes the hexadecimal digits of a stored text, so "ABCD" reads as one word.
        row("text", false, "c841424344", false, false, "", {"121=43981", "122=0"});
        row("default scaling", false, "040019", false, false, "", {"120=25"});
        row("stored scaling", false, "040019", false, true, "0.1/5", {"120=8"});
        row("server data of an rx message", false, "0101020304", true, true, "",
            {"100=25939", "101=61696", "102=87", "103=1", "104=4464"});
        // -100 and -10 stored as two's complement, in both byte orders and widths.
        row("twos: 8 and 16 bits", true, "02fffffe", false, true, "", {"112=65535", "113=65534"});
        row("twos: 16 bits le, 32 bits be", true, "059cfffffffff6", false, false, "",
            {"123=65436", "124=65535", "125=65526"});
        row("twos: 64 bits", true, "0378563412fffffffffffffffe", false, true, "",
            {"114=4660", "115=22136", "116=65535", "119=65534"});
        row("twos: scaled below zero", true, "040019", false, true, "0.1/-10", {"120=65528"});
        row("decimals kept", false, "040019", false, true, "0.1/5/1", {"120=75"});
        row("twos: decimals below zero", true, "040019", false, true, "0.1/-10/2", {"120=64786"});
        row("twos: server data", true, "0101020304", true, true, "", {"102=65449", "105=7"});
        row("sign text: 16 bits le, 32 bits be", false, "059cfffffffff6", false, false, "",
            {"123=100", "124=0", "125=10"});
        row("wrong size", false, "0101", false, true, "", {"WARNING: [CAllDeviceHandler::processDataSlot] Invalid "
                                                          "size of packet [01][0101]. Expect [5], real [2]"}, 1);
        row("unknown type", false, "09", true, false, "",
            {"WARNING: [CAllDeviceHandler::processDataSlot] Uncknown packet type [09]"}, 1);
    }

    void sameWordsAsTheProgram()
    {
        QFETCH(bool, twos);
        QFETCH(QByteArray, payload);
        QFETCH(bool, withRx);
        QFETCH(bool, byDevice);
        QFETCH(QString, scaling);
        QFETCH(int, exitCode);
        QFETCH(QStringList, expected);

        // A device of its own, so that no earlier uplink stands in the store.
        const QString devEui = QStringLiteral("00000000DEC0%1").arg(++m_device, 4, 16, QLatin1Char('0')).toUpper();
        const quint16 port = freePort();
        const QString appEui = twos ? kTwosAppEui : kAppEui;
        QVERIFY(ProgramCore::storeDevice(devEui, appEui, QStringLiteral("Table"), kStartAddr, port,
                                         ProtocolOption::ModBus));
        DB::SDeviceRegMapDescription device = CAllDeviceHandler::getInstance()->registerMap(appEui);
        device.devEui = devEui;
        device.startAddr = kStartAddr;
        device.port = port;
        CAllDeviceHandler::getInstance()->addNewDevice(device, ProtocolOption::ModBus);
        const QStringList parts = scaling.split(QLatin1Char('/'));
        if (parts.size() == 2) {
            QSqlQuery update(QSqlDatabase::database(DbName::connection));
            QVERIFY(update.exec(QStringLiteral("UPDATE dev_data SET grating_period = %3, start_value = %4 WHERE "
                                               "reg_addr = %1 AND device = (SELECT device FROM devices WHERE "
                                               "dev_eui = '%2');")
                                        .arg(QString::number(kStartAddr + 20), devEui, parts.at(0), parts.at(1))));
        } else if (parts.size() == 3) {
            // As the edit form saves it.
            QSqlQuery id(QSqlDatabase::database(DbName::connection));
            QVERIFY(id.exec(QStringLiteral("SELECT device FROM devices WHERE dev_eui = '%1';").arg(devEui)));
            QVERIFY(id.next());
            DB::SDeviceRegUpdate update;
            update.deviceId = id.value(0).toUInt();
            update.withDecimals = true;
            update.regs.append({kStartAddr + 20, parts.at(1).toDouble(), parts.at(0).toDouble(), QString(),
                                parts.at(2).toInt()});
            QVERIFY(CDataBaseHandler::getInstance()->updateRegInfo(update));
        }

        QStringList arguments{QStringLiteral("decode"), twos ? kTwosTemplateFile : kTemplateFile,
                              QString::fromLatin1(payload)};
        if (byDevice)
            arguments << QStringLiteral("--device") << devEui;
        else
            arguments << QStringLiteral("--start") << QString::number(kStartAddr);
        if (withRx)
            arguments << QStringLiteral("--rx") << kRxFile;
        const SToolRun run = runTool(arguments);
        QCOMPARE(run.exitCode, exitCode);

        API::SApiDeviceData uplink = withRx ? API::SApiDeviceData(kRx) : API::SApiDeviceData();
        uplink.devEui = devEui;
        uplink.data = QByteArray::fromHex(payload);
        uplink.valid = true;
        m_log->forget();
        CAllDeviceHandler::getInstance()->newPacketReceivedSlot(uplink);
        ProgramCore::settleStore();
        const QStringList programLog = m_log->takeLines();
        const QMap<quint16, quint16> programWords = CDataBaseHandler::getInstance()->getRegisterData(
                port, kStartAddr, kSpan);

        if (exitCode != 0) {
            QCOMPARE(run.outLines(), expected);
            QCOMPARE(programLog.mid(1), expected);
            for (const quint16 word : programWords)
                QCOMPARE(word, quint16(0));
            return;
        }
        const QMap<quint32, quint16> words = toolWords(run.outLines());
        QVERIFY(!words.isEmpty());
        for (const QString &pair : expected) {
            const QStringList parts = pair.split(QLatin1Char('='));
            QCOMPARE(words.value(parts.at(0).toUInt(), 0xffff), parts.at(1).toUShort());
        }
        for (auto it = programWords.cbegin(); it != programWords.cend(); ++it) {
            QVERIFY2(words.contains(it.key()) || it.value() == 0, qPrintable(QString::number(it.key())));
            QCOMPARE(words.value(it.key(), 0), it.value());
        }
        for (const quint32 address : words.keys())
            QVERIFY(programWords.contains(quint16(address)));
    }

    void refusesBadInput_data()
    {
        QTest::addColumn<QStringList>("arguments");  // after "decode"
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error");          // after "quillbar-tool decode: "
        const auto row = [](const char *name, const QStringList &arguments, int exitCode, const QString &error) {
            QTest::newRow(name) << arguments << exitCode << error;
        };

        row("bad hex", {kTemplateFile, "01zz"}, 2, R"(bad hex "01zz": whole bytes of hexadecimal digits)");
        row("odd digits", {kTemplateFile, "010"}, 2, R"(bad hex "010": whole bytes of hexadecimal digits)");
        row("missing template", {"absent.json", "01"}, 1, R"(no file "absent.json")");
        row("not JSON", {"rx.txt", "01"}, 1, R"("rx.txt" is not a usable device template)");
        row("not a template", {kRxFile, "01"}, 1, R"("rx.json" is not a usable device template)");
        row("rx not an uplink", {kTemplateFile, "01", "--rx", kTemplateFile}, 1,
            QStringLiteral(R"("%1" is not an uplink rx message)").arg(kTemplateFile));
        row("unknown device", {kTemplateFile, "01", "--device", "FFFF"}, 1,
            "device FFFF is not stored in the register file");
        row("device of another kind",
            {QStringLiteral(SAMPLE_TEMPLATES_DIR "/PulseCounter_PC2.json"), "01", "--device", "00000000DEC00001"}, 1,
            "device 00000000DEC00001 is of application EUI F1A7C0DE0000DEC0, the template of F1A7C0DE00000202");
        row("no payload", {kTemplateFile}, 2, "needs TEMPLATE.json and PAYLOAD_HEX");
        row("start past 16 bits", {kTemplateFile, "01", "--start", "65536"}, 2, R"(bad start address "65536")");
        row("unknown option", {"--colour"}, 2, "Unknown option 'colour'; see quillbar-tool decode --help");
    }

    void refusesBadInput()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, error);

        writeFile(QStringLiteral("rx.txt"), "rx: not JSON");
        const SToolRun run = runTool(QStringList(QStringLiteral("decode")) + arguments);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.err, QStringList(QStringLiteral("quillbar-tool decode: ") + error));
    }
};

QTEST_GUILESS_MAIN(TestToolDecode)
#include "tst_tooldecode.moc"
