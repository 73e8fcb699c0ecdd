#include "logspy.h"
#include "programcore.h"
#include "testnet.h"
#include "testworkdir.h"

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
const QString kPulseEui = QStringLiteral("F1A7C0DE00000202");
const QString kGatewayEui = QStringLiteral("F1A7C0DE00000303");
const QString kBoiler = QStringLiteral("70B3D5000000C001");
const QString kLowerCaseClimate = QStringLiteral("70b3d5000000c009");
const QString kGateway = QStringLiteral("70B3D5000000D001");
const QString kWaiting = QStringLiteral("WAITING...");
const QString kNothingNew = QStringLiteral("NOT NEW DEVICES\nALL DEVICES ALREADY REGISTERED");
constexpr int kTemperatureOffset = 10;

QJsonObject serverDevice(const QString &devEui, const QString &name, const QString &appEui)
{
    return {{"devEui", devEui}, {"devName", name}, {"OTAA", QJsonObject{{"appEui", appEui}}}};
}

const QJsonArray kServerDevices = {
    serverDevice(kBoiler, "Boiler room climate", kClimateEui),
    serverDevice("70B3D5000000C003", "Office climate", kClimateEui),
    serverDevice("70B3D5000000C004", "Mystery box", "0000000000000099"),
    serverDevice("70B3D5000000C005", "Gas meter", kPulseEui),
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

// The register row at the address, in the columns of the register table.
QSqlQuery storedRegister(quint32 deviceId, quint32 address)
{
    QSqlQuery registers = CDataBaseHandler::getInstance()->getRegisters(deviceId);
    while (registers.next() && registers.value(2).toUInt() != address) {
    }
    return registers;
}

} // namespace

class TestDeviceForms : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void noListWithoutSession();
    void offersNewDevicesWithTemplate_data();
    void offersNewDevicesWithTemplate();
    void portCheck_data();
    void portCheck();
    void failedAddShowsMessage();
    void addStoresAndPublishes();
    void editedScalingReachesStore();
    void editMovesTcpListener();

private:
    template<typename T>
    T *child(QWidget *form, const QString &name) const
    {
        return form->findChild<T *>(name);
    }
    QPushButton *mark(QWidget *form, const QString &toolTip) const;
    // Opens the form, which closes at once; it keeps its state and goes on
    // receiving the server's answer while hidden.
    void open(CAbstractDeviceForm *form, ProtocolOption protocol,
              const QJsonObject &serverReply = listReply(kServerDevices));
    QStringList offeredNames() const;
    void choose(const QString &name);

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    std::unique_ptr<FakeNetworkServer> m_server;
    CAddNewDeviceForm *m_addForm = nullptr;
    quint16 m_modbusPort = 0;
    quint16 m_tcpPort = 0;
};

void TestDeviceForms::initTestCase()
{
    m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
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
}

void TestDeviceForms::cleanupTestCase()
{
    m_core.reset();
}

QPushButton *TestDeviceForms::mark(QWidget *form, const QString &toolTip) const
{
    for (QPushButton *button : form->findChildren<QPushButton *>(QStringLiteral("redBtn"))) {
        if (button->toolTip() == toolTip)
            return button;
    }
    return nullptr;
}

void TestDeviceForms::open(CAbstractDeviceForm *form, ProtocolOption protocol, const QJsonObject &serverReply)
{
    m_server->setReply(QStringLiteral("get_devices_req"), serverReply);
    QTimer::singleShot(0, form, &QDialog::reject);
    form->showForm(QStringLiteral("Form under test"), protocol);
}

QStringList TestDeviceForms::offeredNames() const
{
    const QAbstractItemModel *devices = child<QListView>(m_addForm, QStringLiteral("deviceList"))->model();
    QStringList names;
    for (int row = 0; row < devices->rowCount(); ++row)
        names.append(devices->index(row, 1).data().toString());
    return names;
}

