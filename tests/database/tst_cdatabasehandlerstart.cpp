#include "core/clogfile.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "testworkdir.h"

#include <QSqlQuery>
#include <QtTest>

// The singleton lives once per process, so the start from a file that cannot
// be opened has an executable of its own.
class TestCDataBaseHandlerStart : public QObject
{
    Q_OBJECT

private slots:
    void failedStartRetriesOnExistingFile();

private:
    TestWorkDir m_workDir;
};

void TestCDataBaseHandlerStart::failedStartRetriesOnExistingFile()
{
    CSettings::getInstance(QStringLiteral("settings.conf"));
    QSignalSpy logSpy(CLogFile::getInstance(QStringLiteral("history"), QString()), &CLogFile::addLogSignal);

    // No one can open a directory as a database, not even root.
    QVERIFY(QDir().mkdir(QStringLiteral("server.db")));
    const QRegularExpression critical(QStringLiteral(
            R"(CRITICAL_ERROR! Data base hasn't been created/opened! Error_text\[.+\]\. DataBaseHandler is not running!$)"));
    QTest::ignoreMessage(QtDebugMsg, critical);
    QCOMPARE(CDataBaseHandler::getInstance(), nullptr);
    QTRY_COMPARE(logSpy.count(), 1);
    QVERIFY(critical.match(logSpy.at(0).at(0).toString()).hasMatch());

    // An older file with rows of its own; the retry opens it and keeps them.
    QVERIFY(QDir().rmdir(QStringLiteral("server.db")));
    {
        QSqlDatabase older = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("older"));
        older.setDatabaseName(m_workDir.filePath(QStringLiteral("server.db")));
        QVERIFY(older.open());
        QSqlQuery query(older);
        QVERIFY(query.exec(QStringLiteral("CREATE TABLE devices ( device INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL UNIQUE, "
                                          "name TEXT, app_eui TEXT, dev_eui TEXT, port INTEGER, start_addr INTEGER );")));
        QVERIFY(query.exec(QStringLiteral("INSERT INTO devices VALUES (4, 'old', 'APP1', 'AA01', 5020, 0);")));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("older"));

    QTest::ignoreMessage(QtWarningMsg, "QSqlDatabasePrivate::addDatabase: duplicate connection name 'server', "
                                       "old connection removed.");
    CDataBaseHandler *handler = CDataBaseHandler::getInstance();
    QVERIFY(handler);
    QCOMPARE(CDataBaseHandler::getInstance(), handler);
    QCOMPARE(handler->getRegisteredDevices(ProtocolOption::ModBus), QStringList({"AA01"}));
    QVERIFY(!handler->registerNewDevice({QStringLiteral("AA01"), QString(), QString(), 0, {}, 5020}, ProtocolOption::ModBus));
    // The missing tables are made beside the old one.
    const DB::SDeviceRegDescription reg = {QStringLiteral("r"), 1, 0, 16, QStringLiteral("integer"), 0.0, 1.0, QString()};
    QVERIFY(handler->registerNewDevice({QStringLiteral("BB02"), QString(), QString(), 10, {reg}, 5020}, ProtocolOption::ModBus));
    QCOMPARE(handler->getRegisterParam(QStringLiteral("BB02"), 10).regAddr, 10u);
    QSqlQuery devices = handler->getDevices(QString(), ProtocolOption::ModBus);
    QStringList ids;
    while (devices.next())
        ids.append(devices.value(0).toString() + devices.value(3).toString());
    QCOMPARE(ids, QStringList({"5BB02", "4AA01"}));
}

QTEST_GUILESS_MAIN(TestCDataBaseHandlerStart)
#include "tst_cdatabasehandlerstart.moc"
