#include "caddnewdeviceform.h"

#include "core/clogfile.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "server/cserverhandler.h"
#include "ui/cdevicesearchmodel.h"
#include "ui/devicecolumn.h"
#include "ui/registercolumn.h"

#include <QDebug>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedLayout>
#include <QStandardItemModel>

namespace {
constexpr int kStatusPage = 0;
constexpr int kListPage = 1;

// A device of the server that was watched while debugging its decoding.
const QString kMarkedAppEui = QStringLiteral("c3e1b3f24039c364").toUpper();

void setCell(QStandardItemModel *model, int row, int column, const QVariant &value)
{
    model->setData(model->index(row, column), value);
}

} // namespace

CAddNewDeviceForm *CAddNewDeviceForm::m_instance = nullptr;

CAddNewDeviceForm *CAddNewDeviceForm::getInstance()
{
    if (!m_instance)
        m_instance = new CAddNewDeviceForm();
    return m_instance;
}

CAddNewDeviceForm::CAddNewDeviceForm() = default;

void CAddNewDeviceForm::showStatus(const QString &text)
{
    m_statusLabel->setText(text);
    m_devicePages->setCurrentIndex(kStatusPage);
}

void CAddNewDeviceForm::deviceSearchNameSlot(QString str)
{
    m_deviceSearchModel->setSearchValue(str);
}

void CAddNewDeviceForm::refresh()
{
    m_portErrorButton->hide();
    m_startAddrErrorButton->hide();
    m_portEdit->clear();
    m_startAddrEdit->clear();
    m_maxAgeEdit->clear();

    const QStringList appEuis = rebuildDeviceTypes();
    // The selected type is kept: see deviceListSelectSlot.
    if (m_protocol == ProtocolOption::ModBus)
        m_registerModel->removeRows(0, m_registerModel->rowCount());

    m_devicePages->setCurrentIndex(kStatusPage);
    if (CServerHandler::getInstance()->getDevicesList(appEuis))
        m_statusLabel->setText(tr("WAITING..."));
    else
        m_statusLabel->setText(tr("EMPTY LIST OF\nKNOWN DEVICE TYPES"));
}

void CAddNewDeviceForm::getDevicesListRespSlot(bool status, QList<API::SServerDeviceInfo> _regInfoList)
{
    qDebug() << "device list received" << _regInfoList.size();
    if (!status) {
        showStatus(tr("SERVER TIMEOUT"));
        return;
    }
    if (_regInfoList.isEmpty()) {
        showStatus(tr("EMPTY DEVICE LIST\nFROM SERVER"));
        return;
    }

    const QStringList registered = CDataBaseHandler::getInstance()->getRegisteredDevices(m_protocol);
    m_deviceModel->removeRows(0, m_deviceModel->rowCount());
    CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
    for (const API::SServerDeviceInfo &device : qAsConst(_regInfoList)) {
        if (device.appEui == kMarkedAppEui)
            qDebug() << "Point";
        if (registered.contains(device.devEui))
            continue;
        const bool known = m_protocol == ProtocolOption::TCP ? registry->hasTcpTemplate(device.appEui)
                                                             : registry->hasTemplate(device.appEui);
        if (known)
            appendServerDevice(device);
    }

    if (m_deviceModel->rowCount() == 0) {
        showStatus(tr("NOT NEW DEVICES\nALL DEVICES ALREADY REGISTERED"));
        return;
    }
    m_devicePages->setCurrentIndex(kListPage);
    m_deviceList->setCurrentIndex(m_deviceSearchModel->index(0, 0));
}

void CAddNewDeviceForm::appendServerDevice(const API::SServerDeviceInfo &device)
{
    const int row = m_deviceModel->rowCount();
    m_deviceModel->insertRow(row);
    setCell(m_deviceModel, row, DeviceColumn::DevEui, device.devEui);
    setCell(m_deviceModel, row, DeviceColumn::Name, device.devName);
    setCell(m_deviceModel, row, DeviceColumn::AppEui, device.appEui);
    qDebug() << device.devEui << device.devName << device.appEui;
}

void CAddNewDeviceForm::deviceListSelectSlot(QItemSelection, QItemSelection)
{
    // Removing the selected row on a refresh reports a selection with no
    // current row: no device was chosen, and the type shown stays remembered.
    if (!m_deviceList->currentIndex().isValid())
        return;
    const int row = m_deviceList->currentIndex().row();
    const QString appEui = cell(m_deviceSearchModel, row, DeviceColumn::AppEui).toString();
    // Another device of the same type keeps the register list and its edits.
    if (appEui == m_selectedAppEui)
        return;
    m_selectedAppEui = appEui;
    m_registerModel->removeRows(0, m_registerModel->rowCount());

    const DB::SDeviceRegMapDescription map = CAllDeviceHandler::getInstance()->registerMap(appEui);
    for (const DB::SDeviceRegDescription &reg : map.regs) {
        const int row = m_registerModel->rowCount();
        m_registerModel->insertRow(row);
        setCell(m_registerModel, row, RegisterColumn::Name, reg.name);
        setCell(m_registerModel, row, RegisterColumn::Source, reg.source);
        setCell(m_registerModel, row, RegisterColumn::RegAddr, reg.regAddr);
        setCell(m_registerModel, row, RegisterColumn::BitSize, reg.bitSize);
        setCell(m_registerModel, row, RegisterColumn::StartValue, reg.startValue);
        setCell(m_registerModel, row, RegisterColumn::GratingPeriod, reg.gratingPeriod);
        setCell(m_registerModel, row, RegisterColumn::DataType, reg.dataType);
    }
}

