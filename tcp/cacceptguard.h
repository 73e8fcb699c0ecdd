#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

class QSocketNotifier;
class QTcpServer;

// Keeps a listener from spinning when no descriptor is left for a new
// connection. Qt counts that failure of accept() as temporary and tries again
// at once, for as long as a client waits: the guard looks for a free
// descriptor first, pauses accepting while there is none, logs it once, and
// resumes after a short while. Connected clients are served meanwhile.
class CAcceptGuard : public QObject
{
    Q_OBJECT

public:
    explicit CAcceptGuard(QTcpServer *server);

    // To be called after every listen(): each one makes a new listening socket.
    void watch();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void hold(const QString &error);
    void resume();

    QTcpServer *m_server = nullptr;
    QPointer<QSocketNotifier> m_notifier;
    QTimer m_resumeTimer;
    bool m_holding = false;     // from the first failure to the next free descriptor
};
