#include "mainwindow.h"

#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "server/cserverhandler.h"
#include "server/cserverlinkwatch.h"
#include "ui/cabstractpanelbutton.h"
#include "ui/caddnewdeviceform.h"
#include "ui/cdevicedelegat.h"
#include "ui/ceditdeviceform.h"
#include "ui/cleftpanel.h"
#include "ui/cregisterdelegat.h"
#include "ui/csearcheditwidget.h"
#include "ui/devicecolumn.h"
#include "ui/globalsettingswindow.h"

#include <QComboBox>
#include <QDebug>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QSplitter>
#include <QSqlQueryModel>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace {
constexpr int kLeftColumnWidth = 250;
constexpr int kLogoHeight = 45;
constexpr int kPanelIconSize = 36;
constexpr int kSettingsIconSize = 32;
constexpr int kDeviceButtonSize = 40;
constexpr int kListStretch = 50;
constexpr int kModBusPage = 0;
constexpr int kTcpPage = 1;
constexpr double kDevicePaneShare = 0.4;
constexpr double kRegisterPaneShare = 0.6;
constexpr Qt::Alignment kCentred = Qt::AlignHCenter | Qt::AlignVCenter;

// The separators are unescaped: a host written with other separators passes.
const QString kIpPattern = QStringLiteral("[0-9]{1,3}.[0-9]{1,3}.[0-9]{1,3}.[0-9]{1,3}");
const QString kPortPattern = QStringLiteral("[0-9]{5}");
const QString kGoodConnectionIcon = QStringLiteral(":/connectionGoodIco.png");
const QString kFailedConnectionIcon = QStringLiteral(":/connectionFailIco.png");

QString serverKey(const QString &name)
{
    return SettingsKey::serverPrefix + name;
}

QHBoxLayout *tightRow(int spacing)
{
    auto *row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(spacing);
    return row;
}

void setTransparentBase(QListView *list)
{
    QPalette palette = list->palette();
    palette.setColor(QPalette::Base, QColor(Qt::transparent));
    list->setPalette(palette);
}

QLabel *parameterRow(QVBoxLayout *box, const QString &name, const QString &value)
{
    auto *nameLabel = new QLabel(name);
    nameLabel->setObjectName(QStringLiteral("modbusName"));
    auto *valueLabel = new QLabel(value);
    valueLabel->setObjectName(QStringLiteral("modbusValue"));
    QHBoxLayout *row = tightRow(5);
    row->addWidget(nameLabel);
    row->addWidget(valueLabel);
    row->addStretch(20);
    box->addLayout(row);
    return valueLabel;
}

QVariant currentCell(const QSqlQueryModel *model, const QListView *list, int column)
{
    return model->data(model->index(list->currentIndex().row(), column));
}

void fetchAll(QSqlQueryModel *model)
{
    while (model->canFetchMore())
        model->fetchMore();
}
} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , m_deviceModel(new QSqlQueryModel(this))
    , m_tcpDeviceModel(new QSqlQueryModel(this))
    , m_registerModel(new QSqlQueryModel(this))
{
    setWindowFlags(windowFlags() | Qt::WindowMaximizeButtonHint);
    setAttribute(Qt::WA_NoSystemBackground);
    setObjectName(QStringLiteral("MainWindow"));
    setWindowTitle(tr("%1").arg(kProgramTitle));
    setGeometry(10, 30, 1000, 640);
    setAnimated(true);

    auto *central = new QWidget(this);
    central->setObjectName(QStringLiteral("MainWidget"));
    auto *layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(buildLeftColumn());

    m_pageStack = new QStackedLayout;
    m_pageStack->setContentsMargins(0, 0, 0, 0);
    m_pageStack->setSpacing(3);
    layout->addLayout(m_pageStack);
    setCentralWidget(central);
    m_pageStack->addWidget(buildModBusPage());
    m_pageStack->addWidget(buildTcpPage());
    m_pageStack->setCurrentIndex(kModBusPage);

    makeConnections();

    readSettings();
    tryToConnectToServerSlot();
    publishStoredDevices();

    // Only now, so that no refresh reaches a window that is still being built.
    CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
    connect(this, &MainWindow::disconnectDevice, registry, &CAllDeviceHandler::removeDevice, Qt::QueuedConnection);
    connect(registry, &CAllDeviceHandler::newDataForDevice, this, &MainWindow::newDataForDeviceSlot,
            Qt::QueuedConnection);
}

