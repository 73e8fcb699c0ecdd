#include "database/storeschema.h"
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QProcess>
#include <QSqlQuery>
#include <QtTest>

#include <algorithm>
#include <memory>

#include <sys/resource.h>

namespace {

const QString kBoiler = QStringLiteral("70B3D5000000C001");
// Function 3, one register at 1010: the temperature of a device starting at 1000.
const QByteArray kReadTemperature = QByteArray::fromHex("000100000006010303f20001");

// The one register's word from the answer, or -1 without a full answer.
int readRegister(quint16 port)
{
    const auto client = connectClient(port);
    if (!client)
        return -1;
    client->write(kReadTemperature);
    if (!QTest::qWaitFor([&client] { return client->bytesAvailable() >= 11; }, 5000))
        return -1;
    const QByteArray answer = client->readAll();
    return (quint8(answer.at(9)) << 8) | quint8(answer.at(10));
}

// Its debug output is read when `readErrors`, else dropped.
void start(QProcess &program, const QString &folder, bool readErrors = false)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    program.setProcessEnvironment(environment);
    program.setWorkingDirectory(folder);
    if (!readErrors)
        program.setStandardErrorFile(QProcess::nullDevice());
    // As a service manager starts it: a low soft limit of descriptors under a higher hard one.
    program.setChildProcessModifier([] {
        rlimit limit = {};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max / 2, 1024);
        ::setrlimit(RLIMIT_NOFILE, &limit);
    });
    program.start(QStringLiteral(QUILLBAR_EXECUTABLE), QStringList());
}

} // namespace

// The shipped program in a working folder of its own: it logs in to the
// network server of the test, decodes a pushed uplink and serves the value to
// a ModBus client.
class TestProgram : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    FakeNetworkServer m_server;
    QProcess m_program;
    quint16 m_port = 0;

private slots:
    void initTestCase()
    {
        // The folder is prepared with the program's own parts, then left to the program.
        m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
        ProgramCore::storeServerSettings(m_server, QStringLiteral("operator"));
        m_port = freePort();
        QVERIFY(ProgramCore::storeDevice(kBoiler, QStringLiteral("F1A7C0DE00000101"), QStringLiteral("Boiler room"),
                                         1000, m_port, ProtocolOption::ModBus));
        start(m_program, m_workDir.path());
        QVERIFY(m_program.waitForStarted());
    }

    void cleanupTestCase()
    {
        m_program.kill();
        m_program.waitForFinished();
        m_core.reset();
    }

    void servesDecodedUplinkOverModbus()
    {
        QTRY_COMPARE_WITH_TIMEOUT(m_server.receivedWithCmd(QStringLiteral("auth_req")).size(), 1, 20000);
        QVERIFY(m_server.receivedWithCmd(QStringLiteral("auth_req")).at(0).contains(QStringLiteral("operator")));
        QTRY_COMPARE_WITH_TIMEOUT(readRegister(m_port), 0, 10000);

        // Temperature 23.5 °C in tenths.
        ProgramCore::pushUplink(m_server, kBoiler, QStringLiteral("0100eb0202f63e0c"));
        QTRY_COMPARE_WITH_TIMEOUT(readRegister(m_port), 0x00eb, 10000);
        QCOMPARE(m_program.state(), QProcess::Running);
    }

    void raisesItsDescriptorLimit()
    {
        const QRegularExpression openFiles(QStringLiteral(R"(Max open files\s+(\d+)\s+(\d+))"));
        const auto limits = [this, &openFiles] {
            QFile file(QStringLiteral("/proc/%1/limits").arg(m_program.processId()));
            return file.open(QIODevice::ReadOnly) ? openFiles.match(QString::fromLatin1(file.readAll()))
                                                  : QRegularExpressionMatch();
        };
        QVERIFY(limits().hasMatch());
        QCOMPARE(limits().captured(1), limits().captured(2));
    }

    // A service manager's stop ends the program as a clean exit, said in the
    // log, once the uplinks that wait for a file another program holds are
    // stored, each whole.
    void stopsCleanlyOnSigterm()
    {
        QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        other.setDatabaseName(m_workDir.filePath(FileName::database));
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec(QLatin1String(StoreSchema::kBeginWriteSql)));
        const QStringList temperatures = {"0101", "0102", "0103", "0104", "0105"};
        for (const QString &temperature : temperatures)
            ProgramCore::pushUplink(m_server, kBoiler, QLatin1String("01") + temperature + QLatin1String("0202f63e0c"));
        QFile log(m_workDir.filePath(QStringLiteral("history.log")));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QByteArray lines;
        QTRY_VERIFY_WITH_TIMEOUT((lines += log.readAll()).contains("Recived data [0101050202f63e0c]"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT((lines += log.readAll()).contains("The register file is busy (database is locked)"),
                                 10000);

        m_program.terminate();
        // Freed while the program waits to store what it holds.
        QTest::qWait(1000);
        QVERIFY(QSqlQuery(other).exec(QLatin1String(StoreSchema::kRollbackSql)));
        QVERIFY(m_program.waitForFinished(20000));
        QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_program.exitCode(), 0);
        QVERIFY((lines += log.readAll()).contains("]INFO: [main] Stopping on signal SIGTERM."));

        QSqlQuery stored(other);
        QVERIFY(stored.exec(QStringLiteral("SELECT full_value FROM dev_data WHERE reg_addr IN (1010, 1011) "
                                           "ORDER BY reg_addr;")));
        QStringList values;
        while (stored.next())
            values.append(stored.value(0).toString());
        QCOMPARE(values, QStringList({"0105", "0202"}));
    }

    // Before the event loop runs, the start may wait for a file that another
    // program holds: a stop then still ends it, as a stop.
    void stopsWhileTheFileIsHeldAtStart()
    {
        QTemporaryDir folder;
        {
            QSqlDatabase holder = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("holder"));
            holder.setDatabaseName(QDir(folder.path()).filePath(FileName::database));
            QVERIFY(holder.open());
            QVERIFY(QSqlQuery(holder).exec(QLatin1String(StoreSchema::kBeginExclusiveSql)));
            QProcess program;
            start(program, folder.path(), true);
            // The log file gets its lines once the event loop runs; the debug output at once.
            QByteArray errors;
            QTRY_VERIFY_WITH_TIMEOUT((errors += program.readAllStandardError()).contains("held by another program"),
                                     10000);

            program.terminate();
            QVERIFY(program.waitForFinished(10000));
            QCOMPARE(program.exitStatus(), QProcess::NormalExit);
            QCOMPARE(program.exitCode(), 0);
            QFile log(QDir(folder.path()).filePath(QStringLiteral("history.log")));
            QVERIFY(log.open(QIODevice::ReadOnly));
            QCOMPARE(log.readAll().count("]INFO: [main] Stopping on signal SIGTERM."), 1);
            QVERIFY(QSqlQuery(holder).exec(QLatin1String(StoreSchema::kRollbackSql)));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("holder"));
    }

    void stopsWhenStoreCannotOpen()
    {
        QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("server.db")));
        QProcess program;
        start(program, folder.path());
        QVERIFY(program.waitForFinished(20000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 1);

        QFile log(QDir(folder.path()).filePath(QStringLiteral("history.log")));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("CRITICAL_ERROR! Data base hasn't been created/opened!"));
    }
};

QTEST_MAIN(TestProgram)
#include "tst_program.moc"
