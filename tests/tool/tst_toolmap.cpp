#include "core/constants.h"
#include "database/cdatabasehandler.h"
#include "database/storeschema.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlError>
#include <QSqlQuery>
#include <QtTest>

namespace {

const QString kWriter = QStringLiteral("writer");
constexpr int kConcurrentRuns = 3;
constexpr qint64 kWriteLimitMs = 20000;

// RFC 4180: fields split by commas, records by CRLF, quoted fields with doubled quotes.
// No records at all unless the whole text is well-formed, so a comparison catches a stray quote or LF.
QList<QStringList> parseCsv(const QString &text)
{
    QList<QStringList> records;
    QStringList record;
    QString field;
    bool quoted = false;
    bool afterQuote = false;
    bool wellFormed = text.endsWith(QStringLiteral("\r\n"));
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (quoted) {
            if (c == QLatin1Char('"') && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('"')) {
                field += c;
                ++i;
            } else if (c == QLatin1Char('"')) {
                quoted = false;
                afterQuote = true;
            } else {
                field += c;
            }
        } else if (c == QLatin1Char('"') && field.isEmpty() && !afterQuote) {
            quoted = true;
        } else if (c == QLatin1Char(',')) {
            record.append(field);
            field.clear();
            afterQuote = false;
        } else if (c == QLatin1Char('\r') && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('\n')) {
            record.append(field);
            records.append(record);
            record.clear();
            field.clear();
            afterQuote = false;
            ++i;
        } else {
            if (c == QLatin1Char('\n') || c == QLatin1Char('"') || afterQuote)
                wellFormed = false;
            field += c;
        }
    }
    return wellFormed && !quoted ? records : QList<QStringList>();
}

DB::SDeviceRegDescription reg(const QString &name, quint32 regAddr, quint32 bitSize, const QString &dataType)
{
    DB::SDeviceRegDescription description;
    description.name = name;
    description.source = 1;
    description.regAddr = regAddr;
    description.bitSize = bitSize;
    description.dataType = dataType;
    return description;
}

const QList<QStringList> kExpected = {
    {"port", "address", "registers", "device name", "DevEUI", "application EUI", "device type", "register name",
     "unit", "data type", "multiplier", "offset", "protocol"},
    {"5020", "110", "1", "Boiler, \"north\"", "000000000000AA01", "F1A7C0DE00000101", "Climate sensor TH-20",
     "Temperature (0.1 °C)", "°C, x10", "integer", "0.1", "5", "ModBus"},
    {"5020", "117", "2", "Boiler, \"north\"", "000000000000AA01", "F1A7C0DE00000101", "Climate sensor TH-20",
     "Uptime (s)", "", "uinteger", "1", "0", "ModBus"},
    {"5021", "7", "4", "Other\nline", "000000000000AA02", "F1A7C0DE000000FF", "", "Serial", "", "uinteger", "1",
     "0", "ModBus"},
    {"6000", "", "", "Gateway", "000000000000BB01", "F1A7C0DE00000303", "RS-485 serial gateway SG-1", "", "", "",
     "", "", "TCP"},
};

// Stored in this order, so the device on the higher port has the lower device id.
const QByteArray kSiteDevices = "dev_eui,app_eui,name,port,start_addr,kind\r\n"
                                "70B3D5000000C002,F1A7C0DE00000202,Zeta,5100,0,modbus\r\n"
                                "70B3D5000000C001,F1A7C0DE00000101,Alpha,5000,0,modbus\r\n"
                                "70B3D5000000D001,F1A7C0DE00000303,Line 1,6000,,tcp\r\n";
const QString kSite = QStringLiteral("site");

QStringList statusRow(const QString &address, const QString &width, const QString &registerName,
                      const QString &name = QString(), const QString &devEui = QString())
{
    return {"5030", address, width, name, devEui, "", "", registerName, "", "uinteger", "1", "0", "status"};
}