QLayout *MainWindow::buildLeftColumn()
{
    auto *layout = new QVBoxLayout;
    layout->setContentsMargins(0, 5, 0, 0);
    layout->setSpacing(5);

    auto *logo = new QLabel(this);
    logo->setFixedSize(kLeftColumnWidth, kLogoHeight);
    logo->setAlignment(kCentred);
    logo->setPixmap(QPixmap(QStringLiteral(":/orvane-a_logo5_horizontal_gradient.png"))
                            .scaledToHeight(kLogoHeight, Qt::SmoothTransformation));
    layout->addWidget(logo);

    auto *panel = new CLeftPanel(this);
    panel->setFixedWidth(kLeftColumnWidth);
    layout->addWidget(panel);

    m_authButton = new CAbstractPanelButton(tr("Server authorization"), QIcon(kFailedConnectionIcon), panel);
    m_authButton->setPicAlign(Qt::AlignRight);
    m_authButton->setIconSize(QSize(kPanelIconSize, kPanelIconSize));
    m_authButton->setFullView(true);
    m_authButton->addLayout(buildLoginBlock());
    panel->addWidget(m_authButton);

    m_modbusPanelButton = new CAbstractPanelButton(QStringLiteral("ModBus"), QIcon(), panel);
    m_tcpPanelButton = new CAbstractPanelButton(QStringLiteral("TCP"), QIcon(), panel);
    for (CAbstractPanelButton *button : {m_modbusPanelButton, m_tcpPanelButton}) {
        button->setPicAlign(Qt::AlignRight);
        button->setIconSize(QSize(kPanelIconSize, kPanelIconSize));
        button->setFullView(true);
        button->setAutoExclusive(true);
        panel->addWidget(button);
    }
    m_modbusPanelButton->setChecked(true);

    m_settingsPanelButton = new CAbstractPanelButton(QString(), QIcon(QStringLiteral(":/flat/settingsFlatInvertIco.png")),
                                                     panel);
    m_settingsPanelButton->setIconSize(QSize(kSettingsIconSize, kSettingsIconSize));
    panel->addWidget(m_settingsPanelButton, 0, Qt::AlignLeft | Qt::AlignBottom);
    return layout;
}

QLayout *MainWindow::buildLoginBlock()
{
    m_schemeBox = new QComboBox;
    m_schemeBox->setObjectName(QStringLiteral("schemeBox"));
    m_schemeBox->addItems({QStringLiteral("ws"), QStringLiteral("wss")});
    m_ipEdit = new QLineEdit;
    m_ipEdit->setObjectName(QStringLiteral("ipEdit"));
    m_ipEdit->setValidator(new QRegularExpressionValidator(QRegularExpression(kIpPattern), m_ipEdit));
    m_portEdit = new QLineEdit;
    m_portEdit->setObjectName(QStringLiteral("portEdit"));
    m_portEdit->setFixedWidth(50);
    m_portEdit->setValidator(new QRegularExpressionValidator(QRegularExpression(kPortPattern), m_portEdit));
    QHBoxLayout *addressRow = tightRow(0);
    addressRow->addWidget(m_schemeBox);
    addressRow->addWidget(new QLabel(tr("://")));
    addressRow->addWidget(m_ipEdit);
    addressRow->addWidget(new QLabel(tr(":")));
    addressRow->addWidget(m_portEdit);

    m_loginEdit = new QLineEdit;
    m_loginEdit->setObjectName(QStringLiteral("loginEdit"));
    QHBoxLayout *loginRow = tightRow(0);
    loginRow->addWidget(new QLabel(tr("Login:")));
    loginRow->addWidget(m_loginEdit);

    m_passwordEdit = new QLineEdit;
    m_passwordEdit->setObjectName(QStringLiteral("passwordEdit"));
    m_passwordEdit->setEchoMode(QLineEdit::Password);
    m_passwordEdit->setInputMethodHints(Qt::ImhHiddenText | Qt::ImhSensitiveData | Qt::ImhNoPredictiveText);
    QHBoxLayout *passwordRow = tightRow(0);
    passwordRow->addWidget(new QLabel(tr("Password:")));
    passwordRow->addWidget(m_passwordEdit);

    m_statusLabel = new QLabel(tr("Connection state..."));
    m_statusLabel->setObjectName(QStringLiteral("statusLabel"));
    m_connectButton = new QPushButton(tr("Connect"));
    m_connectButton->setObjectName(QStringLiteral("blueBtn"));
    m_connectButton->setFixedSize(75, 25);

    auto *block = new QVBoxLayout;
    block->setContentsMargins(0, 0, 0, 0);
    block->setSpacing(5);
    block->addLayout(addressRow);
    block->addLayout(loginRow);
    block->addLayout(passwordRow);
    block->addWidget(m_statusLabel);
    block->addWidget(m_connectButton, 0, kCentred);
    return block;
}

