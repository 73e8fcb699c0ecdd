#include "cstopsignals.h"

#include <QDebug>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kStopSignals[] = {SIGTERM, SIGINT};

// [0] is written by the handler, [1] read by the notifier.
int signalPair[2] = {-1, -1};
volatile sig_atomic_t lastSignal = 0;

void install(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    // Interrupted system calls of the program go on as if nothing happened.
    action.sa_flags = SA_RESTART;
    for (const int signalNumber : kStopSignals)
        ::sigaction(signalNumber, &action, nullptr);
}

} // namespace

CStopSignals::CStopSignals(QObject *parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPair) != 0) {
        qDebug().noquote() << QStringLiteral("[CStopSignals] No socket pair: %1").arg(qt_error_string(errno));
        return;
    }
    // A full pair must not block the handler: the signals already waiting say enough.
    ::fcntl(signalPair[0], F_SETFL, ::fcntl(signalPair[0], F_GETFL) | O_NONBLOCK);
    m_notifier = new QSocketNotifier(signalPair[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &CStopSignals::readSignals);
    install(&CStopSignals::handle);
}

CStopSignals::~CStopSignals()
{
    if (!m_notifier)
        return;
    install(SIG_DFL);
    delete m_notifier;
    ::close(signalPair[0]);
    ::close(signalPair[1]);
    signalPair[0] = signalPair[1] = -1;
}

QString CStopSignals::name(int signalNumber)
{
    switch (signalNumber) {
    case SIGTERM:
        return QStringLiteral("SIGTERM");
    case SIGINT:
        return QStringLiteral("SIGINT");
    default:
        return QString::number(signalNumber);
    }
}

// Async-signal-safe calls only.
void CStopSignals::handle(int signalNumber)
{
    const int savedErrno = errno;
    lastSignal = signalNumber;
    const unsigned char number = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(signalPair[0], &number, 1);
    errno = savedErrno;
}

int CStopSignals::received()
{
    return lastSignal;
}

void CStopSignals::readSignals()
{
    unsigned char number = 0;
    if (::read(signalPair[1], &number, 1) == 1)
        emit stopRequested(number);
}