const QList<QStringList> kStatusRows = {
    statusRow("0", "1", "layout version"),
    statusRow("1", "1", "session state"),
    statusRow("2", "2", "seconds since last uplink"),
    statusRow("4", "2", "seconds since start"),
    statusRow("6", "2", "uplinks received"),
    statusRow("8", "2", "uplinks stored"),
    statusRow("10", "2", "ModBus requests answered"),
    statusRow("12", "1", "ModBus devices published"),
    statusRow("13", "1", "TCP devices published"),
    statusRow("14", "1", "listeners that could not open their port"),
    statusRow("15", "2", "server connections lost"),
    statusRow("17", "1", "uplinks waiting for the register file"),
    statusRow("18", "2", "uplinks that waited for the register file"),
    statusRow("20", "2", "uplinks dropped while the register file was busy"),
    statusRow("22", "2", "uplinks of unknown devices"),
    statusRow("24", "2", "ModBus writes received"),
    statusRow("26", "2", "downlinks sent for writes"),
    statusRow("28", "2", "downlinks refused by the server"),
    statusRow("30", "2", "downlinks expired unsent"),
    statusRow("100", "2", "seconds since last stored uplink", "Zeta", "70B3D5000000C002"),
    statusRow("102", "2", "seconds since last stored uplink", "Alpha", "70B3D5000000C001"),
};

} // namespace

