#include "cdevicehandler.h"

#include "cacceptguard.h"
#include "cconnectionhandler.h"
#include "core/cdescriptorlimit.h"
#include "core/clogfile.h"
#include "core/cstatusboard.h"

#include <QDebug>
#include <QTimer>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
constexpr int kMessageWaitMs = 90000;
// A port held by another program at start may be freed later.
constexpr int kListenRetryMs = 60000;
constexpr int kMaxMessageSize = 600;
// A client that is gone without a word (power cut, cable pulled) is found
// after about two minutes of silence; one that is there answers the probes.
constexpr int kKeepAliveIdleS = 60;
constexpr int kKeepAliveIntervalS = 10;
constexpr int kKeepAliveProbes = 6;

// First payload bytes of the TCP device frames that carry a chunk: 3, 5, 6 and 13.
constexpr quint32 kTcpChunkFrameMask = 0x2068;
constexpr qint8 kHighestChunkFrameType = 13;
constexpr qint8 kShiftedFrameType = 5;

struct SChunkLayout
{
    int sizeOffset;     // two bytes, added as 8-bit numbers
    int lengthOffset;   // then chunk number, total and the data
};

constexpr SChunkLayout kChunkLayout{2, 4};
constexpr SChunkLayout kShiftedChunkLayout{6, 8};

quint8 byteAt(const QByteArray &bytes, int index)
{
    return index < bytes.size() ? quint8(bytes.at(index)) : 0;
}

void enableKeepAlive(CConnectionHandler *connection)
{
    connection->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    const int descriptor = int(connection->socketDescriptor());
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &kKeepAliveIdleS, sizeof kKeepAliveIdleS);
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, &kKeepAliveIntervalS, sizeof kKeepAliveIntervalS);
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPCNT, &kKeepAliveProbes, sizeof kKeepAliveProbes);
}

// Connections of all listeners together, held against the descriptor ceiling.
qint64 liveConnections = 0;
// From the first refusal to the next connection accepted.
bool refusing = false;

} // namespace

CDeviceHandler::CDeviceHandler(quint16 port, ProtocolOption protocol, const QString &devEui, QObject *parent)
    : QTcpServer(parent)
    , m_port(port)
    , m_firstDevEui(devEui)
    , m_protocol(protocol)
    , m_waitTimer(new QTimer(this))
    , m_listenRetry(new QTimer(this))
    , m_acceptGuard(new CAcceptGuard(this))
{
    m_listenRetry->setInterval(kListenRetryMs);
    connect(m_listenRetry, &QTimer::timeout, this, &CDeviceHandler::retryListening);
    startListening();
    m_waitTimer->setInterval(kMessageWaitMs);
    connect(m_waitTimer, &QTimer::timeout, this, &CDeviceHandler::waitingTimeout);
}

CDeviceHandler::~CDeviceHandler()
{
    for (CConnectionHandler *connection : qAsConst(m_connections))
        connection->close();
    QTcpServer::close();
    // The connections leave the list in their destructors, so they must go
    // while the list still exists.
    qDeleteAll(findChildren<CConnectionHandler *>(QString(), Qt::FindDirectChildrenOnly));
    m_connections.clear();
    setNotOpen(false);
}

void CDeviceHandler::setRegisterSource(const CModbusFraming::SRegisterSource &source)
{
    m_registerSource = source;
}

void CDeviceHandler::appendDevice(QString _devEui)
{
    if (m_devices.contains(_devEui)) {
        qDebug().noquote() << QStringLiteral("[CDeviceHandler::appendDevice] Device [%1] already exist!").arg(_devEui);
        return;
    }
    m_devices.append(_devEui);
}

void CDeviceHandler::removeDevice(QString _devEui)
{
    m_devices.removeAll(_devEui);
}

void CDeviceHandler::changePort(quint16 port)
{
    if (port == m_port) {
        qDebug().noquote() << QStringLiteral("[CDeviceHandler::appendDevice] Port [%1] is listening!").arg(port);
        return;
    }
    m_port = port;
    const QList<CConnectionHandler *> dropped = m_connections;
    m_connections.clear();
    for (CConnectionHandler *connection : dropped)
        connection->close();
    QTcpServer::close();
    startListening();
}

void CDeviceHandler::setListenRetryInterval(int milliseconds)
{
    m_listenRetry->setInterval(milliseconds);
}

// A port that is taken is said once and tried again every minute until it
// opens, which is said once too; the forms test a port before they offer it.
void CDeviceHandler::startListening()
{
    m_listenRetry->stop();
    const bool open = listen(QHostAddress::Any, m_port);
    if (!open) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDeviceHandler] Cannot listen on port %1: %2")
                                 .arg(QString::number(m_port), errorString()));
        m_listenRetry->start();
    }
    setNotOpen(!open);
    m_acceptGuard->watch();
}

void CDeviceHandler::retryListening()
{
    if (!listen(QHostAddress::Any, m_port))
        return;
    m_listenRetry->stop();
    CLogFile::addLog(QStringLiteral("INFO: [CDeviceHandler] Port %1 is free now: listening.").arg(m_port));
    setNotOpen(false);
    m_acceptGuard->watch();
}

