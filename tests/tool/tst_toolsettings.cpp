#include "core/clogfile.h"
#include "core/csettings.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QSettings>
#include <QtTest>

namespace {

QVariant stored(const QString &key)
{
    return QSettings(QStringLiteral("settings.conf"), QSettings::IniFormat).value(key);
}

const QStringList kLogin = {QStringLiteral("login"), QStringLiteral("--host"), QStringLiteral("10.1.2.3"),
                            QStringLiteral("--port"), QStringLiteral("8002"), QStringLiteral("--user"),
                            QStringLiteral("plant")};

} // namespace

// login and logging write settings.conf as the program reads it.
class TestToolSettings : public QObject
{
    Q_OBJECT

private slots:
    void loginStoresTheServerKeys()
    {
        TestWorkDir dir;
        const SToolRun run = runToolWithInput(kLogin + QStringList{QStringLiteral("--scheme"), QStringLiteral("wss")},
                                              "s3cret pass\n");
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.outLines().last().contains(QStringLiteral("systemctl restart quillbar")));
        QCOMPARE(stored("server/ip").toString(), QStringLiteral("10.1.2.3"));
        QCOMPARE(stored("server/port").toString(), QStringLiteral("8002"));
        QCOMPARE(stored("server/login").toString(), QStringLiteral("plant"));
        QCOMPARE(stored("server/password").toString(), QStringLiteral("s3cret pass"));
        QCOMPARE(stored("server/scheme").toString(), QStringLiteral("wss"));
    }

    void loginWithoutSchemeLeavesItUnset()
    {
        TestWorkDir dir;
        QCOMPARE(runToolWithInput(kLogin, "pw\n").exitCode, 0);
        QVERIFY(!stored("server/scheme").isValid());
    }

    void loginRefusesAndWritesNothing_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("empty password") << kLogin << QByteArray("\n") << 1;
        QTest::newRow("no input") << kLogin << QByteArray() << 1;
        QTest::newRow("empty host") << QStringList{"login", "--host", "", "--port", "1", "--user", "u"}
                                    << QByteArray("pw\n") << 2;
        QTest::newRow("no user") << QStringList{"login", "--host", "h", "--port", "1"} << QByteArray("pw\n") << 2;
        QTest::newRow("port zero") << QStringList{"login", "--host", "h", "--port", "0", "--user", "u"}
                                   << QByteArray("pw\n") << 2;
        QTest::newRow("unknown scheme") << kLogin + QStringList{"--scheme", "http"} << QByteArray("pw\n") << 2;
        QTest::newRow("password as argument") << kLogin + QStringList{"pw"} << QByteArray("pw\n") << 2;
    }

    void loginRefusesAndWritesNothing()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(int, exitCode);
        TestWorkDir dir;
        const SToolRun run = runToolWithInput(arguments, input);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.err.size(), 1);
        QVERIFY(!QFile::exists(QStringLiteral("settings.conf")));
    }

    void loggingRefusesOutOfRange_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("no files") << QStringList{"logging", "--max-files", "0"};
        QTest::newRow("too many files") << QStringList{"logging", "--max-files", "21"};
        QTest::newRow("negative size") << QStringList{"logging", "--max-size", "-1"};
        QTest::newRow("size not a number") << QStringList{"logging", "--max-size", "big"};
        QTest::newRow("on and off") << QStringList{"logging", "--on", "--off"};
    }

    void loggingRefusesOutOfRange()
    {
        QFETCH(QStringList, arguments);
        TestWorkDir dir;
        QCOMPARE(runTool(arguments).exitCode, 2);
        QVERIFY(!QFile::exists(QStringLiteral("settings.conf")));
    }

    // The log rotates through the number of files the tool stored, and no further.
    void loggingKeysRuleTheLogRotation()
    {
        TestWorkDir dir;
        const SToolRun run = runTool({QStringLiteral("logging"), QStringLiteral("--on"),
                                      QStringLiteral("--max-files"), QStringLiteral("3"),
                                      QStringLiteral("--max-size"), QStringLiteral("0")});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.out.contains(QStringLiteral("3 file(s) of 0 bytes")));

        CSettings::getInstance(QStringLiteral("settings.conf"));
        CLogFile *log = CLogFile::getInstance(QStringLiteral("history"), QString());
        bool sawLastFile = false;
        for (int i = 0; i < 12; ++i) {
            log->addLogMetod(QStringLiteral("line %1").arg(i));
            sawLastFile = sawLastFile || QFile::exists(QStringLiteral("history(2).log"));
            QVERIFY(!QFile::exists(QStringLiteral("history(3).log")));
        }
        QVERIFY(sawLastFile);
    }
};

QTEST_GUILESS_MAIN(TestToolSettings)
#include "tst_toolsettings.moc"
