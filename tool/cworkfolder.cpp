#include "cworkfolder.h"

#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "core/tcpport.h"
#include "database/cdatabasehandler.h"

#include <QDir>
#include <QFileInfo>

#include <pwd.h>
#include <unistd.h>

namespace {
const QString kDirOption = QStringLiteral("dir");
const QString kWaitOption = QStringLiteral("wait");
// The running program keeps the file locked for a few milliseconds a write;
// a backup or a browser that holds it longer is waited for this long.
constexpr double kDefaultWaitSeconds = 10;
constexpr double kMaxWaitSeconds = 86400;
constexpr double kMsPerSecond = 1000;
// Below it, listening takes root or CAP_NET_BIND_SERVICE.
constexpr quint16 kFirstUnprivilegedPort = 1024;

int waitMilliseconds = int(kDefaultWaitSeconds * kMsPerSecond);
// The service runs as a user of its own name in its state folder.
const QString kServiceUser = QStringLiteral("quillbar");
const QString kServiceFolder = QStringLiteral("/var/lib/quillbar");

bool isServiceUser()
{
    const passwd *user = getpwuid(geteuid());
    return user && QString::fromLocal8Bit(user->pw_name) == kServiceUser;
}
QStringList libraryLines;
// Empty for the current directory.
QString workFolder;

// The folder that --dir or the service's user names, empty for the current one.
QString folderOf(const QCommandLineParser &parser)
{
    if (parser.isSet(kDirOption))
        return parser.value(kDirOption);
    return isServiceUser() ? kServiceFolder : QString();
}
} // namespace

void CWorkFolder::addOption(QCommandLineParser &parser)
{
    parser.addOption({kDirOption,
                      QStringLiteral("The program's working folder (settings.conf, server.db, deviceFolder/); "
                                     "default the current directory."),
                      QStringLiteral("DIR")});
}

bool CWorkFolder::locate(const QCommandLineParser &parser, SToolStreams &streams, const QString &command)
{
    const QString dir = folderOf(parser);
    if (!dir.isEmpty() && !QFileInfo(dir).isDir()) {
        streams.err << QStringLiteral("quillbar-tool %1: no folder \"%2\"").arg(command, dir) << Qt::endl;
        return false;
    }
    workFolder = dir;
    return true;
}

int CWorkFolder::locateSite(const QCommandLineParser &parser, SToolStreams &streams, const QString &command)
{
    if (!locate(parser, streams, command))
        return ExitUsage;
    if (QFileInfo::exists(filePath(FileName::settings)) || QFileInfo::exists(filePath(FileName::database))
        || QFileInfo::exists(filePath(FileName::deviceFolder)))
        return ExitClean;
    streams.err << QStringLiteral("quillbar-tool %1: %2 is not a Quillbar working folder (no %3, %4 or %5); "
                                  "name one with --dir")
                           .arg(command, displayPath(), FileName::settings, FileName::database,
                                FileName::deviceFolder)
                << Qt::endl;
    return ExitFindings;
}

QString CWorkFolder::fileIn(const QCommandLineParser &parser, const QString &name)
{
    const QString dir = folderOf(parser);
    return dir.isEmpty() ? name : QDir(dir).filePath(name);
}

QString CWorkFolder::filePath(const QString &name)
{
    return workFolder.isEmpty() ? name : QDir(workFolder).filePath(name);
}

QString CWorkFolder::displayPath()
{
    return workFolder.isEmpty() ? QDir::currentPath() : QDir(workFolder).canonicalPath();
}

void CWorkFolder::addWaitOption(QCommandLineParser &parser)
{
    parser.addOption({kWaitOption,
                      QStringLiteral("How long to wait for another program's lock on server.db, in seconds "
                                     "(default %1; 0 does not wait).")
                              .arg(kDefaultWaitSeconds),
                      QStringLiteral("SECONDS")});
}

bool CWorkFolder::readWait(const QCommandLineParser &parser, SToolStreams &streams, const QString &command)
{
    if (!parser.isSet(kWaitOption))
        return true;
    bool ok = false;
    const double seconds = parser.value(kWaitOption).toDouble(&ok);
    // The negation also refuses a NaN.
    if (!ok || !(seconds >= 0 && seconds <= kMaxWaitSeconds)) {
        streams.err << QStringLiteral("quillbar-tool %1: --wait must be a number of seconds from 0 to %2")
                               .arg(command)
                               .arg(kMaxWaitSeconds)
                    << Qt::endl;
        return false;
    }
    waitMilliseconds = qRound(seconds * kMsPerSecond);
    return true;
}

int CWorkFolder::waitMs()
{
    return waitMilliseconds;
}

void CWorkFolder::openSettings()
{
    CSettings::getInstance(filePath(FileName::settings));
}

void CWorkFolder::openLog()
{
    openSettings();
    qRegisterMetaType<CLogFile::ELogMessageType>("CLogFile::ELogMessageType");
    // No session banner: the tool's visit is one line, not a run of the program.
    CLogFile::getInstance(filePath(FileName::logBase), QString(), CLogFile::WithoutBanner);
    // Routine texts of the store (a register that two packets share, say)
    // would alarm the operator; a failure's texts go to the tool's user.
    CLogFile::setDivert([](const QString &line) { libraryLines.append(line); });
}

QString CWorkFolder::takeLibraryText()
{
    const QString text = libraryLines.join(QStringLiteral("; "));
    libraryLines.clear();
    return text;
}

void CWorkFolder::logChange(const QString &command, const QString &text)
{
    openLog();
    CLogFile::instance()->addLogMetod(QStringLiteral("INFO: [quillbar-tool %1] %2").arg(command, text));
}

CDataBaseHandler *CWorkFolder::openStore()
{
    openLog();
    CDataBaseHandler::setStartWait(waitMs());
    CDataBaseHandler::setFilePath(filePath(FileName::database));
    CDataBaseHandler *store = CDataBaseHandler::getInstance();
    if (store)
        store->setBusyWait(waitMs());
    return store;
}

void CWorkFolder::noteRestart(SToolStreams &streams)
{
    streams.out << QStringLiteral("Takes effect at the program's next start in %1 (systemctl restart quillbar for "
                                  "the service).")
                           .arg(displayPath())
                << Qt::endl;
}

void CWorkFolder::notePrivilegedPort(SToolStreams &streams, quint16 port)
{
    if (port == 0 || port >= kFirstUnprivilegedPort)
        return;
    streams.out << QStringLiteral("Port %1 is below %2: the quillbar service may listen on it (it holds "
                                  "CAP_NET_BIND_SERVICE); the program started by hand as another user than "
                                  "root cannot.")
                           .arg(port)
                           .arg(kFirstUnprivilegedPort)
                << Qt::endl;
}

std::optional<quint16> CWorkFolder::statusPort()
{
    return TcpPort::from(CSettings::readValue(SettingsKey::statusPort, 0));
}
