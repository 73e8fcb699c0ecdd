#include "cabstractdeviceform.h"

#include "devices/calldevicehandler.h"
#include "ui/cdevicedelegat.h"
#include "ui/cdevicesearchmodel.h"
#include "ui/csearcheditwidget.h"
#include "ui/csimpleregisterdelegat.h"
#include "ui/registercolumn.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHostAddress>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QStackedLayout>
#include <QStandardItemModel>
#include <QStyleHints>
#include <QTcpServer>
#include <QVBoxLayout>

namespace {
constexpr int kModBusColumns = 6;
constexpr int kTcpColumns = 5;
constexpr int kTypesPerRow = 5;
constexpr int kMargin = 5;
constexpr int kEditWidth = 50;
constexpr int kEditHeight = 25;
constexpr int kMarkSize = 25;
constexpr int kListStretch = 50;
const QColor kTitleColor(0x26, 0x30, 0x34);
const QString kTypeLabelStyle = QStringLiteral("QLabel {padding: 5px; background-color: %1;}");

// QStyleHints::colorScheme() exists from Qt 6.5 on; before it, a window
// darker than its text means a dark scheme.
bool isDarkScheme()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    return QGuiApplication::styleHints()->colorScheme() == Qt::ColorScheme::Dark;
#else
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
#endif
}

QPushButton *errorMark(const QString &toolTip, QWidget *parent)
{
    auto *button = new QPushButton(QStringLiteral("!"), parent);
    button->setObjectName(QStringLiteral("redBtn"));
    button->setToolTip(toolTip);
    button->setFixedSize(kMarkSize, kMarkSize);
    button->hide();
    return button;
}

QPushButton *dialogButton(const QString &text, const QString &objectName)
{
    auto *button = new QPushButton(text);
    button->setObjectName(objectName);
    button->setFixedSize(100, 35);
    return button;
}
} // namespace

CAbstractDeviceForm::CAbstractDeviceForm(QWidget *parent)
    : QDialog(parent, Qt::Dialog)
    , m_titleLabel(new QLabel(tr("Add new device interface"), this))
    , m_devicePages(new QStackedLayout)
    , m_statusLabel(new QLabel(this))
    , m_searchEdit(new CSearchEditWidget(this))
    , m_deviceList(new QListView(this))
    , m_deviceModel(new QStandardItemModel(0, kModBusColumns, this))
    , m_deviceSearchModel(new CDeviceSearchModel(this))
    , m_registerList(new QListView(this))
    , m_registerModel(new QStandardItemModel(0, RegisterColumn::FormCount, this))
    , m_startAddrLabel(new QLabel(tr("Start address for registers:"), this))
    , m_portEdit(new QLineEdit(this))
    , m_startAddrEdit(new QLineEdit(this))
    , m_portErrorButton(errorMark(tr("Invalid TCP port (is used or unsupported)"), this))
    , m_startAddrErrorButton(errorMark(tr("Empty start address"), this))
    , m_maxAgeLabel(new QLabel(tr("Max data age, s:"), this))
    , m_maxAgeEdit(new QLineEdit(this))
    , m_deviceTypesLayout(new QGridLayout)
    , m_registersGroup(new QGroupBox(tr("Device's registers"), this))
    , m_modbusDelegate(new CDeviceDelegat(this, CDeviceDelegat::ModBusMode))
    , m_tcpDelegate(new CDeviceDelegat(this, CDeviceDelegat::TcpMode))
{
    setWindowTitle(tr("Add new device interface"));
    setGeometry(30, 30, 800, 600);
    setWindowIcon(QIcon(QStringLiteral(":/Icon.png")));

    m_titleLabel->setObjectName(QStringLiteral("title1Lab"));
    m_titleLabel->setAlignment(Qt::AlignCenter);
    QPalette titlePalette = m_titleLabel->palette();
    titlePalette.setColor(QPalette::WindowText, kTitleColor);
    m_titleLabel->setPalette(titlePalette);

    auto *devicesAndRegisters = new QHBoxLayout;
    devicesAndRegisters->setContentsMargins(0, 0, 0, 0);
    devicesAndRegisters->setSpacing(kMargin);
    devicesAndRegisters->addWidget(buildDeviceGroup(), 2);
    devicesAndRegisters->addWidget(buildRegisterGroup(), 3);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kMargin);
    layout->addWidget(m_titleLabel);
    layout->addWidget(buildConnectionGroup());
    layout->addLayout(devicesAndRegisters);
    layout->addWidget(buildDeviceTypesGroup());
    layout->addWidget(buildButtonBox());

    connect(m_searchEdit, &CSearchEditWidget::textChangedSignal, this, &CAbstractDeviceForm::deviceSearchNameSlot);
    connectDeviceSelection();

    if (isDarkScheme())
        applyDarkScheme();
}

