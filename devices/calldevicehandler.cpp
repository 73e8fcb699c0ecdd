#include "calldevicehandler.h"

#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "core/cstatusboard.h"
#include "core/tcpport.h"
#include "database/cdatabasehandler.h"
#include "database/registerwords.h"
#include "devices/cdownlinkqueue.h"
#include "devices/cuplinkdecoder.h"
#include "tcp/cdevicehandler.h"

#include <QDebug>
#include <QDir>
#include <QMutexLocker>

namespace {

// The store's last stored uplinks, as the status board takes them.
QList<std::pair<QString, qint64>> storedTimes(CDataBaseHandler &store)
{
    QList<std::pair<QString, qint64>> times;
    for (const DB::SDeviceLastStored &device : store.lastStoredTimes())
        times.append({device.devEui, device.time});
    return times;
}

// Beyond this many, unknown devices are still counted but no longer named.
constexpr int kMaxUnknownDevicesNamed = 1000;

template<typename T>
QList<STemplateInfo> summaries(const QMap<QString, T> &templates)
{
    QList<STemplateInfo> result;
    for (const T &deviceTemplate : templates)
        result.append({deviceTemplate.appEui, deviceTemplate.devType, deviceTemplate.color});
    return result;
}

template<typename T>
STemplateInfo summary(const QMap<QString, T> &templates, const QString &appEui)
{
    const auto it = templates.constFind(appEui);
    if (it == templates.cend())
        return {QString(), QString(), QColor()};
    return {it->appEui, it->devType, it->color};
}

QString maxAgeKey(const QString &devEui)
{
    return SettingsKey::maxAgeGroup + QLatin1Char('/') + devEui.toUpper();
}

QString writablePortKey(quint16 port)
{
    return SettingsKey::writablePortsGroup + QLatin1Char('/') + QString::number(port);
}

} // namespace

CAllDeviceHandler *CAllDeviceHandler::m_instance = nullptr;
QString CAllDeviceHandler::m_templateFolderPath;

void CAllDeviceHandler::setTemplateFolder(const QString &path)
{
    m_templateFolderPath = path;
}

CAllDeviceHandler *CAllDeviceHandler::getInstance()
{
    if (!m_instance)
        m_instance = new CAllDeviceHandler();
    return m_instance;
}

CAllDeviceHandler::CAllDeviceHandler()
    : m_downlinks(new CDownlinkQueue(this))
{
    init();
}

void CAllDeviceHandler::init()
{
    m_templateFolder.load(m_templateFolderPath.isEmpty()
                                  ? QDir::currentPath() + QLatin1Char('/') + FileName::deviceFolder
                                  : m_templateFolderPath);
}

void CAllDeviceHandler::initTCP(QString FilePath)
{
    m_templateFolder.loadTcpFile(FilePath);
}

QList<STemplateInfo> CAllDeviceHandler::deviceTemplates() const
{
    return summaries(m_templateFolder.templates());
}

QList<STemplateInfo> CAllDeviceHandler::tcpDeviceTemplates() const
{
    return summaries(m_templateFolder.tcpTemplates());
}

bool CAllDeviceHandler::hasTemplate(const QString &appEui) const
{
    return m_templateFolder.templates().contains(appEui);
}

bool CAllDeviceHandler::hasTcpTemplate(const QString &appEui) const
{
    return m_templateFolder.tcpTemplates().contains(appEui);
}

STemplateInfo CAllDeviceHandler::templateInfo(const QString &appEui) const
{
    return summary(m_templateFolder.templates(), appEui);
}

STemplateInfo CAllDeviceHandler::tcpTemplateInfo(const QString &appEui) const
{
    return summary(m_templateFolder.tcpTemplates(), appEui);
}

DB::SDeviceRegMapDescription CAllDeviceHandler::registerMap(const QString &appEui) const
{
    return m_templateFolder.templates().value(appEui).registerMap();
}

std::optional<ProtocolOption> CAllDeviceHandler::portProtocol(quint16 port) const
{
    QMutexLocker locker(&m_mutex);
    if (m_modbusHandlers.contains(port))
        return ProtocolOption::ModBus;
    if (m_tcpHandlers.contains(port))
        return ProtocolOption::TCP;
    return std::nullopt;
}

