#pragma once

#include "database/dbtypes.h"
#include "devices/cdataagewatch.h"
#include "devices/ctemplatefolder.h"
#include "server/apitypes.h"
#include "tcp/cmodbusframing.h"

#include <QColor>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVariant>

#include <optional>

class CDeviceHandler;
class CDownlinkQueue;

// What the forms and delegates show of a template.
struct STemplateInfo
{
    QString appEui;
    QString devType;
    QColor color;   // invalid for an unknown template
};

// The hub of the data path: it loads the templates from "deviceFolder", knows
// every published device and its port, owns the port listeners, and sends each
// uplink to the decoder (ModBus devices) or to the TCP bridge (TCP devices).
class CAllDeviceHandler : public QObject
{
    Q_OBJECT

public:
    // Made, and the templates loaded, at the first call; never destroyed.
    static CAllDeviceHandler *getInstance();
    // The template folder to load instead of the one in the current
    // directory. Set before the first getInstance().
    static void setTemplateFolder(const QString &path);

    // Template summaries by ascending application EUI.
    QList<STemplateInfo> deviceTemplates() const;
    QList<STemplateInfo> tcpDeviceTemplates() const;
    bool hasTemplate(const QString &appEui) const;
    bool hasTcpTemplate(const QString &appEui) const;
    // Empty texts and an invalid colour for an unknown EUI.
    STemplateInfo templateInfo(const QString &appEui) const;
    STemplateInfo tcpTemplateInfo(const QString &appEui) const;
    // The registers a new device of this kind gets; empty for an unknown EUI.
    DB::SDeviceRegMapDescription registerMap(const QString &appEui) const;
    // The protocol of the listener on the port (ModBus first), or none.
    std::optional<ProtocolOption> portProtocol(quint16 port) const;

    // Opens the status registers on the port the setting names, once the
    // stored devices are published; absent or 0, they stay off. Opened once.
    void openStatusPort(const QVariant &portSetting);
    bool isStatusPort(quint16 port) const;

    // Opt-in: how many seconds a ModBus device's data may age before its
    // reads answer exception 0B; 0, the default, never. Kept in the settings.
    static quint32 maxDataAge(const QString &devEui);
    // A week: longer than any reporting interval a LoRaWAN device is given.
    static constexpr quint32 kMaxDataAgeSeconds = 7 * 24 * 3600;
    void setMaxDataAge(const QString &devEui, quint32 seconds);

    // Opt-in, per port and kept in the settings: ModBus writes on the port
    // become downlinks where a device's template has a "downlinks" section.
    static bool portTakesWrites(quint16 port);
    static void setPortTakesWrites(quint16 port, bool takesWrites);
    CDownlinkQueue *downlinkQueue() const { return m_downlinks; }

signals:
    void newDataForDevice(QString _devEui);
    // What a client of a TCP device's port sent: the downlink text for the device.
    void tcpDownlink(QString _devEui, QByteArray _hexData);

public slots:
    void init();
    void initTCP(QString FilePath);
    void processDataSlot(API::SApiDeviceData _devData);
    void parsingDataFromDevice(API::SApiDeviceData _devData);
    void addNewDevice(DB::SDeviceRegMapDescription _devInfo, ProtocolOption Protocol);
    void removeDevice(QString _devEui, quint16 _port);
    void newPacketReceivedSlot(API::SApiDeviceData _devData);
    // Moves the listener of a TCP device, with every client, to the new port.
    void updatePortRegisteredDevice(DB::SDeviceRegMapDescription _devInfo, quint16 OldPort);

private:
    CAllDeviceHandler();

    void reportPublished() const;
    void uplinkWritten(const QString &devEui, bool stored);
    void reportUnknownDevice(const QString &devEui);
    void watchDataAge(const DB::SDeviceRegMapDescription &device, quint32 seconds);
    CModbusFraming::SRegisterSource deviceSource(quint16 port);
    void watchWrites(const DB::SDeviceRegMapDescription &device);

    CTemplateFolder m_templateFolder;
    QMap<quint16, CDeviceHandler *> m_modbusHandlers;
    QMap<QString, DB::SDeviceRegMapDescription> m_modbusDevices;
    QMap<quint16, CDeviceHandler *> m_tcpHandlers;
    QMap<QString, quint16> m_tcpDevices;
    QSet<QString> m_unknownDevices;     // named in the log already
    CDeviceHandler *m_statusHandler = nullptr;
    CDataAgeWatch m_ageWatch;
    CDownlinkQueue *m_downlinks = nullptr;
    bool m_storedTimesKnown = false;    // the status board has the store's times
    mutable QMutex m_mutex;

    static CAllDeviceHandler *m_instance;
    static QString m_templateFolderPath;
};