QWidget *CAbstractDeviceForm::buildConnectionGroup()
{
    auto *group = new QGroupBox(tr("Connection parameters"), this);
    auto *layout = new QHBoxLayout(group);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);

    auto *portLabel = new QLabel(tr("TCP port for device:"), group);
    portLabel->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    layout->addWidget(portLabel, 1);
    m_portEdit->setObjectName(QStringLiteral("portEdit"));
    m_portEdit->setFixedSize(kEditWidth, kEditHeight);
    m_portEdit->setValidator(new QIntValidator(m_portEdit));
    layout->addWidget(m_portEdit);
    layout->addWidget(m_portErrorButton);
    layout->addStretch(3);

    m_startAddrLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout->addWidget(m_startAddrLabel, 1);
    m_startAddrEdit->setObjectName(QStringLiteral("startAddrEdit"));
    m_startAddrEdit->setFixedWidth(kEditWidth);
    m_startAddrEdit->setValidator(new QIntValidator(m_startAddrEdit));
    layout->addWidget(m_startAddrEdit);
    layout->addWidget(m_startAddrErrorButton);
    layout->addStretch(1);

    m_maxAgeLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout->addWidget(m_maxAgeLabel, 1);
    m_maxAgeEdit->setObjectName(QStringLiteral("maxAgeEdit"));
    m_maxAgeEdit->setFixedWidth(kEditWidth);
    m_maxAgeEdit->setValidator(new QIntValidator(0, int(CAllDeviceHandler::kMaxDataAgeSeconds), m_maxAgeEdit));
    m_maxAgeEdit->setToolTip(tr("When the device has stored no uplink for longer, ModBus reads of its registers "
                                "answer exception 0B. Empty or 0: never."));
    layout->addWidget(m_maxAgeEdit);
    layout->addStretch(1);
    return group;
}

QWidget *CAbstractDeviceForm::buildDeviceGroup()
{
    auto *group = new QGroupBox(tr("Accessible devices"), this);
    group->setLayout(m_devicePages);

    m_statusLabel->setObjectName(QStringLiteral("title2Lab"));
    m_statusLabel->setAlignment(Qt::AlignCenter);
    m_devicePages->addWidget(m_statusLabel);

    auto *listPage = new QWidget(group);
    auto *listLayout = new QVBoxLayout(listPage);
    listLayout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    listLayout->setSpacing(kMargin);
    listLayout->addWidget(m_searchEdit);
    listLayout->addWidget(m_deviceList, kListStretch);
    m_devicePages->addWidget(listPage);

    m_deviceList->setObjectName(QStringLiteral("deviceList"));
    m_deviceList->setSpacing(1);
    m_deviceList->setItemDelegate(m_modbusDelegate);
    m_deviceList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_deviceSearchModel->setSourceModel(m_deviceModel);
    m_deviceList->setModel(m_deviceSearchModel);
    return group;
}

QWidget *CAbstractDeviceForm::buildRegisterGroup()
{
    auto *layout = new QVBoxLayout(m_registersGroup);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kMargin);
    layout->addWidget(m_registerList, kListStretch);

    m_registerList->setObjectName(QStringLiteral("registerList"));
    m_registerList->setItemDelegate(new CSimpleRegisterDelegat(m_registerList));
    m_registerList->setEditTriggers(QAbstractItemView::DoubleClicked);
    m_registerList->setModel(m_registerModel);
    return m_registersGroup;
}

QWidget *CAbstractDeviceForm::buildDeviceTypesGroup()
{
    auto *group = new QGroupBox(tr("Registered device type"), this);
    auto *layout = new QHBoxLayout(group);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    m_deviceTypesLayout->setContentsMargins(0, 0, 0, 0);
    m_deviceTypesLayout->setSpacing(kMargin);
    layout->addLayout(m_deviceTypesLayout);

    auto *refreshButton = new QPushButton(QIcon(QStringLiteral(":/refresh2Ico.png")), QString(), group);
    refreshButton->setObjectName(QStringLiteral("blueBtn"));
    refreshButton->setFixedSize(30, 30);
    refreshButton->setIconSize(QSize(24, 24));
    layout->addWidget(refreshButton, 0, Qt::AlignRight | Qt::AlignVCenter);
    connect(refreshButton, &QPushButton::clicked, this, &CAbstractDeviceForm::refresh);
    return group;
}

