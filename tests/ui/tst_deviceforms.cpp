#include "logspy.h"
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"
#include "ui/csearcheditwidget.h"

#include <QApplication>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QSqlQuery>
#include <QTimer>
#include <QtTest>

#include <memory>

namespace {

const QString kClimateEui = QStringLiteral("F1A7C0DE00000101");
const QString kGatewayEui = QStringLiteral("F1A7C0DE00000303");
const QString kBoiler = QStringLiteral("70B3D5000000C001");
const QString kLowerCaseClimate = QStringLiteral("70b3d5000000c009");
const QString kGateway = QStringLiteral("70B3D5000000D001");
const QString kPortProblem = QStringLiteral("Invalid TCP port (is used or unsupported)");

QJsonObject serverDevice(const QString &devEui, const QString &name, const QString &appEui)
{
    return {{"devEui", devEui}, {"devName", name}, {"OTAA", QJsonObject{{"appEui", appEui}}}};
}

const QJsonArray kServerDevices = {
    serverDevice(kBoiler, "Boiler room climate", kClimateEui),
    serverDevice("70B3D5000000C003", "Office climate", kClimateEui),
    serverDevice("70B3D5000000C004", "Mystery box", "0000000000000099"),
    serverDevice("70B3D5000000C005", "Gas meter", "F1A7C0DE00000202"),
    serverDevice(kGateway, "Line 1 gateway", kGatewayEui),
    serverDevice("70B3D5000000D002", "Line 2 gateway", kGatewayEui),
};

QJsonObject listReply(const QJsonArray &devices, bool status = true)
{
    return {{"cmd", "get_devices_resp"}, {"status", status}, {"devices_list", devices}};
}

quint32 deviceId(const QString &name, ProtocolOption protocol)
{
    QSqlQuery devices = CDataBaseHandler::getInstance()->getDevices(name, protocol);
    return devices.next() ? devices.value(0).toUInt() : 0;
}

// Start value, multiplier, unit and value of a stored register.
QString storedRegister(quint32 deviceId, quint32 address)
{
    QSqlQuery registers = CDataBaseHandler::getInstance()->getRegisters(deviceId);
    while (registers.next()) {
        if (registers.value(2).toUInt() == address)
            return QStringLiteral("%1 %2 %3 %4").arg(registers.value(3).toDouble()).arg(registers.value(4).toDouble())
                    .arg(registers.value(11).toString(), registers.value(8).toString());
    }
    return QString();
}

template<typename T>
T *child(QWidget *form, const QString &name)
{
    return form->findChild<T *>(name);
}

// Sets the scaling of the register at the address in the form's register list.
bool setScaling(QWidget *form, int address, double startValue, double multiplier, const QString &unit)
{
    QAbstractItemModel *registers = child<QListView>(form, QStringLiteral("registerList"))->model();
    const QModelIndexList found = registers->match(registers->index(0, 2), Qt::DisplayRole, address);
    if (found.size() != 1)
        return false;
    const int row = found.at(0).row();
    return registers->setData(registers->index(row, 3), startValue)
            && registers->setData(registers->index(row, 4), multiplier)
            && registers->setData(registers->index(row, 11), unit);
}

void setEntry(QWidget *form, const QString &port, const QString &startAddr)
{
    child<QLineEdit>(form, QStringLiteral("portEdit"))->setText(port);
    child<QLineEdit>(form, QStringLiteral("startAddrEdit"))->setText(startAddr);
}

QPushButton *mark(QWidget *form, const QString &toolTip)
{
    for (QPushButton *button : form->findChildren<QPushButton *>(QStringLiteral("redBtn"))) {
        if (button->toolTip() == toolTip)
            return button;
    }
    return nullptr;
}

} // namespace

class TestDeviceForms : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    std::unique_ptr<FakeNetworkServer> m_server;
    CAddNewDeviceForm *m_addForm = nullptr;
    quint16 m_modbusPort = 0;
    quint16 m_tcpPort = 0;
    quint16 m_statusPort = 0;

    // Opens the form, which closes at once; it keeps its state and goes on
    // receiving the server's answer while hidden.
    void open(CAbstractDeviceForm *form, ProtocolOption protocol,
              const QJsonObject &serverReply = listReply(kServerDevices))
    {
        m_server->setReply(QStringLiteral("get_devices_req"), serverReply);
        QTimer::singleShot(0, form, &QDialog::reject);
        form->showForm(QStringLiteral("Form under test"), protocol);
    }

    QStringList offeredNames() const
    {
        const QAbstractItemModel *devices = child<QListView>(m_addForm, QStringLiteral("deviceList"))->model();
        QStringList names;
        for (int row = 0; row < devices->rowCount(); ++row)
            names.append(devices->index(row, 1).data().toString());
        return names;
    }

