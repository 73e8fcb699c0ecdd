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

        const QByteArray none;
        QTest::newRow("no template") << QByteArray("70B3D5000000C011,F1A7C0DE0000FFFF,X,1502,5000,modbus\r\n")
                                     << none << "devices.csv:3: no template for application EUI";
        QTest::newRow("not in TCP.json") << QByteArray("70B3D5000000C011,F1A7C0DE00000101,X,1700,,tcp\r\n") << none
                                         << "devices.csv:3: no entry in TCP.json";
        QTest::newRow("short DevEUI") << QByteArray("70B3D5000000C01,F1A7C0DE00000202,X,1502,5000,\r\n") << none
                                      << "devices.csv:3: DevEUI \"70B3D5000000C01\" is not 16 hexadecimal digits";
        QTest::newRow("stored DevEUI, other case")
                << QByteArray("70b3d5000000c001,F1A7C0DE00000202,X,1502,5000,\r\n") << none
                << "devices.csv:3: DevEUI 70B3D5000000C001 is already stored";
        QTest::newRow("repeated DevEUI, other case")
                << QByteArray("70b3d5000000c010,F1A7C0DE00000202,X,1502,5000,\r\n") << none
                << "devices.csv:3: DevEUI 70B3D5000000C010 repeats line 2";
        QTest::newRow("port zero") << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,0,5000,\r\n") << none
                                   << "devices.csv:3: port 0 is outside 1 to 65535";
        QTest::newRow("port too high") << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,65536,5000,\r\n") << none
                                       << "devices.csv:3: port 65536 is outside 1 to 65535";
        QTest::newRow("port not a number") << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,p1,5000,\r\n")
                                           << none << "devices.csv:3: port \"p1\" is not a number";
        QTest::newRow("ModBus on a TCP port") << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,1600,5000,\r\n")
                                              << none << "devices.csv:3: port 1600 is held by a TCP device";
        QTest::newRow("TCP on a ModBus port") << QByteArray("70B3D5000000D011,F1A7C0DE00000303,X,1502,,tcp\r\n")
                                              << none << "devices.csv:3: port 1502 is held by a ModBus device";
        QTest::newRow("the status port") << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,1800,5000,\r\n")
                                         << none << "devices.csv:3: port 1800 is the port of the status registers";
        QTest::newRow("overlaps a stored device")
                << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,1502,1020,\r\n") << none
                << "devices.csv:3: address 1020 on port 1502 is taken by device 70B3D5000000C001";
        QTest::newRow("overlaps an imported device")
                << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,1502,3039,\r\n") << none
                << "devices.csv:3: address 3039 on port 1502 is taken by device 70B3D5000000C010";
        QTest::newRow("no start address") << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,1502,,modbus\r\n")
                                          << none << "devices.csv:3: a ModBus device needs a start address";
        QTest::newRow("registers past 65535")
                << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,1502,65500,\r\n") << none
                << "devices.csv:3: its registers end at 65539, past 65535";
        QTest::newRow("start not a number") << QByteArray("70B3D5000000C011,F1A7C0DE00000202,X,1502,0x10,\r\n")
                                            << none << "devices.csv:3: start address \"0x10\" is not a number";
        QTest::newRow("scaling of an unknown device")
                << QByteArray() << QByteArray("70B3D5000000C099,3020,2,0,l\r\n")
                << "registers.csv:2: no ModBus device 70B3D5000000C099 in this import";
        QTest::newRow("scaling of an unknown address")
                << QByteArray() << QByteArray("70B3D5000000C010,3021,2,0,l\r\n")
                << "registers.csv:2: device 70B3D5000000C010 has no register at address 3021";
        QTest::newRow("multiplier not a number")
                << QByteArray() << QByteArray("70B3D5000000C010,3020,two,0,l\r\n")
                << "registers.csv:2: multiplier \"two\" is not a number";
        QTest::newRow("offset not a number")
                << QByteArray() << QByteArray("70B3D5000000C010,3020,2,x,l\r\n")
                << "registers.csv:2: offset \"x\" is not a number";
        QTest::newRow("multiplier NaN")
                << QByteArray() << QByteArray("70B3D5000000C010,3020,nan,0,l\r\n")
                << "registers.csv:2: multiplier \"nan\" is not a finite number";
        QTest::newRow("multiplier negative infinity")
                << QByteArray() << QByteArray("70B3D5000000C010,3020,-inf,0,l\r\n")
                << "registers.csv:2: multiplier \"-inf\" is not a finite number";
        QTest::newRow("offset infinity")
                << QByteArray() << QByteArray("70B3D5000000C010,3020,2,inf,l\r\n")
                << "registers.csv:2: offset \"inf\" is not a finite number";
        QTest::newRow("offset past a double")
                << QByteArray() << QByteArray("70B3D5000000C010,3020,2,1e999,l\r\n")
                << "registers.csv:2: offset \"1e999\" is not a finite number";
        QTest::newRow("a field too many")
                << QByteArray() << QByteArray("70B3D5000000C010,3020,2,1,5,l\r\n")
                << "registers.csv:2: 6 fields, 5 expected";
    }

    // Each refused row is named with its line; the file and the log stay as they were.
    void refusesRowsAndWritesNothing()
    {
        QFETCH(QByteArray, devices);
        QFETCH(QByteArray, registers);
        QFETCH(QString, refusal);
        TestWorkDir folder;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(folder.path())));
        QVERIFY(importSeed(kSeed));
        QCOMPARE(runTool({QStringLiteral("status"), QStringLiteral("--port"), QStringLiteral("1800")}).exitCode, 0);
        const QByteArray storeBefore = fileHash(FileName::database);
        const QByteArray logBefore = fileHash(QStringLiteral("history.log"));

        writeFile(QStringLiteral("devices.csv"), kDevicesHeader + kGoodRow + devices);
        QStringList arguments = {QStringLiteral("import"), QStringLiteral("devices.csv")};
        if (!registers.isEmpty()) {
            writeFile(QStringLiteral("registers.csv"), kRegistersHeader + registers);
            arguments += {QStringLiteral("--registers"), QStringLiteral("registers.csv")};
        }
        const SToolRun run = runTool(arguments);
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
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(folder.path())));
        writeFile(QStringLiteral("devices.csv"), devices);
        writeFile(QStringLiteral("registers.csv"), registers);
        QStringList arguments = {QStringLiteral("import"), QStringLiteral("devices.csv")};
        if (!registers.isEmpty())
            arguments += {QStringLiteral("--registers"), QStringLiteral("registers.csv")};
        const SToolRun run = runTool(arguments);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err.size(), 1);
        QVERIFY2(run.err.first().contains(error), qPrintable(run.err.first()));
        QVERIFY(!QFile::exists(FileName::database));
        QCOMPARE(runTool({QStringLiteral("import"), QStringLiteral("missing.csv")}).exitCode, 1);
    }

    // kind, max_age and decimals may be left out, or come in any order after the required columns.
    void optionalColumns_data()
    {
        QTest::addColumn<QByteArray>("devices");
        QTest::addColumn<QByteArray>("registers");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("expected");  // in the exports, or in the error of a refusal

        const QByteArray noKind = "dev_eui,app_eui,name,port,start_addr\r\n"
                                  "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000\r\n";
        QTest::newRow("no kind") << noKind << QByteArray() << 0
                                 << "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,modbus\r\n";
        QTest::newRow("max_age before kind")
                << QByteArray("dev_eui,app_eui,name,port,start_addr,max_age,kind\r\n"
                              "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,900,modbus\r\n")
                << QByteArray() << 0 << "dev_eui,app_eui,name,port,start_addr,kind,max_age\r\n"
                                        "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,modbus,900\r\n";
        QTest::newRow("decimals") << noKind
                                  << QByteArray("dev_eui,address,multiplier,offset,unit,decimals\r\n"
                                                "70B3D5000000C011,3020,0.1,0,m3,2\r\n")
                                  << 0 << "dev_eui,address,multiplier,offset,unit,decimals\r\n"
                                          "70B3D5000000C011,3020,0.1,0,m3,2\r\n";
        QTest::newRow("unknown column") << QByteArray("dev_eui,app_eui,name,port,start_addr,colour\r\n")
                                        << QByteArray() << 1 << "then any of kind,max_age";
        QTest::newRow("repeated column") << QByteArray("dev_eui,app_eui,name,port,start_addr,kind,kind\r\n")
                                         << QByteArray() << 1 << "is not a devices file";
        QTest::newRow("max_age past a week")
                << QByteArray("dev_eui,app_eui,name,port,start_addr,max_age\r\n"
                              "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,604801\r\n")
                << QByteArray() << 1 << "devices.csv:2: max_age 604801 is outside 0 to 604800";
        QTest::newRow("decimals past 4") << noKind
                                         << QByteArray("dev_eui,address,multiplier,offset,unit,decimals\r\n"
                                                       "70B3D5000000C011,3020,1,0,,5\r\n")
                                         << 1 << "registers.csv:2: decimals 5 is outside 0 to 4";
        const QByteArray writable = "dev_eui,app_eui,name,port,start_addr,writable\r\n"
                                    "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,yes\r\n"
                                    "70B3D5000000C012,F1A7C0DE00000202,Gas,1502,4000,\r\n"
                                    "70B3D5000000C013,F1A7C0DE00000202,Heat,1503,3000,no\r\n";
        QTest::newRow("writable, a setting of the port")
                << writable << QByteArray() << 0
                << "dev_eui,app_eui,name,port,start_addr,kind,writable\r\n"
                   "70B3D5000000C011,F1A7C0DE00000202,Water,1502,3000,modbus,yes\r\n"
                   "70B3D5000000C012,F1A7C0DE00000202,Gas,1502,4000,modbus,yes\r\n"
                   "70B3D5000000C013,F1A7C0DE00000202,Heat,1503,3000,modbus,no\r\n";
        QTest::newRow("writable rows of a port that disagree")
                << QByteArray(writable).replace("1503,3000,no", "1502,5000,no") << QByteArray() << 1
                << "devices.csv:4: writable differs from an earlier row of port 1502";
        QTest::newRow("writable neither yes nor no")
                << QByteArray(writable).replace(",yes\r\n", ",maybe\r\n") << QByteArray() << 1
                << "devices.csv:2: writable \"maybe\" is neither yes nor no";
        QTest::newRow("a field short of its header") << QByteArray(noKind).replace(",3000\r\n", "\r\n")
                                                     << QByteArray() << 1 << "devices.csv:2: 4 fields, 5 expected";
    }

    void optionalColumns()
    {
        QFETCH(QByteArray, devices);
        QFETCH(QByteArray, registers);
        QFETCH(int, exitCode);
        QFETCH(QString, expected);
        TestWorkDir folder;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(folder.path())));
        writeFile(QStringLiteral("devices.csv"), devices);
        QStringList arguments = {QStringLiteral("import"), QStringLiteral("devices.csv")};
        if (!registers.isEmpty()) {
            writeFile(QStringLiteral("registers.csv"), registers);
            arguments += {QStringLiteral("--registers"), QStringLiteral("registers.csv")};
        }
        const SToolRun run = runTool(arguments);
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
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(folder.path())));
        writeFile(QStringLiteral("devices.csv"), kSeed);
        const SToolRun run = runTool({QStringLiteral("import"), QStringLiteral("devices.csv"),
                                      QStringLiteral("--dry-run")});
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
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(other.path())));
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
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(first.path())));
        writeFile(QStringLiteral("devices.csv"),
                  "\xef\xbb\xbf" + kSeed + "70B3D5000000C002,f1a7c0de00000202,\"Water, \"\"north\"\"\",1502,2000,\r\n");
        writeFile(QStringLiteral("registers.csv"),
                  kRegistersHeader + "70B3D5000000C001,1010,0.1,-40,°C\r\n70b3d5000000c002,2020,1,0,l\r\n"
                                     "70B3D5000000C002,2022,2.5,0,\r\n");
        QCOMPARE(runTool({"import", "devices.csv", "--registers", "registers.csv"}).exitCode, 0);
        const SToolRun devices = runTool({QStringLiteral("export")});
        const SToolRun registers = runTool({QStringLiteral("export"), QStringLiteral("--registers")});
        QCOMPARE(devices.exitCode, 0);
        QCOMPARE(registers.outLines().size(), 4);
        const SToolRun map = runTool({QStringLiteral("map")});
        QVERIFY(map.out.contains(QStringLiteral(",0.1,-40,ModBus")));

        TestWorkDir second;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(second.path())));
        writeFile(QStringLiteral("devices.csv"), devices.out.toUtf8());
        writeFile(QStringLiteral("registers.csv"), registers.out.toUtf8());
        QCOMPARE(runTool({"import", "devices.csv", "--registers", "registers.csv"}).exitCode, 0);
        QCOMPARE(runTool({QStringLiteral("map")}).out, map.out);
        QCOMPARE(runTool({QStringLiteral("export")}).out, devices.out);
        QCOMPARE(runTool({QStringLiteral("export"), QStringLiteral("--registers")}).out, registers.out);
    }

    void removeDeletesOneDevice()
    {
        TestWorkDir folder;
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(folder.path())));
        QVERIFY(importSeed(kSeed));
        QCOMPARE(runTool({QStringLiteral("remove"), QStringLiteral("70b3d5000000c001")}).exitCode, 0);
        QCOMPARE(runTool({QStringLiteral("remove"), QStringLiteral("70B3D5000000C001")}).exitCode, 1);
        QCOMPARE(runTool({QStringLiteral("export")}).outLines(),
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
                            .arg(i + 1, 6, 16, QLatin1Char('0'))
                            .arg(kClimate)
                            .arg(i)
                            .arg(i * 100)
                            .toUpper()
                            .toUtf8();
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
        writeFile(QStringLiteral("quiet.csv"), kDevicesHeader + "70B3D5000000F002,F1A7C0DE00000101,Other,1900,2000,\r\n");
        QCOMPARE(runTool({QStringLiteral("import"), QStringLiteral("quiet.csv")}).exitCode, 0);
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
        QCOMPARE(lines.filter(QRegularExpression(QStringLiteral("WARNING|ERROR"))), QStringList("WARNING: [CDataBaseHandler] Device [70B3D5000000F001] is no longer "
                                                 "in the register file: another program removed it. Its uplinks "
                                                 "are not stored; restart the program to stop publishing it."));
        QVERIFY2(lines.filter(QStringLiteral("SELECT")).isEmpty(), qPrintable(lines.join(QLatin1Char('\n'))));
    }
};

QTEST_MAIN(TestToolImport)
#include "tst_toolimport.moc"