void TestDeviceForms::choose(const QString &name)
{
    auto *list = child<QListView>(m_addForm, QStringLiteral("deviceList"));
    list->setCurrentIndex(list->model()->index(int(offeredNames().indexOf(name)), 0));
}

void TestDeviceForms::noListWithoutSession()
{
    open(m_addForm, ProtocolOption::ModBus);
    QCOMPARE(child<QLabel>(m_addForm, QStringLiteral("title2Lab"))->text(),
             QStringLiteral("EMPTY LIST OF\nKNOWN DEVICE TYPES"));

    QSignalSpy status(CServerHandler::getInstance(), &CServerHandler::changeServerStatus);
    CServerHandler::getInstance()->connectSlot(m_server->origin(), QStringLiteral("user"), QStringLiteral("secret"));
    QTRY_VERIFY(!status.isEmpty() && status.last().at(0).value<COMM::EServerStatus>() == COMM::Success);
}

void TestDeviceForms::offersNewDevicesWithTemplate_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<QJsonArray>("serverDevices");
    QTest::addColumn<bool>("status");
    QTest::addColumn<QStringList>("offered");
    QTest::addColumn<QString>("text");

    QTest::newRow("modbus") << 1 << kServerDevices << true << QStringList{"Office climate", "Gas meter"} << QString();
    QTest::newRow("tcp") << 2 << kServerDevices << true << QStringList{"Line 2 gateway"} << QString();
    QTest::newRow("all registered") << 1 << QJsonArray{kServerDevices.at(0)} << true << QStringList() << kNothingNew;
    QTest::newRow("no template") << 1 << QJsonArray{kServerDevices.at(2)} << true << QStringList() << kNothingNew;
    QTest::newRow("empty list") << 1 << QJsonArray() << true << QStringList() << "EMPTY DEVICE LIST\nFROM SERVER";
    QTest::newRow("refused") << 1 << QJsonArray() << false << QStringList() << "SERVER TIMEOUT";
}

void TestDeviceForms::offersNewDevicesWithTemplate()
{
    QFETCH(int, protocol);
    QFETCH(QJsonArray, serverDevices);
    QFETCH(bool, status);
    QFETCH(QStringList, offered);
    QFETCH(QString, text);

    open(m_addForm, ProtocolOption(protocol), listReply(serverDevices, status));
    auto *statusLabel = child<QLabel>(m_addForm, QStringLiteral("title2Lab"));
    QTRY_VERIFY(statusLabel->isHidden() || statusLabel->text() != kWaiting);
    if (text.isEmpty()) {
        QVERIFY(statusLabel->isHidden());
        QCOMPARE(offeredNames(), offered);
    } else {
        QCOMPARE(statusLabel->text(), text);
    }
}

void TestDeviceForms::portCheck_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<QString>("port");
    QTest::addColumn<QString>("startAddr");
    QTest::addColumn<bool>("portMarked");
    QTest::addColumn<bool>("startMarked");

    const QString modbusPort = QString::number(m_modbusPort);
    const QString tcpPort = QString::number(m_tcpPort);
    const QString freeOne = QString::number(freePort());
    QTest::newRow("modbus, free port, start 0") << 1 << freeOne << "0" << false << false;
    QTest::newRow("modbus, port of modbus devices") << 1 << modbusPort << "0" << false << false;
    QTest::newRow("modbus, port of a tcp device") << 1 << tcpPort << "0" << true << false;
    QTest::newRow("tcp, port of modbus devices") << 2 << modbusPort << "" << true << false;
    QTest::newRow("tcp, port of a tcp device") << 2 << tcpPort << "" << true << false;
    QTest::newRow("tcp, free port, no start address") << 2 << freeOne << "" << false << false;
    QTest::newRow("port 0") << 1 << "0" << "0" << true << false;
    QTest::newRow("no port") << 1 << "" << "0" << true << false;
    QTest::newRow("no start address") << 1 << freeOne << "" << false << true;
}

