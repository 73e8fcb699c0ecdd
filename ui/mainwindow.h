#pragma once

#include "server/apitypes.h"

#include <QIcon>
#include <QItemSelection>
#include <QMainWindow>

class CAbstractPanelButton;
class QComboBox;
class QGroupBox;
class QLabel;
class QLayout;
class QLineEdit;
class QListView;
class QPushButton;
class QSqlQueryModel;
class QStackedLayout;

// The operator's view: server login and page choice on the left, the ModBus
// page (devices, their parameters and live registers) and the TCP page
// (devices) on the right. It owns no data: every list re-runs its query on the
// store. At start it logs in with the stored credentials and publishes every
// stored device.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);

signals:
    void setConnectStatusIco(QIcon ico);
    void connectToServer(QString _origin, QString _login, QString _password);
    void disconnectDevice(QString _devEui, quint16 _port);

public slots:
    void debugSlot(QString str);
    void readSettings();
    void saveSettings();
    void deviceSelectSlot(QItemSelection item1, QItemSelection item2);
    void refreshRegisterSlot();
    void addNewItemSlot();
    void editItemSlot();
    void editTCPItemSlot();
    void deleteItemSlot();
    void deleteTCPItemSlot();
    void addNewTCPItemSlot();
    void tryToConnectToServerSlot();
    void changeServerStatusSlot(COMM::EServerStatus _status);
    void showModBusFields(bool state);
    void showTCPFields(bool state);
    void openGlobalSettings();
    void refreshDevicesSlot(QString _search = QString());
    void refreshDevicesTCPSlot(QString _search = QString());
    void newDataForDeviceSlot(QString _devEui);

private:
    struct SDeviceButtons
    {
        QPushButton *add;
        QPushButton *edit;
        QPushButton *remove;
    };

    QLayout *buildLeftColumn();
    QLayout *buildLoginBlock();
    QWidget *buildModBusPage();
    QWidget *buildModBusDevicePane();
    QWidget *buildRegisterPane();
    QWidget *buildTcpPage();
    QListView *makeDeviceList(int delegateMode, QSqlQueryModel *model, QWidget *parent);
    QLayout *makeDeviceButtons(SDeviceButtons &buttons, QWidget *parent);
    void makeConnections();
    void publishStoredDevices();
    void showNoDevice();
    QVariant modbusCell(int column) const;
    QVariant tcpCell(int column) const;

    QListView *m_deviceList = nullptr;
    QListView *m_tcpDeviceList = nullptr;
    QSqlQueryModel *m_deviceModel;
    QSqlQueryModel *m_tcpDeviceModel;
    SDeviceButtons m_buttons{};
    SDeviceButtons m_tcpButtons{};
    CAbstractPanelButton *m_authButton = nullptr;
    CAbstractPanelButton *m_modbusPanelButton = nullptr;
    CAbstractPanelButton *m_tcpPanelButton = nullptr;
    CAbstractPanelButton *m_settingsPanelButton = nullptr;
    QListView *m_registerList = nullptr;
    QSqlQueryModel *m_registerModel;
    QLabel *m_deviceTitleLabel = nullptr;
    QGroupBox *m_modbusParamsBox = nullptr;
    QLabel *m_deviceIdValue = nullptr;
    QLabel *m_tcpPortValue = nullptr;
    QLabel *m_beginRegisterValue = nullptr;
    QComboBox *m_schemeBox = nullptr;
    QLineEdit *m_ipEdit = nullptr;
    QLineEdit *m_portEdit = nullptr;
    QLineEdit *m_loginEdit = nullptr;
    QLineEdit *m_passwordEdit = nullptr;
    QLabel *m_statusLabel = nullptr;
    QPushButton *m_connectButton = nullptr;
    QStackedLayout *m_pageStack = nullptr;
    QWidget *m_modbusPage = nullptr;
    QWidget *m_tcpPage = nullptr;
    bool m_loggedIn = false;
};
