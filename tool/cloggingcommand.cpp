#include "cloggingcommand.h"

#include "cworkfolder.h"

#include "core/constants.h"
#include "core/csettings.h"

namespace {

const QString kOn = QStringLiteral("on");
const QString kOff = QStringLiteral("off");
const QString kMaxFiles = QStringLiteral("max-files");
const QString kMaxSize = QStringLiteral("max-size");

// Unlike the dialog, which takes 0: a size of 0 would make the program
// rotate its log at every batch of lines.
constexpr int kMinFileSizeMb = 1;
// A ModBus request writes a REQ and an ANS line; a read of two registers
// measured 85 and 87 bytes in history.log, stamp and line feed included.
constexpr double kBytesPerPoll = 85 + 87;
constexpr double kSecondsPerHour = 3600;

} // namespace

CLoggingCommand::CLoggingCommand()
    : CSubCommand({
        QStringLiteral("logging"),
        QStringLiteral("Show or set the log keeping (on or off, number and size of files)."),
        QStringLiteral("Set the log keeping of the settings dialog in settings.conf. With no option, print "
                       "the current values and how long history.log keeps its history at one ModBus poll a "
                       "second."),
        QString()
    })
{
}

void CLoggingCommand::configure(QCommandLineParser &parser) const
{
    parser.addOption({kOn, QStringLiteral("Write the operator's log.")});
    parser.addOption({kOff, QStringLiteral("Write no operator's log.")});
    parser.addOption({kMaxFiles, QStringLiteral("Number of log files, 1 to 20."), QStringLiteral("N")});
    parser.addOption({kMaxSize, QStringLiteral("Size of one log file in millions of bytes, 1 to 100000."),
                      QStringLiteral("MB")});
    CWorkFolder::addOption(parser);
}

int CLoggingCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    if (!parser.positionalArguments().isEmpty())
        return fail(streams, QStringLiteral("no arguments expected"), ExitUsage);
    if (parser.isSet(kOn) && parser.isSet(kOff))
        return fail(streams, QStringLiteral("--on and --off exclude each other"), ExitUsage);
    bool ok = true;
    const int files = parser.isSet(kMaxFiles) ? parser.value(kMaxFiles).toInt(&ok) : 0;
    if (!ok || (parser.isSet(kMaxFiles) && (files < SettingsDefault::leastFiles || files > SettingsDefault::mostFiles)))
        return fail(streams, QStringLiteral("--max-files must be a number from 1 to 20"), ExitUsage);
    const int sizeMb = parser.isSet(kMaxSize) ? parser.value(kMaxSize).toInt(&ok) : 0;
    if (!ok || (parser.isSet(kMaxSize) && (sizeMb < kMinFileSizeMb || sizeMb > SettingsDefault::mostFileSizeMb)))
        return fail(streams, QStringLiteral("--max-size must be a number from 1 to 100000"), ExitUsage);
    const bool change = parser.isSet(kOn) || parser.isSet(kOff) || parser.isSet(kMaxFiles) || parser.isSet(kMaxSize);
    if (change && !CWorkFolder::locate(parser, streams, name()))
        return ExitUsage;
    if (!change) {
        if (const int code = CWorkFolder::locateSite(parser, streams, name()))
            return code;
    }

    CWorkFolder::openSettings();
    if (!change)
        return show(streams);

    if (parser.isSet(kOn) || parser.isSet(kOff))
        CSettings::writeValue(SettingsKey::useLog, parser.isSet(kOn));
    if (parser.isSet(kMaxFiles))
        CSettings::writeValue(SettingsKey::maxFilesCounter, files);
    if (parser.isSet(kMaxSize))
        CSettings::writeValue(SettingsKey::fileMaxSize, sizeMb * SettingsDefault::bytesPerMb);
    if (CSettings::getInstance(QString())->status() != QSettings::NoError)
        return fail(streams, QStringLiteral("cannot write %1").arg(FileName::settings), ExitFindings);
    show(streams);
    CWorkFolder::logChange(name(), QStringLiteral("changed the log keeping"));
    CWorkFolder::noteRestart(streams);
    return ExitClean;
}

int CLoggingCommand::show(SToolStreams &streams) const
{
    const bool useLog = CSettings::readValue(SettingsKey::useLog, SettingsDefault::useLog).toBool();
    const int files = CSettings::readValue(SettingsKey::maxFilesCounter, SettingsDefault::maxFilesCounter).toInt();
    const qint64 size = CSettings::readValue(SettingsKey::fileMaxSize, SettingsDefault::fileMaxSize).toLongLong();
    streams.out << QStringLiteral("log %1, %2 file(s) of %3 bytes")
                           .arg(useLog ? kOn : kOff)
                           .arg(files)
                           .arg(size)
                << Qt::endl;
    // The last file filling wipes them all, so this is the longest history kept.
    const double hours = double(qMax(files, 1)) * double(size) / kBytesPerPoll / kSecondsPerHour;
    streams.out << QStringLiteral("at one ModBus poll a second (a two-register read, %1 bytes of log) the log is "
                                  "emptied about every %2 hours")
                           .arg(kBytesPerPoll)
                           .arg(hours, 0, 'f', 1)
                << Qt::endl;
    return ExitClean;
}
