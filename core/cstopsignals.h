#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT into a Qt signal on the thread that made the object,
// so that a service manager's stop or Ctrl-C ends the event loop instead of the
// process. The handler only writes the signal's number into a socket pair;
// everything else happens in the event loop. One object at a time; the
// default handling comes back when it goes.
class CStopSignals : public QObject
{
    Q_OBJECT

public:
    explicit CStopSignals(QObject *parent = nullptr);
    ~CStopSignals() override;

    // "SIGTERM", "SIGINT", else the number.
    static QString name(int signalNumber);
    // The stop signal received last, 0 for none: for a wait that runs before
    // the event loop does, and so never sees stopRequested.
    static int received();

signals:
    void stopRequested(int signalNumber);

private:
    static void handle(int signalNumber);
    void readSignals();

    QSocketNotifier *m_notifier = nullptr;
};
