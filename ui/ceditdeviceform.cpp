#include "ceditdeviceform.h"

#include "core/clogfile.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"
#include "ui/devicecolumn.h"
#include "ui/registercolumn.h"

#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSqlQuery>
#include <QStackedLayout>
#include <QStandardItemModel>

namespace {
constexpr int kListPage = 1;

// The register columns that the form shows and edits, copied from the store.
const QList<int> kCopiedRegisterColumns = {
    RegisterColumn::RegAddr, RegisterColumn::StartValue, RegisterColumn::GratingPeriod, RegisterColumn::DataType,
    RegisterColumn::Name,    RegisterColumn::Source,     RegisterColumn::Unit,
};

} // namespace

CEditDeviceForm *CEditDeviceForm::m_instance = nullptr;

CEditDeviceForm *CEditDeviceForm::getInstance()
{
    if (!m_instance)
        m_instance = new CEditDeviceForm();
    return m_instance;
}

CEditDeviceForm::CEditDeviceForm()
{
    m_titleLabel->setText(tr("Edit device's parameters interface"));
    m_deviceList->setModel(m_deviceModel);
    connectDeviceSelection();
    m_portEdit->setEnabled(false);
    m_startAddrEdit->setEnabled(false);
    m_devicePages->setCurrentIndex(kListPage);
}

void CEditDeviceForm::deviceSearchNameSlot(QString)
{
}

void CEditDeviceForm::refresh()
{
    m_portErrorButton->hide();
    m_startAddrErrorButton->hide();
    rebuildDeviceTypes();
}

void CEditDeviceForm::setOriginal(uint32_t _deviceId, QString _devEui, QString _devName, QString _appEui,
                                  uint16_t _port, uint32_t _startAddr)
{
    m_deviceModel->removeRows(0, m_deviceModel->rowCount());
    m_deviceModel->insertRow(0);
    m_deviceModel->setData(m_deviceModel->index(0, DeviceColumn::Id), _deviceId);
    m_deviceModel->setData(m_deviceModel->index(0, DeviceColumn::DevEui), _devEui);
    m_deviceModel->setData(m_deviceModel->index(0, DeviceColumn::Name), _devName);
    m_deviceModel->setData(m_deviceModel->index(0, DeviceColumn::AppEui), _appEui);
    m_deviceModel->setData(m_deviceModel->index(0, DeviceColumn::Port), _port);
    const bool hasStartAddr = _startAddr != DeviceColumn::kNoStartAddress;
    if (hasStartAddr)
        m_deviceModel->setData(m_deviceModel->index(0, DeviceColumn::StartAddr), _startAddr);
    m_deviceList->setCurrentIndex(m_deviceModel->index(0, 0));

    m_portEdit->setText(QString::number(_port));
    m_startAddrEdit->setText(hasStartAddr ? QString::number(_startAddr) : QString());
    const quint32 maxAge = CAllDeviceHandler::maxDataAge(_devEui);
    m_maxAgeEdit->setText(maxAge > 0 ? QString::number(maxAge) : QString());
}

void CEditDeviceForm::deviceListSelectSlot(QItemSelection, QItemSelection)
{
    m_registerModel->removeRows(0, m_registerModel->rowCount());
    if (m_deviceModel->rowCount() == 0)
        return;

    const quint32 deviceId = cell(m_deviceModel, 0, DeviceColumn::Id).toUInt();
    const QVariant port = cell(m_deviceModel, 0, DeviceColumn::Port);
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    const QMap<quint32, int> decimals = store->getRegisterDecimals(deviceId);
    QSqlQuery query = store->getRegisters(deviceId);
    while (query.next()) {
        const int row = m_registerModel->rowCount();
        m_registerModel->insertRow(row);
        m_registerModel->setData(m_registerModel->index(row, RegisterColumn::Device), deviceId);
        m_registerModel->setData(m_registerModel->index(row, RegisterColumn::Port), port);
        for (int column : kCopiedRegisterColumns)
            m_registerModel->setData(m_registerModel->index(row, column), query.value(column));
        m_registerModel->setData(m_registerModel->index(row, RegisterColumn::Decimals),
                                 decimals.value(query.value(RegisterColumn::RegAddr).toUInt(), 0));
    }
}

void CEditDeviceForm::addDeviceSlot()
{
    const quint32 deviceId = cell(m_deviceModel, 0, DeviceColumn::Id).toUInt();
    const quint16 oldPort = quint16(cell(m_deviceModel, 0, DeviceColumn::Port).toUInt());

    if (m_protocol == ProtocolOption::TCP) {
        if (!updatePort(deviceId, oldPort))
            return;
    } else {
        updateRegisters(deviceId);
        CAllDeviceHandler::getInstance()->setMaxDataAge(cell(m_deviceModel, 0, DeviceColumn::DevEui).toString(),
                                                        m_maxAgeEdit->text().toUInt());
    }

    CLogFile::addLog(QStringLiteral("INFO: [CEditDeviceForm::updateDeviceSlot] device's register update successfully"));
    accept();
    emitRefresh();
}

void CEditDeviceForm::updateRegisters(quint32 deviceId)
{
    DB::SDeviceRegUpdate update;
    update.deviceId = deviceId;
    update.withDecimals = true;
    for (int row = 0; row < m_registerModel->rowCount(); ++row) {
        DB::SRegisterParam param;
        param.regAddr = cell(m_registerModel, row, RegisterColumn::RegAddr).toUInt();
        param.startValue = cell(m_registerModel, row, RegisterColumn::StartValue).toDouble();
        param.gratingPeriod = cell(m_registerModel, row, RegisterColumn::GratingPeriod).toDouble();
        param.unit = cell(m_registerModel, row, RegisterColumn::Unit).toString();
        param.decimals = cell(m_registerModel, row, RegisterColumn::Decimals).toInt();
        update.regs.append(param);
    }
    CDataBaseHandler::getInstance()->updateRegInfo(update);
}

bool CEditDeviceForm::updatePort(quint32 deviceId, quint16 oldPort)
{
    const int port = m_portEdit->text().toInt();
    if (port == 0) {
        m_portErrorButton->show();
        return false;
    }
    m_portErrorButton->hide();
    // The device's own listener holds its present port, so an unchanged port
    // is refused like any port of a TCP device.
    if (!portIsUsable(quint16(port), true)) {
        m_portErrorButton->show();
        return false;
    }

    DB::SDeviceRegUpdate update;
    update.deviceId = deviceId;
    update.port = quint16(port);
    CDataBaseHandler::getInstance()->updateRegInfoTCP(update);

    DB::SDeviceRegMapDescription device;
    device.devEui = cell(m_deviceModel, 0, DeviceColumn::DevEui).toString();
    device.port = quint32(port);
    CAllDeviceHandler::getInstance()->updatePortRegisteredDevice(device, oldPort);
    return true;
}
