#include "core/constants.h"
#include "database/storeschema.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QtTest>

namespace {

const QString kHolder = QStringLiteral("holder");
const QByteArray kDevicesHeader = "dev_eui,app_eui,name,port,start_addr,kind\r\n";
const QByteArray kSeed = kDevicesHeader + "70B3D5000000C001,F1A7C0DE00000101,Boiler,1502,1000,modbus\r\n";
// Fits beside the seed: a pulse counter on the same port from address 3000.
const QByteArray kNext = kDevicesHeader + "70B3D5000000C010,F1A7C0DE00000202,Water,1502,3000,modbus\r\n";
const QString kBusy = QStringLiteral("register file \"server.db\" is busy: another program is writing it; "
                                     "retry or stop the service");
constexpr int kLongWaitMs = 60000;

enum EHold { HoldWriteLock, HoldExclusiveLock, HoldHotJournal };

// A connection of this process on the working folder's register file, as a
// backup or an SQLite browser opens it.
QSqlDatabase openHolder()
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), kHolder);
    db.setDatabaseName(FileName::database);
    db.open();
    return db;
}

} // namespace

// The tool on a register file that another program holds, or that a write
// interrupted by a stop left behind.
class TestToolBusy : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<TestWorkDir>();
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        QVERIFY(importSeed(kSeed));
        writeFile(QStringLiteral("next.csv"), kNext);
    }

    void cleanup()
    {
        QSqlDatabase::removeDatabase(kHolder);
        m_dir.reset();
    }

    void busyFileIsNamedSo_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("hold");

        const QList<QStringList> commands = {
            {"map", "--wait", "0"}, {"export", "--wait", "0"},
            {"remove", "--wait", "0", "70B3D5000000C001"},
            {"import", "--wait", "0.2", "next.csv"},
            {"decode", "deviceFolder/ClimateSensor_TH20.json", "0100eb0202f63e0c", "--device", "70B3D5000000C001",
             "--wait", "0"}};
        for (const QStringList &arguments : commands) {
            const QByteArray command = arguments.first().toLatin1();
            // Readers read beside a writer's lock; the ones that write wait for it.
            if (command == "remove" || command == "import")
                QTest::addRow("%s, write lock", command.constData()) << arguments << int(HoldWriteLock);
            QTest::addRow("%s, exclusive lock", command.constData()) << arguments << int(HoldExclusiveLock);
            QTest::addRow("%s, hot journal", command.constData()) << arguments << int(HoldHotJournal);
        }
    }

    // Busy, never "not a register file"; the file stays as the holder has it.
    void busyFileIsNamedSo()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, hold);
        SToolRun run;
        if (hold == HoldHotJournal) {
            QCOMPARE(QProcess::execute(QStringLiteral(INTERRUPTED_WRITE), {FileName::database}), 0);
            QVERIFY(QFile::exists(QStringLiteral("server.db-journal")));
            run = runTool(arguments);
        } else {
            QSqlDatabase holder = openHolder();
            QSqlQuery query(holder);
            QVERIFY2(query.exec(hold == HoldWriteLock ? QLatin1String(StoreSchema::kBeginWriteSql)
                                                      : QLatin1String(StoreSchema::kBeginExclusiveSql)),
                     qPrintable(query.lastError().text()));
            run = runTool(arguments);
            QVERIFY(query.exec(QLatin1String(StoreSchema::kRollbackSql)));
        }
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QStringList(QStringLiteral("quillbar-tool %1: %2").arg(arguments.first(), kBusy)));
    }

    // Two imports of devices that overlap: the second checked the file before
    // the first committed, and is refused all the same.
    void importChecksAgainUnderTheWriteLock()
    {
        QProcess tool;
        {
            QSqlDatabase holder = openHolder();
            QSqlQuery query(holder);
            QVERIFY(query.exec(QLatin1String(StoreSchema::kBeginWriteSql)));
            QVERIFY(query.exec(QStringLiteral("INSERT INTO devices (name, app_eui, dev_eui, port, start_addr) VALUES "
                                              "('Other', 'F1A7C0DE00000202', '70B3D5000000C0FF', 1502, 3000);")));
            QVERIFY(query.exec(QStringLiteral("INSERT INTO dev_data (device, port, reg_addr, bit_size, parent) "
                                              "VALUES (last_insert_rowid(), 1502, 3000, 16, 1);")));
            startTool(tool, {"import", "--wait", "60", "next.csv"});
            // The plan is printed once the rows passed the check on the file as it was.
            QVERIFY(tool.waitForReadyRead(kLongWaitMs));
            QVERIFY2(query.exec(QLatin1String(StoreSchema::kCommitSql)), qPrintable(query.lastError().text()));
        }
        const SToolRun run = finishTool(tool);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QStringList({"next.csv:2: address 3000 on port 1502 is taken by device 70B3D5000000C0FF",
                                       "quillbar-tool import: 1 row(s) refused; nothing was written"}));
        QVERIFY(!runTool({QStringLiteral("export")}).out.contains(QStringLiteral("70B3D5000000C010")));
    }

    void waitRefusesWhatIsNoTime_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("negative") << QStringList{"map", "--wait", "-1"};
        QTest::newRow("not a number") << QStringList{"import", "--wait", "soon", "next.csv"};
        QTest::newRow("NaN") << QStringList{"export", "--wait", "nan"};
    }

    void waitRefusesWhatIsNoTime()
    {
        QFETCH(QStringList, arguments);
        const SToolRun run = runTool(arguments);
        QCOMPARE(run.exitCode, 2);
        const QString error = QStringLiteral("quillbar-tool %1: --wait must be a number of seconds from 0 to 86400");
        QCOMPARE(run.err, QStringList(error.arg(arguments.first())));
    }

private:
    std::unique_ptr<TestWorkDir> m_dir;
};

QTEST_GUILESS_MAIN(TestToolBusy)
#include "tst_toolbusy.moc"
