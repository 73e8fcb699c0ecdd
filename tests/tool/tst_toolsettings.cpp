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

const QStringList kLogin = {"login", "--host", "10.1.2.3", "--port", "8002", "--user", "plant"};

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

        const auto row = [](const char *name, const QStringList &arguments, const QVariant &before, int exitCode,
                            const QVariant &after, const QStringList &out, const QString &error = QString(),
                            bool store = true) {
            QTest::newRow(name) << arguments << store << before << exitCode << after << out << error;
        };
        const QVariant none;
        const QVariant port5030(QStringLiteral("5030"));
        const QString error = QStringLiteral("quillbar-tool status: ");
        const QString badPort = error + "--port must be a number from 1 to 65535, or 0 for none";
        const QString heldByTcp = error + "port 1600 is held by TCP device 70B3D5000000D001";
        row("set", {"--port", "5030"}, none, 0, port5030, {kOn.arg(5030), kRestart});
        row("set over another", {"--port", "65535"}, port5030, 0, "65535", {kOn.arg(65535), kRestart});
        row("set, no register file", {"--port", "1502"}, none, 0, "1502", {kOn.arg(1502), kRestart}, QString(), false);
        row("clear with 0", {"--port", "0"}, port5030, 0, none, {kOff, kRestart});
        row("ModBus's own 502", {"--port", "502"}, none, 0, "502", {kOn.arg(502), kPrivileged.arg(502), kRestart});
        row("out of range", {"--port", "65536"}, port5030, 2, port5030, {}, badPort);
        row("negative", {"--port", "-1"}, none, 2, none, {}, badPort);
        row("not a number", {"--port", "50x"}, port5030, 2, port5030, {}, badPort);
        row("argument", {"5030"}, none, 2, none, {}, error + "no arguments expected");
        row("held by a ModBus device", {"--port", "1502"}, port5030, 1, port5030, {},
            error + "port 1502 is held by ModBus device 70B3D5000000C001");
        row("held by a TCP device", {"--port", "1600"}, none, 1, none, {}, heldByTcp);
        row("show on", {}, port5030, 0, port5030, {kOn.arg(5030)});
        row("show off", {}, none, 0, none, {kOff});
        row("show a port taken since", {}, "1600", 1, "1600", {kOn.arg(1600)},
            heldByTcp + ", so the program leaves the status registers off");
        row("show no port", {}, "high", 1, "high", {},
            error + R"(settings.conf holds status/port = "high", which is no port; set it with --port)");
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
        const QStringList login{"login", "--host", "127.0.0.1", "--port", QString::number(port), "--user", "user"};
        if (stored && server != QStringLiteral("none"))
            QCOMPARE(runToolWithInput(login, "secret\n").exitCode, 0);
        const QByteArray settingsBefore = fileHash(QStringLiteral("settings.conf"));

        // The server answers from this process's event loop while the tool runs.
        QProcess process;
        startTool(process, stored ? QStringList{"login", "--test"} : login + QStringList("--test"));
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
        // Of standard error, or the first of output; HERE stands for the empty folder.
        QTest::addColumn<QString>("line");

        const QString notSite = QStringLiteral("quillbar-tool %1: HERE is not a Quillbar working folder (no "
                                               "settings.conf, server.db or deviceFolder); name one with --dir");
        for (const char *command : {"status", "logging", "modbus", "export"})
            QTest::addRow("%s, empty folder", command) << QStringList(command) << 1 << notSite.arg(command);
        const auto row = [](const char *name, const QStringList &arguments, int exitCode, const QString &line) {
            QTest::newRow(name) << arguments << exitCode << line;
        };
        row("remove, empty folder", {"remove", "70B3D5000000C001"}, 1, notSite.arg("remove"));
        row("import, no templates", {"import", "devices.csv"}, 1,
            "quillbar-tool import: HERE has no deviceFolder, whose templates the devices need; name the working "
            "folder with --dir");
        row("check, no templates", {"check"}, 1,
            "quillbar-tool check: HERE has no deviceFolder; name the working folder with --dir, or the template "
            "folder");
        row("missing --dir", {"status", "--dir", "absent"}, 2, "quillbar-tool status: no folder \"absent\"");
        row("export --dir", {"export", "--dir", "SITE"}, 0, "dev_eui,app_eui,name,port,start_addr,kind\r");
        row("check --dir", {"check", "--dir", "SITE"}, 0, "ClimateSensor_TH20.json: 1 accepted, 0 refused");
        row("map --dir", {"map", "--dir", "SITE"}, 0,
            "port,address,registers,device name,DevEUI,application EUI,device type,register name,unit,data type,"
            "multiplier,offset,protocol\r");
        row("decode --dir",
            {"decode", "SITE/deviceFolder/ClimateSensor_TH20.json", "0100eb0202f63e0c", "--device",
             "70B3D5000000C001", "--dir", "SITE"},
            0, " 1000  0x0000      0  Last uplink time (s)  = 00000000");
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
        // A refused argument exits with 2, a refused password with 1.
        const auto row = [](const char *name, const QStringList &arguments, const QByteArray &input = QByteArray(),
                            int exitCode = 2) {
            QTest::newRow(name) << arguments << input << exitCode;
        };
        row("empty password", kLogin, "\n", 1);
        row("no input", kLogin, QByteArray(), 1);
        row("empty host", {"login", "--host", "", "--port", "1", "--user", "u"}, "pw\n");
        row("no user", {"login", "--host", "h", "--port", "1"}, "pw\n");
        row("port zero", {"login", "--host", "h", "--port", "0", "--user", "u"}, "pw\n");
        row("unknown scheme", kLogin + QStringList{"--scheme", "http"}, "pw\n");
        row("password as argument", kLogin + QStringList{"pw"}, "pw\n");
        row("no files", {"logging", "--max-files", "0"});
        row("too many files", {"logging", "--max-files", "21"});
        row("size zero", {"logging", "--max-size", "0"});
        row("negative size", {"logging", "--max-size", "-1"});
        row("size not a number", {"logging", "--max-size", "big"});
        row("on and off", {"logging", "--on", "--off"});
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
        const SToolRun run = runTool({"logging", "--on", "--max-files", "3", "--max-size", "1"});
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
