#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "fakenetworkserver.h"
#include "testnet.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QSettings>
#include <QtTest>

namespace {

QVariant stored(const QString &key, const QString &file = QStringLiteral("settings.conf"))
{
    return QSettings(file, QSettings::IniFormat).value(key);
}

const QStringList kLogin = {QStringLiteral("login"), QStringLiteral("--host"), QStringLiteral("10.1.2.3"),
                            QStringLiteral("--port"), QStringLiteral("8002"), QStringLiteral("--user"),
                            QStringLiteral("plant")};

const QString kModBusEui = QStringLiteral("70B3D5000000C001");
const QString kTcpEui = QStringLiteral("70B3D5000000D001");
// A climate sensor publishing on 1502 and a serial gateway on 1600.
const QByteArray kSiteDevices = "dev_eui,app_eui,name,port,start_addr,kind\r\n"
                                "70B3D5000000C001,F1A7C0DE00000101,Boiler,1502,1000,modbus\r\n"
                                "70B3D5000000D001,F1A7C0DE00000303,Line 1,1600,,tcp\r\n";
const QString kOn = QStringLiteral("status registers on port %1");
const QString kOff = QStringLiteral("status registers off");
constexpr int kLogLineBytes = 400000;
const QString kPrivileged = QStringLiteral("Port %1 is below 1024: the quillbar service may listen on it (it "
                                           "holds CAP_NET_BIND_SERVICE); the program started by hand as another "
                                           "user than root cannot.");
// The working folder is named: the folder the change was made in.
const QString kRestart = QStringLiteral("Takes effect at the program's next start in %1 (systemctl restart quillbar "
                                        "for the service).");

} // namespace

// login, logging and status write settings.conf as the program reads it.
class TestToolSettings : public QObject
{
    Q_OBJECT