bool CAddNewDeviceForm::checkInput()
{
    const bool portEmpty = m_portEdit->text().isEmpty();
    m_portErrorButton->setVisible(portEmpty);
    if (m_protocol == ProtocolOption::ModBus && m_startAddrEdit->text().isEmpty()) {
        m_startAddrErrorButton->show();
        return false;
    }
    m_startAddrErrorButton->hide();
    if (portEmpty)
        return false;

    const int port = m_portEdit->text().toInt();
    const bool usable = port != 0 && portIsUsable(quint16(port), m_protocol == ProtocolOption::ModBus);
    m_portErrorButton->setVisible(!usable);
    return usable;
}

DB::SDeviceRegMapDescription CAddNewDeviceForm::chosenDevice() const
{
    const int row = m_deviceList->currentIndex().row();
    DB::SDeviceRegMapDescription device;
    device.devEui = cell(m_deviceSearchModel, row, DeviceColumn::DevEui).toString();
    device.name = cell(m_deviceSearchModel, row, DeviceColumn::Name).toString();
    device.appEui = m_selectedAppEui;
    device.startAddr = quint32(m_startAddrEdit->text().toInt());
    device.port = quint32(m_portEdit->text().toInt());

    for (int row = 0; row < m_registerModel->rowCount(); ++row) {
        DB::SDeviceRegDescription reg;
        reg.name = cell(m_registerModel, row, RegisterColumn::Name).toString();
        reg.source = cell(m_registerModel, row, RegisterColumn::Source).toUInt();
        reg.regAddr = cell(m_registerModel, row, RegisterColumn::RegAddr).toUInt();
        reg.bitSize = cell(m_registerModel, row, RegisterColumn::BitSize).toUInt();
        reg.dataType = cell(m_registerModel, row, RegisterColumn::DataType).toString();
        reg.startValue = cell(m_registerModel, row, RegisterColumn::StartValue).toDouble();
        reg.gratingPeriod = cell(m_registerModel, row, RegisterColumn::GratingPeriod).toDouble();
        reg.unit = cell(m_registerModel, row, RegisterColumn::Unit).toString();
        reg.decimals = cell(m_registerModel, row, RegisterColumn::Decimals).toInt();
        device.regs.append(reg);
    }
    return device;
}

void CAddNewDeviceForm::addDeviceSlot()
{
    if (!checkInput() || !m_deviceList->currentIndex().isValid())
        return;

    const DB::SDeviceRegMapDescription device = chosenDevice();
    if (!CDataBaseHandler::getInstance()->registerNewDevice(device, m_protocol)) {
        CLogFile::addLog(QStringLiteral("ERROR: [CAddNewDeviceForm::addDeviceSlot] device is not created!"));
        QMessageBox box(QMessageBox::Critical, windowTitle(), tr("Add new device status"), QMessageBox::Ok, this);
        box.setInformativeText(tr("Device is not added! See LOG-file for more details"));
        box.setDefaultButton(QMessageBox::Ok);
        box.exec();
        return;
    }

    CAllDeviceHandler *registry = CAllDeviceHandler::getInstance();
    // Also clears what an earlier device of this DevEUI left in the settings.
    if (m_protocol == ProtocolOption::ModBus)
        registry->setMaxDataAge(device.devEui, m_maxAgeEdit->text().toUInt());
    registry->addNewDevice(device, m_protocol);
    CLogFile::addLog(QStringLiteral("INFO: [CAddNewDeviceForm::addDeviceSlot] device created successfully"));
    accept();
    requestLastPackets(device.devEui);
    emitRefresh();
}

void CAddNewDeviceForm::requestLastPackets(const QString &devEui)
{
    // Queued, so that the registers fill from the stored packets once this
    // slot has returned to the event loop.
    if (!QMetaObject::invokeMethod(CServerHandler::getInstance(), "getDeviceLastPackets", Qt::QueuedConnection,
                                   Q_ARG(QString, devEui))) {
        CLogFile::addLog(QStringLiteral("ERROR[%1-%2]: invalid invokeMethod creation!")
                                 .arg(QLatin1String(Q_FUNC_INFO), QString::number(__LINE__)),
                         CLogFile::LogError);
    }
}