QListView *MainWindow::makeDeviceList(int delegateMode, QSqlQueryModel *model, QWidget *parent)
{
    auto *list = new QListView(parent);
    setTransparentBase(list);
    list->setSpacing(1);
    list->setItemDelegate(new CDeviceDelegat(list, delegateMode));
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setModel(model);
    return list;
}

QLayout *MainWindow::makeDeviceButtons(SDeviceButtons &buttons, QWidget *parent)
{
    const auto makeButton = [parent](const QString &icon, const QString &objectName, const QString &toolTip) {
        auto *button = new QPushButton(QIcon(icon), QString(), parent);
        button->setObjectName(objectName);
        button->setToolTip(toolTip);
        button->setFixedSize(kDeviceButtonSize, kDeviceButtonSize);
        button->setIconSize(QSize(kPanelIconSize, kPanelIconSize));
        return button;
    };
    buttons.add = makeButton(QStringLiteral(":/addIco.png"), QStringLiteral("greenBtn"), tr("Add new device from server"));
    buttons.edit = makeButton(QStringLiteral(":/editIco.png"), QStringLiteral("greenBtn"), tr("Edit device parametrs"));
    buttons.remove = makeButton(QStringLiteral(":/delete2Ico.png"), QStringLiteral("redBtn"), tr("Delete device"));

    QHBoxLayout *row = tightRow(5);
    row->addWidget(buttons.add);
    row->addWidget(buttons.edit);
    row->addWidget(buttons.remove);
    row->addStretch(10);
    return row;
}

QWidget *MainWindow::buildModBusPage()
{
    m_modbusPage = new QWidget(this);
    m_modbusPage->setObjectName(QStringLiteral("modbusPage"));
    auto *splitter = new QSplitter(Qt::Horizontal, m_modbusPage);
    splitter->addWidget(buildModBusDevicePane());
    splitter->addWidget(buildRegisterPane());
    const int width = m_modbusPage->width();
    splitter->setSizes({int(width * kDevicePaneShare), int(width * kRegisterPaneShare)});

    QHBoxLayout *layout = tightRow(0);
    m_modbusPage->setLayout(layout);
    layout->addWidget(splitter);
    return m_modbusPage;
}

QWidget *MainWindow::buildModBusDevicePane()
{
    auto *pane = new QWidget(m_modbusPage);
    auto *layout = new QVBoxLayout(pane);
    layout->setContentsMargins(5, 5, 5, 5);
    layout->setSpacing(5);
    auto *search = new CSearchEditWidget(pane);
    connect(search, &CSearchEditWidget::textChangedSignal, this, &MainWindow::refreshDevicesSlot);
    layout->addWidget(search);
    m_deviceList = makeDeviceList(CDeviceDelegat::ModBusMode, m_deviceModel, pane);
    m_deviceList->setObjectName(QStringLiteral("deviceList"));
    layout->addWidget(m_deviceList, kListStretch);
    layout->addLayout(makeDeviceButtons(m_buttons, pane));
    return pane;
}

