#include "cserverlinkwatch.h"

#include "core/clogfile.h"

#include <QWebSocket>

CServerLinkWatch::CServerLinkWatch(QWebSocket *socket, QObject *parent)
    : QObject(parent)
    , m_socket(socket)
{
    connect(socket, &QWebSocket::connected, this, &CServerLinkWatch::onConnected);
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    connect(socket, &QWebSocket::errorOccurred, this, &CServerLinkWatch::onError);
#else
    connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this, &CServerLinkWatch::onError);
#endif
}

void CServerLinkWatch::attemptStarted()
{
    m_failureReported = false;
}

void CServerLinkWatch::onConnected()
{
    m_failureReported = false;
}

void CServerLinkWatch::onError()
{
    reportFailure(m_socket->errorString());
}

void CServerLinkWatch::reportFailure(const QString &reason)
{
    if (m_failureReported)
        return;
    m_failureReported = true;
    // The operator knows the link as the session's: the line names it so.
    CLogFile::addLog(QStringLiteral("ERROR: [CServerHandler] Connection failed: %1").arg(reason), CLogFile::LogError);
    emit linkFailed(reason);
}