class TestToolMap : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    void initTestCase()
    {
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));

        CDataBaseHandler *store = CDataBaseHandler::getInstance();
        QVERIFY(store);
        // Devices in field order: devEui, appEui, name, startAddr, regs, port.
        QVERIFY(store->registerNewDevice({"000000000000AA01", "F1A7C0DE00000101", "Boiler, \"north\"", 100,
                                          {reg("Temperature (0.1 °C)", 10, 16, "integer"),
                                           reg("Uptime (s)", 17, 32, "uinteger")},
                                          5020},
                                         ProtocolOption::ModBus));
        QVERIFY(store->registerNewDevice(
                {"000000000000AA02", "F1A7C0DE000000FF", "Other\nline", 0, {reg("Serial", 7, 64, "uinteger")}, 5021},
                ProtocolOption::ModBus));
        QVERIFY(store->registerNewDevice({"000000000000BB01", "F1A7C0DE00000303", "Gateway", 0, {}, 6000},
                                         ProtocolOption::TCP));
        QSqlQuery scaling(QSqlDatabase::database(DbName::connection));
        QVERIFY(scaling.exec(QStringLiteral("UPDATE dev_data SET grating_period = 0.1, start_value = 5, "
                                            "unit = '°C, x10' WHERE reg_addr = 110;")));

        QSqlDatabase writer = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), kWriter);
        writer.setDatabaseName(FileName::database);
        QVERIFY(writer.open());

        // A second site, commissioned by the tool, for the status registers.
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(kSite)));
        QVERIFY(importSeed(kSiteDevices, kSite));
    }

    void csvOfEveryDevice()
    {
        const QByteArray before = fileHash(FileName::database);
        const SToolRun run = runTool({"map"});
        QCOMPARE(run.err, QStringList());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(parseCsv(run.out), kExpected);
        QCOMPARE(fileHash(FileName::database), before);
    }

    // The settings.conf beside the register file decides the status rows.
    void statusRegistersFollowTheSettings_data()
    {
        QTest::addColumn<QByteArray>("settings");   // null: no file
        QTest::addColumn<bool>("listed");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error");

        QTest::newRow("no settings") << QByteArray() << false << 0 << QString();
        QTest::newRow("no status key") << QByteArray("[server]\nip=10.1.2.3\n") << false << 0 << QString();
        QTest::newRow("port 0") << QByteArray("[status]\nport=0\n") << false << 0 << QString();
        QTest::newRow("not a port") << QByteArray("[status]\nport=high\n") << false << 0 << QString();
        QTest::newRow("port set") << QByteArray("[status]\nport=5030\n") << true << 0 << QString();
        QTest::newRow("port held by a device")
                << QByteArray("[status]\nport=6000\n") << false << 1
                << "quillbar-tool map: status port 6000 is held by TCP device 70B3D5000000D001, so the program "
                   "leaves the status registers off";
    }

    void statusRegistersFollowTheSettings()
    {
        QFETCH(QByteArray, settings);
        QFETCH(bool, listed);
        QFETCH(int, exitCode);
        QFETCH(QString, error);

        const QString db = kSite + QLatin1Char('/') + FileName::database;
        const QString settingsFile = kSite + QStringLiteral("/settings.conf");
        QFile::remove(settingsFile);
        const SToolRun plain = runTool({"map", db});
        QCOMPARE(plain.exitCode, 0);
        QVERIFY(!plain.out.contains(QStringLiteral(",status\r\n")));
        if (!settings.isNull())
            writeFile(settingsFile, settings);

        const SToolRun run = runTool({"map", db});
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.err, error.isEmpty() ? QStringList() : QStringList(error));
        if (!listed) {
            QCOMPARE(run.out, plain.out);
            return;
        }
        QCOMPARE(parseCsv(run.out), parseCsv(plain.out) + kStatusRows);
    }

    // The outcome registers of a room controller are tags only while its port takes writes.
    void downlinkRowsFollowThePortsWrites()
    {
        const QString site = QStringLiteral("writes");
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), QDir(site)));
        QVERIFY(importSeed("dev_eui,app_eui,name,port,start_addr,writable\r\n"
                           "70B3D5000000C101,F1A7C0DE00000103,Office,5040,1000,yes\r\n",
                           site));
        const QString db = site + QLatin1Char('/') + FileName::database;
        const QStringList device = {"5040", "", "", "Office", "70B3D5000000C101", "F1A7C0DE00000103",
                                    "Room controller RC-2"};
        const auto row = [&device](const char *address, const char *width, const char *name) {
            QStringList cells = device;
            cells[1] = QLatin1String(address);
            cells[2] = QLatin1String(width);
            return cells + QStringList{name, "", "uinteger", "1", "0", "downlink"};
        };
        const QList<QStringList> rows = parseCsv(runTool({"map", db}).out);
        QCOMPARE(rows.mid(rows.size() - 4),
                 (QList<QStringList>{row("1020", "1", "Relay downlink status"),
                                     row("1021", "2", "Relay downlink status time (s since 1970)"),
                                     row("1023", "1", "Set-point downlink status"),
                                     row("1024", "2", "Set-point downlink status time (s since 1970)")}));

        QCOMPARE(runTool({"modbus", "--port", "5040", "--writes", "off", "--dir", site}).exitCode, 0);
        QVERIFY(!runTool({"map", db}).out.contains(QStringLiteral("downlink")));
    }

    void markdownTable()
    {
        const SToolRun run = runTool({"map", FileName::database, "--format", "markdown"});
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.outLines();
        QCOMPARE(lines.size(), kExpected.size() + 1);
        QCOMPARE(lines.at(0), QStringLiteral("| ") + kExpected.first().join(QStringLiteral(" | ")) + " |");
        QCOMPARE(lines.at(3), QStringLiteral("| 5020 | 117 | 2 | Boiler, \"north\" | 000000000000AA01 | "
                                             "F1A7C0DE00000101 | Climate sensor TH-20 | Uptime (s) |  | uinteger | "
                                             "1 | 0 | ModBus |"));
    }

    // From another folder the device types still come from the templates beside the register file.
    void typesFromAnotherFolder()
    {
        const QString file = m_workDir.filePath(FileName::database);
        TestWorkDir elsewhere;
        QCOMPARE(parseCsv(runTool({"map", file}).out).mid(0, kExpected.size()), kExpected);
    }

    // A tag reads a negative value as two's complement only when its template stores it so.
    void dataTypeNamesTwosComplement()
    {
        QFile sample(QStringLiteral(SAMPLE_TEMPLATES_DIR "/ClimateSensor_TH20.json"));
        QVERIFY(sample.open(QIODevice::ReadOnly));
        QJsonObject object = QJsonDocument::fromJson(sample.readAll()).object();
        object.insert(QStringLiteral("signed_words"), QStringLiteral("twos_complement"));
        QVERIFY(QDir().mkpath(QStringLiteral("twos")));
        writeFile(QStringLiteral("twos/climate.json"), QJsonDocument(object).toJson());

        const SToolRun run = runTool({"map", "--templates", "twos"});
        QCOMPARE(run.exitCode, 0);
        const QList<QStringList> rows = parseCsv(run.out);
        QVERIFY(rows.size() > 3);
        QCOMPARE(rows.at(1).at(9), QStringLiteral("integer (two's complement)"));
        QCOMPARE(rows.at(2).at(9), QStringLiteral("uinteger"));
        QCOMPARE(rows.at(3).at(9), QStringLiteral("uinteger"));
    }

    // The column comes with the first register that keeps decimals, and goes with the last.
    void decimalsColumnOnlyWhenKept()
    {
        QSqlQuery id(QSqlDatabase::database(DbName::connection));
        QVERIFY(id.exec(QStringLiteral("SELECT device FROM devices WHERE dev_eui = '000000000000AA01';")));
        QVERIFY(id.next());
        DB::SDeviceRegUpdate update;
        update.deviceId = id.value(0).toUInt();
        update.withDecimals = true;
        update.regs.append({110, 5.0, 0.1, QStringLiteral("°C, x10"), 1});
        QVERIFY(CDataBaseHandler::getInstance()->updateRegInfo(update));

        const QList<QStringList> rows = parseCsv(runTool({"map"}).out);
        QCOMPARE(rows.value(0), kExpected.first() + QStringList("decimals"));
        QCOMPARE(rows.value(1), kExpected.at(1) + QStringList("1"));
        QCOMPARE(rows.value(2), kExpected.at(2) + QStringList("0"));
        QCOMPARE(rows.value(4), kExpected.at(4) + QStringList(""));

        update.regs.first().decimals = 0;
        QVERIFY(CDataBaseHandler::getInstance()->updateRegInfo(update));
        QCOMPARE(parseCsv(runTool({"map"}).out).value(0), kExpected.first());
    }

    void refusesWhatIsNotARegisterFile_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("content");    // null: no file
        QTest::addColumn<QString>("error");

        QTest::newRow("missing") << "absent.db" << QByteArray()
                                 << R"(quillbar-tool map: register file "absent.db" does not exist)";
        QTest::newRow("text") << "notes.db" << QByteArray("not a database at all, just some words of text")
                              << R"(quillbar-tool map: register file "notes.db" is not a Quillbar register file)";
        QTest::newRow("other tables") << "other.db" << QByteArray("sqlite")
                                      << R"(quillbar-tool map: register file "other.db" is not a Quillbar register )"
                                         "file (no table devices)";
    }

    void refusesWhatIsNotARegisterFile()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, content);
        QFETCH(QString, error);

        if (content == "sqlite") {
            QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
            other.setDatabaseName(file);
            QVERIFY(other.open());
            QVERIFY(QSqlQuery(other).exec(QStringLiteral("CREATE TABLE notes (line TEXT);")));
        } else if (!content.isNull()) {
            writeFile(file, content);
        }
        const QByteArray before = fileHash(file);
        const SToolRun run = runTool({"map", file});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err.size(), 1);
        QVERIFY2(run.err.first().startsWith(error), qPrintable(run.err.first()));
        QCOMPARE(QFile::exists(file), !content.isNull());
        QCOMPARE(fileHash(file), before);
    }

    // The program writes uplinks at any time; each read sees whole rows and waits
    // out a write in progress instead of failing.
    void readsWhileAnotherConnectionWrites()
    {
        QSqlDatabase writer = QSqlDatabase::database(kWriter);
        QSqlQuery query(writer);
        int batches = 0;
        for (int i = 0; i < kConcurrentRuns; ++i) {
            QProcess process;
            startTool(process, {"map"});
            QElapsedTimer elapsed;
            elapsed.start();
            while (process.state() != QProcess::NotRunning && elapsed.elapsed() < kWriteLimitMs) {
                // A long write transaction keeps the file locked against readers for a while.
                QVERIFY2(query.exec(QLatin1String(StoreSchema::kBeginWriteSql)), qPrintable(query.lastError().text()));
                for (int row = 0; row < 50; ++row) {
                    QVERIFY(query.exec(QStringLiteral("UPDATE dev_data SET value = '%1', time = %1 WHERE reg_addr "
                                                      "= 117;").arg(batches * 100 + row)));
                }
                QVERIFY2(query.exec(QLatin1String(StoreSchema::kCommitSql)), qPrintable(query.lastError().text()));
                ++batches;
                process.waitForFinished(1);
            }
            const SToolRun run = finishTool(process);
            QCOMPARE(run.err, QStringList());
            QCOMPARE(run.exitCode, 0);
            QCOMPARE(parseCsv(run.out), kExpected);
        }
        QVERIFY(batches > kConcurrentRuns);
    }
};

QTEST_GUILESS_MAIN(TestToolMap)
#include "tst_toolmap.moc"
