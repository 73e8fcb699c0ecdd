#include "logspy.h"
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"
#include "ui/mainwindow.h"

#include <QComboBox>
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

const QString kBoiler = QStringLiteral("70B3D5000000C001");
const QString kWaterMeter = QStringLiteral("70B3D5000000C002");
const QString kBoilerTitle = QStringLiteral("Device:70B3D5000000C001 [Climate sensor TH-20]");
const QString kWaterMeterTitle = QStringLiteral("Device:70B3D5000000C002 [Pulse counter PC-2]");
const QString kNoDeviceTitle = QStringLiteral("Device [UNKNOWN]");

QString storedLogin()
{
    return QSettings(QStringLiteral("settings.conf"), QSettings::IniFormat).value("server/login").toString();
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    std::unique_ptr<FakeNetworkServer> m_server;
    std::unique_ptr<LogSpy> m_log;
    std::unique_ptr<MainWindow> m_window;
    quint16 m_modbusPort = 0;
    quint16 m_tcpPort = 0;

    template<typename T>
    T *child(const QString &name, const QString &page = QString()) const
    {
        const QWidget *parent = page.isEmpty() ? m_window.get() : m_window->findChild<QWidget *>(page);
        return parent->findChild<T *>(name);
    }

    QString title() const { return child<QLabel>(QStringLiteral("title2Lab"))->text(); }
    QAbstractItemModel *registers() const { return child<QListView>(QStringLiteral("registerList"))->model(); }

private slots:
    void initTestCase()
    {
        m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
        ProgramCore::startForms();
        m_server = std::make_unique<FakeNetworkServer>();
        m_log = std::make_unique<LogSpy>();
        ProgramCore::storeServerSettings(*m_server, QStringLiteral("operator"));
        m_modbusPort = freePort();
        m_tcpPort = freePort();
        QVERIFY(ProgramCore::storeDevice(kWaterMeter, "F1A7C0DE00000202", "Water meter", 2000, m_modbusPort,
                                         ProtocolOption::ModBus));
        QVERIFY(ProgramCore::storeDevice(kBoiler, "F1A7C0DE00000101", "Boiler room climate", 1000, m_modbusPort,
                                         ProtocolOption::ModBus));
        QVERIFY(ProgramCore::storeDevice("70B3D5000000D001", "F1A7C0DE00000303", "Line 1 gateway", 0, m_tcpPort,
                                         ProtocolOption::TCP));
        m_window = std::make_unique<MainWindow>();
        m_window->show();
    }

    void cleanupTestCase()
    {
        m_window.reset();
        m_core.reset();
    }

    void logsInWithStoredCredentials()
    {
        QTRY_COMPARE(child<QLabel>(QStringLiteral("statusLabel"))->text(), QStringLiteral("SUCCESS"));
        const QStringList logins = m_server->receivedWithCmd(QStringLiteral("auth_req"));
        QCOMPARE(logins.size(), 1);
        const QJsonObject login = QJsonDocument::fromJson(logins.at(0).toUtf8()).object();
        QCOMPARE(login.value(QStringLiteral("login")).toString(), QStringLiteral("operator"));
        QCOMPARE(login.value(QStringLiteral("password")).toString(), QStringLiteral("secret"));
    }

    void statusShownAndCredentialsKeptOnSuccess_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("icon");

        QTest::newRow("invalid auth") << int(COMM::InvalidAuth) << "INVALID AUTH" << ":/connectionFailIco.png";
        QTest::newRow("success") << int(COMM::Success) << "SUCCESS" << ":/connectionGoodIco.png";
        QTest::newRow("unknown value changes nothing") << 9 << "SUCCESS" << QString();
    }

    void statusShownAndCredentialsKeptOnSuccess()
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
        if (!icon.isEmpty())
            QCOMPARE(icons.at(0).at(0).value<QIcon>().pixmap(36).toImage(), QIcon(icon).pixmap(36).toImage());
        QCOMPARE(storedLogin(), status == COMM::Success ? typedLogin : previousLogin);
    }

    void selectionShowsDevice_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("beginRegister");

        // Devices are listed by name.
        QTest::newRow("first") << 0 << kBoilerTitle << "1000";
        QTest::newRow("second") << 1 << kWaterMeterTitle << "2000";
    }

    void selectionShowsDevice()
    {
        QFETCH(int, row);
        QFETCH(QString, title);
        QFETCH(QString, beginRegister);

        auto *list = child<QListView>(QStringLiteral("deviceList"), QStringLiteral("modbusPage"));
        list->setCurrentIndex(list->model()->index(row, 0));
        QCOMPARE(this->title(), title);
        QVERIFY(child<QGroupBox>(QStringLiteral("modbusParamsBox"))->isVisible());
        const QList<QLabel *> values = m_window->findChildren<QLabel *>(QStringLiteral("modbusValue"));
        QCOMPARE(values.at(1)->text(), QString::number(m_modbusPort));
        QCOMPARE(values.at(2)->text(), beginRegister);
        // The registers of the device, from its start address on.
        QCOMPARE(registers()->index(0, 2).data().toString(), beginRegister);
    }

    void searchNarrowsList_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("title");

        QTest::newRow("part of a name") << "meter" << 1 << kWaterMeterTitle;
        QTest::newRow("no match") << "pump" << 0 << kNoDeviceTitle;
        QTest::newRow("cleared: all, first selected") << "" << 2 << kBoilerTitle;
    }

    void searchNarrowsList()
    {
        QFETCH(QString, text);
        QFETCH(int, rows);
        QFETCH(QString, title);

        auto *page = child<QWidget>(QStringLiteral("modbusPage"));
        page->findChild<QLineEdit *>()->setText(text);
        page->findChildren<QPushButton *>(QStringLiteral("searchBtn")).at(0)->click();
        QCOMPARE(page->findChild<QListView *>(QStringLiteral("deviceList"))->model()->rowCount(), rows);
        QCOMPARE(this->title(), title);
        QCOMPARE(child<QGroupBox>(QStringLiteral("modbusParamsBox"))->isVisible(), rows > 0);
        QCOMPARE(registers()->rowCount() > 0, rows > 0);
    }

    void registersFollowShownDeviceOnly()
    {
        QCOMPARE(title(), kBoilerTitle);
        QSignalSpy refreshes(registers(), &QAbstractItemModel::modelReset);
        QSignalSpy newData(CAllDeviceHandler::getInstance(), &CAllDeviceHandler::newDataForDevice);

        ProgramCore::pushUplink(*m_server, kWaterMeter, QStringLiteral("0140e2010010270000"));
        QTRY_COMPARE(newData.size(), 1);
        QTest::qWait(50);
        QCOMPARE(refreshes.size(), 0);

        // Temperature 23.5 °C in tenths at register 1010.
        ProgramCore::pushUplink(*m_server, kBoiler, QStringLiteral("0100eb0202f63e0c"));
        QTRY_VERIFY(!refreshes.isEmpty());
        const QModelIndexList temperature = registers()->match(registers()->index(0, 2), Qt::DisplayRole, 1010);
        QCOMPARE(temperature.size(), 1);
        QCOMPARE(registers()->index(temperature.at(0).row(), 8).data().toString(), QStringLiteral("00eb"));
    }

    void deleteReleasesPortWithLastDevice()
    {
        // Published at start-up.
        QVERIFY(connectClient(m_modbusPort));
        QVERIFY(connectClient(m_tcpPort));
        auto *deleteModbus = child<QPushButton>(QStringLiteral("redBtn"), QStringLiteral("modbusPage"));
        deleteModbus->click();
        QCOMPARE(title(), kWaterMeterTitle);
        QTest::qWait(50);
        QVERIFY(connectClient(m_modbusPort));

        deleteModbus->click();
        QCOMPARE(title(), kNoDeviceTitle);
        QTRY_VERIFY(!connectClient(m_modbusPort));

        child<QPushButton>(QStringLiteral("redBtn"), QStringLiteral("tcpPage"))->click();
        QTRY_VERIFY(!connectClient(m_tcpPort));
        QVERIFY(CDataBaseHandler::getInstance()->getRegisteredDevices(ProtocolOption::ModBus).isEmpty());
        QVERIFY(CDataBaseHandler::getInstance()->getRegisteredDevices(ProtocolOption::TCP).isEmpty());
    }

    // Last: a complete entry leaves the test's server.
    void connectNeedsEveryField()
    {
        const QStringList edits = {"ipEdit", "portEdit", "loginEdit", "passwordEdit"};
        const QStringList fields = {"127.0.0.1", "4000", "user", ""};
        for (int index = 0; index < edits.size(); ++index)
            child<QLineEdit>(edits.at(index))->setText(fields.at(index));
        child<QComboBox>(QStringLiteral("schemeBox"))->setCurrentText(QStringLiteral("wss"));
        m_log->forget();
        QSignalSpy requests(m_window.get(), &MainWindow::connectToServer);

        child<QPushButton>(QStringLiteral("blueBtn"))->click();
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("[main]")), QStringList{"[main] PASSWORD is empty"});
        QCOMPARE(requests.size(), 0);

        child<QLineEdit>(QStringLiteral("passwordEdit"))->setText(QStringLiteral("secret"));
        child<QPushButton>(QStringLiteral("blueBtn"))->click();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.at(0), (QVariantList{"wss://127.0.0.1:4000", "user", "secret"}));
    }
    void statusToolTipGivesFailureReason()
    {
        QLabel *status = child<QLabel>(QStringLiteral("statusLabel"));
        const QStringList edits = {"ipEdit", "portEdit", "loginEdit", "passwordEdit"};
        const auto connectTo = [&](quint16 port) {
            const QStringList fields = {"127.0.0.1", QString::number(port), "operator", "secret"};
            for (int index = 0; index < edits.size(); ++index)
                child<QLineEdit>(edits.at(index))->setText(fields.at(index));
            child<QComboBox>(QStringLiteral("schemeBox"))->setCurrentText(QStringLiteral("ws"));
            child<QPushButton>(QStringLiteral("blueBtn"))->click();
        };

        connectTo(freePort());
        QTRY_COMPARE(status->toolTip(), QStringLiteral("Connection refused"));
        QCOMPARE(status->text(), QStringLiteral("DISCONNECTED"));

        connectTo(m_server->url().port());
        QTRY_COMPARE(status->text(), QStringLiteral("SUCCESS"));
        QCOMPARE(status->toolTip(), QString());
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