void TestDeviceForms::portCheck()
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
    child<QLineEdit>(m_addForm, QStringLiteral("portEdit"))->setText(port);
    child<QLineEdit>(m_addForm, QStringLiteral("startAddrEdit"))->setText(startAddr);

    m_addForm->addDeviceSlot();
    QCOMPARE(!mark(m_addForm, QStringLiteral("Invalid TCP port (is used or unsupported)"))->isHidden(), portMarked);
    QCOMPARE(!mark(m_addForm, QStringLiteral("Empty start address"))->isHidden(), startMarked);
    QCOMPARE(m_addForm->result(), int(QDialog::Rejected));
}

void TestDeviceForms::failedAddShowsMessage()
{
    // Stored in lower case, the device is not recognised as registered and is offered again.
    open(m_addForm, ProtocolOption::ModBus,
         listReply({serverDevice(kLowerCaseClimate, "Stored in lower case", kClimateEui)}));
    QTRY_COMPARE(offeredNames(), QStringList{"Stored in lower case"});
    child<QLineEdit>(m_addForm, QStringLiteral("portEdit"))->setText(QString::number(freePort()));
    child<QLineEdit>(m_addForm, QStringLiteral("startAddrEdit"))->setText(QStringLiteral("0"));
    LogSpy log;

    QStringList shown;
    QTimer closer;
    connect(&closer, &QTimer::timeout, this, [&shown, &closer] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box)
            return;
        closer.stop();
        shown << box->text() << box->informativeText();
        box->defaultButton()->click();
    });
    closer.start(20);
    m_addForm->addDeviceSlot();
    closer.stop();

    QCOMPARE(shown, (QStringList{"Add new device status", "Device is not added! See LOG-file for more details"}));
    QCOMPARE(m_addForm->result(), int(QDialog::Rejected));
    QTRY_VERIFY(log.lines().contains(QStringLiteral("ERROR: [CAddNewDeviceForm::addDeviceSlot] device is not created!")));
}

void TestDeviceForms::addStoresAndPublishes()
{
    // A get_data_req holds the server's queue until it times out: this add comes last.
    open(m_addForm, ProtocolOption::ModBus);
    QTRY_COMPARE(offeredNames(), (QStringList{"Office climate", "Gas meter"}));
    choose(QStringLiteral("Office climate"));
    QAbstractItemModel *registers = child<QListView>(m_addForm, QStringLiteral("registerList"))->model();
    const QModelIndexList temperature = registers->match(registers->index(0, 2), Qt::DisplayRole, kTemperatureOffset);
    QCOMPARE(temperature.size(), 1);
    registers->setData(registers->index(temperature.at(0).row(), 4), 0.1);
    registers->setData(registers->index(temperature.at(0).row(), 11), QStringLiteral("°C"));
    child<QLineEdit>(m_addForm, QStringLiteral("portEdit"))->setText(QString::number(m_modbusPort));
    child<QLineEdit>(m_addForm, QStringLiteral("startAddrEdit"))->setText(QStringLiteral("3000"));
    QSignalSpy modbusRefresh(m_addForm, &CAbstractDeviceForm::refreshDeviceList);
    QSignalSpy tcpRefresh(m_addForm, &CAbstractDeviceForm::refreshDeviceTCPList);

    m_addForm->addDeviceSlot();
    QCOMPARE(m_addForm->result(), int(QDialog::Accepted));
    QVERIFY(CDataBaseHandler::getInstance()->getRegisteredDevices(ProtocolOption::ModBus).contains("70B3D5000000C003"));
    QSqlQuery stored = storedRegister(deviceId(QStringLiteral("Office"), ProtocolOption::ModBus), 3010);
    QVERIFY(stored.isValid());
    QCOMPARE(stored.value(4).toDouble(), 0.1);
    QCOMPARE(stored.value(11).toString(), QStringLiteral("°C"));
    QCOMPARE(CAllDeviceHandler::getInstance()->portProtocol(m_modbusPort), ProtocolOption::ModBus);
    QTRY_COMPARE(m_server->receivedWithCmd(QStringLiteral("get_data_req")).size(), 1);
    QVERIFY(m_server->receivedWithCmd(QStringLiteral("get_data_req")).at(0).contains("70B3D5000000C003"));
    QCOMPARE(modbusRefresh.size(), 1);
    QCOMPARE(modbusRefresh.at(0).at(0).toString(), QString());
    QCOMPARE(tcpRefresh.size(), 0);
}

