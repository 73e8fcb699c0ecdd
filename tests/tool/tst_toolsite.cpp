#include "core/constants.h"
#include "fakenetworkserver.h"
#include "testnet.h"
#include "testworkdir.h"
#include "toolrun.h"

#include <QJsonObject>
#include <QtTest>

namespace {

const QString kBoiler = QStringLiteral("70B3D5000000C001");
// The temperature of a device starting at 1000.
constexpr quint16 kTemperatureAddress = 1010;
constexpr quint16 kStatusModBusDevices = 12;
constexpr int kAnswerSize = 11;

// The word of one register read with function 3, or -1 without a full answer.
int readRegister(quint16 port, quint16 address = kTemperatureAddress)
{
    const QByteArray answer = exchange(port, modbusRequest(1, 1, 3, address, 1), kAnswerSize);
    if (answer.size() < kAnswerSize)
        return -1;
    return (quint8(answer.at(9)) << 8) | quint8(answer.at(10));
}

} // namespace

// A site commissioned by the tool alone: an empty folder with the templates,
// login, import and status port, then the shipped program started there
// without a display.
class TestToolSite : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    FakeNetworkServer m_server;
    QProcess m_program;

private slots:
    void cleanupTestCase()
    {
        m_program.kill();
        m_program.waitForFinished();
    }

    void servesImportedDeviceWithItsScaling()
    {
        TestWorkDir elsewhere;
        const QDir site(m_workDir.path());
        QVERIFY(copyTemplates(QStringLiteral(SAMPLE_TEMPLATES_DIR), site));

        const quint16 port = freePort();
        writeFile(QStringLiteral("devices.csv"),
                  QStringLiteral("dev_eui,app_eui,name,port,start_addr,kind\r\n"
                                 "%1,F1A7C0DE00000101,Boiler room,%2,1000,modbus\r\n")
                          .arg(kBoiler)
                          .arg(port)
                          .toUtf8());
        writeFile(QStringLiteral("registers.csv"),
                  QByteArray("dev_eui,address,multiplier,offset,unit\r\n") + kBoiler.toUtf8() + ",1010,0.1,0,°C\r\n");
        // Relative to where the tool is called, which it stays in.
        const QStringList dir = {QStringLiteral("--dir"), QDir::current().relativeFilePath(site.path())};
        QCOMPARE(runToolWithInput(QStringList{"login", "--host", m_server.url().host(), "--port",
                                              QString::number(m_server.url().port()), "--user", "operator"}
                                          + dir,
                                  "secret\n")
                         .exitCode,
                 0);
        QCOMPARE(runTool(QStringList{"import", "devices.csv", "--registers", "registers.csv"} + dir).exitCode, 0);
        quint16 statusPort = freePort();
        for (int i = 0; i < 10 && statusPort == port; ++i)
            statusPort = freePort();
        QCOMPARE(runTool(QStringList{"status", "--port", QString::number(statusPort)} + dir).exitCode, 0);
        QCOMPARE(QDir::current().entryList(QDir::Files | QDir::NoDotAndDotDot),
                 (QStringList{"devices.csv", "registers.csv"}));
        QVERIFY(site.exists(QStringLiteral("history.log")));

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        m_program.setProcessEnvironment(environment);
        m_program.setWorkingDirectory(site.path());
        m_program.setStandardErrorFile(QProcess::nullDevice());
        m_program.start(QStringLiteral(QUILLBAR_EXECUTABLE), QStringList());
        QVERIFY(m_program.waitForStarted());

        QTRY_COMPARE_WITH_TIMEOUT(m_server.receivedWithCmd(QStringLiteral("auth_req")).size(), 1, 20000);
        const QString login = m_server.receivedWithCmd(QStringLiteral("auth_req")).at(0);
        QVERIFY(login.contains(QStringLiteral("operator")) && login.contains(QStringLiteral("secret")));
        QTRY_COMPARE_WITH_TIMEOUT(readRegister(port), 0, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(readRegister(statusPort, kStatusModBusDevices), 1, 10000);

        // Temperature 23.5 °C in tenths: 235 times the imported 0.1.
        m_server.push(QJsonObject{{"cmd", "rx"}, {"type", "UNCONF_UP"}, {"devEui", kBoiler}, {"ts", 1700000000123LL},
                                  {"gatewayId", "0011223344556677"}, {"ack", false}, {"fcnt", 7}, {"port", 2},
                                  {"data", "0100eb0202f63e0c"}, {"freq", 868100000}, {"dr", 5}, {"rssi", -80},
                                  {"snr", 7.25}});
        QTRY_COMPARE_WITH_TIMEOUT(readRegister(port), 24, 10000);
        QCOMPARE(m_program.state(), QProcess::Running);
    }
};

QTEST_MAIN(TestToolSite)
#include "tst_toolsite.moc"
