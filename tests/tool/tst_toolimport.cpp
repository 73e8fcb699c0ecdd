#include "core/constants.h"
#include "database/storeschema.h"
#include "logspy.h"
#include "programcore.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QtTest>

namespace {

const QString kClimate = QStringLiteral("F1A7C0DE00000101");
const QString kPulse = QStringLiteral("F1A7C0DE00000202");
const QString kSerial = QStringLiteral("F1A7C0DE00000303");
const QByteArray kDevicesHeader = "dev_eui,app_eui,name,port,start_addr,kind\r\n";
const QByteArray kRegistersHeader = "dev_eui,address,multiplier,offset,unit\r\n";
// Stored before each refused import: a climate sensor at 1000..1028 on 1502, a serial gateway on 1600.
const QByteArray kSeed = kDevicesHeader + "70B3D5000000C001,F1A7C0DE00000101,Boiler,1502,1000,modbus\r\n"
                                          "70B3D5000000D001,F1A7C0DE00000303,Line 1,1600,,tcp\r\n";
// Line 2 of every refused import: a row that alone would be stored.
const QByteArray kGoodRow = "70B3D5000000C010,F1A7C0DE00000202,Water,1502,3000,modbus\r\n";
constexpr int kManyDevices = 300;
constexpr int kLockHoldMs = 1500;

// Every row of a table of a register file, in stored order.
QList<QVariantList> rowsOf(const QString &file, const QString &table)
{
    QList<QVariantList> rows;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("rows"));
        db.setDatabaseName(file);
        if (db.open()) {
            QSqlQuery query(db);
            query.exec(QStringLiteral("SELECT * FROM %1 ORDER BY rowid;").arg(table));
            while (query.next()) {
                QVariantList row;
                for (int i = 0; i < query.record().count(); ++i)
                    row.append(query.value(i));
                rows.append(row);
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("rows"));
    return rows;
}

// Imports devices.csv of the working directory, with registers.csv when there are register rows.
SToolRun importFiles(const QByteArray &devices, const QByteArray &registers)
{
    writeFile(QStringLiteral("devices.csv"), devices);
    QStringList arguments = {QStringLiteral("import"), QStringLiteral("devices.csv")};
    if (!registers.isEmpty()) {
        writeFile(QStringLiteral("registers.csv"), registers);
        arguments += {QStringLiteral("--registers"), QStringLiteral("registers.csv")};
    }
    return runTool(arguments);
}

} // namespace

// quillbar-tool import, export and remove on real register files; this process
// owns the store of the first folder, as the program would.
class TestToolImport : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;