private slots:
    void initTestCase()
    {
        m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
        ProgramCore::startForms();
        m_server = std::make_unique<FakeNetworkServer>();
        m_addForm = CAddNewDeviceForm::getInstance();
        m_modbusPort = freePort();
        m_tcpPort = freePort();
        QVERIFY(ProgramCore::storeDevice(kBoiler, kClimateEui, "Boiler room climate", 1000, m_modbusPort,
                                         ProtocolOption::ModBus));
        QVERIFY(ProgramCore::storeDevice(kLowerCaseClimate, kClimateEui, "Stored in lower case", 5000, freePort(),
                                         ProtocolOption::ModBus));
        QVERIFY(ProgramCore::storeDevice(kGateway, kGatewayEui, "Line 1 gateway", 0, m_tcpPort, ProtocolOption::TCP));
        CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
        registry->addNewDevice({kBoiler, kClimateEui, "Boiler room climate", 1000, {}, m_modbusPort},
                               ProtocolOption::ModBus);
        registry->addNewDevice({kGateway, kGatewayEui, "Line 1 gateway", 0, {}, m_tcpPort}, ProtocolOption::TCP);
        m_statusPort = freePort();
        registry->openStatusPort(int(m_statusPort));

        QSignalSpy status(CServerHandler::getInstance(), &CServerHandler::changeServerStatus);
        CServerHandler::getInstance()->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("pw"));
        QTRY_VERIFY(!status.isEmpty() && status.last().at(0).value<COMM::EServerStatus>() == COMM::Success);
    }

    void cleanupTestCase() { m_core.reset(); }

    void offersNewDevicesWithTemplate_data()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<QJsonArray>("serverDevices");
        QTest::addColumn<bool>("status");
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("offered");
        QTest::addColumn<QString>("text");

        const QJsonArray all = kServerDevices;
        const QJsonArray registeredOrUnknown = {all.at(0), all.at(2)};
        QTest::newRow("modbus") << 1 << all << true << "" << QStringList{"Office climate", "Gas meter"} << "";
        QTest::newRow("searched in any case") << 1 << all << true << "CLIM" << QStringList{"Office climate"} << "";
        QTest::newRow("EUI not searched") << 1 << all << true << "70B3" << QStringList() << "";
        QTest::newRow("tcp") << 2 << all << true << "" << QStringList{"Line 2 gateway"} << "";
        QTest::newRow("nothing new") << 1 << registeredOrUnknown << true << "" << QStringList()
                                     << "NOT NEW DEVICES\nALL DEVICES ALREADY REGISTERED";
        QTest::newRow("empty list") << 1 << QJsonArray() << true << "" << QStringList()
                                    << "EMPTY DEVICE LIST\nFROM SERVER";
        QTest::newRow("refused") << 1 << QJsonArray() << false << "" << QStringList() << "SERVER TIMEOUT";
    }

    void offersNewDevicesWithTemplate()
    {
        QFETCH(int, protocol);
        QFETCH(QJsonArray, serverDevices);
        QFETCH(bool, status);
        QFETCH(QString, search);
        QFETCH(QStringList, offered);
        QFETCH(QString, text);

        open(m_addForm, ProtocolOption(protocol), listReply(serverDevices, status));
        auto *statusLabel = child<QLabel>(m_addForm, QStringLiteral("title2Lab"));
        QTRY_VERIFY(statusLabel->isHidden() || statusLabel->text() != QStringLiteral("WAITING..."));
        m_addForm->findChild<CSearchEditWidget *>()->setText(search);
        m_addForm->findChildren<QPushButton *>(QStringLiteral("searchBtn")).at(0)->click();
        QCOMPARE(statusLabel->isHidden() ? QString() : statusLabel->text(), text);
        if (text.isEmpty())
            QCOMPARE(offeredNames(), offered);
    }

    void sameTypeNotRefilledAfterReopening_data()
    {
        QTest::addColumn<bool>("byRefreshButton");

        QTest::newRow("new opening") << false;
        QTest::newRow("refresh button") << true;
    }

    void sameTypeNotRefilledAfterReopening()
    {
        QFETCH(bool, byRefreshButton);

        open(m_addForm, ProtocolOption::ModBus);
        QTRY_COMPARE(offeredNames(), (QStringList{"Office climate", "Gas meter"}));
        auto *list = child<QListView>(m_addForm, QStringLiteral("deviceList"));
        const QAbstractItemModel *registers = child<QListView>(m_addForm, QStringLiteral("registerList"))->model();
        const auto choose = [list](int row) { list->setCurrentIndex(list->model()->index(row, 0)); };
        choose(1);
        choose(0);
        const int climateRegisters = registers->rowCount();
        QVERIFY(climateRegisters > 0);

        if (byRefreshButton)
            child<QPushButton>(m_addForm, QStringLiteral("blueBtn"))->click();
        else
            open(m_addForm, ProtocolOption::ModBus);
        QTRY_VERIFY(child<QLabel>(m_addForm, QStringLiteral("title2Lab"))->isHidden());
        // The list is refilled from the server and its first device selected
        // again: the type shown is the same, so its emptied registers stay empty.
        QCOMPARE(list->currentIndex().row(), 0);
        QCOMPARE(registers->rowCount(), 0);

        choose(1);
        QVERIFY(registers->rowCount() > 0);
        choose(0);
        QCOMPARE(registers->rowCount(), climateRegisters);
    }

    void portCheck_data()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("startAddr");
        QTest::addColumn<bool>("portMarked");
        QTest::addColumn<bool>("startMarked");

        const QString modbusPort = QString::number(m_modbusPort);
        const QString tcpPort = QString::number(m_tcpPort);
        const QString freeOne = QString::number(freePort());
        QTest::newRow("modbus, port of modbus devices") << 1 << modbusPort << "0" << false << false;
        QTest::newRow("modbus, port of a tcp device") << 1 << tcpPort << "0" << true << false;
        QTest::newRow("tcp, port of modbus devices") << 2 << modbusPort << "" << true << false;
        QTest::newRow("tcp, free port, no start address") << 2 << freeOne << "" << false << false;
        QTest::newRow("port 0") << 1 << "0" << "0" << true << false;
        QTest::newRow("modbus, the status port") << 1 << QString::number(m_statusPort) << "0" << true << false;
        QTest::newRow("no start address") << 1 << freeOne << "" << false << true;
    }

    void portCheck()
    {
        QFETCH(int, protocol);
        QFETCH(QString, port);
        QFETCH(QString, startAddr);
        QFETCH(bool, portMarked);
        QFETCH(bool, startMarked);

        open(m_addForm, ProtocolOption(protocol));
        QTRY_VERIFY(child<QLabel>(m_addForm, QStringLiteral("title2Lab"))->isHidden());
        // With no device chosen, a valid entry ends the check and registers nothing.
        child<QListView>(m_addForm, QStringLiteral("deviceList"))->setCurrentIndex(QModelIndex());
        setEntry(m_addForm, port, startAddr);

        m_addForm->addDeviceSlot();
        QCOMPARE(!mark(m_addForm, kPortProblem)->isHidden(), portMarked);
        QCOMPARE(!mark(m_addForm, QStringLiteral("Empty start address"))->isHidden(), startMarked);
        QCOMPARE(m_addForm->result(), int(QDialog::Rejected));
    }

    void failedAddShowsMessage()
    {
        // Stored in lower case, the device is not recognised as registered and is offered again.
        open(m_addForm, ProtocolOption::ModBus,
             listReply({serverDevice(kLowerCaseClimate, "Stored in lower case", kClimateEui)}));
        QTRY_COMPARE(offeredNames(), QStringList{"Stored in lower case"});
        setEntry(m_addForm, QString::number(freePort()), QStringLiteral("0"));
        LogSpy log;

        QStringList shown;
        QTimer closer;
        connect(&closer, &QTimer::timeout, this, [&shown, &closer] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                closer.stop();
                shown << box->text() << box->informativeText();
                box->defaultButton()->click();
            }
        });
        closer.start(20);
        m_addForm->addDeviceSlot();
        closer.stop();

        QCOMPARE(shown, (QStringList{"Add new device status", "Device is not added! See LOG-file for more details"}));
        QCOMPARE(m_addForm->result(), int(QDialog::Rejected));
        QVERIFY(log.takeLines().contains("ERROR: [CAddNewDeviceForm::addDeviceSlot] device is not created!"));
    }

    void addStoresAndPublishes()
    {
        // A get_data_req holds the server's queue until it times out: nothing asks the server after this.
        open(m_addForm, ProtocolOption::ModBus);
        QTRY_COMPARE(offeredNames(), (QStringList{"Office climate", "Gas meter"}));
        auto *list = child<QListView>(m_addForm, QStringLiteral("deviceList"));
        // Through another type, since the climate type shown last is not refilled.
        list->setCurrentIndex(list->model()->index(int(offeredNames().indexOf("Gas meter")), 0));
        list->setCurrentIndex(list->model()->index(int(offeredNames().indexOf("Office climate")), 0));
        // The list shows offsets from the start address.
        QVERIFY(setScaling(m_addForm, 10, 1.5, 0.1, QStringLiteral("°C")));
        setEntry(m_addForm, QString::number(m_modbusPort), QStringLiteral("3000"));
        QSignalSpy refresh(m_addForm, &CAbstractDeviceForm::refreshDeviceList);

        m_addForm->addDeviceSlot();
        QCOMPARE(m_addForm->result(), int(QDialog::Accepted));
        QCOMPARE(storedRegister(deviceId(QStringLiteral("Office"), ProtocolOption::ModBus), 3010), "1.5 0.1 °C ");
        QCOMPARE(CAllDeviceHandler::getInstance()->portProtocol(m_modbusPort), ProtocolOption::ModBus);
        QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("get_data_req")).size(), 1);
        QVERIFY(m_server->receivedWithCmd(QStringLiteral("get_data_req")).at(0).contains("70B3D5000000C003"));
        QCOMPARE(refresh.size(), 1);
    }

    void editedScalingReachesStore()
    {
        CEditDeviceForm *form = CEditDeviceForm::getInstance();
        const quint32 id = deviceId(QStringLiteral("Boiler"), ProtocolOption::ModBus);
        form->setOriginal(id, kBoiler, QStringLiteral("Boiler room climate"), kClimateEui, m_modbusPort, 1000);
        open(form, ProtocolOption::ModBus);
        QVERIFY(setScaling(form, 1010, 2.5, 0.1, QStringLiteral("°C")));
        auto *maxAge = child<QLineEdit>(form, QStringLiteral("maxAgeEdit"));
        QVERIFY(maxAge->isVisibleTo(form));
        QCOMPARE(maxAge->text(), QString());
        maxAge->setText(QStringLiteral("300"));

        form->addDeviceSlot();
        QCOMPARE(form->result(), int(QDialog::Accepted));
        QCOMPARE(CAllDeviceHandler::maxDataAge(kBoiler), 300u);
        form->setOriginal(id, kBoiler, QStringLiteral("Boiler room climate"), kClimateEui, m_modbusPort, 1000);
        QCOMPARE(maxAge->text(), QStringLiteral("300"));

        // The next uplink is scaled: 235 × 0.1 + 2.5 = 26.
        QSignalSpy newData(CAllDeviceHandler::getInstance(), &CAllDeviceHandler::newDataForDevice);
        ProgramCore::pushUplink(*m_server, kBoiler, QStringLiteral("0100eb0202f63e0c"));
        QTRY_COMPARE(newData.size(), 1);
        QCOMPARE(storedRegister(id, 1010), "2.5 0.1 °C 001a");

        // Decimals kept through the register editor: 26.0 is stored as 260.
        open(form, ProtocolOption::ModBus);
        auto *list = child<QListView>(form, QStringLiteral("registerList"));
        const QModelIndexList found = list->model()->match(list->model()->index(0, 2), Qt::DisplayRole, 1010);
        QCOMPARE(found.size(), 1);
        const std::unique_ptr<QWidget> editor(list->itemDelegate()->createEditor(list, {}, found.first()));
        list->itemDelegate()->setEditorData(editor.get(), found.first());
        auto *decimals = child<QLineEdit>(editor.get(), QStringLiteral("decimalsEdit"));
        QCOMPARE(decimals->text(), QStringLiteral("0"));
        decimals->setText(QStringLiteral("1"));
        list->itemDelegate()->setModelData(editor.get(), list->model(), found.first());
        form->addDeviceSlot();
        ProgramCore::pushUplink(*m_server, kBoiler, QStringLiteral("0100eb0202f63e0c"));
        QTRY_COMPARE(newData.size(), 2);
        QCOMPARE(storedRegister(id, 1010), "2.5 0.1 °C 0104");
        QCOMPARE(CDataBaseHandler::getInstance()->getRegisterDecimals(id), (QMap<quint32, int>{{1010, 1}}));
    }

    void editMovesTcpListener()
    {
        CEditDeviceForm *form = CEditDeviceForm::getInstance();
        const auto oldClient = connectClient(m_tcpPort);
        QVERIFY(oldClient);
        form->setOriginal(deviceId(QString(), ProtocolOption::TCP), kGateway, "Line 1 gateway", kGatewayEui, m_tcpPort);
        open(form, ProtocolOption::TCP);
        QPushButton *portMark = mark(form, kPortProblem);

        // Its own listener holds the present port.
        form->addDeviceSlot();
        QVERIFY(!portMark->isHidden());
        QCOMPARE(form->result(), int(QDialog::Rejected));

        const quint16 newPort = freePort();
        child<QLineEdit>(form, QStringLiteral("portEdit"))->setText(QString::number(newPort));
        form->addDeviceSlot();
        QCOMPARE(form->result(), int(QDialog::Accepted));
        QTRY_COMPARE(oldClient->state(), QAbstractSocket::UnconnectedState);
        QVERIFY(connectClient(newPort));
        QVERIFY(!connectClient(m_tcpPort));
        QSqlQuery devices = CDataBaseHandler::getInstance()->getDevices(QString(), ProtocolOption::TCP);
        QVERIFY(devices.next());
        QCOMPARE(devices.value(4).toUInt(), uint(newPort));
    }
};

QTEST_MAIN(TestDeviceForms)
#include "tst_deviceforms.moc"
