#include "cmodbuscommand.h"

#include "cworkfolder.h"

#include "core/constants.h"
#include "core/csettings.h"

namespace {

const QString kStrict = QStringLiteral("strict-addresses");
const QString kOn = QStringLiteral("on");
const QString kOff = QStringLiteral("off");

} // namespace

CModbusCommand::CModbusCommand()
    : CSubCommand({
        QStringLiteral("modbus"),
        QStringLiteral("Show or set how reads of addresses without a register are answered."),
        QStringLiteral("With --strict-addresses on, a ModBus read in which no stored register starts answers "
                       "exception 02 (illegal data address), so that a mistyped tag is seen; off, the default, "
                       "answers zeros. Stored in settings.conf. With no option, print the current setting."),
        QString()
    })
{
}

void CModbusCommand::configure(QCommandLineParser &parser) const
{
    parser.addOption({kStrict, QStringLiteral("on or off."), QStringLiteral("on|off")});
    CWorkFolder::addOption(parser);
}

int CModbusCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    if (!parser.positionalArguments().isEmpty())
        return fail(streams, QStringLiteral("no arguments expected"), ExitUsage);
    const QString value = parser.value(kStrict);
    if (parser.isSet(kStrict) && value != kOn && value != kOff)
        return fail(streams, QStringLiteral("--%1 must be on or off").arg(kStrict), ExitUsage);
    if (parser.isSet(kStrict) && !CWorkFolder::enter(parser, streams, name()))
        return ExitUsage;
    if (!parser.isSet(kStrict)) {
        if (const int code = CWorkFolder::enterSite(parser, streams, name()))
            return code;
    }

    CWorkFolder::openSettings();
    if (!parser.isSet(kStrict)) {
        show(streams);
        return ExitClean;
    }
    CSettings *settings = CSettings::getInstance(QString());
    if (value == kOn) {
        CSettings::writeValue(SettingsKey::strictAddresses, true);
    } else {
        // No key at all, as before the setting was ever made.
        CSettings::removeValue(SettingsKey::strictAddresses);
    }
    if (settings->status() != QSettings::NoError)
        return fail(streams, QStringLiteral("cannot write %1").arg(FileName::settings), ExitFindings);
    show(streams);
    CWorkFolder::logChange(name(), QStringLiteral("strict addresses %1").arg(value));
    CWorkFolder::noteRestart(streams);
    return ExitClean;
}

void CModbusCommand::show(SToolStreams &streams)
{
    const bool strict = CSettings::readValue(SettingsKey::strictAddresses, false).toBool();
    streams.out << (strict ? QStringLiteral("strict addresses on: reads without a register answer exception 02")
                           : QStringLiteral("strict addresses off: reads without a register answer zeros"))
                << Qt::endl;
}