private slots:
    void initTestCase()
    {
        m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
    }

    void cleanupTestCase()
    {
        m_core.reset();
    }

    void refusesRowsAndWritesNothing_data()
    {
        QTest::addColumn<QByteArray>("devices");
        QTest::addColumn<QByteArray>("registers");
        QTest::addColumn<QString>("refusal");

        const auto device = [](const char *name, const QByteArray &row, const QString &refusal) {
            QTest::newRow(name) << row + "\r\n" << QByteArray() << "devices.csv:3: " + refusal;
        };
        // A new ModBus device of the pulse template, from its port on.
        const auto pulse = [&device](const char *name, const QByteArray &portOn, const QString &refusal) {
            device(name, "70B3D5000000C011,F1A7C0DE00000202,X," + portOn, refusal);
        };
        const auto scaling = [](const char *name, const QByteArray &row, const QString &refusal) {
            QTest::newRow(name) << QByteArray() << kRegistersHeader + row + "\r\n" << "registers.csv:2: " + refusal;
        };
        device("no template", "70B3D5000000C011,F1A7C0DE0000FFFF,X,1502,5000,modbus",
               "no template for application EUI");
        device("not in TCP.json", "70B3D5000000C011,F1A7C0DE00000101,X,1700,,tcp", "no entry in TCP.json");
        device("short DevEUI", "70B3D5000000C01,F1A7C0DE00000202,X,1502,5000,",
               "DevEUI \"70B3D5000000C01\" is not 16 hexadecimal digits");
        device("stored DevEUI, other case", "70b3d5000000c001,F1A7C0DE00000202,X,1502,5000,",
               "DevEUI 70B3D5000000C001 is already stored");
        device("repeated DevEUI, other case", "70b3d5000000c010,F1A7C0DE00000202,X,1502,5000,",
               "DevEUI 70B3D5000000C010 repeats line 2");
        pulse("port zero", "0,5000,", "port 0 is outside 1 to 65535");
        pulse("port too high", "65536,5000,", "port 65536 is outside 1 to 65535");
        pulse("port not a number", "p1,5000,", "port \"p1\" is not a number");
        pulse("ModBus on a TCP port", "1600,5000,", "port 1600 is held by a TCP device");
        device("TCP on a ModBus port", "70B3D5000000D011,F1A7C0DE00000303,X,1502,,tcp",
               "port 1502 is held by a ModBus device");
        pulse("the status port", "1800,5000,", "port 1800 is the port of the status registers");
        pulse("overlaps a stored device", "1502,1020,",
              "address 1020 on port 1502 is taken by device 70B3D5000000C001");
        pulse("overlaps an imported device", "1502,3039,",
              "address 3039 on port 1502 is taken by device 70B3D5000000C010");
        pulse("no start address", "1502,,modbus", "a ModBus device needs a start address");
        pulse("registers past 65535", "1502,65500,", "its registers end at 65539, past 65535");
        pulse("start not a number", "1502,0x10,", "start address \"0x10\" is not a number");
        scaling("scaling of an unknown device", "70B3D5000000C099,3020,2,0,l",
                "no ModBus device 70B3D5000000C099 in this import");
        scaling("scaling of an unknown address", "70B3D5000000C010,3021,2,0,l",
                "device 70B3D5000000C010 has no register at address 3021");
        scaling("multiplier not a number", "70B3D5000000C010,3020,two,0,l", "multiplier \"two\" is not a number");
        scaling("offset not a number", "70B3D5000000C010,3020,2,x,l", "offset \"x\" is not a number");
        scaling("multiplier NaN", "70B3D5000000C010,3020,nan,0,l", "multiplier \"nan\" is not a finite number");
        scaling("multiplier negative infinity", "70B3D5000000C010,3020,-inf,0,l",
                "multiplier \"-inf\" is not a finite number");
        scaling("offset infinity", "70B3D5000000C010,3020,2,inf,l", "offset \"inf\" is not a finite number");
        scaling("offset past a double", "70B3D5000000C010,3020,2,1e999,l", "offset \"1e999\" is not a finite number");
        scaling("a field too many", "70B3D5000000C010,3020,2,1,5,l", "6 fields, 5 expected");
    }

    // Each refused row is named with its line; the file and the log stay as they were.
    void refusesRowsAndWritesNothing()
    {
        QFETCH(QByteArray, devices);
        QFETCH(QByteArray, registers);
        QFETCH(QString, refusal);
        TestWorkDir folder;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        QVERIFY(importSeed(kSeed));
        QCOMPARE(runTool({"status", "--port", "1800"}).exitCode, 0);
        const QByteArray storeBefore = fileHash(FileName::database);
        const QByteArray logBefore = fileHash(QStringLiteral("history.log"));

        const SToolRun run = importFiles(kDevicesHeader + kGoodRow + devices, registers);
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.first().startsWith(refusal), qPrintable(run.err.join(QLatin1Char('\n'))));
        QCOMPARE(run.err.size(), 2);
        QCOMPARE(fileHash(FileName::database), storeBefore);
        QCOMPARE(fileHash(QStringLiteral("history.log")), logBefore);
    }

    void refusesFilesWithOneLine_data()
    {
        QTest::addColumn<QByteArray>("devices");
        QTest::addColumn<QByteArray>("registers");
        QTest::addColumn<QString>("error");
        QTest::newRow("wrong header") << QByteArray("eui,app,name\r\n") << QByteArray() << "is not a devices file";
        QTest::newRow("not CSV") << QByteArray(kDevicesHeader + "\"70B3D5000000C011,x\r\n") << QByteArray()
                                 << "is not CSV";
        QTest::newRow("devices as registers") << kDevicesHeader << kDevicesHeader << "is not a register file";
    }

    void refusesFilesWithOneLine()
    {
        QFETCH(QByteArray, devices);
        QFETCH(QByteArray, registers);
        QFETCH(QString, error);
        TestWorkDir folder;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        const SToolRun run = importFiles(devices, registers);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err.size(), 1);
        QVERIFY2(run.err.first().contains(error), qPrintable(run.err.first()));
        QVERIFY(!QFile::exists(FileName::database));
        QCOMPARE(runTool({"import", "missing.csv"}).exitCode, 1);
    }

    // kind, max_age and decimals may be left out, or come in any order after the required columns.
    void optionalColumns_data()
    {
        QTest::addColumn<QByteArray>("devices");
        QTest::addColumn<QByteArray>("registers");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("expected");  // in the exports, or in the error of a refusal

        const auto row = [](const char *name, const QByteArray &devices, const QByteArray &registers, int exitCode,
                            const QString &expected) {
            QTest::newRow(name) << devices << registers << exitCode << expected;
        };
        const QByteArray noKind = "dev_eui,app_eui,name,port,start_addr\r\n"
                                  "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000\r\n";
        const QByteArray decimalsHeader = "dev_eui,address,multiplier,offset,unit,decimals\r\n";
        row("no kind", noKind, "", 0, "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,modbus\r\n");
        row("max_age before kind",
            "dev_eui,app_eui,name,port,start_addr,max_age,kind\r\n"
            "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,900,modbus\r\n",
            "", 0,
            "dev_eui,app_eui,name,port,start_addr,kind,max_age\r\n"
            "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,modbus,900\r\n");
        row("decimals", noKind, decimalsHeader + "70B3D5000000C011,3020,0.1,0,m3,2\r\n", 0,
            decimalsHeader + "70B3D5000000C011,3020,0.1,0,m3,2\r\n");
        row("unknown column", "dev_eui,app_eui,name,port,start_addr,colour\r\n", "", 1, "then any of kind,max_age");
        row("repeated column", "dev_eui,app_eui,name,port,start_addr,kind,kind\r\n", "", 1, "is not a devices file");
        row("max_age past a week",
            "dev_eui,app_eui,name,port,start_addr,max_age\r\n"
            "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,604801\r\n",
            "", 1, "devices.csv:2: max_age 604801 is outside 0 to 604800");
        row("decimals past 4", noKind, decimalsHeader + "70B3D5000000C011,3020,1,0,,5\r\n", 1,
            "registers.csv:2: decimals 5 is outside 0 to 4");
        const QByteArray writable = "dev_eui,app_eui,name,port,start_addr,writable\r\n"
                                    "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,yes\r\n"
                                    "70B3D5000000C012,F1A7C0DE00000202,Gas,1502,4000,\r\n"
                                    "70B3D5000000C013,F1A7C0DE00000202,Heat,1503,3000,no\r\n";
        row("writable, a setting of the port", writable, "", 0,
            "dev_eui,app_eui,name,port,start_addr,kind,writable\r\n"
            "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,modbus,yes\r\n"
            "70B3D5000000C012,F1A7C0DE00000202,Gas,1502,4000,modbus,yes\r\n"
            "70B3D5000000C013,F1A7C0DE00000202,Heat,1503,3000,modbus,no\r\n");
        row("writable rows of a port that disagree", QByteArray(writable).replace("1503,3000,no", "1502,5000,no"), "",
            1, "devices.csv:4: writable differs from an earlier row of port 1502");
        row("writable neither yes nor no", QByteArray(writable).replace(",yes\r\n", ",maybe\r\n"), "", 1,
            "devices.csv:2: writable \"maybe\" is neither yes nor no");
        row("a field short of its header", QByteArray(noKind).replace(",3000\r\n", "\r\n"), "", 1,
            "devices.csv:2: 4 fields, 5 expected");
    }

    void optionalColumns()
    {
        QFETCH(QByteArray, devices);
        QFETCH(QByteArray, registers);
        QFETCH(int, exitCode);
        QFETCH(QString, expected);
        TestWorkDir folder;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        const SToolRun run = importFiles(devices, registers);
        QCOMPARE(run.exitCode, exitCode);
        if (exitCode != 0) {
            QVERIFY2(run.err.join('\n').contains(expected), qPrintable(run.err.join('\n')));
            return;
        }
        const QString exported = runTool({QStringLiteral("export")}).out
                + runTool({QStringLiteral("export"), QStringLiteral("--registers")}).out;
        QVERIFY2(exported.contains(expected), qPrintable(exported));
    }

    void dryRunWritesNothing()
    {
        TestWorkDir folder;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        writeFile(QStringLiteral("devices.csv"), kSeed);
        const SToolRun run = runTool({"import", "devices.csv", "--dry-run"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.outLines().size(), 3);
        QVERIFY(!QFile::exists(FileName::database));
    }

    // The tool stores a device exactly as the add form's registration does.
    void storesTheRowsOfTheAddForm()
    {
        QVERIFY(ProgramCore::storeDevice(QStringLiteral("70B3D5000000C001"), kClimate, QStringLiteral("Boiler"),
                                         1000, 1502, ProtocolOption::ModBus));
        QVERIFY(ProgramCore::storeDevice(QStringLiteral("70B3D5000000D001"), kSerial, QStringLiteral("Line 1"), 0,
                                         1600, ProtocolOption::TCP));
        TestWorkDir other;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        QVERIFY(importSeed(kSeed));

        const QString mine = m_workDir.filePath(FileName::database);
        for (const QString &table : {DbName::deviceTable, DbName::tcpDeviceTable, DbName::registerTable}) {
            const QList<QVariantList> expected = rowsOf(mine, table);
            QVERIFY(!expected.isEmpty());
            QCOMPARE(rowsOf(FileName::database, table), expected);
        }
    }

    // export then import into an empty folder gives the same site.
    void exportThenImportGivesTheSameSite()
    {
        TestWorkDir first;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        const QByteArray devicesFile = "\xef\xbb\xbf" + kSeed
                + "70B3D5000000C002,f1a7c0de00000202,\"Water, \"\"north\"\"\",1502,2000,\r\n";
        const QByteArray registersFile = kRegistersHeader + "70B3D5000000C001,1010,0.1,-40,°C\r\n"
                                                            "70b3d5000000c002,2020,1,0,l\r\n"
                                                            "70B3D5000000C002,2022,2.5,0,\r\n";
        QCOMPARE(importFiles(devicesFile, registersFile).exitCode, 0);
        const SToolRun devices = runTool({"export"});
        const SToolRun registers = runTool({"export", "--registers"});
        QCOMPARE(devices.exitCode, 0);
        QCOMPARE(registers.outLines().size(), 4);
        const SToolRun map = runTool({"map"});
        QVERIFY(map.out.contains(QStringLiteral(",0.1,-40,ModBus")));

        TestWorkDir second;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        QCOMPARE(importFiles(devices.out.toUtf8(), registers.out.toUtf8()).exitCode, 0);
        QCOMPARE(runTool({"map"}).out, map.out);
        QCOMPARE(runTool({"export"}).out, devices.out);
        QCOMPARE(runTool({"export", "--registers"}).out, registers.out);
    }

    void removeDeletesOneDevice()
    {
        TestWorkDir folder;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        QVERIFY(importSeed(kSeed));
        QCOMPARE(runTool({"remove", "70b3d5000000c001"}).exitCode, 0);
        QCOMPARE(runTool({"remove", "70B3D5000000C001"}).exitCode, 1);
        QCOMPARE(runTool({"export"}).outLines(),
                 QStringList({"dev_eui,app_eui,name,port,start_addr,kind\r",
                              "70B3D5000000D001,F1A7C0DE00000303,Line 1,1600,,tcp\r"}));
        QVERIFY(rowsOf(FileName::database, DbName::registerTable).isEmpty());
    }

    // This process stores uplinks through the program's store while the tool
    // imports into the same file: neither side fails on the lock.
    void importsWhileUplinksAreStored()
    {
        QByteArray many = kDevicesHeader;
        for (int i = 0; i < kManyDevices; ++i)
            many += QStringLiteral("70B3D50000%1,%2,Meter %3,1700,%4,\r\n")
                            .arg(i + 1, 6, 16, QLatin1Char('0')).arg(kClimate).arg(i).arg(i * 100).toUpper().toUtf8();
        writeFile(QStringLiteral("many.csv"), many);

        const QString meter = QStringLiteral("70B3D5000000E001");
        QVERIFY(ProgramCore::storeDevice(meter, kClimate, QStringLiteral("Boiler"), 1000, 1800,
                                         ProtocolOption::ModBus));
        LogSpy log;
        log.forget();
        DB::SDbDeviceRegDataSet uplink;
        uplink.devEui = meter;
        uplink.startAddr = 1000;
        uplink.regs.append({QStringLiteral("00eb"), QStringLiteral("00eb"), 10});
        QProcess tool;
        QElapsedTimer clock;
        clock.start();
        {
            // A long write of another connection holds the file while the tool starts and checks.
            QSqlDatabase writer = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("writer"));
            writer.setDatabaseName(FileName::database);
            QVERIFY(writer.open());
            QSqlQuery hold(writer);
            QVERIFY(hold.exec(QLatin1String(StoreSchema::kBeginWriteSql)));
            QVERIFY(hold.exec(QStringLiteral("UPDATE dev_data SET time = 1 WHERE port = 1800;")));
            startTool(tool, {QStringLiteral("import"), QStringLiteral("many.csv")});
            tool.waitForFinished(kLockHoldMs);
            QVERIFY(hold.exec(QLatin1String(StoreSchema::kCommitSql)));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("writer"));
        int stored = 0;
        qint64 longestWrite = 0;
        while (tool.state() != QProcess::NotRunning && clock.elapsed() < 60000) {
            const qint64 before = clock.elapsed();
            QMetaObject::invokeMethod(CDataBaseHandler::getInstance(), "saveRegisterData",
                                      Qt::BlockingQueuedConnection, Q_ARG(DB::SDbDeviceRegDataSet, uplink));
            longestWrite = qMax(longestWrite, clock.elapsed() - before);
            ++stored;
            tool.waitForFinished(1);
        }
        const SToolRun run = finishTool(tool);
        QVERIFY2(run.exitCode == 0, qPrintable(run.err.join(QLatin1Char('\n'))));
        QVERIFY(stored > 0);
        QVERIFY2(log.takeLines().filter(QStringLiteral("saveRegisterData")).isEmpty(),
                 qPrintable(log.lines().join(QLatin1Char('\n'))));
        QVERIFY(CDataBaseHandler::getInstance()->getRegisteredDevices(ProtocolOption::ModBus).size() > kManyDevices);
        qInfo("%d uplinks stored, the longest in %lld ms, while the tool imported %d devices in %lld ms", stored,
              longestWrite, kManyDevices, clock.elapsed());
    }
    // Each change of the tool is one line of its own in the operator's log, and
    // a device it removes under the running program is said there once.
    void toolChangesAreOneLineEach()
    {
        const QString kept = QStringLiteral("70B3D5000000F001");
        QVERIFY(ProgramCore::storeDevice(kept, kClimate, QStringLiteral("Kept"), 1000, 1900,
                                         ProtocolOption::ModBus));
        DB::SDeviceRegMapDescription published;
        published.devEui = kept;
        published.appEui = kClimate;
        published.startAddr = 1000;
        published.port = 1900;
        CAllDeviceHandler::getInstance()->addNewDevice(published, ProtocolOption::ModBus);
        LogSpy log;
        log.forget();
        QFile history(QStringLiteral("history.log"));
        QVERIFY(history.open(QIODevice::ReadOnly));
        history.seek(history.size());

        // The climate template's alarm packet shares registers: the store warns of each, but not here.
        writeFile(QStringLiteral("quiet.csv"),
                  kDevicesHeader + "70B3D5000000F002,F1A7C0DE00000101,Other,1900,2000,\r\n");
        QCOMPARE(runTool({"import", "quiet.csv"}).exitCode, 0);
        QCOMPARE(runTool({QStringLiteral("remove"), kept}).exitCode, 0);
        QStringList added = QString::fromUtf8(history.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        for (QString &line : added)
            line = line.mid(line.indexOf(QLatin1Char(']')) + 1);
        QCOMPARE(added, QStringList({"INFO: [quillbar-tool import] stored 1 device(s) from quiet.csv",
                                     "INFO: [quillbar-tool remove] removed device 70B3D5000000F001"}));

        API::SApiDeviceData uplink;
        uplink.devEui = kept;
        uplink.data = QByteArray::fromHex("0100eb0202f63e0c");
        uplink.valid = true;
        CAllDeviceHandler::getInstance()->newPacketReceivedSlot(uplink);
        CAllDeviceHandler::getInstance()->newPacketReceivedSlot(uplink);
        ProgramCore::settleStore();
        const QStringList lines = log.takeLines();
        QCOMPARE(lines.filter(QRegularExpression(QStringLiteral("WARNING|ERROR"))),
                 QStringList("WARNING: [CDataBaseHandler] Device [70B3D5000000F001] is no longer in the register file: "
                             "another program removed it. Its uplinks are not stored; restart the program to stop "
                             "publishing it."));
        QVERIFY2(lines.filter(QStringLiteral("SELECT")).isEmpty(), qPrintable(lines.join(QLatin1Char('\n'))));
    }
};

QTEST_MAIN(TestToolImport)
#include "tst_toolimport.moc"