void CAllDeviceHandler::openStatusPort(const QVariant &portSetting)
{
    if (!portSetting.isValid())
        return;
    const std::optional<quint16> port = TcpPort::from(portSetting);
    if (port == 0)
        return;
    QMutexLocker locker(&m_mutex);
    if (!port) {
        CLogFile::addLog(QStringLiteral("ERROR: [CAllDeviceHandler] Status port [%1] is not a port from 1 to 65535. "
                                        "The status registers are off.")
                                 .arg(portSetting.toString()));
        return;
    }
    if (m_modbusHandlers.contains(*port) || m_tcpHandlers.contains(*port)) {
        CLogFile::addLog(QStringLiteral("ERROR: [CAllDeviceHandler] Status port [%1] is used by a device. "
                                        "The status registers are off.")
                                 .arg(*port));
        return;
    }
    if (m_statusHandler)
        return;
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    if (store)
        CStatusBoard::getInstance()->setStoredDevices(storedTimes(*store));
    m_storedTimesKnown = store != nullptr;
    m_statusHandler = new CDeviceHandler(*port, ProtocolOption::ModBus, QString(), this);
    m_statusHandler->setRegisterSource({[](quint16, quint16 startAddress, quint16 count) {
                                            return CStatusBoard::getInstance()->read(startAddress, count);
                                        },
                                        false, {}, {}});
    // A port taken by another program has said so already.
    if (m_statusHandler->isListening())
        CLogFile::addLog(QStringLiteral("INFO: [CAllDeviceHandler] Status registers on port [%1].").arg(*port));
}

bool CAllDeviceHandler::isStatusPort(quint16 port) const
{
    QMutexLocker locker(&m_mutex);
    return m_statusHandler && m_statusHandler->listenPort() == port;
}

quint32 CAllDeviceHandler::maxDataAge(const QString &devEui)
{
    return CSettings::readValue(maxAgeKey(devEui), 0).toUInt();
}

void CAllDeviceHandler::setMaxDataAge(const QString &devEui, quint32 seconds)
{
    if (seconds == 0)
        CSettings::removeValue(maxAgeKey(devEui));
    else
        CSettings::writeValue(maxAgeKey(devEui), seconds);
    QMutexLocker locker(&m_mutex);
    const auto device = m_modbusDevices.constFind(devEui);
    if (device != m_modbusDevices.cend())
        watchDataAge(*device, seconds);
}

// The device answers the addresses of its template's registers.
void CAllDeviceHandler::watchDataAge(const DB::SDeviceRegMapDescription &device, quint32 seconds)
{
    if (seconds == 0) {
        m_ageWatch.forget(device.devEui);
        return;
    }
    // Ages from before this run are the store's; the status registers may have read them already.
    if (!m_storedTimesKnown) {
        if (CDataBaseHandler *store = CDataBaseHandler::getInstance()) {
            CStatusBoard::getInstance()->setStoredDevices(storedTimes(*store));
            m_storedTimesKnown = true;
        }
    }
    const QList<DB::SDeviceRegDescription> regs = registerMap(device.appEui).regs;
    quint32 first = 0;
    quint32 last = 0xFFFF;
    if (!regs.isEmpty()) {
        first = 0xFFFFFFFFu;
        last = 0;
        for (const DB::SDeviceRegDescription &reg : regs) {
            const quint32 address = device.startAddr + reg.regAddr;
            first = qMin(first, address);
            last = qMax(last, address + quint32(RegisterWords::wordCount(reg.bitSize)) - 1);
        }
    }
    m_ageWatch.watch(device.devEui, quint16(device.port), first, last, seconds);
}

bool CAllDeviceHandler::portTakesWrites(quint16 port)
{
    return CSettings::readValue(writablePortKey(port), false).toBool();
}

// Off leaves no key, as before the setting was ever made.
void CAllDeviceHandler::setPortTakesWrites(quint16 port, bool takesWrites)
{
    if (takesWrites)
        CSettings::writeValue(writablePortKey(port), true);
    else
        CSettings::removeValue(writablePortKey(port));
}

// The register store, with the data age watch and, on a port that takes
// writes, the downlinks' writes and status registers.
CModbusFraming::SRegisterSource CAllDeviceHandler::deviceSource(quint16 port)
{
    CModbusFraming::SRegisterSource source = CModbusFraming::storeSource();
    source.targetFailed = [this](quint16 readPort, quint16 startAddress, quint16 count) {
        QMutexLocker locker(&m_mutex);
        return m_ageWatch.anyStale(readPort, startAddress, count);
    };
    if (!portTakesWrites(port))
        return source;
    source.read = [this, read = source.read](quint16 readPort, quint16 startAddress, quint16 count) {
        std::optional<QMap<quint16, quint16>> words = read(readPort, startAddress, count);
        if (words)
            m_downlinks->overlay(readPort, startAddress, count, *words);
        return words;
    };
    source.write = [this](quint16 writePort, quint16 startAddress, const QList<quint16> &words) {
        return m_downlinks->write(writePort, startAddress, words);
    };
    CLogFile::addLog(QStringLiteral("INFO: [CAllDeviceHandler] Port [%1] takes ModBus writes for the downlinks of "
                                    "its devices.")
                             .arg(port));
    return source;
}

