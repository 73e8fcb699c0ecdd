#include "devices/calldevicehandler.h"
#include "logspy.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QtTest>

namespace {

using Files = QMap<QString, QByteArray>;

QByteArray field(const QByteArray &name, int packetBias, int bits, int regMapBias, int regBits = -1)
{
    return R"({"data_name":")" + name + R"(","packet_bias":)" + QByteArray::number(packetBias)
            + R"(,"data_bit_bias":0,"data_bit_size":)" + QByteArray::number(bits)
            + R"(,"data_type":"uinteger","endianness":"be","reg_map_bias":)" + QByteArray::number(regMapBias)
            + R"(,"reg_bit_bias":0,"reg_bit_size":)" + QByteArray::number(regBits < 0 ? bits : regBits) + '}';
}

// A packet_size below 0 leaves the key out.
QByteArray packet(int type, int size, const QByteArray &fields)
{
    const QByteArray sizeKey = size < 0 ? QByteArray() : R"("packet_size":)" + QByteArray::number(size) + ',';
    return R"({"packet_type":)" + QByteArray::number(type) + ',' + sizeKey + R"("packet_fields":[)" + fields + "]}";
}

QByteArray deviceTemplate(const QByteArray &appEui, const QByteArray &packets)
{
    return R"({"app_eui":")" + appEui + R"(","dev_type":"Kind )" + appEui + R"(","device_packets":[)" + packets + "]}";
}

const QByteArray kGood = deviceTemplate("f1a7c0de0000c001", packet(1, 5, field("Level", 1, 16, 10) + ','
                                                                         + field("Total", 3, 16, 11)));
const QByteArray kTcp = R"({"data":[{"app_eui":"f1a7c0de0000c0f1","dev_type":"Gateway"}]})";

void writeFiles(const QString &folder, const Files &files)
{
    QVERIFY(QDir().mkpath(folder));
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        writeFile(QDir(folder).filePath(it.key()), it.value());
}

// Whether `lines` holds `wanted` in this order, other lines between.
bool inOrder(const QStringList &lines, const QStringList &wanted)
{
    int next = 0;
    for (const QString &line : lines) {
        if (next < wanted.size() && line == wanted.at(next))
            ++next;
    }
    return next == wanted.size();
}

} // namespace

class TestToolCheck : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    int m_folder = 0;