    // A commissioned folder with one ModBus and one TCP device stored.
    TestWorkDir m_site;

private slots:
    void initTestCase()
    {
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR)));
        QVERIFY(importSeed(kSiteDevices));
    }

    // before: the status/port in settings.conf ahead of the run, none if invalid;
    // after: the same once the run is done; store: the run in the folder with devices.
    void statusSetsShowsAndRefuses_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("store");
        QTest::addColumn<QVariant>("before");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QVariant>("after");
        QTest::addColumn<QStringList>("out");
        QTest::addColumn<QString>("error");

        const QVariant none;
        const QVariant port5030(QStringLiteral("5030"));
        QTest::newRow("set") << QStringList{"--port", "5030"} << true << none << 0 << port5030
                             << QStringList{kOn.arg(5030), kRestart} << QString();
        QTest::newRow("set over another") << QStringList{"--port", "65535"} << true << port5030 << 0
                                          << QVariant(QStringLiteral("65535"))
                                          << QStringList{kOn.arg(65535), kRestart} << QString();
        QTest::newRow("set, no register file") << QStringList{"--port", "1502"} << false << none << 0
                                               << QVariant(QStringLiteral("1502"))
                                               << QStringList{kOn.arg(1502), kRestart} << QString();
        QTest::newRow("clear with 0") << QStringList{"--port", "0"} << true << port5030 << 0 << none
                                      << QStringList{kOff, kRestart} << QString();
        QTest::newRow("ModBus's own 502") << QStringList{"--port", "502"} << true << none << 0
                                          << QVariant(QStringLiteral("502"))
                                          << QStringList{kOn.arg(502), kPrivileged.arg(502), kRestart} << QString();
        QTest::newRow("out of range") << QStringList{"--port", "65536"} << true << port5030 << 2 << port5030
                                      << QStringList()
                                      << "quillbar-tool status: --port must be a number from 1 to 65535, or 0 "
                                         "for none";
        QTest::newRow("negative") << QStringList{"--port", "-1"} << true << none << 2 << none << QStringList()
                                  << "quillbar-tool status: --port must be a number from 1 to 65535, or 0 for none";
        QTest::newRow("not a number") << QStringList{"--port", "50x"} << true << port5030 << 2 << port5030
                                      << QStringList()
                                      << "quillbar-tool status: --port must be a number from 1 to 65535, or 0 "
                                         "for none";
        QTest::newRow("argument") << QStringList{"5030"} << true << none << 2 << none << QStringList()
                                  << "quillbar-tool status: no arguments expected";
        QTest::newRow("held by a ModBus device") << QStringList{"--port", "1502"} << true << port5030 << 1
                                                 << port5030 << QStringList()
                                                 << "quillbar-tool status: port 1502 is held by ModBus device "
                                                    "70B3D5000000C001";
        QTest::newRow("held by a TCP device") << QStringList{"--port", "1600"} << true << none << 1 << none
                                              << QStringList()
                                              << "quillbar-tool status: port 1600 is held by TCP device "
                                                 "70B3D5000000D001";
        QTest::newRow("show on") << QStringList() << true << port5030 << 0 << port5030 << QStringList{kOn.arg(5030)}
                                 << QString();
        QTest::newRow("show off") << QStringList() << true << none << 0 << none << QStringList{kOff} << QString();
        QTest::newRow("show a port taken since") << QStringList() << true << QVariant(QStringLiteral("1600")) << 1
                                                 << QVariant(QStringLiteral("1600")) << QStringList{kOn.arg(1600)}
                                                 << "quillbar-tool status: port 1600 is held by TCP device "
                                                    "70B3D5000000D001, so the program leaves the status registers off";
        QTest::newRow("show no port") << QStringList() << true << QVariant(QStringLiteral("high")) << 1
                                      << QVariant(QStringLiteral("high")) << QStringList()
                                      << R"(quillbar-tool status: settings.conf holds status/port = "high", which )"
                                         "is no port; set it with --port";
    }

    void statusSetsShowsAndRefuses()
    {
        QFETCH(QStringList, arguments);
        QFETCH(bool, store);
        QFETCH(QVariant, before);
        QFETCH(int, exitCode);
        QFETCH(QVariant, after);
        QFETCH(QStringList, out);
        QFETCH(QString, error);

        TestWorkDir empty;
        const QString folder = store ? m_site.path() : empty.path();
        const QString settings = QDir(folder).filePath(QStringLiteral("settings.conf"));
        QFile::remove(settings);
        if (before.isValid())
            QSettings(settings, QSettings::IniFormat).setValue(QStringLiteral("status/port"), before);

        const SToolRun run = runTool(QStringList{"status", "--dir", folder} + arguments);
        QCOMPARE(run.exitCode, exitCode);
        out.replaceInStrings(QStringLiteral("%1 ("), QStringLiteral("%1 (").arg(QDir(folder).canonicalPath()));
        QCOMPARE(run.outLines(), out);
        QCOMPARE(run.err, error.isEmpty() ? QStringList() : QStringList(error));
        QCOMPARE(stored(QStringLiteral("status/port"), settings), after);
        // Nothing but the key is written, and clearing leaves no empty group behind.
        const QStringList keys = QSettings(settings, QSettings::IniFormat).allKeys();
        QCOMPARE(keys, after.isValid() ? QStringList{"status/port"} : QStringList());
    }

    void loginStoresTheServerKeys_data()
    {
        QTest::addColumn<QStringList>("scheme");
        QTest::addColumn<QVariant>("storedScheme");
        QTest::newRow("wss") << QStringList{"--scheme", "wss"} << QVariant(QStringLiteral("wss"));
        QTest::newRow("no scheme: left unset") << QStringList() << QVariant();
    }

    void loginStoresTheServerKeys()
    {
        QFETCH(QStringList, scheme);
        QFETCH(QVariant, storedScheme);
        TestWorkDir dir;
        const SToolRun run = runToolWithInput(kLogin + scheme, "s3cret pass\n");
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.outLines().last().contains(QStringLiteral("systemctl restart quillbar")));
        QCOMPARE(stored("server/ip").toString(), QStringLiteral("10.1.2.3"));
        QCOMPARE(stored("server/port").toString(), QStringLiteral("8002"));
        QCOMPARE(stored("server/login").toString(), QStringLiteral("plant"));
        QCOMPARE(stored("server/password").toString(), QStringLiteral("s3cret pass"));
        QCOMPARE(stored("server/scheme"), storedScheme);
        QCOMPARE(QFile::permissions(QStringLiteral("settings.conf"))
                         & (QFileDevice::ReadGroup | QFileDevice::ReadOther),
                 QFileDevice::Permissions());
    }

    // login --test logs in as the program would, says what happened, and stores nothing.
    void loginTestSaysWhatHappened_data()
    {
        QTest::addColumn<QString>("server");    // "accepts", "refuses", "silent" or "none"
        QTest::addColumn<bool>("stored");       // the login stored before, rather than given
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("line");      // ORIGIN stands for the server's address

        const QString error = QStringLiteral("quillbar-tool login: ");
        QTest::newRow("accepted") << "accepts" << false << 0 << "logged in to ORIGIN as user";
        QTest::newRow("accepted, stored login") << "accepts" << true << 0 << "logged in to ORIGIN as user";
        QTest::newRow("refused") << "refuses" << false << 1
                                 << error + "login to ORIGIN as user refused: bad_password";
        QTest::newRow("no answer to the probe")
                << "silent" << false << 1 << error + "ORIGIN does not answer as a network server: no answer";
        QTest::newRow("nothing listening") << "none" << false << 1
                                           << error + "cannot connect to ORIGIN: Connection refused";
        QTest::newRow("no stored login") << "none" << true << 1
                                         << error + "no stored login in settings.conf; give --host, --port and "
                                                    "--user";
    }

    void loginTestSaysWhatHappened()
    {
        QFETCH(QString, server);
        QFETCH(bool, stored);
        QFETCH(int, exitCode);
        QFETCH(QString, line);
        TestWorkDir dir;
        FakeNetworkServer network;
        if (server == QStringLiteral("refuses")) {
            network.setReply(QStringLiteral("auth_req"),
                             {{"cmd", "auth_resp"}, {"status", false}, {"err_string", "bad_password"}});
        } else if (server == QStringLiteral("silent")) {
            network.setReply(QStringLiteral("cmd"), QJsonObject());
        }
        const quint16 port = server == QStringLiteral("none") ? freePort() : quint16(network.url().port());
        const QStringList login{QStringLiteral("login"), QStringLiteral("--host"), QStringLiteral("127.0.0.1"),
                                QStringLiteral("--port"), QString::number(port), QStringLiteral("--user"),
                                QStringLiteral("user")};
        if (stored && server != QStringLiteral("none"))
            QCOMPARE(runToolWithInput(login, "secret\n").exitCode, 0);
        const QByteArray settingsBefore = fileHash(QStringLiteral("settings.conf"));

        // The server answers from this process's event loop while the tool runs.
        QProcess process;
        startTool(process, stored ? QStringList{QStringLiteral("login"), QStringLiteral("--test")}
                                  : login + QStringList(QStringLiteral("--test")));
        process.write("secret\n");
        process.closeWriteChannel();
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 20000);
        const SToolRun run = finishTool(process);
        QCOMPARE(run.exitCode, exitCode);
        line.replace(QStringLiteral("ORIGIN"), QStringLiteral("ws://127.0.0.1:%1").arg(port));
        QCOMPARE(exitCode == 0 ? run.outLines() : run.err, QStringList(line));
        QCOMPARE(fileHash(QStringLiteral("settings.conf")), settingsBefore);
    }

    // modbus --strict-addresses writes the key that the program's ModBus ports read at start.
    void strictAddressesSwitch_data()
    {
        QTest::addColumn<bool>("before");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<bool>("after");
        QTest::addColumn<QString>("line");

        const QString on = QStringLiteral("strict addresses on: reads without a register answer exception 02");
        const QString off = QStringLiteral("strict addresses off: reads without a register answer zeros");
        QTest::newRow("show the default") << false << QStringList{"modbus"} << 0 << false << off;
        QTest::newRow("on") << false << QStringList{"modbus", "--strict-addresses", "on"} << 0 << true << on;
        QTest::newRow("off") << true << QStringList{"modbus", "--strict-addresses", "off"} << 0 << false << off;
        QTest::newRow("neither") << true << QStringList{"modbus", "--strict-addresses", "yes"} << 2 << true
                                 << "quillbar-tool modbus: --strict-addresses must be on or off";
    }

    void strictAddressesSwitch()
    {
        QFETCH(bool, before);
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(bool, after);
        QFETCH(QString, line);
        TestWorkDir dir;
        QVERIFY(QDir().mkdir(QStringLiteral("deviceFolder")));
        if (before)
            writeFile(QStringLiteral("settings.conf"), "[modbus]\nstrict_addresses=true\n");
        const SToolRun run = runTool(arguments);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(exitCode == 0 ? run.outLines().first() : run.err.first(), line);
        QCOMPARE(stored(SettingsKey::strictAddresses).toBool(), after);
    }

    // A command that reads a site refuses a folder that is none, naming it;
    // --dir names the site from anywhere.
    void workingFolder_data()
    {
        QTest::addColumn<QStringList>("arguments");     // SITE stands for the commissioned folder
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("line");              // of standard error, or the first of output; HERE: the empty folder

        const QString notSite = QStringLiteral("quillbar-tool %1: HERE is not a Quillbar working folder (no "
                                               "settings.conf, server.db or deviceFolder); name one with --dir");
        for (const char *command : {"status", "logging", "modbus", "export"})
            QTest::addRow("%s, empty folder", command) << QStringList(command) << 1 << notSite.arg(command);
        QTest::newRow("remove, empty folder") << QStringList{"remove", "70B3D5000000C001"} << 1
                                              << notSite.arg("remove");
        QTest::newRow("import, no templates") << QStringList{"import", "devices.csv"} << 1
                                              << "quillbar-tool import: HERE has no deviceFolder, whose templates "
                                                 "the devices need; name the working folder with --dir";
        QTest::newRow("check, no templates") << QStringList{"check"} << 1
                                             << "quillbar-tool check: HERE has no deviceFolder; name the working "
                                                "folder with --dir, or the template folder";
        QTest::newRow("missing --dir") << QStringList{"status", "--dir", "absent"} << 2
                                       << "quillbar-tool status: no folder \"absent\"";
        QTest::newRow("export --dir") << QStringList{"export", "--dir", "SITE"} << 0
                                      << "dev_eui,app_eui,name,port,start_addr,kind\r";
        QTest::newRow("check --dir") << QStringList{"check", "--dir", "SITE"} << 0
                                     << "ClimateSensor_TH20.json: 1 accepted, 0 refused";
        QTest::newRow("map --dir") << QStringList{"map", "--dir", "SITE"} << 0
                                   << "port,address,registers,device name,DevEUI,application EUI,device type,"
                                      "register name,unit,data type,multiplier,offset,protocol\r";
        QTest::newRow("decode --dir") << QStringList{"decode", "SITE/deviceFolder/ClimateSensor_TH20.json",
                                                     "0100eb0202f63e0c", "--device", "70B3D5000000C001", "--dir",
                                                     "SITE"}
                                      << 0 << " 1000  0x0000      0  Last uplink time (s)  = 00000000";
    }

    void workingFolder()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, line);
        TestWorkDir empty;
        writeFile(QStringLiteral("devices.csv"), kSiteDevices);
        arguments.replaceInStrings(QStringLiteral("SITE"), m_site.path());
        line.replace(QStringLiteral("HERE"), QDir::currentPath()).replace(QStringLiteral("SITE"), m_site.path());
        const SToolRun run = runTool(arguments);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(exitCode == 0 ? run.outLines().value(0) : run.err.value(0), line);
        QVERIFY(!QFile::exists(QStringLiteral("settings.conf")));
    }

    // A refused login or logging change says why in one line and writes nothing.
    void refusedChangesWriteNothing_data()
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
        QTest::newRow("no files") << QStringList{"logging", "--max-files", "0"} << QByteArray() << 2;
        QTest::newRow("too many files") << QStringList{"logging", "--max-files", "21"} << QByteArray() << 2;
        QTest::newRow("size zero") << QStringList{"logging", "--max-size", "0"} << QByteArray() << 2;
        QTest::newRow("negative size") << QStringList{"logging", "--max-size", "-1"} << QByteArray() << 2;
        QTest::newRow("size not a number") << QStringList{"logging", "--max-size", "big"} << QByteArray() << 2;
        QTest::newRow("on and off") << QStringList{"logging", "--on", "--off"} << QByteArray() << 2;
    }

    void refusedChangesWriteNothing()
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

    // The log rotates through the number of files the tool stored, and no further.
    void loggingKeysRuleTheLogRotation()
    {
        TestWorkDir dir;
        const SToolRun run = runTool({QStringLiteral("logging"), QStringLiteral("--on"),
                                      QStringLiteral("--max-files"), QStringLiteral("3"),
                                      QStringLiteral("--max-size"), QStringLiteral("1")});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.out.contains(QStringLiteral("3 file(s) of 1000000 bytes")));

        CSettings::getInstance(QStringLiteral("settings.conf"));
        CLogFile *log = CLogFile::getInstance(QStringLiteral("history"), QString());
        // Three lines fill a file of the smallest size the tool sets.
        const QString filler(kLogLineBytes, QLatin1Char('x'));
        bool sawLastFile = false;
        for (int i = 0; i < 12; ++i) {
            log->addLogMetod(QStringLiteral("line %1 %2").arg(i).arg(filler));
            sawLastFile = sawLastFile || QFile::exists(QStringLiteral("history(2).log"));
            QVERIFY(!QFile::exists(QStringLiteral("history(3).log")));
        }
        QVERIFY(sawLastFile);
    }
};

QTEST_GUILESS_MAIN(TestToolSettings)
#include "tst_toolsettings.moc"