void CDeviceHandler::setNotOpen(bool notOpen)
{
    if (notOpen == m_notOpen)
        return;
    m_notOpen = notOpen;
    CStatusBoard::getInstance()->changeListenersNotOpen(notOpen ? 1 : -1);
}

void CDeviceHandler::incomingConnection(qintptr socketDescriptor)
{
    if (socketDescriptor <= 0 || !admit(socketDescriptor))
        return;
    ++liveConnections;
    auto *connection = new CConnectionHandler(m_port, m_protocol, m_firstDevEui, m_registerSource, m_connections,
                                              this);
    connection->setSocketDescriptor(socketDescriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite);
    connect(connection, &QObject::destroyed, [] { --liveConnections; });
    connect(connection, &CConnectionHandler::downlinkData, this, &CDeviceHandler::downlinkData);
    enableKeepAlive(connection);
}

// Idle clients must not take the descriptors that the store and the logs
// need: a connection past the ceiling is closed at once. Clients already
// connected are served as before.
bool CDeviceHandler::admit(qintptr socketDescriptor)
{
    const qint64 ceiling = CDescriptorLimit::connectionCeiling();
    if (liveConnections < ceiling && socketDescriptor < ceiling) {
        if (refusing) {
            refusing = false;
            CLogFile::addLog(QStringLiteral("INFO: [CDeviceHandler] Connections are accepted again (port %1).")
                                     .arg(m_port));
        }
        return true;
    }
    ::close(int(socketDescriptor));
    if (!refusing) {
        refusing = true;
        CLogFile::addLog(QStringLiteral("WARNING: [CDeviceHandler] Connection on port %1 refused: the limit of %2 "
                                        "connections is reached, %3 of the %4 descriptors being kept for the store "
                                        "and the logs. Refusals are not logged again until a connection is accepted.")
                                 .arg(QString::number(m_port), QString::number(qMax<qint64>(ceiling, 0)),
                                      QString::number(CDescriptorLimit::kReserve),
                                      QString::number(ceiling + CDescriptorLimit::kReserve)));
    }
    return false;
}

void CDeviceHandler::sendTCPData(const QByteArray &chunk, SChunkInfo info)
{
    if (m_connections.isEmpty())
        return;

    qDebug().noquote() << QStringLiteral("[CDeviceHandler::sendTCPData] Build data [%1] for sending to TCP port. "
                                         "Current number pkt -[%2] total number pkt -[%3]")
                                  .arg(QString::fromLatin1(chunk.toHex()), QString::number(info.current),
                                       QString::number(info.total));
    m_waitTimer->start();
    if (info.current < info.total) {
        m_tcpBuffer.append(chunk);
        return;
    }
    if (info.current > info.total)
        return;

    m_waitTimer->stop();
    m_tcpBuffer.append(chunk);
    if (m_tcpBuffer.size() > kMaxMessageSize) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDeviceHandler::sendTCPData] Package size from device %1 is exceeded! "
                                        "The maximum size should be no more than 600 bytes.")
                                 .arg(m_firstDevEui));
        m_tcpBuffer.clear();
        return;
    }
    if (m_tcpBuffer.size() != info.size) {
        CLogFile::addLog(QStringLiteral("ERROR: [CDeviceHandler::sendTCPData] Package from device %1 has been damaged "
                                        "or lost! Total packet size is [%2], received packet size is [%3]. "
                                        "Data discarded.")
                                 .arg(m_firstDevEui, QString::number(info.size),
                                      QString::number(m_tcpBuffer.size())));
        m_tcpBuffer.clear();
        return;
    }
    deliverMessage();
}

void CDeviceHandler::deliverMessage()
{
    for (CConnectionHandler *connection : qAsConst(m_connections))
        connection->sendTCPDataToSocket(m_tcpBuffer);
    m_tcpBuffer.clear();
}

void CDeviceHandler::waitingTimeout()
{
    CLogFile::addLog(QStringLiteral("ERROR: [CDeviceHandler::waitingTimeout] Package from device %1 has been damaged "
                                    "or lost! Waiting timeout. Data discarded.")
                             .arg(m_firstDevEui));
    m_tcpBuffer.clear();
    m_waitTimer->stop();
}

bool CDeviceHandler::isChunkFrame(const QByteArray &payload)
{
    if (payload.isEmpty())
        return false;
    const qint8 type = qint8(payload.at(0));
    return type >= 0 && type <= kHighestChunkFrameType && (kTcpChunkFrameMask >> type) & 1u;
}

CDeviceHandler::SChunk CDeviceHandler::chunkOf(const QByteArray &payload)
{
    const SChunkLayout layout = qint8(payload.at(0)) == kShiftedFrameType ? kShiftedChunkLayout : kChunkLayout;
    SChunk chunk;
    chunk.info.size = quint8(byteAt(payload, layout.sizeOffset) + byteAt(payload, layout.sizeOffset + 1));
    chunk.info.current = quint8(byteAt(payload, layout.lengthOffset + 1) + 1);
    chunk.info.total = byteAt(payload, layout.lengthOffset + 2);
    const qint8 length = qint8(byteAt(payload, layout.lengthOffset));
    chunk.data = payload.mid(layout.lengthOffset + 3, length);
    return chunk;
}