QWidget *MainWindow::buildRegisterPane()
{
    auto *pane = new QWidget(m_modbusPage);
    auto *layout = new QVBoxLayout(pane);
    layout->setContentsMargins(5, 5, 5, 5);
    layout->setSpacing(0);

    m_deviceTitleLabel = new QLabel(tr("Device [UNKNOWN]"), pane);
    m_deviceTitleLabel->setObjectName(QStringLiteral("title2Lab"));
    m_deviceTitleLabel->setAlignment(Qt::AlignHCenter);
    // A long type name wraps instead of squeezing the device list.
    m_deviceTitleLabel->setWordWrap(true);
    layout->addWidget(m_deviceTitleLabel);

    m_modbusParamsBox = new QGroupBox(tr("ModBus-TCP parameters"), pane);
    m_modbusParamsBox->setObjectName(QStringLiteral("modbusParamsBox"));
    m_modbusParamsBox->hide();
    auto *box = new QVBoxLayout(m_modbusParamsBox);
    box->setContentsMargins(3, 3, 3, 3);
    box->setSpacing(2);
    // The unit id of a request is not checked, so this states a fact.
    m_deviceIdValue = parameterRow(box, tr("Device ID:"), tr("ANY VALID VALUE"));
    m_tcpPortValue = parameterRow(box, tr("TCP port:"), QString());
    m_beginRegisterValue = parameterRow(box, tr("Begin register:"), QString());
    layout->addWidget(m_modbusParamsBox);

    m_registerList = new QListView(pane);
    m_registerList->setObjectName(QStringLiteral("registerList"));
    setTransparentBase(m_registerList);
    m_registerList->setItemDelegate(new CRegisterDelegat(m_registerList));
    m_registerList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_registerList->setModel(m_registerModel);
    layout->addWidget(m_registerList, kListStretch);
    return pane;
}

QWidget *MainWindow::buildTcpPage()
{
    m_tcpPage = new QWidget(this);
    m_tcpPage->setObjectName(QStringLiteral("tcpPage"));
    auto *column = new QVBoxLayout;
    column->setContentsMargins(5, 5, 5, 5);
    column->setSpacing(5);

    auto *search = new CSearchEditWidget(m_tcpPage);
    connect(search, &CSearchEditWidget::textChangedSignal, this, &MainWindow::refreshDevicesTCPSlot);
    column->addWidget(search);
    m_tcpDeviceList = makeDeviceList(CDeviceDelegat::TcpMode, m_tcpDeviceModel, m_tcpPage);
    m_tcpDeviceList->setObjectName(QStringLiteral("deviceList"));
    column->addWidget(m_tcpDeviceList, kListStretch);
    column->addLayout(makeDeviceButtons(m_tcpButtons, m_tcpPage));

    QHBoxLayout *layout = tightRow(0);
    m_tcpPage->setLayout(layout);
    layout->addLayout(column);
    return m_tcpPage;
}

