#include "database/cdatabasehandler.h"
#include "logspy.h"
#include "testworkdir.h"

#include <QSqlQuery>
#include <QtTest>

// The singleton lives once per process, so a failed start has an executable of its own.
class TestCDataBaseHandlerStart : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    void failedStartRetriesOnExistingFile()
    {
        LogSpy log;
        // No one can open a directory as a database, not even root.
        QVERIFY(QDir().mkdir(QStringLiteral("server.db")));
        const QRegularExpression critical(QStringLiteral(R"(CRITICAL_ERROR! Data base hasn't been created/opened! )"
                                                         R"(Error_text\[.+\]\. DataBaseHandler is not running!$)"));
        QTest::ignoreMessage(QtDebugMsg, critical);
        QCOMPARE(CDataBaseHandler::getInstance(), nullptr);
        QStringList lines = log.takeLines();
        QCOMPARE(lines.size(), 1);
        QVERIFY(critical.match(lines.first()).hasMatch());

        // The retry opens a file of an older run, keeps its rows and adds the missing tables.
        QVERIFY(QDir().rmdir(QStringLiteral("server.db")));
        {
            QSqlDatabase older = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("older"));
            older.setDatabaseName(m_workDir.filePath(QStringLiteral("server.db")));
            QVERIFY(older.open());
            for (const char *sql : {"CREATE TABLE devices ( device INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL UNIQUE, "
                                    "name TEXT, app_eui TEXT, dev_eui TEXT, port INTEGER, start_addr INTEGER );",
                                    "INSERT INTO devices VALUES (4, 'old', 'APP1', 'AA01', 5020, 0);",
                                    // Another shape: its first index fails, and no later index is made.
                                    "CREATE TABLE devicesTCP ( device INTEGER, name TEXT );"})
                QVERIFY(QSqlQuery(older).exec(QLatin1String(sql)));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("older"));

        QTest::ignoreMessage(QtWarningMsg, "QSqlDatabasePrivate::addDatabase: "
                                           "duplicate connection name 'server', old connection removed.");
        CDataBaseHandler *handler = CDataBaseHandler::getInstance();
        QVERIFY(handler);
        QCOMPARE(CDataBaseHandler::getInstance(), handler);
        QVERIFY(!handler->registerNewDevice({"AA01", "APP1", "again", 0, {}, 5020}, ProtocolOption::ModBus));
        const DB::SDeviceRegDescription reg = {"r", 1, 0, 16, "integer", 0.0, 1.0, "u"};
        QVERIFY(handler->registerNewDevice({"BB02", "APP1", "new", 10, {reg}, 5020}, ProtocolOption::ModBus));
        QVERIFY(handler->getRegisters(5).next());

        // The index failure with its statement, then the refused duplicate.
        lines = log.takeLines();
        QCOMPARE(lines.size(), 3);
        QVERIFY(QRegularExpression(QStringLiteral(R"(^ERROR \[CDataBaseHandler::\{ctor\}::<lambda_1>::operator )"
                                                  R"(\(\)-\d+\]: invalid sql request 3 for <devicesTCP\.idx_euiTCP>!$)"))
                        .match(lines.at(0)).hasMatch());
        QCOMPARE(lines.at(1), QStringLiteral("CREATE INDEX IF NOT EXISTS idx_euiTCP ON devicesTCP ( dev_eui );"));
        QSqlQuery indexes(QSqlDatabase::database(QStringLiteral("server")));
        QVERIFY(indexes.exec(QStringLiteral("SELECT group_concat(name) FROM sqlite_master WHERE name LIKE 'idx%';")));
        QVERIFY(indexes.next());
        QCOMPARE(indexes.value(0).toString(), QStringLiteral("idx_eui,idx_device"));
    }
};

QTEST_GUILESS_MAIN(TestCDataBaseHandlerStart)
#include "tst_cdatabasehandlerstart.moc"
