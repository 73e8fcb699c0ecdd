#include "cstatuscommand.h"

#include "cstorereader.h"
#include "cworkfolder.h"

#include "core/constants.h"
#include "core/csettings.h"
#include "core/tcpport.h"

#include <QFileInfo>

namespace {

const QString kPort = QStringLiteral("port");

} // namespace

CStatusCommand::CStatusCommand()
    : CSubCommand({
        QStringLiteral("status"),
        QStringLiteral("Show or set the port of the status registers."),
        QStringLiteral("Set the port on which the program serves its status registers over ModBus-TCP, in "
                       "settings.conf; --port 0 turns them off. A port that a stored device publishes on is "
                       "refused, as the program would refuse it. With no option, print the current port."),
        QString()
    })
{
}

void CStatusCommand::configure(QCommandLineParser &parser) const
{
    parser.addOption({kPort, QStringLiteral("The port, 1 to 65535, or 0 for none."), QStringLiteral("N")});
    CWorkFolder::addOption(parser);
    CWorkFolder::addWaitOption(parser);
}

int CStatusCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    if (!parser.positionalArguments().isEmpty())
        return fail(streams, QStringLiteral("no arguments expected"), ExitUsage);
    const std::optional<quint16> port = parser.isSet(kPort) ? TcpPort::from(parser.value(kPort)) : 0;
    if (!port)
        return fail(streams, QStringLiteral("--port must be a number from 1 to 65535, or 0 for none"), ExitUsage);
    if (!CWorkFolder::readWait(parser, streams, name()))
        return ExitUsage;
    if (parser.isSet(kPort) && !CWorkFolder::locate(parser, streams, name()))
        return ExitUsage;
    if (!parser.isSet(kPort)) {
        if (const int code = CWorkFolder::locateSite(parser, streams, name()))
            return code;
    }

    if (!parser.isSet(kPort)) {
        CWorkFolder::openSettings();
        return show(streams);
    }
    if (*port != 0) {
        QString holder;
        if (!findHolder(*port, &holder, streams))
            return ExitFindings;
        if (!holder.isEmpty())
            return fail(streams, QStringLiteral("port %1 is held by %2").arg(*port).arg(holder), ExitFindings);
    }

    CWorkFolder::openSettings();
    CSettings *settings = CSettings::getInstance(QString());
    if (*port == 0) {
        // No key at all rather than a 0, as before the block was ever set.
        CSettings::removeValue(SettingsKey::statusPort);
    } else {
        CSettings::writeValue(SettingsKey::statusPort, *port);
    }
    if (settings->status() != QSettings::NoError)
        return fail(streams, QStringLiteral("cannot write %1").arg(FileName::settings), ExitFindings);
    show(streams);
    CWorkFolder::logChange(name(), *port == 0 ? QStringLiteral("status registers off")
                                              : QStringLiteral("status registers on port %1").arg(*port));
    CWorkFolder::notePrivilegedPort(streams, *port);
    CWorkFolder::noteRestart(streams);
    return ExitClean;
}

bool CStatusCommand::findHolder(quint16 port, QString *holder, SToolStreams &streams) const
{
    if (!QFileInfo::exists(CWorkFolder::filePath(FileName::database)))
        return true;
    CStoreReader reader(CWorkFolder::filePath(FileName::database), CWorkFolder::waitMs());
    if (!reader.open()) {
        fail(streams, reader.errorText(), ExitFindings);
        return false;
    }
    const std::optional<SStoredDevices> devices = reader.allDevices();
    if (!devices) {
        fail(streams, reader.errorText(), ExitFindings);
        return false;
    }
    *holder = devices->holderOf(port);
    return true;
}

int CStatusCommand::show(SToolStreams &streams) const
{
    const std::optional<quint16> port = CWorkFolder::statusPort();
    if (!port)
        return fail(streams, QStringLiteral("%1 holds %2 = \"%3\", which is no port; set it with --port")
                                     .arg(FileName::settings, SettingsKey::statusPort,
                                          CSettings::readValue(SettingsKey::statusPort).toString()),
                    ExitFindings);
    if (*port == 0) {
        streams.out << QStringLiteral("status registers off") << Qt::endl;
        return ExitClean;
    }
    streams.out << QStringLiteral("status registers on port %1").arg(*port) << Qt::endl;
    QString holder;
    if (!findHolder(*port, &holder, streams))
        return ExitFindings;
    // A device added on the port since it was set wins it at the program's start.
    if (!holder.isEmpty())
        return fail(streams, QStringLiteral("port %1 is held by %2, so the program leaves the status registers off")
                                     .arg(*port)
                                     .arg(holder),
                    ExitFindings);
    return ExitClean;
}
