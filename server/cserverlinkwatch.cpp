#include "cserverlinkwatch.h"

#include "core/clogfile.h"
#include "server/sessiontimers.h"

#include <QTimer>
#include <QWebSocket>

namespace {
// The operator knows the link as the session's: the lines name it so.
const QString kFailedLine = QStringLiteral("ERROR: [CServerHandler] Connection failed: %1");
constexpr int kMsPerSecond = 1000;

QTimer *namedTimer(const QString &name, int intervalMs, bool singleShot, QObject *parent)
{
    auto *timer = new QTimer(parent);
    timer->setObjectName(name);
    timer->setInterval(intervalMs);
    timer->setSingleShot(singleShot);
    return timer;
}
} // namespace

CServerLinkWatch::CServerLinkWatch(QWebSocket *socket, QObject *parent)
    : QObject(parent)
    , m_socket(socket)
    , m_openingTimer(namedTimer(QStringLiteral("openingTimer"), SessionTimer::openingTimeoutMs, true, this))
    , m_pingTimer(namedTimer(QStringLiteral("pingTimer"), SessionTimer::linkQuietPingMs, false, this))
    , m_answerTimer(namedTimer(QStringLiteral("answerTimer"), SessionTimer::linkAnswerTimeoutMs, true, this))
{
    connect(socket, &QWebSocket::connected, this, &CServerLinkWatch::onConnected);
    connect(socket, &QWebSocket::disconnected, this, &CServerLinkWatch::stopTimers);
    connect(socket, &QWebSocket::pong, this, &CServerLinkWatch::onFrameReceived);
    connect(socket, &QWebSocket::textFrameReceived, this, &CServerLinkWatch::onFrameReceived);
    connect(socket, &QWebSocket::binaryFrameReceived, this, &CServerLinkWatch::onFrameReceived);
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    connect(socket, &QWebSocket::errorOccurred, this, &CServerLinkWatch::onError);
#else
    connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this, &CServerLinkWatch::onError);
#endif
    connect(m_openingTimer, &QTimer::timeout, this, &CServerLinkWatch::onOpeningTimeout);
    connect(m_pingTimer, &QTimer::timeout, this, &CServerLinkWatch::onQuiet);
    connect(m_answerTimer, &QTimer::timeout, this, &CServerLinkWatch::onAnswerTimeout);
}

void CServerLinkWatch::attemptStarted()
{
    stopTimers();
    m_failureReported = false;
    m_openingTimer->start();
}

void CServerLinkWatch::onConnected()
{
    m_failureReported = false;
    m_openingTimer->stop();
    m_pingTimer->start();
}

void CServerLinkWatch::onFrameReceived()
{
    m_answerTimer->stop();
    if (m_pingTimer->isActive())
        m_pingTimer->start();
}

void CServerLinkWatch::onError()
{
    reportFailure(kFailedLine.arg(m_socket->errorString()), m_socket->errorString(), CLogFile::LogError);
}

void CServerLinkWatch::onOpeningTimeout()
{
    const QString reason = QStringLiteral("The connection was not opened within %1 s")
                                   .arg(SessionTimer::openingTimeoutMs / kMsPerSecond);
    reportFailure(kFailedLine.arg(reason), reason, CLogFile::LogError);
    m_socket->abort();
}

void CServerLinkWatch::onQuiet()
{
    // Any peer must answer a ping with a pong; the wire protocol's own
    // messages stay untouched.
    m_socket->ping();
    if (!m_answerTimer->isActive())
        m_answerTimer->start();
}

void CServerLinkWatch::onAnswerTimeout()
{
    const QString reason = QStringLiteral("No answer from the server for %1 s")
                                   .arg((SessionTimer::linkQuietPingMs + SessionTimer::linkAnswerTimeoutMs)
                                        / kMsPerSecond);
    reportFailure(QStringLiteral("WARNING: [CServerHandler] %1, closing the connection").arg(reason), reason,
                  CLogFile::LogInfo);
    m_socket->abort();
}

void CServerLinkWatch::stopTimers()
{
    m_openingTimer->stop();
    m_pingTimer->stop();
    m_answerTimer->stop();
}

void CServerLinkWatch::reportFailure(const QString &logLine, const QString &reason, CLogFile::ELogMessageType type)
{
    if (m_failureReported)
        return;
    m_failureReported = true;
    CLogFile::addLog(logLine, type);
    emit linkFailed(reason);
}
