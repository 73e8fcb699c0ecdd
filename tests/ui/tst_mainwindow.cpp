#include "logspy.h"
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"
#include "ui/mainwindow.h"

#include <QGroupBox>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSettings>
#include <QtTest>

#include <memory>

namespace {

const QString kClimateEui = QStringLiteral("F1A7C0DE00000101");
const QString kPulseEui = QStringLiteral("F1A7C0DE00000202");
const QString kBoiler = QStringLiteral("70B3D5000000C001");
const QString kWaterMeter = QStringLiteral("70B3D5000000C002");
const QString kGateway = QStringLiteral("70B3D5000000D001");
const QString kBoilerTitle = QStringLiteral("Device:70B3D5000000C001 [Climate sensor TH-20]");
const QString kWaterMeterTitle = QStringLiteral("Device:70B3D5000000C002 [Pulse counter PC-2]");
const QString kNoDeviceTitle = QStringLiteral("Device [UNKNOWN]");

QString storedLogin()
{
    return QSettings(QStringLiteral("settings.conf"), QSettings::IniFormat).value(QStringLiteral("server/login")).toString();
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void logsInWithStoredCredentials();
    void statusShownAndCredentialsKeptOnSuccess_data();
    void statusShownAndCredentialsKeptOnSuccess();
    void selectionShowsDevice_data();
    void selectionShowsDevice();
    void searchNarrowsList_data();
    void searchNarrowsList();
    void registersFollowShownDeviceOnly();
    void deleteReleasesPortWithLastDevice();

private:
    template<typename T>
    T *child(const QString &name, const QString &page = QString()) const
    {
        const QWidget *parent = page.isEmpty() ? m_window.get() : m_window->findChild<QWidget *>(page);
        return parent->findChild<T *>(name);
    }
    void search(const QString &text);

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    std::unique_ptr<FakeNetworkServer> m_server;
    std::unique_ptr<MainWindow> m_window;
    quint16 m_modbusPort = 0;
    quint16 m_tcpPort = 0;
};

void TestMainWindow::initTestCase()
{
    m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
    m_server = std::make_unique<FakeNetworkServer>();
    ProgramCore::storeServerSettings(*m_server, QStringLiteral("operator"));
    m_modbusPort = freePort();
    m_tcpPort = freePort();
    QVERIFY(ProgramCore::storeDevice(kWaterMeter, kPulseEui, "Water meter", 2000, m_modbusPort, ProtocolOption::ModBus));
    QVERIFY(ProgramCore::storeDevice(kBoiler, kClimateEui, "Boiler room climate", 1000, m_modbusPort,
                                     ProtocolOption::ModBus));
    QVERIFY(ProgramCore::storeDevice(kGateway, "F1A7C0DE00000303", "Line 1 gateway", 0, m_tcpPort, ProtocolOption::TCP));
    m_window = std::make_unique<MainWindow>();
    m_window->show();
}

void TestMainWindow::cleanupTestCase()
{
    m_window.reset();
    m_core.reset();
}

void TestMainWindow::logsInWithStoredCredentials()
{
    QTRY_COMPARE(child<QLabel>(QStringLiteral("statusLabel"))->text(), QStringLiteral("SUCCESS"));
    const QStringList logins = m_server->receivedWithCmd(QStringLiteral("auth_req"));
    QCOMPARE(logins.size(), 1);
    const QJsonObject login = QJsonDocument::fromJson(logins.at(0).toUtf8()).object();
    QCOMPARE(login.value(QStringLiteral("login")).toString(), QStringLiteral("operator"));
    QCOMPARE(login.value(QStringLiteral("password")).toString(), QStringLiteral("secret"));
}

void TestMainWindow::statusShownAndCredentialsKeptOnSuccess_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("icon");

    const QString fail = QStringLiteral(":/connectionFailIco.png");
    QTest::newRow("ping waiting") << int(COMM::PingWaiting) << "PING WAITING" << fail;
    QTest::newRow("invalid ping") << int(COMM::InvalidPing) << "INVALID PING" << fail;
    QTest::newRow("auth waiting") << int(COMM::AuthWaiting) << "AUTH WAITING" << fail;
    QTest::newRow("invalid auth") << int(COMM::InvalidAuth) << "INVALID AUTH" << fail;
    QTest::newRow("disconnected") << int(COMM::Disconnected) << "DISCONNECTED" << fail;
    QTest::newRow("success") << int(COMM::Success) << "SUCCESS" << ":/connectionGoodIco.png";
    QTest::newRow("unknown value changes nothing") << 9 << "SUCCESS" << QString();
}

void TestMainWindow::statusShownAndCredentialsKeptOnSuccess()
{
    QFETCH(int, status);
    QFETCH(QString, label);
    QFETCH(QString, icon);

    const QString previousLogin = storedLogin();
    const QString typedLogin = QStringLiteral("login-%1").arg(status);
    child<QLineEdit>(QStringLiteral("loginEdit"))->setText(typedLogin);
    QSignalSpy icons(m_window.get(), &MainWindow::setConnectStatusIco);

    m_window->changeServerStatusSlot(COMM::EServerStatus(status));
    QCOMPARE(child<QLabel>(QStringLiteral("statusLabel"))->text(), label);
    QCOMPARE(icons.size(), icon.isEmpty() ? 0 : 1);
    if (!icon.isEmpty()) {
        QCOMPARE(icons.at(0).at(0).value<QIcon>().pixmap(36).toImage(), QIcon(icon).pixmap(36).toImage());
    }
    QCOMPARE(storedLogin(), status == COMM::Success ? typedLogin : previousLogin);
}