void MainWindow::makeConnections()
{
    connect(this, &MainWindow::setConnectStatusIco, m_authButton, &CAbstractPanelButton::setIcon);
    connect(m_settingsPanelButton, &QAbstractButton::pressed, this, &MainWindow::openGlobalSettings);
    connect(m_connectButton, &QPushButton::clicked, this, &MainWindow::tryToConnectToServerSlot);
    connect(m_modbusPanelButton, &QAbstractButton::clicked, this, &MainWindow::showModBusFields);
    connect(m_tcpPanelButton, &QAbstractButton::clicked, this, &MainWindow::showTCPFields);
    connect(m_deviceList->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MainWindow::deviceSelectSlot);

    connect(m_buttons.add, &QPushButton::clicked, this, &MainWindow::addNewItemSlot);
    connect(m_buttons.edit, &QPushButton::clicked, this, &MainWindow::editItemSlot);
    connect(m_buttons.remove, &QPushButton::clicked, this, &MainWindow::deleteItemSlot);
    connect(m_tcpButtons.add, &QPushButton::clicked, this, &MainWindow::addNewTCPItemSlot);
    connect(m_tcpButtons.edit, &QPushButton::clicked, this, &MainWindow::editTCPItemSlot);
    connect(m_tcpButtons.remove, &QPushButton::clicked, this, &MainWindow::deleteTCPItemSlot);

    connect(CLogFile::instance(), &CLogFile::addLogSignal, this, &MainWindow::debugSlot);

    CServerHandler *server = CServerHandler::getInstance();
    connect(server, &CServerHandler::changeServerStatus, this, &MainWindow::changeServerStatusSlot,
            Qt::QueuedConnection);
    connect(this, &MainWindow::connectToServer, server, &CServerHandler::connectSlot, Qt::QueuedConnection);
    // The status words are fixed; why the link failed goes to the label's tool tip.
    connect(server->linkWatch(), &CServerLinkWatch::linkFailed, m_statusLabel, &QLabel::setToolTip,
            Qt::QueuedConnection);

    CAddNewDeviceForm *addForm = CAddNewDeviceForm::getInstance();
    connect(addForm, &CAbstractDeviceForm::refreshDeviceList, this, &MainWindow::refreshDevicesSlot,
            Qt::QueuedConnection);
    connect(addForm, &CAbstractDeviceForm::refreshDeviceTCPList, this, &MainWindow::refreshDevicesTCPSlot,
            Qt::QueuedConnection);
    // The TCP edit refreshes its list by itself.
    connect(CEditDeviceForm::getInstance(), &CAbstractDeviceForm::refreshDeviceList, this,
            &MainWindow::refreshDevicesSlot, Qt::QueuedConnection);
}

void MainWindow::publishStoredDevices()
{
    CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();

    refreshDevicesSlot(QString());
    fetchAll(m_deviceModel);
    for (int row = 0; row < m_deviceModel->rowCount(); ++row) {
        DB::SDeviceRegMapDescription device;
        device.port = m_deviceModel->data(m_deviceModel->index(row, DeviceColumn::Port)).toUInt();
        device.startAddr = m_deviceModel->data(m_deviceModel->index(row, DeviceColumn::StartAddr)).toUInt();
        device.devEui = m_deviceModel->data(m_deviceModel->index(row, DeviceColumn::DevEui)).toString();
        device.appEui = m_deviceModel->data(m_deviceModel->index(row, DeviceColumn::AppEui)).toString();
        device.name = m_deviceModel->data(m_deviceModel->index(row, DeviceColumn::Name)).toString();
        registry->addNewDevice(device, ProtocolOption::ModBus);
    }

    refreshDevicesTCPSlot(QString());
    fetchAll(m_tcpDeviceModel);
    for (int row = 0; row < m_tcpDeviceModel->rowCount(); ++row) {
        DB::SDeviceRegMapDescription device;
        device.port = m_tcpDeviceModel->data(m_tcpDeviceModel->index(row, DeviceColumn::Port)).toUInt();
        device.devEui = m_tcpDeviceModel->data(m_tcpDeviceModel->index(row, DeviceColumn::DevEui)).toString();
        device.appEui = m_tcpDeviceModel->data(m_tcpDeviceModel->index(row, DeviceColumn::AppEui)).toString();
        device.name = m_tcpDeviceModel->data(m_tcpDeviceModel->index(row, DeviceColumn::Name)).toString();
        registry->addNewDevice(device, ProtocolOption::TCP);
    }
}

void MainWindow::debugSlot(QString str)
{
    qDebug().noquote() << str;
}

void MainWindow::readSettings()
{
    m_ipEdit->setText(CSettings::readValue(serverKey(SettingsKey::ip), QString()).toString());
    m_portEdit->setText(CSettings::readValue(serverKey(SettingsKey::port), QString()).toString());
    m_loginEdit->setText(CSettings::readValue(serverKey(SettingsKey::login), QString()).toString());
    m_passwordEdit->setText(CSettings::readValue(serverKey(SettingsKey::password), QString()).toString());
    // Absent, the box keeps its first entry as it always has.
    const QString scheme = CSettings::readValue(serverKey(SettingsKey::scheme), QString()).toString();
    if (m_schemeBox->findText(scheme) >= 0)
        m_schemeBox->setCurrentText(scheme);
}

