#include "logspy.h"
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"
#include "ui/cabstractpanelbutton.h"
#include "ui/mainwindow.h"

#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QGroupBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QTranslator>
#include <QtTest>

#include <algorithm>
#include <functional>
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

// The rules of the shipped style sheet, selector to declarations, with the
// comments dropped and the spaces evened out.
QMap<QString, QString> styleRules()
{
    QFile file(QStringLiteral("://style/style.qss"));
    QString text = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    text.remove(QRegularExpression(QStringLiteral(R"(/\*.*?\*/)"), QRegularExpression::DotMatchesEverythingOption));
    QMap<QString, QString> rules;
    const QRegularExpression rule(QStringLiteral(R"(([^{}]+)\{([^}]*)\})"));
    const QRegularExpression separator(QStringLiteral(" ?; ?"));
    for (const QRegularExpressionMatch &match : rule.globalMatch(text)) {
        const QStringList declarations = match.captured(2).simplified().split(separator, Qt::SkipEmptyParts);
        rules.insert(match.captured(1).simplified(), declarations.join(QStringLiteral("; ")));
    }
    return rules;
}

// Each rule of the style sheet as written, selector to declarations.
QMap<QString, QString> styleTable()
{
    const QString button = QStringLiteral("border: none; border-radius: 3px; font: 9px \"Verdana\"; "
                                          "color: QC_GLOB_BLACK1_D1");
    return {
        {"QListView", "border: none; border-radius: 0px"},
        {"MainWindow QWidget#MainWidget", "background-color: #FFF"},
        {"QLabel#title1Lab", "font-size: 18px; font-weight: bold; margin-left: 5px"},
        {"QLabel#title2Lab", "font-size: 18px; color: QC_GLOB_BLACK1_L0; font-weight: bold; margin-left: 5px"},
        {"MainWindow QLabel#modbusName",
         "color: QC_GLOB_BLACK6C_80; background-color: rgba(0,0,0,0%); font: 12px \"Tahoma\""},
        {"MainWindow QLabel#modbusValue",
         "color: QCT_GLOB_BLUE1_LIKE; background-color: rgba(0,0,0,0%); font: 13px \"Tahoma\"; font-weight: bold"},
        {"MainWindow QLabel:hover#modbusValue", "color: QCT_GLOB_BLUE1_LIKE_L1"},
        {"QPushButton#searchBtn",
         "background-color: QC_GLOB_BLUE1_L1; border-width: 4px; border-color: QC_GLOB_BLUE1_L2; "
         "border-radius: 3px; min-height: 20px; min-width: 20px; font: 11px \"Verdana\"; color: QC_GLOB_WHITE1"},
        {"QPushButton:hover#searchBtn", "background-color: QC_GLOB_BLUE1"},
        {"QPushButton:pressed#searchBtn", "background-color: QC_GLOB_BLUE1_D2"},
        {"QPushButton#greenBtn", "background-color: QC_GLOB_GREEN1; " + button + "; padding: 0px"},
        {"QPushButton:hover#greenBtn", "background-color: QC_GLOB_GREEN1_L2"},
        {"QPushButton:pressed#greenBtn", "background-color: QC_GLOB_GREEN1_D2"},
        {"QPushButton#blueBtn", "background-color: QC_GLOB_BLUE1; " + button + "; padding: 0px"},
        {"QPushButton:hover#blueBtn", "background-color: QC_GLOB_BLUE1_L2"},
        {"QPushButton:pressed#blueBtn", "background-color: QC_GLOB_BLUE1_D2"},
        {"QPushButton#orangeBtn", "background-color: QC_GLOB_ORANGE1; " + button},
        {"QPushButton:hover#orangeBtn", "background-color: QC_GLOB_ORANGE1_L2"},
        {"QPushButton:pressed#orangeBtn", "background-color: QC_GLOB_ORANGE1_D2"},
        {"QPushButton#redBtn", "background-color: QC_GLOB_RED1; " + button},
        {"QPushButton:hover#redBtn", "background-color: QC_GLOB_RED1_L2"},
        {"QPushButton:pressed#redBtn", "background-color: QC_GLOB_RED1_D2"},
        {"CLeftPanel", "background-color: QC_GLOB_BLACK1"},
        {"CAbstractPanelButton",
         "min-height: 35px; background-color: QC_GLOB_BLACK1; padding: 0px; margin: 0px; border: none"},
        {"CAbstractPanelButton:hover", "background-color: QC_GLOB_BLACK1_L0"},
        {"CAbstractPanelButton:pressed, CAbstractPanelButton:checked", "background-color: QC_GLOB_BLACK1_E2G"},
        {"CAbstractPanelButton QLabel#titleLable",
         "background-color: rgba(0,0,0,0%); color: QC_GLOB_WHITE1; font: bold 10pt \"Arial\""},
        {"CAbstractPanelButton QGroupBox",
         "background-color: QC_GLOB_GREEN1; border: none; border-radius: 3px; margin: 3px; padding: 3px"},
        {"CSearchEditWidget",
         "background-color: QC_GLOB_BLUE1_L1; border: 1px solid QC_GLOB_BLUE1_L1; border-radius: 5px; "
         "min-height: 30px; max-height: 30px"},
        {"CSearchEditWidget QLineEdit",
         "border: none; background-color: QC_GLOB_BLUE1_L2; font: bold 10pt \"Museo Sans Cyrl 300\"; "
         "color: QC_GLOB_WHITE"},
        {"CSearchEditWidget QLineEdit:disabled",
         "background-color: QC_GLOB_BLUE1_L1; font: 10px \"Museo Sans Cyrl 300\"; color: QC_GLOB_BLACK6C_13"},
        {"QDialog QPushButton", "min-height: 20px; font-size: 14px"},
    };
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

    QAbstractItemModel *deviceModel(const QString &page) const { return child<QListView>("deviceList", page)->model(); }

    // The add and edit buttons of a page.
    QPushButton *pageButton(const QString &page, int index) const
    {
        return m_window->findChild<QWidget *>(page)->findChildren<QPushButton *>(QStringLiteral("greenBtn")).at(index);
    }

    // Fills in the server's address and credentials and clicks Connect.
    void connectWith(const QStringList &fields, const QString &scheme) const
    {
        const QStringList edits = {"ipEdit", "portEdit", "loginEdit", "passwordEdit"};
        for (int index = 0; index < edits.size(); ++index)
            child<QLineEdit>(edits.at(index))->setText(fields.at(index));
        child<QComboBox>(QStringLiteral("schemeBox"))->setCurrentText(scheme);
        child<QPushButton>(QStringLiteral("blueBtn"))->click();
    }

    // Clicks a button that runs a form modally, and drives the form from its
    // own event loop: `step` runs until it returns true, or the form is
    // rejected after a few seconds.
    static void clickIntoForm(QPushButton *button, QDialog *form, const std::function<bool()> &step)
    {
        QTimer driver;
        QElapsedTimer clock;
        clock.start();
        connect(&driver, &QTimer::timeout, form, [&driver, &clock, form, &step] {
            if (!form->isVisible())
                return;
            if (step())
                driver.stop();
            else if (clock.elapsed() > 5000)
                form->reject();
        });
        driver.start(20);
        button->click();
    }

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

    void styleSheetRulesMeetTheirWidgets_data()
    {
        QTest::addColumn<QString>("declarations");

        const QMap<QString, QString> table = styleTable();
        for (auto rule = table.cbegin(); rule != table.cend(); ++rule)
            QTest::newRow(qPrintable(rule.key())) << rule.value();
    }

    // The object names are a contract between the code and the sheet: each
    // rule stands as written, and a widget of the program bears what it selects.
    void styleSheetRulesMeetTheirWidgets()
    {
        QFETCH(QString, declarations);

        const QString selector = QString::fromUtf8(QTest::currentDataTag());
        QCOMPARE(styleRules().value(selector), declarations);
        // The last part of the first selector, without its pseudo-state, names the widget.
        QString target = selector.section(QLatin1Char(','), 0, 0).section(QLatin1Char(' '), -1);
        target.remove(QRegularExpression(QStringLiteral(":[a-z]+")));
        const QByteArray widgetClass = target.section(QLatin1Char('#'), 0, 0).toLatin1();
        const QString objectName = target.section(QLatin1Char('#'), 1);
        QList<QWidget *> widgets = m_window->findChildren<QWidget *>();
        widgets << CAddNewDeviceForm::getInstance()->findChildren<QWidget *>();
        const auto selected = [&widgetClass, &objectName](const QWidget *widget) {
            return widget->inherits(widgetClass.constData())
                    && (objectName.isEmpty() || widget->objectName() == objectName);
        };
        QVERIFY(std::any_of(widgets.cbegin(), widgets.cend(), selected));
    }

    void styleSheetHasNoRuleBeyondTable() { QCOMPARE(styleRules().keys(), styleTable().keys()); }

    void panelButtonsSwitchPages_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("page");

        QTest::newRow("TCP") << "TCP" << "tcpPage";
        QTest::newRow("back to ModBus") << "ModBus" << "modbusPage";
    }

    void panelButtonsSwitchPages()
    {
        QFETCH(QString, button);
        QFETCH(QString, page);

        for (CAbstractPanelButton *panelButton : m_window->findChildren<CAbstractPanelButton *>()) {
            if (panelButton->findChild<QLabel *>(QStringLiteral("titleLable"))->text() == button)
                panelButton->click();
        }
        for (const QString name : {"modbusPage", "tcpPage"})
            QCOMPARE(child<QWidget>(name)->isVisible(), name == page);
    }

    void listsRefreshedAfterAdding_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("devEui");
        QTest::addColumn<QString>("appEui");

        QTest::newRow("ModBus") << "modbusPage" << "70B3D5000000C011" << "F1A7C0DE00000101";
        QTest::newRow("TCP") << "tcpPage" << "70B3D5000000D011" << "F1A7C0DE00000303";
    }

    void listsRefreshedAfterAdding()
    {
        QFETCH(QString, page);
        QFETCH(QString, devEui);
        QFETCH(QString, appEui);

        const QJsonObject added{{"devEui", devEui}, {"devName", "Added"}, {"OTAA", QJsonObject{{"appEui", appEui}}}};
        m_server->setReply(QStringLiteral("get_devices_req"),
                           {{"cmd", "get_devices_resp"}, {"status", true}, {"devices_list", QJsonArray{added}}});
        const int rows = deviceModel(page)->rowCount();
        const int packetRequests = m_server->receivedWithCmd(QStringLiteral("get_data_req")).size();
        CAddNewDeviceForm *form = CAddNewDeviceForm::getInstance();
        const QString port = QString::number(freePort());

        clickIntoForm(pageButton(page, 0), form, [form, &port, &devEui] {
            // The list keeps the devices of the last answer until the new one comes.
            auto *list = form->findChild<QListView *>(QStringLiteral("deviceList"));
            const QModelIndexList offered = list->model()->match(list->model()->index(0, 3), Qt::DisplayRole, devEui);
            if (offered.isEmpty())
                return false;
            list->setCurrentIndex(offered.at(0));
            form->findChild<QLineEdit *>(QStringLiteral("portEdit"))->setText(port);
            form->findChild<QLineEdit *>(QStringLiteral("startAddrEdit"))->setText(QStringLiteral("3000"));
            form->addDeviceSlot();
            return true;
        });
        QCOMPARE(form->result(), int(QDialog::Accepted));
        QTRY_COMPARE(deviceModel(page)->rowCount(), rows + 1);
        QCOMPARE(deviceModel(page)->match(deviceModel(page)->index(0, 3), Qt::DisplayRole, devEui).size(), 1);

        // The new device's last packets are asked for, which holds the
        // server's queue for a minute: end that wait for what follows.
        QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("get_data_req")).size(), packetRequests + 1);
        CServerHandler::getInstance()->waitingServerResponseTimeoutSlot();
    }

    void modbusRegistersRefreshedAfterEditing()
    {
        auto *list = child<QListView>(QStringLiteral("deviceList"), QStringLiteral("modbusPage"));
        list->setCurrentIndex(list->model()->index(0, 0));
        const QModelIndexList temperature = registers()->match(registers()->index(0, 2), Qt::DisplayRole, 3010);
        QCOMPARE(temperature.size(), 1);
        const int row = temperature.at(0).row();
        CEditDeviceForm *form = CEditDeviceForm::getInstance();

        clickIntoForm(pageButton(QStringLiteral("modbusPage"), 1), form, [form] {
            QAbstractItemModel *formRegisters = form->findChild<QListView *>(QStringLiteral("registerList"))->model();
            const QModelIndexList found = formRegisters->match(formRegisters->index(0, 2), Qt::DisplayRole, 3010);
            if (found.size() != 1)
                return false;
            formRegisters->setData(formRegisters->index(found.at(0).row(), 11), QStringLiteral("°C"));
            form->addDeviceSlot();
            return true;
        });
        QCOMPARE(form->result(), int(QDialog::Accepted));
        QCOMPARE(registers()->index(row, 11).data().toString(), QStringLiteral("°C"));
    }

    void tcpListRefreshedAfterEditing()
    {
        const quint16 newPort = freePort();
        CEditDeviceForm *form = CEditDeviceForm::getInstance();

        clickIntoForm(pageButton(QStringLiteral("tcpPage"), 1), form, [form, newPort] {
            form->findChild<QLineEdit *>(QStringLiteral("portEdit"))->setText(QString::number(newPort));
            form->addDeviceSlot();
            return true;
        });
        QCOMPARE(form->result(), int(QDialog::Accepted));
        QCOMPARE(deviceModel(QStringLiteral("tcpPage"))->index(0, 4).data().toUInt(), uint(newPort));
    }

    void russianTranslationShown_data()
    {
        QTest::addColumn<QString>("text");

        QTest::newRow("Connect") << "Подлкючиться";
        QTest::newRow("Server authorization") << "Авторизация";
        QTest::newRow("Login:") << "Логин:";
        QTest::newRow("ModBus-TCP parameters") << "Параметры ModBus-TCP";
        QTest::newRow("Add new device from server") << "Добавление нового устройства с сервера";
    }

    // A window built with the translation that start-up installs for a
    // Russian system, loaded from the program's resources.
    void russianTranslationShown()
    {
        QFETCH(QString, text);

        QTranslator translator;
        QVERIFY(translator.load(QStringLiteral(":/iot_orvane_modbus.qm"), QString(), QString(), QString()));
        QCoreApplication::installTranslator(&translator);
        const MainWindow translated;
        QCoreApplication::removeTranslator(&translator);

        QStringList texts;
        for (const QLabel *label : translated.findChildren<QLabel *>())
            texts.append(label->text());
        for (const QAbstractButton *button : translated.findChildren<QAbstractButton *>())
            texts << button->text() << button->toolTip();
        for (const QGroupBox *box : translated.findChildren<QGroupBox *>())
            texts.append(box->title());
        QVERIFY(texts.contains(text));
        QVERIFY(!texts.contains(QString::fromLatin1(QTest::currentDataTag())));
    }

    // Last: a complete entry leaves the test's server.
    void connectNeedsEveryField()
    {
        m_log->forget();
        QSignalSpy requests(m_window.get(), &MainWindow::connectToServer);

        connectWith({"127.0.0.1", "4000", "user", ""}, QStringLiteral("wss"));
        QCOMPARE(m_log->takeLines().filter(QStringLiteral("[main]")), QStringList{"[main] PASSWORD is empty"});
        QCOMPARE(requests.size(), 0);

        connectWith({"127.0.0.1", "4000", "user", "secret"}, QStringLiteral("wss"));
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.at(0), (QVariantList{"wss://127.0.0.1:4000", "user", "secret"}));
    }

    void statusToolTipGivesFailureReason()
    {
        QLabel *status = child<QLabel>(QStringLiteral("statusLabel"));

        connectWith({"127.0.0.1", QString::number(freePort()), "operator", "secret"}, QStringLiteral("ws"));
        QTRY_COMPARE(status->toolTip(), QStringLiteral("Connection refused"));
        QCOMPARE(status->text(), QStringLiteral("DISCONNECTED"));

        connectWith({"127.0.0.1", QString::number(m_server->url().port()), "operator", "secret"}, QStringLiteral("ws"));
        QTRY_COMPARE(status->text(), QStringLiteral("SUCCESS"));
        QCOMPARE(status->toolTip(), QString());
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
