#include "cconnectionhandler.h"

#include "core/clogfile.h"

#include <QDebug>

#include <algorithm>

#include <sys/socket.h>

namespace {
constexpr int kWriteWaitMs = 1000;
// No answer starts while bytes of earlier ones are still unwritten, so that a
// client that stops reading costs the others one write wait, not one per answer.
constexpr qint64 kMaxUnwrittenBytes = 0;
const QByteArray kDownlinkDataPrefix = QByteArrayLiteral("04");
} // namespace

CConnectionHandler::CConnectionHandler(quint16 port, ProtocolOption protocol, const QString &devEui,
                                       const CModbusFraming::SRegisterSource &source,
                                       QList<CConnectionHandler *> &connections, QObject *parent)
    : QTcpSocket(parent)
    , m_port(port)
    , m_devEui(devEui)
    , m_connections(connections)
    , m_framing(port, [this](const QByteArray &answer) { return sendAnswer(answer); }, source)
{
    m_connections.append(this);
    if (protocol == ProtocolOption::ModBus) {
        connect(this, &QTcpSocket::readyRead, this, &CConnectionHandler::readyReadSlot);
        // Queued: it is also emitted from within the write wait of an answer.
        connect(this, &QTcpSocket::bytesWritten, this, &CConnectionHandler::resumeAnswers, Qt::QueuedConnection);
    } else if (protocol == ProtocolOption::TCP) {
        connect(this, &QTcpSocket::readyRead, this, &CConnectionHandler::incomingTCPDataHandler);
    }
    connect(this, &QTcpSocket::disconnected, this, &CConnectionHandler::disconnectedSlot);
}

CConnectionHandler::~CConnectionHandler()
{
    // The socket's own destructor may still emit, with unwritten bytes, when
    // the slots of this class are gone.
    disconnect(this, nullptr, this, nullptr);
    m_connections.removeAll(this);
    qDebug().noquote() << QStringLiteral("Destructor CConnectionHandler::CConnectionHandler has been called");
}

void CConnectionHandler::disconnectedSlot()
{
    deleteLater();
}

void CConnectionHandler::readyReadSlot()
{
    // Requests of a client that does not take its answers wait in the socket.
    if (bytesToWrite() > kMaxUnwrittenBytes || m_framing.isHeld() || bytesAvailable() == 0)
        return;
    m_framing.received(readAll());
}

// With nothing queued, the answer goes straight to the kernel: through the
// socket's buffer, each answer would switch its write notifier on and off and
// post its bytesWritten, three wake-ups of the event loop. What does not fit
// at once, or meets an error, takes the socket's own way, which queues it,
// reports the error and holds the client back. Either way the wait below then
// has nothing left to poll for unless the client stopped reading.
bool CConnectionHandler::sendAnswer(const QByteArray &answer)
{
    qint64 sent = 0;
    if (state() == ConnectedState && bytesToWrite() == 0) {
        sent = std::max<qint64>(0, ::send(socketDescriptor(), answer.constData(), size_t(answer.size()),
                                          MSG_NOSIGNAL | MSG_DONTWAIT));
    }
    if (sent < answer.size()) {
        write(answer.constData() + sent, answer.size() - sent);
        flush();
    }
    waitForBytesWritten(kWriteWaitMs);
    return bytesToWrite() <= kMaxUnwrittenBytes;
}

// After the answers' bytes have gone: requests held back, and those that the
// write waits read in without a readyRead of their own, are served now.
void CConnectionHandler::resumeAnswers()
{
    if (bytesToWrite() > kMaxUnwrittenBytes)
        return;
    m_framing.resume();
    readyReadSlot();
}

void CConnectionHandler::incomingTCPDataHandler()
{
    const QByteArray hex = readAll().toHex();
    CLogFile::addLog(QStringLiteral("INFO: [CDeviceHandler::incomingTCPDataHandler] Recived data [%1] from a TCP "
                                    "socket from a port %2.")
                             .arg(QString::fromLatin1(hex), QString::number(m_port)));
    emit downlinkData(m_devEui, kDownlinkDataPrefix + hex);
}

void CConnectionHandler::sendTCPDataToSocket(const QByteArray &data)
{
    CLogFile::addLog(QStringLiteral("INFO: [CDeviceHandler::sendTCPDataToSocket] Send data [%1] for a TCP socket in "
                                    "port %2.")
                             .arg(QString::fromUtf8(data), QString::number(m_port)));
    // A client that has just gone waits for its deferred deletion, closed.
    if (isOpen())
        write(data);
}