void MainWindow::saveSettings()
{
    CSettings::writeValue(serverKey(SettingsKey::ip), m_ipEdit->text());
    CSettings::writeValue(serverKey(SettingsKey::port), m_portEdit->text());
    CSettings::writeValue(serverKey(SettingsKey::login), m_loginEdit->text());
    CSettings::writeValue(serverKey(SettingsKey::password), m_passwordEdit->text());
}

void MainWindow::tryToConnectToServerSlot()
{
    const QList<QPair<const QLineEdit *, QString>> required = {
        {m_ipEdit, QStringLiteral("[main] IP is empty")},
        {m_portEdit, QStringLiteral("[main] PORT is empty")},
        {m_loginEdit, QStringLiteral("[main] LOGIN is empty")},
        {m_passwordEdit, QStringLiteral("[main] PASSWORD is empty")},
    };
    for (const auto &field : required) {
        if (field.first->text().isEmpty()) {
            CLogFile::addLog(field.second, CLogFile::LogInfo, false);
            return;
        }
    }
    const QString origin = QStringLiteral("%1://%2:%3").arg(m_schemeBox->currentText(), m_ipEdit->text(),
                                                            m_portEdit->text());
    emit connectToServer(origin, m_loginEdit->text(), m_passwordEdit->text());
}

void MainWindow::changeServerStatusSlot(COMM::EServerStatus _status)
{
    QString text;
    switch (_status) {
    case COMM::Success:
        text = QStringLiteral("SUCCESS");
        break;
    case COMM::PingWaiting:
        text = QStringLiteral("PING WAITING");
        break;
    case COMM::InvalidPing:
        text = QStringLiteral("INVALID PING");
        break;
    case COMM::AuthWaiting:
        text = QStringLiteral("AUTH WAITING");
        break;
    case COMM::InvalidAuth:
        text = QStringLiteral("INVALID AUTH");
        break;
    case COMM::Disconnected:
        text = QStringLiteral("DISCONNECTED");
        break;
    default:
        return;
    }
    m_loggedIn = _status == COMM::Success;
    m_statusLabel->setText(text);
    // A socket that has connected makes the last failure's reason stale.
    if (_status == COMM::PingWaiting)
        m_statusLabel->setToolTip(QString());
    emit setConnectStatusIco(QIcon(m_loggedIn ? kGoodConnectionIcon : kFailedConnectionIcon));
    // The address and credentials are kept only once they have let us in.
    if (m_loggedIn)
        saveSettings();
}

void MainWindow::showModBusFields(bool)
{
    m_pageStack->setCurrentIndex(kModBusPage);
}

void MainWindow::showTCPFields(bool)
{
    m_pageStack->setCurrentIndex(kTcpPage);
}

void MainWindow::openGlobalSettings()
{
    GlobalSettingsWindow dialog;
    dialog.exec();
}

void MainWindow::refreshDevicesSlot(QString _search)
{
    m_deviceModel->setQuery(CDataBaseHandler::getInstance()->getDevices(_search, ProtocolOption::ModBus));
    if (m_deviceModel->rowCount() > 0)
        m_deviceList->setCurrentIndex(m_deviceModel->index(0, 0));
    else
        showNoDevice();
}

void MainWindow::refreshDevicesTCPSlot(QString _search)
{
    m_tcpDeviceModel->setQuery(CDataBaseHandler::getInstance()->getDevices(_search, ProtocolOption::TCP));
    if (m_tcpDeviceModel->rowCount() > 0)
        m_tcpDeviceList->setCurrentIndex(m_tcpDeviceModel->index(0, 0));
}

void MainWindow::showNoDevice()
{
    m_deviceTitleLabel->setText(tr("Device [UNKNOWN]"));
    m_modbusParamsBox->setObjectName(QStringLiteral("modbusParamsBox"));
    m_modbusParamsBox->hide();
    m_registerModel->clear();
}