void CAllDeviceHandler::watchWrites(const DB::SDeviceRegMapDescription &device)
{
    const quint16 port = quint16(device.port);
    const SDeviceTemplate deviceTemplate = m_templateFolder.templates().value(device.appEui);
    if (!portTakesWrites(port) || deviceTemplate.downlinks.isEmpty())
        return;
    m_downlinks->watch(device.devEui, port, device.startAddr, deviceTemplate);
    CLogFile::addLog(QStringLiteral("INFO: [CAllDeviceHandler] Device DevEUI[%1] takes writes for %2 downlink(s) on "
                                    "port [%3].")
                             .arg(device.devEui, QString::number(deviceTemplate.downlinks.size()),
                                  QString::number(port)));
}

void CAllDeviceHandler::reportPublished() const
{
    CStatusBoard::getInstance()->setPublishedDevices(int(m_modbusDevices.size()), int(m_tcpDevices.size()));
}

void CAllDeviceHandler::addNewDevice(DB::SDeviceRegMapDescription _devInfo, ProtocolOption Protocol)
{
    QMutexLocker locker(&m_mutex);
    const quint16 port = quint16(_devInfo.port);
    QMap<quint16, CDeviceHandler *> &handlers = Protocol == ProtocolOption::TCP ? m_tcpHandlers : m_modbusHandlers;
    if (handlers.contains(port)) {
        CLogFile::addLog(QStringLiteral("INFO: [CAllDeviceHandler::addNewDevice] port [%1] is already open").arg(port));
    } else {
        auto *handler = new CDeviceHandler(port, Protocol, _devInfo.devEui, this);
        if (Protocol == ProtocolOption::ModBus)
            handler->setRegisterSource(deviceSource(port));
        else
            connect(handler, &CDeviceHandler::downlinkData, this, &CAllDeviceHandler::tcpDownlink);
        handlers.insert(port, handler);
    }
    handlers.value(port)->appendDevice(_devInfo.devEui);

    if (Protocol == ProtocolOption::TCP) {
        m_tcpDevices.insert(_devInfo.devEui, port);
    } else {
        m_modbusDevices.insert(_devInfo.devEui, _devInfo);
        CStatusBoard::getInstance()->deviceAdded(_devInfo.devEui);
        watchDataAge(_devInfo, maxDataAge(_devInfo.devEui));
        watchWrites(_devInfo);
    }
    reportPublished();
    CLogFile::addLog(QStringLiteral("[CAllDeviceHandler::addNewDevice] New device: DevEUI[%1], port[%2]")
                             .arg(_devInfo.devEui, QString::number(port)));
}

void CAllDeviceHandler::removeDevice(QString _devEui, quint16 _port)
{
    QMutexLocker locker(&m_mutex);
    const bool modbus = m_modbusHandlers.contains(_port);
    if (!modbus && !m_tcpHandlers.contains(_port)) {
        CLogFile::addLog(QStringLiteral("WARNING: [CAllDeviceHandler::removeDevice] uncknown port [%1]!").arg(_port));
        return;
    }

    QMap<quint16, CDeviceHandler *> &handlers = modbus ? m_modbusHandlers : m_tcpHandlers;
    CDeviceHandler *handler = handlers.value(_port);
    handler->removeDevice(_devEui);
    if (handler->devices().isEmpty()) {
        // Closed at once, so that the port can be published again before the
        // listener is gone.
        handler->close();
        handler->deleteLater();
        handlers.remove(_port);
    }
    if (modbus) {
        m_modbusDevices.remove(_devEui);
        m_ageWatch.forget(_devEui);
        m_downlinks->forget(_devEui);
        CStatusBoard::getInstance()->deviceRemoved(_devEui);
    } else {
        m_tcpDevices.remove(_devEui);
    }
    reportPublished();
    qDebug().noquote() << QStringLiteral("[CAllDeviceHandler::removeDevice] Delete device: DevEUI[%1], port[%2]")
                                  .arg(_devEui, QString::number(_port));
}