private slots:
    void reportsEachFile_data()
    {
        QTest::addColumn<Files>("files");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("lines");
        const auto row = [](const char *name, const Files &files, int exitCode, const QStringList &lines) {
            QTest::newRow(name) << files << exitCode << lines;
        };
        const auto withSignedWords = [](const QByteArray &value) {
            return QByteArray(kGood).replace(R"("dev_type")", R"("signed_words":")" + value + R"(","dev_type")");
        };

        row("good", {{"good.json", kGood}, {"TCP.json", kTcp}}, 0,
            {"good.json: 1 accepted, 0 refused", "  Device [F1A7C0DE0000C001] inited SUCCESSULLY",
             "    offset   registers   name                                 type       source",
             "    10       1           Level                                uinteger   packet 1",
             "TCP.json: 1 accepted, 0 refused", "  TCP template F1A7C0DE0000C0F1 \"Gateway\", colour #94999d",
             "2 files, 2 templates accepted, 0 refused, 0 warnings"});
        row("two's complement", {{"twos.json", withSignedWords("twos_complement")}}, 0,
            {"  template F1A7C0DE0000C001 \"Kind f1a7c0de0000c001\", colour #94999d, negative values as two's "
             "complement"});
        row("signed_words misspelt", {{"twos.json", withSignedWords("twos")}}, 1,
            {"twos.json: 0 accepted, 1 refused",
             "  [SDeviceTemplate] Invalid signed_words value, can be \"twos_complement\""});
        row("duplicate", {{"a.json", kGood}, {"b.json", QByteArray(kGood).replace("c001", "C001")}}, 1,
            {"a.json: 1 accepted, 0 refused", "b.json: 0 accepted, 1 refused",
             "  Device [F1A7C0DE0000C001] already inited. Skip",
             "2 files, 1 templates accepted, 1 refused, 0 warnings"});
        row("broken", {{"broken.json", R"({"app_eui": })"}}, 1,
            {"broken.json: 0 accepted, 1 refused",
             "  ERROR: [CAllDeviceHandler] Invalid parsing JSON file [FOLDER/broken.json]: error[object is missing "
             "after a comma], row[13]"});
        row("broken on line 3", {{"broken.json", "{\n  \"app_eui\": \"x\",\n  \"dev_type\": ,\n}\n"}}, 1,
            {"  ERROR: [CAllDeviceHandler] Invalid parsing JSON file [FOLDER/broken.json]: error[illegal value], "
             "row[35]", "  at line 3, column 16"});
        row("register too wide",
            {{"wide.json", deviceTemplate("f1a7c0de0000c002", packet(1, 3, field("W", 1, 16, 0, 2147483647)))}}, 1,
            {"wide.json: 0 accepted, 1 refused",
             "  [SDevicePacketField] Invalid register size [2147483647], can be 0 to 64 bits",
             "  [SDeviceTemplate] Device packets array is empty"});
        row("past packet_size",
            {{"short.json", deviceTemplate("f1a7c0de0000c003", packet(1, 3, field("Long", 1, 32, 0)))}}, 1,
            {"short.json: 1 accepted, 0 refused",
             "  warning: packet 1 field \"Long\" reaches byte 5, past packet_size 3: the missing bytes read as zeros",
             "1 files, 1 templates accepted, 0 refused, 1 warnings"});
        row("before the payload",
            {{"early.json", deviceTemplate("f1a7c0de0000c008", packet(1, 3, field("Early", -1, 16, 0)))}}, 1,
            {"  warning: packet 1 field \"Early\" starts before the payload (packet_bias -1): the program reads it "
             "from the type byte on"});
        row("no packet_size",
            {{"sizeless.json", deviceTemplate("f1a7c0de0000c004", packet(1, -1, field("A", 1, 8, 0)))}}, 1,
            {"  warning: packet 1 has no packet_size: the program refuses every uplink of its type"});
        row("shared register",
            {{"shared.json", deviceTemplate("f1a7c0de0000c005",
                                            packet(1, 7, field("Wide", 1, 32, 4) + ',' + field("Narrow", 5, 16, 5)))}},
            1, {"  warning: \"Wide\" (packet 1, offset 4) and \"Narrow\" (packet 1, offset 5) share a register"});
        row("one value in two packets",
            {{"twice.json", deviceTemplate("f1a7c0de0000c006", packet(1, 3, field("T", 1, 16, 4)) + ','
                                                                   + packet(2, 5, field("T", 3, 16, 4)))}},
            0, {"1 files, 1 templates accepted, 0 refused, 0 warnings"});
        row("positive type above 127",
            {{"high.json", deviceTemplate("f1a7c0de0000c007", packet(200, 2, field("A", 1, 8, 0)))}}, 1,
            {"  warning: packet type 200 can never match a first payload byte: a byte of 128 or more is written "
             "as its negative value (-128 to -1)"});
        row("empty folder", {{"notes.txt", "no templates"}}, 1,
            {"[CAllDeviceHandler::init] Dirrectory with device signature is empty",
             "0 files, 0 templates accepted, 0 refused, 0 warnings"});
    }

    void reportsEachFile()
    {
        QFETCH(Files, files);
        QFETCH(int, exitCode);
        QFETCH(QStringList, lines);

        const QString folder = QStringLiteral("folder%1").arg(++m_folder);
        writeFiles(folder, files);
        const SToolRun run = runTool({QStringLiteral("check"), folder});
        QCOMPARE(run.err, QStringList());
        QCOMPARE(run.exitCode, exitCode);
        lines.replaceInStrings(QStringLiteral("FOLDER"), QDir(folder).path());
        QVERIFY2(inOrder(run.outLines(), lines), qPrintable(run.out));
    }

    void samplesPassAndDefaultFolder()
    {
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        const SToolRun run = runTool({QStringLiteral("check")});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.out.endsWith(QStringLiteral("4 files, 4 templates accepted, 0 refused, 0 warnings\n")));
    }

    // The log texts of the tool are the program's, in its order, for the same folder.
    void sameTextsAsTheProgram()
    {
        const QString folder = QStringLiteral("deviceFolder");
        writeFiles(folder, {{"a.json", kGood}, {"b.json", kGood}, {"c.json", R"([1, 2)"},
                            {"d.json", R"({"app_eui":"x"})"}, {"xTCP.json", kTcp}, {"tcp.json", kTcp}});
        LogSpy log;
        CAllDeviceHandler::getInstance();
        const QStringList programLines = log.takeLines();
        QVERIFY(programLines.size() >= 5);

        const SToolRun run = runTool({QStringLiteral("check")});
        QCOMPARE(run.exitCode, 1);
        QStringList indented = programLines;
        indented.replaceInStrings(QRegularExpression(QStringLiteral("^")), QStringLiteral("  "));
        indented.replaceInStrings(QDir(folder).absolutePath(), folder);
        QVERIFY2(inOrder(run.outLines(), indented), qPrintable(indented.join('\n') + "\n---\n" + run.out));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error");

        QTest::newRow("two folders") << QStringList{"check", "a", "b"} << 2
                                     << "quillbar-tool check: one folder at most";
        QTest::newRow("missing folder") << QStringList{"check", "absent"} << 1
                                        << R"(quillbar-tool check: no folder "absent")";
        QTest::newRow("unknown command") << QStringList{"lint"} << 2
                                         << R"(quillbar-tool: unknown command "lint"; see quillbar-tool --help)";
    }

    void usageErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, error);

        const SToolRun run = runTool(arguments);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.err, QStringList(error));
    }

    void helpForEachCommand()
    {
        for (const QString &command : {QStringLiteral("check"), QStringLiteral("decode"), QStringLiteral("map")}) {
            const SToolRun run = runTool({command, QStringLiteral("--help")});
            QCOMPARE(run.exitCode, 0);
            QVERIFY2(run.out.startsWith(QStringLiteral("Usage: quillbar-tool %1 [options]").arg(command)),
                     qPrintable(run.out));
        }
    }
};

QTEST_GUILESS_MAIN(TestToolCheck)
#include "tst_toolcheck.moc"