void MainWindow::deviceSelectSlot(QItemSelection, QItemSelection)
{
    if (m_deviceModel->rowCount() == 0) {
        showNoDevice();
        return;
    }
    const QString appEui = modbusCell(DeviceColumn::AppEui).toString();
    const QString devType = CAllDeviceHandler::getInstance()->templateInfo(appEui).devType;
    m_deviceTitleLabel->setText(tr("Device:%1 [%2]").arg(modbusCell(DeviceColumn::DevEui).toString(), devType));
    m_modbusParamsBox->show();
    m_tcpPortValue->setText(QString::number(modbusCell(DeviceColumn::Port).toUInt()));
    const uint startAddr = modbusCell(DeviceColumn::StartAddr).toUInt();
    m_beginRegisterValue->setText(QString::number(startAddr));
    qDebug() << "start address" << startAddr;
    refreshRegisterSlot();
}

void MainWindow::refreshRegisterSlot()
{
    m_registerModel->setQuery(CDataBaseHandler::getInstance()->getRegisters(modbusCell(DeviceColumn::Id).toUInt()));
    if (m_registerModel->rowCount() > 0)
        m_registerList->setCurrentIndex(m_registerModel->index(0, 0));
}

void MainWindow::newDataForDeviceSlot(QString _devEui)
{
    if (_devEui == modbusCell(DeviceColumn::DevEui).toString())
        refreshRegisterSlot();
}

void MainWindow::addNewItemSlot()
{
    CAddNewDeviceForm::getInstance()->showForm(tr("Add new ModBUS device interface"), ProtocolOption::ModBus);
}

void MainWindow::addNewTCPItemSlot()
{
    CAddNewDeviceForm::getInstance()->showForm(tr("Add new TCP device interface"), ProtocolOption::TCP);
}

void MainWindow::editItemSlot()
{
    CEditDeviceForm *form = CEditDeviceForm::getInstance();
    form->setOriginal(modbusCell(DeviceColumn::Id).toUInt(), modbusCell(DeviceColumn::DevEui).toString(),
                      modbusCell(DeviceColumn::Name).toString(), modbusCell(DeviceColumn::AppEui).toString(),
                      quint16(modbusCell(DeviceColumn::Port).toUInt()), modbusCell(DeviceColumn::StartAddr).toUInt());
    if (form->showForm(QStringLiteral("Edit ModBUS device parameters"), ProtocolOption::ModBus) == QDialog::Accepted)
        refreshRegisterSlot();
}

void MainWindow::editTCPItemSlot()
{
    CEditDeviceForm *form = CEditDeviceForm::getInstance();
    form->setOriginal(tcpCell(DeviceColumn::Id).toUInt(), tcpCell(DeviceColumn::DevEui).toString(),
                      tcpCell(DeviceColumn::Name).toString(), tcpCell(DeviceColumn::AppEui).toString(),
                      quint16(tcpCell(DeviceColumn::Port).toUInt()), DeviceColumn::kNoStartAddress);
    if (form->showForm(QStringLiteral("Edit TCP device parameters"), ProtocolOption::TCP) == QDialog::Accepted)
        refreshDevicesTCPSlot(QString());
}

void MainWindow::deleteItemSlot()
{
    emit disconnectDevice(modbusCell(DeviceColumn::DevEui).toString(),
                          quint16(modbusCell(DeviceColumn::Port).toUInt()));
    CDataBaseHandler::getInstance()->deleteDevice(modbusCell(DeviceColumn::Id).toUInt(), ProtocolOption::ModBus);
    refreshDevicesSlot(QString());
}

void MainWindow::deleteTCPItemSlot()
{
    emit disconnectDevice(tcpCell(DeviceColumn::DevEui).toString(), quint16(tcpCell(DeviceColumn::Port).toUInt()));
    CDataBaseHandler::getInstance()->deleteDevice(tcpCell(DeviceColumn::Id).toUInt(), ProtocolOption::TCP);
    refreshDevicesTCPSlot(QString());
}

QVariant MainWindow::modbusCell(int column) const
{
    return currentCell(m_deviceModel, m_deviceList, column);
}

QVariant MainWindow::tcpCell(int column) const
{
    return currentCell(m_tcpDeviceModel, m_tcpDeviceList, column);
}
