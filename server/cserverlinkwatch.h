#pragma once

#include "core/clogfile.h"

#include <QObject>
#include <QString>

class QTimer;
class QWebSocket;

// Watches the transport under the server session. It bounds each opening,
// pings an open link that has gone quiet and aborts it when nothing answers,
// and reports each failure of an attempt or of an open link once, with its
// reason, to the operator's log and to its listeners. What follows an abort is
// the session's own reconnection.
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
    void onFrameReceived();
    void onError();
    void onOpeningTimeout();
    void onQuiet();
    void onAnswerTimeout();
    void stopTimers();
    void reportFailure(const QString &logLine, const QString &reason, CLogFile::ELogMessageType type);

    QWebSocket *m_socket = nullptr;
    QTimer *m_openingTimer = nullptr;
    QTimer *m_pingTimer = nullptr;
    QTimer *m_answerTimer = nullptr;
    // One report for each attempt and each open link: a socket may give more
    // than one error for the same failure.
    bool m_failureReported = false;
};
