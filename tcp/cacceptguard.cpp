#include "cacceptguard.h"

#include "core/clogfile.h"

#include <QEvent>
#include <QSocketNotifier>
#include <QTcpServer>

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kAcceptPauseMs = 500;

// What a new connection needs; an error text when it is missing, empty else.
QString missingDescriptor()
{
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe >= 0) {
        ::close(probe);
        return QString();
    }
    const int error = errno;
    if (error != EMFILE && error != ENFILE && error != ENOBUFS && error != ENOMEM)
        return QString();
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

CAcceptGuard::CAcceptGuard(QTcpServer *server)
    : QObject(server)
    , m_server(server)
{
    m_resumeTimer.setSingleShot(true);
    m_resumeTimer.setInterval(kAcceptPauseMs);
    connect(&m_resumeTimer, &QTimer::timeout, this, &CAcceptGuard::resume);
    // Qt pauses by itself after the errors it does not count as temporary,
    // and never resumes.
    connect(m_server, &QTcpServer::acceptError, this, [this] { hold(m_server->errorString()); });
}

void CAcceptGuard::watch()
{
    if (m_notifier)
        m_notifier->removeEventFilter(this);
    m_notifier = nullptr;
    // The listening socket's read notifier belongs to the server's socket engine.
    const QList<QSocketNotifier *> notifiers = m_server->findChildren<QSocketNotifier *>();
    for (QSocketNotifier *notifier : notifiers) {
        if (notifier->type() == QSocketNotifier::Read && notifier->socket() == m_server->socketDescriptor()
            && m_server->isListening()) {
            m_notifier = notifier;
            notifier->installEventFilter(this);
            return;
        }
    }
}

bool CAcceptGuard::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_notifier || event->type() != QEvent::SockAct)
        return false;
    const QString error = missingDescriptor();
    if (error.isEmpty()) {
        m_holding = false;
        return false;
    }
    hold(error);
    return true;
}

void CAcceptGuard::hold(const QString &error)
{
    m_server->pauseAccepting();
    m_resumeTimer.start();
    if (m_holding)
        return;
    m_holding = true;
    CLogFile::addLog(QStringLiteral("WARNING: [CDeviceHandler] Cannot accept a connection on port %1: %2. "
                                    "Accepting paused until descriptors are free.")
                             .arg(QString::number(m_server->serverPort()), error));
}

void CAcceptGuard::resume()
{
    if (m_server->isListening())
        m_server->resumeAccepting();
}