QWidget *CAbstractDeviceForm::buildButtonBox()
{
    auto *buttons = new QDialogButtonBox(Qt::Horizontal, this);
    buttons->setCenterButtons(true);
    QPushButton *okButton = dialogButton(tr("OK"), QStringLiteral("greenBtn"));
    okButton->setDefault(true);
    buttons->addButton(okButton, QDialogButtonBox::AcceptRole);
    buttons->addButton(dialogButton(tr("Cancel"), QStringLiteral("orangeBtn")), QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &CAbstractDeviceForm::addDeviceSlot);
    connect(buttons, &QDialogButtonBox::rejected, this, &CAbstractDeviceForm::reject);
    return buttons;
}

void CAbstractDeviceForm::applyDarkScheme()
{
    QPalette listPalette = m_deviceList->palette();
    listPalette.setColor(QPalette::Base, Qt::white);
    m_deviceList->setPalette(listPalette);
    QPalette titlePalette = m_titleLabel->palette();
    titlePalette.setColor(QPalette::WindowText, Qt::white);
    m_titleLabel->setPalette(titlePalette);
}

void CAbstractDeviceForm::connectDeviceSelection()
{
    connect(m_deviceList->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &CAbstractDeviceForm::deviceListSelectSlot);
}

int CAbstractDeviceForm::showForm(QString _title, ProtocolOption Protocol)
{
    const bool modbus = Protocol == ProtocolOption::ModBus;
    m_startAddrEdit->setVisible(modbus);
    m_startAddrLabel->setVisible(modbus);
    m_maxAgeEdit->setVisible(modbus);
    m_maxAgeLabel->setVisible(modbus);
    m_registersGroup->setVisible(modbus);
    if (modbus) {
        m_deviceList->setItemDelegate(m_modbusDelegate);
        m_deviceModel->setColumnCount(kModBusColumns);
    } else {
        m_portEdit->setEnabled(true);
        m_deviceList->setItemDelegate(m_tcpDelegate);
        m_deviceModel->setColumnCount(kTcpColumns);
    }
    m_protocol = Protocol;
    setWindowTitle(_title);
    refresh();
    return exec();
}

QStringList CAbstractDeviceForm::rebuildDeviceTypes()
{
    for (int index = m_deviceTypesLayout->count() - 1; index >= 0; --index) {
        QLayoutItem *item = m_deviceTypesLayout->takeAt(index);
        delete item->widget();
        delete item;
    }

    CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
    const QList<STemplateInfo> types = m_protocol == ProtocolOption::TCP ? registry->tcpDeviceTemplates()
                                                                         : registry->deviceTemplates();
    QStringList appEuis;
    for (const STemplateInfo &type : types) {
        auto *label = new QLabel(type.devType, this);
        label->setStyleSheet(kTypeLabelStyle.arg(type.color.name()));
        const int position = int(appEuis.size());
        m_deviceTypesLayout->addWidget(label, position / kTypesPerRow, position % kTypesPerRow);
        appEuis.append(type.appEui);
    }
    return appEuis;
}

QVariant CAbstractDeviceForm::cell(const QAbstractItemModel *model, int row, int column)
{
    return model->data(model->index(row, column));
}

bool CAbstractDeviceForm::portIsUsable(quint16 port, bool modbusPortAccepted)
{
    if (CAllDeviceHandler::getInstance()->isStatusPort(port))
        return false;
    QTcpServer probe;
    if (probe.listen(QHostAddress::Any, port)) {
        probe.close();
        return true;
    }
    const std::optional<ProtocolOption> holder = CAllDeviceHandler::getInstance()->portProtocol(port);
    if (!holder)
        return true;
    // ModBus devices share a listener and are told apart by their addresses.
    return modbusPortAccepted && *holder == ProtocolOption::ModBus;
}

void CAbstractDeviceForm::emitRefresh()
{
    if (m_protocol == ProtocolOption::TCP)
        emit refreshDeviceTCPList(QString());
    else
        emit refreshDeviceList(QString());
}
