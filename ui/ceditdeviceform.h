#pragma once

#include "ui/cabstractdeviceform.h"

// Shows one registered device: the scaling of a ModBus device's registers and
// the port of a TCP device can be changed.
class CEditDeviceForm : public CAbstractDeviceForm
{
    Q_OBJECT

public:
    static CEditDeviceForm *getInstance();

public slots:
    void deviceSearchNameSlot(QString str) override;
    void refresh() override;
    void deviceListSelectSlot(QItemSelection item1, QItemSelection item2) override;
    void addDeviceSlot() override;
    // A start address of all ones means that the device has none.
    void setOriginal(uint32_t _deviceId, QString _devEui, QString _devName, QString _appEui, uint16_t _port,
                     uint32_t _startAddr = 0xFFFFFFFF);

private:
    CEditDeviceForm();

    void updateRegisters(quint32 deviceId);
    bool updatePort(quint32 deviceId, quint16 oldPort);

    static CEditDeviceForm *m_instance;
};