void TestMainWindow::selectionShowsDevice_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("beginRegister");

    // Devices are listed by name.
    QTest::newRow("first") << 0 << kBoilerTitle << "1000";
    QTest::newRow("second") << 1 << kWaterMeterTitle << "2000";
}

void TestMainWindow::selectionShowsDevice()
{
    QFETCH(int, row);
    QFETCH(QString, title);
    QFETCH(QString, beginRegister);

    auto *list = child<QListView>(QStringLiteral("deviceList"), QStringLiteral("modbusPage"));
    list->setCurrentIndex(list->model()->index(row, 0));
    QCOMPARE(child<QLabel>(QStringLiteral("title2Lab"))->text(), title);
    QVERIFY(child<QGroupBox>(QStringLiteral("modbusParamsBox"))->isVisible());
    const QList<QLabel *> values = m_window->findChildren<QLabel *>(QStringLiteral("modbusValue"));
    QCOMPARE(values.at(0)->text(), QStringLiteral("ANY VALID VALUE"));
    QCOMPARE(values.at(1)->text(), QString::number(m_modbusPort));
    QCOMPARE(values.at(2)->text(), beginRegister);
    // The registers of the device, from its start address on.
    const QAbstractItemModel *registers = child<QListView>(QStringLiteral("registerList"))->model();
    QVERIFY(registers->rowCount() > 0);
    QCOMPARE(registers->index(0, 2).data().toString(), beginRegister);
}

void TestMainWindow::search(const QString &text)
{
    auto *page = child<QWidget>(QStringLiteral("modbusPage"));
    page->findChild<QLineEdit *>()->setText(text);
    page->findChildren<QPushButton *>(QStringLiteral("searchBtn")).at(0)->click();
}

void TestMainWindow::searchNarrowsList_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("rows");
    QTest::addColumn<QString>("title");

    QTest::newRow("part of a name") << "meter" << 1 << kWaterMeterTitle;
    QTest::newRow("any letter case") << "ROOM" << 1 << kBoilerTitle;
    QTest::newRow("no match") << "pump" << 0 << kNoDeviceTitle;
    QTest::newRow("cleared: all, first selected") << "" << 2 << kBoilerTitle;
}

void TestMainWindow::searchNarrowsList()
{
    QFETCH(QString, text);
    QFETCH(int, rows);
    QFETCH(QString, title);

    search(text);
    QCOMPARE(child<QListView>(QStringLiteral("deviceList"), QStringLiteral("modbusPage"))->model()->rowCount(), rows);
    QCOMPARE(child<QLabel>(QStringLiteral("title2Lab"))->text(), title);
    QCOMPARE(child<QGroupBox>(QStringLiteral("modbusParamsBox"))->isVisible(), rows > 0);
    QCOMPARE(child<QListView>(QStringLiteral("registerList"))->model()->rowCount() > 0, rows > 0);
}

void TestMainWindow::registersFollowShownDeviceOnly()
{
    QCOMPARE(child<QLabel>(QStringLiteral("title2Lab"))->text(), kBoilerTitle);
    QAbstractItemModel *registers = child<QListView>(QStringLiteral("registerList"))->model();
    QSignalSpy refreshes(registers, &QAbstractItemModel::modelReset);
    QSignalSpy newData(CAllDeviceHandler::getInstance(), &CAllDeviceHandler::newDataForDevice);

    ProgramCore::pushUplink(*m_server, kWaterMeter, QStringLiteral("0140e2010010270000"));
    QTRY_COMPARE(newData.size(), 1);
    QTest::qWait(50);
    QCOMPARE(refreshes.size(), 0);

    // Temperature 23.5 °C in tenths at register 1010.
    ProgramCore::pushUplink(*m_server, kBoiler, QStringLiteral("0100eb0202f63e0c"));
    QTRY_VERIFY(!refreshes.isEmpty());
    const QModelIndexList temperature = registers->match(registers->index(0, 2), Qt::DisplayRole, 1010);
    QCOMPARE(temperature.size(), 1);
    QCOMPARE(registers->index(temperature.at(0).row(), 8).data().toString(), QStringLiteral("00eb"));
}

void TestMainWindow::deleteReleasesPortWithLastDevice()
{
    // Published at start-up.
    QVERIFY(connectClient(m_modbusPort));
    QVERIFY(connectClient(m_tcpPort));
    auto *deleteModbus = child<QPushButton>(QStringLiteral("redBtn"), QStringLiteral("modbusPage"));
    deleteModbus->click();
    QCOMPARE(child<QLabel>(QStringLiteral("title2Lab"))->text(), kWaterMeterTitle);
    QTest::qWait(50);
    QVERIFY(connectClient(m_modbusPort));

    deleteModbus->click();
    QCOMPARE(child<QLabel>(QStringLiteral("title2Lab"))->text(), kNoDeviceTitle);
    QTRY_VERIFY(!connectClient(m_modbusPort));

    child<QPushButton>(QStringLiteral("redBtn"), QStringLiteral("tcpPage"))->click();
    QTRY_VERIFY(!connectClient(m_tcpPort));
    QVERIFY(CDataBaseHandler::getInstance()->getRegisteredDevices(ProtocolOption::ModBus).isEmpty());
    QVERIFY(CDataBaseHandler::getInstance()->getRegisteredDevices(ProtocolOption::TCP).isEmpty());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
