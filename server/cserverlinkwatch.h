#pragma once

#include <QObject>
#include <QString>

class QWebSocket;

// Watches the transport under the server session and reports each failure of
// an attempt or of an open link once, with its reason, to the operator's log
// and to its listeners. What follows a failure is the session's own
// reconnection.
class CServerLinkWatch : public QObject
{
    Q_OBJECT

public:
    CServerLinkWatch(QWebSocket *socket, QObject *parent);

    // Called before each opening of the socket.
    void attemptStarted();

signals:
    void linkFailed(QString _reason);

private:
    void onConnected();
    void onError();
    void reportFailure(const QString &reason);

    QWebSocket *m_socket = nullptr;
    // One report for each attempt and each open link: a socket may give more
    // than one error for the same failure.
    bool m_failureReported = false;
};
