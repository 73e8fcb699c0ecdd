#include "database/cdatabasehandler.h"
#include "database/storeschema.h"
#include "logspy.h"
#include "testworkdir.h"

#include <QSemaphore>
#include <QSqlQuery>
#include <QtTest>

#include <thread>

namespace {

// Another program's connection that holds the file exclusively from its
// start until `holdMs` have passed, on a thread of its own, since the start
// it is holding up blocks this one.
class CLockHolder
{
public:
    CLockHolder(const QString &file, int holdMs)
        : m_thread([this, file, holdMs] { hold(file, holdMs); })
    {
        m_locked.acquire();
    }
    ~CLockHolder() { m_thread.join(); }

    bool held() const { return m_held; }

private:
    void hold(const QString &file, int holdMs)
    {
        const QString name = QStringLiteral("holder");
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
            db.setDatabaseName(file);
            m_held = db.open() && QSqlQuery(db).exec(QLatin1String(StoreSchema::kBeginExclusiveSql));
            m_locked.release();
            QThread::msleep(holdMs);
            QSqlQuery(db).exec(QLatin1String(StoreSchema::kRollbackSql));
        }
        QSqlDatabase::removeDatabase(name);
    }

    QSemaphore m_locked;
    bool m_held = false;
    std::thread m_thread;
};

const QString kWaiting = QStringLiteral("WARNING: [CDataBaseHandler] The register file is held by another program "
                                        "(database is locked): waiting for it before the devices are published.");

} // namespace

// The singleton lives once per process, so the start over a locked file has
// an executable of its own.
class TestCDataBaseHandlerLocked : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    void startWaitsForALockedFile()
    {
        LogSpy log;
        const QString file = m_workDir.filePath(FileName::database);
        {
            // The tool's bound passes while the lock stands: no store, and why.
            CLockHolder holder(file, 1500);
            QVERIFY(holder.held());
            CDataBaseHandler::setStartWait(300);
            QTest::ignoreMessage(QtDebugMsg, qPrintable(kWaiting));
            const QString failed = QStringLiteral("CRITICAL_ERROR! Data base hasn't been created/opened! "
                                                  "Error_text[database is locked]. DataBaseHandler is not running!");
            QTest::ignoreMessage(QtDebugMsg, qPrintable(failed));
            QCOMPARE(CDataBaseHandler::getInstance(), nullptr);
            QCOMPARE(log.takeLines(), QStringList({kWaiting, failed}));
        }

        // The program waits as long as it takes, then starts with its tables.
        CLockHolder holder(file, 1500);
        CDataBaseHandler::setStartWait(-1);
        QTest::ignoreMessage(QtDebugMsg, qPrintable(kWaiting));
        QTest::ignoreMessage(QtWarningMsg, "QSqlDatabasePrivate::addDatabase: "
                                           "duplicate connection name 'server', old connection removed.");
        CDataBaseHandler *handler = CDataBaseHandler::getInstance();
        QVERIFY(handler);
        QCOMPARE(log.takeLines(),
                 QStringList({kWaiting, "INFO: [CDataBaseHandler] The register file is free: starting."}));
        const DB::SDeviceRegDescription reg = {"r", 1, 0, 16, "integer", 0.0, 1.0, "u"};
        QVERIFY(handler->registerNewDevice({"BB02", "APP1", "new", 10, {reg}, 5020}, ProtocolOption::ModBus));
    }
};

QTEST_GUILESS_MAIN(TestCDataBaseHandlerLocked)
#include "tst_cdatabasehandlerlocked.moc"
