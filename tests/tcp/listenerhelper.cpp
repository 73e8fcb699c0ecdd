// A ModBus listener in a process of its own, with the descriptor limit given
// as the argument. It prints "PORT <n>" once listening and every operator log
// line as "LOG <line>". Commands, one a line on its standard input:
// "WAKES" answers with the number of times its event loop has woken up so far;
// "FILL" takes every descriptor left and "FREE" gives them back;
// "WRITE" opens a file and writes a SQLite database, and answers "WRITE ok" or
// "WRITE <error>".

#include "core/clogfile.h"
#include "core/csettings.h"
#include "database/cdatabasehandler.h"
#include "tcp/cdevicehandler.h"
#include "testnet.h"
#include "testworkdir.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTextStream>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace {

void say(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

QString writeFiles()
{
    QFile file(QStringLiteral("probe.txt"));
    if (!file.open(QIODevice::WriteOnly) || file.write("probe") != 5)
        return file.errorString();
    file.close();
    const QString connection = QStringLiteral("probe");
    QString error;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        database.setDatabaseName(QStringLiteral("probe.db"));
        QSqlQuery query(database);
        if (!database.open())
            error = database.lastError().text();
        else if (!query.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS probe (value INTEGER)"))
                 || !query.exec(QStringLiteral("INSERT INTO probe VALUES (1)")))
            error = query.lastError().text();
    }
    QSqlDatabase::removeDatabase(connection);
    return error.isEmpty() ? QStringLiteral("ok") : error;
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
    std::vector<int> taken;
    QByteArray input;
    QSocketNotifier inputNotifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&inputNotifier, &QSocketNotifier::activated, [&] {
        char chunk[64];
        const ssize_t got = ::read(STDIN_FILENO, chunk, sizeof chunk);
        if (got <= 0) {
            app.quit();
            return;
        }
        input.append(chunk, got);
        for (qsizetype end = input.indexOf('\n'); end >= 0; end = input.indexOf('\n')) {
            const QByteArray command = input.left(end);
            input.remove(0, end + 1);
            if (command == "WAKES") {
                say(QStringLiteral("WAKES %1").arg(wakes));
            } else if (command == "FILL") {
                for (int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC); descriptor >= 0;
                     descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC))
                    taken.push_back(descriptor);
                say(QStringLiteral("FILL %1").arg(taken.size()));
            } else if (command == "FREE") {
                const size_t freed = taken.size();
                for (const int descriptor : taken)
                    ::close(descriptor);
                taken.clear();
                say(QStringLiteral("FREE %1").arg(freed));
            } else if (command == "WRITE") {
                say(QStringLiteral("WRITE ") + writeFiles());
            }
        }
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
