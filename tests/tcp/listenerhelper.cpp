// A ModBus listener in a process of its own, with the descriptor limit given
// as the argument. It prints "PORT <n>" once listening and every operator log
// line as "LOG <line>"; to "WAKES" on its standard input it answers with the
// number of times its event loop has woken up so far.

#include "core/clogfile.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "tcp/cdevicehandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTextStream>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

namespace {

void say(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const rlim_t limit = QCoreApplication::arguments().value(1).toULong();
    TestWorkDir workDir;
    CSettings::getInstance(QStringLiteral("settings.conf"));
    QObject::connect(CLogFile::getInstance(QStringLiteral("history"), QString()), &CLogFile::addLogSignal,
                     [](const QString &line) { say(QStringLiteral("LOG ") + line.mid(line.indexOf(']') + 1)); });
    if (!CDataBaseHandler::getInstance())
        return 1;

    quint64 wakes = 0;
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, [&wakes] { ++wakes; });
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&wakes, &app] {
        char command[64];
        const ssize_t got = ::read(STDIN_FILENO, command, sizeof command);
        if (got <= 0)
            app.quit();
        else
            say(QStringLiteral("WAKES %1").arg(wakes));
    });

    const rlimit descriptors{limit, limit};
    if (::setrlimit(RLIMIT_NOFILE, &descriptors) != 0)
        return 1;
    CDeviceHandler listener(freePort(), ProtocolOption::ModBus, QStringLiteral("00000000000000A1"));
    if (!listener.isListening())
        return 1;
    say(QStringLiteral("PORT %1").arg(listener.serverPort()));
    return app.exec();
}