void TestDeviceForms::editedScalingReachesStore()
{
    CEditDeviceForm *form = CEditDeviceForm::getInstance();
    const quint32 id = deviceId(QStringLiteral("Boiler"), ProtocolOption::ModBus);
    form->setOriginal(id, kBoiler, QStringLiteral("Boiler room climate"), kClimateEui, m_modbusPort, 1000);
    open(form, ProtocolOption::ModBus);
    QAbstractItemModel *registers = child<QListView>(form, QStringLiteral("registerList"))->model();
    const QModelIndexList temperature = registers->match(registers->index(0, 2), Qt::DisplayRole, 1010);
    QCOMPARE(temperature.size(), 1);
    const int row = temperature.at(0).row();
    registers->setData(registers->index(row, 3), 2.5);
    registers->setData(registers->index(row, 4), 0.1);
    registers->setData(registers->index(row, 11), QStringLiteral("°C"));

    form->addDeviceSlot();
    QCOMPARE(form->result(), int(QDialog::Accepted));
    const QSqlQuery stored = storedRegister(id, 1010);
    QCOMPARE(stored.value(3).toDouble(), 2.5);
    QCOMPARE(stored.value(4).toDouble(), 0.1);
    QCOMPARE(stored.value(11).toString(), QStringLiteral("°C"));

    // The next uplink is scaled: 235 × 0.1 + 2.5 = 26.
    QSignalSpy newData(CAllDeviceHandler::getInstance(), &CAllDeviceHandler::newDataForDevice);
    ProgramCore::pushUplink(*m_server, kBoiler, QStringLiteral("0100eb0202f63e0c"));
    QTRY_COMPARE(newData.size(), 1);
    QCOMPARE(storedRegister(id, 1010).value(8).toString(), QStringLiteral("001a"));
}

void TestDeviceForms::editMovesTcpListener()
{
    CEditDeviceForm *form = CEditDeviceForm::getInstance();
    const quint32 id = deviceId(QString(), ProtocolOption::TCP);
    const auto oldClient = connectClient(m_tcpPort);
    QVERIFY(oldClient);
    form->setOriginal(id, kGateway, QStringLiteral("Line 1 gateway"), kGatewayEui, m_tcpPort);
    open(form, ProtocolOption::TCP);
    QPushButton *portMark = mark(form, QStringLiteral("Invalid TCP port (is used or unsupported)"));

    // Its own listener holds the present port.
    form->addDeviceSlot();
    QVERIFY(!portMark->isHidden());
    QCOMPARE(form->result(), int(QDialog::Rejected));

    const quint16 newPort = freePort();
    child<QLineEdit>(form, QStringLiteral("portEdit"))->setText(QString::number(newPort));
    form->addDeviceSlot();
    QVERIFY(portMark->isHidden());
    QCOMPARE(form->result(), int(QDialog::Accepted));
    QTRY_COMPARE(oldClient->state(), QAbstractSocket::UnconnectedState);
    QVERIFY(connectClient(newPort));
    QVERIFY(!connectClient(m_tcpPort));
    QSqlQuery devices = CDataBaseHandler::getInstance()->getDevices(QString(), ProtocolOption::TCP);
    QVERIFY(devices.next());
    QCOMPARE(devices.value(4).toUInt(), uint(newPort));
}

QTEST_MAIN(TestDeviceForms)
#include "tst_deviceforms.moc"
