#include "clogincommand.h"

#include "cmessagecollector.h"
#include "cworkfolder.h"

#include "core/constants.h"
#include "core/csettings.h"
#include "core/tcpport.h"
#include "server/cserverhandler.h"
#include "server/cserverlinkwatch.h"

#include <QEventLoop>
#include <QFile>
#include <QTimer>
#include <QUrl>

#include <termios.h>
#include <unistd.h>

namespace {

const QString kHost = QStringLiteral("host");
const QString kPort = QStringLiteral("port");
const QString kUser = QStringLiteral("user");
const QString kScheme = QStringLiteral("scheme");
const QString kTest = QStringLiteral("test");
const QString kDefaultScheme = QStringLiteral("ws");
// Longer than the link's own opening and handshake guards, which answer first.
constexpr int kTestTimeoutMs = 30000;
const QStringList kSchemes = {QStringLiteral("ws"), QStringLiteral("wss")};

QString serverKey(const QString &name)
{
    return SettingsKey::serverPrefix + name;
}

QString readLine()
{
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly))
        return QString();
    QString line = QString::fromUtf8(in.readLine());
    while (line.endsWith(QLatin1Char('\n')) || line.endsWith(QLatin1Char('\r')))
        line.chop(1);
    return line;
}

} // namespace

CLoginCommand::CLoginCommand()
    : CSubCommand({
        QStringLiteral("login"),
        QStringLiteral("Store the network server login for the program's next start."),
        QStringLiteral("Store the network server's address, port, login and password in settings.conf, and "
                       "with --scheme the scheme of the connection. The password is read as one line from "
                       "standard input, or prompted for without echo on a terminal. With --test, log in to "
                       "the server instead, with the given login or else the stored one, say what happened "
                       "and store nothing."),
        QString()
    })
{
}

void CLoginCommand::configure(QCommandLineParser &parser) const
{
    parser.addOption({kHost, QStringLiteral("The server's address."), QStringLiteral("HOST")});
    parser.addOption({kPort, QStringLiteral("The server's port."), QStringLiteral("PORT")});
    parser.addOption({kUser, QStringLiteral("The login."), QStringLiteral("LOGIN")});
    parser.addOption({kScheme, QStringLiteral("ws or wss (stored only when given)."), QStringLiteral("SCHEME")});
    parser.addOption({kTest, QStringLiteral("Log in to the server and say what happened; store nothing.")});
    CWorkFolder::addOption(parser);
}

int CLoginCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    if (!parser.positionalArguments().isEmpty())
        return fail(streams, QStringLiteral("no arguments expected; the password is read from standard input"),
                    ExitUsage);
    const bool given = parser.isSet(kHost) || parser.isSet(kPort) || parser.isSet(kUser);
    if (parser.isSet(kTest) && !given) {
        if (!CWorkFolder::locate(parser, streams, name()))
            return ExitUsage;
        return testStored(streams);
    }
    for (const QString &option : {kHost, kPort, kUser}) {
        if (parser.value(option).trimmed().isEmpty())
            return fail(streams, QStringLiteral("--%1 is missing or empty").arg(option), ExitUsage);
    }
    const std::optional<quint16> port = TcpPort::from(parser.value(kPort));
    if (!port || *port == 0)
        return fail(streams, QStringLiteral("--port must be a number from 1 to 65535"), ExitUsage);
    const QString scheme = parser.value(kScheme);
    if (parser.isSet(kScheme) && !kSchemes.contains(scheme))
        return fail(streams, QStringLiteral("--scheme must be ws or wss"), ExitUsage);
    if (!CWorkFolder::locate(parser, streams, name()))
        return ExitUsage;

    const QString password = readPassword(streams);
    if (password.isEmpty())
        return fail(streams, QStringLiteral("the password is empty"), ExitFindings);
    if (parser.isSet(kTest)) {
        const QString origin = QStringLiteral("%1://%2:%3")
                                       .arg(parser.isSet(kScheme) ? scheme : kDefaultScheme,
                                            parser.value(kHost).trimmed())
                                       .arg(*port);
        return test({origin, parser.value(kUser), password}, streams);
    }

    CWorkFolder::openSettings();
    CSettings::writeValue(serverKey(SettingsKey::ip), parser.value(kHost).trimmed());
    CSettings::writeValue(serverKey(SettingsKey::port), QString::number(*port));
    CSettings::writeValue(serverKey(SettingsKey::login), parser.value(kUser));
    CSettings::writeValue(serverKey(SettingsKey::password), password);
    if (parser.isSet(kScheme))
        CSettings::writeValue(serverKey(SettingsKey::scheme), scheme);
    if (CSettings::getInstance(QString())->status() != QSettings::NoError)
        return fail(streams, QStringLiteral("cannot write %1").arg(FileName::settings), ExitFindings);
    streams.out << QStringLiteral("Stored the login of %1 at %2:%3.").arg(parser.value(kUser), parser.value(kHost))
                           .arg(*port)
                << Qt::endl;
    CWorkFolder::logChange(name(), QStringLiteral("stored the login of %1 at %2:%3").arg(parser.value(kUser),
                                                                                          parser.value(kHost))
                                           .arg(*port));
    CWorkFolder::noteRestart(streams);
    return ExitClean;
}

