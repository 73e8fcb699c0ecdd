#pragma once

#include "server/apitypes.h"
#include "ui/cabstractdeviceform.h"

// Offers the server's devices that have a known template and are not yet
// registered, and registers the chosen one on a TCP port.
class CAddNewDeviceForm : public CAbstractDeviceForm
{
    Q_OBJECT

public:
    static CAddNewDeviceForm *getInstance();

public slots:
    void deviceSearchNameSlot(QString str) override;
    void refresh() override;
    void deviceListSelectSlot(QItemSelection item1, QItemSelection item2) override;
    void addDeviceSlot() override;
    void getDevicesListRespSlot(bool status, QList<API::SServerDeviceInfo> _regInfoList);

private:
    CAddNewDeviceForm();

    void showStatus(const QString &text);
    void appendServerDevice(const API::SServerDeviceInfo &device);
    bool checkInput();
    DB::SDeviceRegMapDescription chosenDevice() const;
    void requestLastPackets(const QString &devEui);

    static CAddNewDeviceForm *m_instance;
};
