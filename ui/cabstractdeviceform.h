#pragma once

#include "database/dbtypes.h"

#include <QDialog>
#include <QItemSelection>

class CDeviceDelegat;
class CDeviceSearchModel;
class CSearchEditWidget;
class QGridLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStackedLayout;
class QStandardItemModel;

// The layout shared by the add and edit dialogs: connection parameters (port,
// start address), the device list beside the register list, and the grid of
// the known device types. Each opening works on one kind of device.
class CAbstractDeviceForm : public QDialog
{
    Q_OBJECT

public:
    explicit CAbstractDeviceForm(QWidget *parent = nullptr);

signals:
    void refreshDeviceList(QString _search = QString());
    void refreshDeviceTCPList(QString _search = QString());

public slots:
    // Runs the dialog modally for one kind of device; the result of exec().
    int showForm(QString _title, ProtocolOption Protocol);

    virtual void deviceSearchNameSlot(QString str) = 0;
    virtual void refresh() = 0;
    virtual void deviceListSelectSlot(QItemSelection item1, QItemSelection item2) = 0;
    virtual void addDeviceSlot() = 0;

protected:
    // The application EUIs of the types shown, in grid order.
    QStringList rebuildDeviceTypes();
    // A port that this program holds for ModBus devices is accepted only when
    // modbusPortAccepted is set; a port held by another program passes here
    // and fails later at the listener.
    static bool portIsUsable(quint16 port, bool modbusPortAccepted);
    static QVariant cell(const QAbstractItemModel *model, int row, int column);
    void emitRefresh();
    void connectDeviceSelection();

    QLabel *m_titleLabel;
    QStackedLayout *m_devicePages;
    QLabel *m_statusLabel;
    CSearchEditWidget *m_searchEdit;
    QListView *m_deviceList;
    QStandardItemModel *m_deviceModel;
    CDeviceSearchModel *m_deviceSearchModel;
    QListView *m_registerList;
    QStandardItemModel *m_registerModel;
    QString m_selectedAppEui;
    QLabel *m_startAddrLabel;
    QLineEdit *m_portEdit;
    QLineEdit *m_startAddrEdit;
    QPushButton *m_portErrorButton;
    QPushButton *m_startAddrErrorButton;
    // ModBus devices only: empty or 0, the data may age for ever.
    QLabel *m_maxAgeLabel;
    QLineEdit *m_maxAgeEdit;
    QGridLayout *m_deviceTypesLayout;
    QGroupBox *m_registersGroup;
    ProtocolOption m_protocol = ProtocolOption::ModBus;
    CDeviceDelegat *m_modbusDelegate;
    CDeviceDelegat *m_tcpDelegate;

private:
    QWidget *buildConnectionGroup();
    QWidget *buildDeviceGroup();
    QWidget *buildRegisterGroup();
    QWidget *buildDeviceTypesGroup();
    QWidget *buildButtonBox();
    void applyDarkScheme();
};