QString CLoginCommand::readPassword(SToolStreams &streams)
{
    if (!isatty(STDIN_FILENO))
        return readLine();

    streams.err << QStringLiteral("Password: ") << Qt::flush;
    termios saved{};
    const bool quiet = tcgetattr(STDIN_FILENO, &saved) == 0;
    if (quiet) {
        termios silent = saved;
        silent.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    const QString password = readLine();
    if (quiet)
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    streams.err << Qt::endl;
    return password;
}

int CLoginCommand::testStored(SToolStreams &streams) const
{
    CWorkFolder::openSettings();
    const QString host = CSettings::readValue(serverKey(SettingsKey::ip)).toString();
    const QString port = CSettings::readValue(serverKey(SettingsKey::port)).toString();
    const QString user = CSettings::readValue(serverKey(SettingsKey::login)).toString();
    if (host.isEmpty() || port.isEmpty() || user.isEmpty())
        return fail(streams, QStringLiteral("no stored login in %1; give --host, --port and --user")
                                     .arg(FileName::settings),
                    ExitFindings);
    const QString scheme = CSettings::readValue(serverKey(SettingsKey::scheme), kDefaultScheme).toString();
    return test({QStringLiteral("%1://%2:%3").arg(scheme, host, port), user,
                 CSettings::readValue(serverKey(SettingsKey::password)).toString()},
                streams);
}

int CLoginCommand::test(const SLogin &login, SToolStreams &streams) const
{
    if (!QUrl(login.origin, QUrl::TolerantMode).isValid())
        return fail(streams, QStringLiteral("\"%1\" is not a server address").arg(login.origin), ExitFindings);
    // The library's own lines are the program's log, not this command's output.
    CMessageCollector quiet;
    registerApiMetaTypes();
    CServerHandler *server = CServerHandler::getInstance();
    QEventLoop loop;
    QString outcome = QStringLiteral("no answer from %1 within %2 s").arg(login.origin).arg(kTestTimeoutMs / 1000);
    int code = ExitFindings;
    QObject::connect(server, &CServerHandler::sessionChanged, &loop,
                     [&](bool loggedIn, const QString &description) {
                         outcome = description;
                         code = loggedIn ? ExitClean : ExitFindings;
                         loop.quit();
                     });
    QObject::connect(server->linkWatch(), &CServerLinkWatch::linkFailed, &loop, [&](const QString &reason) {
        outcome = QStringLiteral("cannot connect to %1: %2").arg(login.origin, reason);
        loop.quit();
    });
    QTimer::singleShot(kTestTimeoutMs, &loop, &QEventLoop::quit);
    server->connectSlot(login.origin, login.user, login.password);
    loop.exec();
    if (code != ExitClean)
        return fail(streams, outcome, code);
    streams.out << outcome << Qt::endl;
    return code;
}