void CAllDeviceHandler::updatePortRegisteredDevice(DB::SDeviceRegMapDescription _devInfo, quint16 OldPort)
{
    QMutexLocker locker(&m_mutex);
    if (!m_tcpDevices.contains(_devInfo.devEui)) {
        CLogFile::addLog(QStringLiteral("[CAllDeviceHandler::addNewDevice] Device DevEUI[%1] is not registered!")
                                 .arg(_devInfo.devEui));
        return;
    }
    const quint16 port = quint16(_devInfo.port);
    CDeviceHandler *handler = m_tcpHandlers.take(OldPort);
    if (handler) {
        m_tcpHandlers.insert(port, handler);
        handler->changePort(port);
    }
    m_tcpDevices.insert(_devInfo.devEui, port);
    CLogFile::addLog(QStringLiteral("[CAllDeviceHandler::addNewDevice] Device DevEUI[%1] updated is new port[%2]!")
                             .arg(_devInfo.devEui, QString::number(port)));
}

void CAllDeviceHandler::newPacketReceivedSlot(API::SApiDeviceData _devData)
{
    QMutexLocker locker(&m_mutex);
    CStatusBoard::getInstance()->uplinkReceived();
    const bool isTcpDevice = m_tcpDevices.contains(_devData.devEui);
    if (!isTcpDevice && !m_modbusDevices.contains(_devData.devEui)) {
        reportUnknownDevice(_devData.devEui);
        return;
    }
    if (_devData.data.isEmpty())
        return;
    if (isTcpDevice && CDeviceHandler::isChunkFrame(_devData.data))
        parsingDataFromDevice(_devData);
    else if (m_modbusDevices.contains(_devData.devEui))
        processDataSlot(_devData);
}

// An uplink of a device that is not published: said once for each, so that a
// device the server sends but nobody registered is seen, and counted.
void CAllDeviceHandler::reportUnknownDevice(const QString &devEui)
{
    CStatusBoard::getInstance()->unknownDeviceUplink();
    if (m_unknownDevices.size() >= kMaxUnknownDevicesNamed || m_unknownDevices.contains(devEui))
        return;
    m_unknownDevices.insert(devEui);
    CLogFile::addLog(QStringLiteral("WARNING: [CAllDeviceHandler] Uplink of unknown device [%1] dropped: it is not "
                                    "registered here. Its later uplinks are dropped without a line.")
                             .arg(devEui));
}

void CAllDeviceHandler::processDataSlot(API::SApiDeviceData _devData)
{
    CLogFile::addLog(QStringLiteral("INFO: [CAllDeviceHandler::processDataSlot] Recived data [%1] from device [%2].")
                             .arg(QString::fromLatin1(_devData.data.toHex()), _devData.devEui));
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    if (!store)
        return;
    const DB::SDeviceRegMapDescription device = m_modbusDevices.value(_devData.devEui);
    const SDeviceTemplate deviceTemplate = m_templateFolder.templates().value(device.appEui);
    const quint32 startAddr = device.startAddr;

    // Decoded by the store, which reads the scaling in the same transaction
    // that writes the values; this thread never waits for the file.
    DB::SUplinkWrite write;
    write.devEui = _devData.devEui;
    write.decode = [deviceTemplate, _devData, startAddr](const DB::ScalingLookup &scaling) {
        return CUplinkDecoder(deviceTemplate, scaling).decode(_devData, startAddr);
    };
    write.done = [this, devEui = _devData.devEui](bool stored) {
        QMetaObject::invokeMethod(this, [this, devEui, stored] { uplinkWritten(devEui, stored); },
                                  Qt::QueuedConnection);
    };
    store->queueUplink(write);
}

void CAllDeviceHandler::uplinkWritten(const QString &devEui, bool stored)
{
    if (stored)
        CStatusBoard::getInstance()->uplinkStored(devEui);
    emit newDataForDevice(devEui);
}

void CAllDeviceHandler::parsingDataFromDevice(API::SApiDeviceData _devData)
{
    const QByteArray &payload = _devData.data;
    CLogFile::addLog(QStringLiteral("INFO: [CAllDeviceHandler::Parse_Data_from_Device] Recived data [%1] from device "
                                    "[%2].")
                             .arg(QString::fromLatin1(payload.toHex()), _devData.devEui));
    if (payload.isEmpty())
        return;

    const CDeviceHandler::SChunk chunk = CDeviceHandler::chunkOf(payload);
    CDeviceHandler *handler = m_tcpHandlers.value(m_tcpDevices.value(_devData.devEui));
    if (handler)
        handler->sendTCPData(chunk.data, chunk.info);
}
