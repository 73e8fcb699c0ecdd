#include "cmodbuscommand.h"

#include "cworkfolder.h"

#include "core/constants.h"
#include "core/csettings.h"
#include "core/tcpport.h"
#include "devices/calldevicehandler.h"

namespace {

const QString kStrict = QStringLiteral("strict-addresses");
const QString kWrites = QStringLiteral("writes");
const QString kPort = QStringLiteral("port");
const QString kOn = QStringLiteral("on");
const QString kOff = QStringLiteral("off");

} // namespace

CModbusCommand::CModbusCommand()
    : CSubCommand({
        QStringLiteral("modbus"),
        QStringLiteral("Show or set how reads of addresses without a register are answered, and which ports "
                       "take writes."),
        QStringLiteral("With --strict-addresses on, a ModBus read in which no stored register starts answers "
                       "exception 02 (illegal data address), so that a mistyped tag is seen; off, the default, "
                       "answers zeros. With --port P --writes on, ModBus writes (functions 6 and 16) on port P "
                       "become downlinks for the devices whose template has a \"downlinks\" section; off, the "
                       "default, answers them exception 01. Stored in settings.conf. With no option, print the "
                       "current settings."),
        QString()
    })
{
}

void CModbusCommand::configure(QCommandLineParser &parser) const
{
    parser.addOption({kStrict, QStringLiteral("on or off."), QStringLiteral("on|off")});
    parser.addOption({kPort, QStringLiteral("The device port that --writes sets."), QStringLiteral("PORT")});
    parser.addOption({kWrites, QStringLiteral("on or off: whether writes on --port become downlinks."),
                      QStringLiteral("on|off")});
    CWorkFolder::addOption(parser);
}

int CModbusCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    if (!parser.positionalArguments().isEmpty())
        return fail(streams, QStringLiteral("no arguments expected"), ExitUsage);
    for (const QString &option : {kStrict, kWrites}) {
        const QString value = parser.value(option);
        if (parser.isSet(option) && value != kOn && value != kOff)
            return fail(streams, QStringLiteral("--%1 must be on or off").arg(option), ExitUsage);
    }
    const std::optional<quint16> port = TcpPort::from(parser.value(kPort));
    if (parser.isSet(kWrites) != parser.isSet(kPort) || (parser.isSet(kPort) && (!port || *port == 0)))
        return fail(streams, QStringLiteral("--writes needs --port with a port from 1 to 65535"), ExitUsage);
    const bool changes = parser.isSet(kStrict) || parser.isSet(kWrites);
    if (changes && !CWorkFolder::locate(parser, streams, name()))
        return ExitUsage;
    if (!changes) {
        if (const int code = CWorkFolder::locateSite(parser, streams, name()))
            return code;
    }

    CWorkFolder::openSettings();
    if (!changes) {
        show(streams);
        return ExitClean;
    }
    CSettings *settings = CSettings::getInstance(QString());
    QStringList changed;
    // Off leaves no key at all, as before the setting was ever made.
    if (parser.isSet(kStrict)) {
        if (parser.value(kStrict) == kOn)
            CSettings::writeValue(SettingsKey::strictAddresses, true);
        else
            CSettings::removeValue(SettingsKey::strictAddresses);
        changed.append(QStringLiteral("strict addresses %1").arg(parser.value(kStrict)));
    }
    if (parser.isSet(kWrites)) {
        CAllDeviceHandler::setPortTakesWrites(*port, parser.value(kWrites) == kOn);
        changed.append(QStringLiteral("writes %1 on port %2").arg(parser.value(kWrites)).arg(*port));
    }
    if (settings->status() != QSettings::NoError)
        return fail(streams, QStringLiteral("cannot write %1").arg(FileName::settings), ExitFindings);
    show(streams);
    CWorkFolder::logChange(name(), changed.join(QStringLiteral(", ")));
    CWorkFolder::noteRestart(streams);
    return ExitClean;
}

void CModbusCommand::show(SToolStreams &streams)
{
    const bool strict = CSettings::readValue(SettingsKey::strictAddresses, SettingsDefault::strictAddresses).toBool();
    streams.out << (strict ? QStringLiteral("strict addresses on: reads without a register answer exception 02")
                           : QStringLiteral("strict addresses off: reads without a register answer zeros"))
                << Qt::endl;
    CSettings *settings = CSettings::getInstance(QString());
    settings->beginGroup(SettingsKey::writablePortsGroup);
    const QStringList keys = settings->childKeys();
    settings->endGroup();
    QStringList ports;
    for (const QString &key : keys) {
        if (CAllDeviceHandler::portTakesWrites(quint16(key.toUInt())))
            ports.append(key);
    }
    streams.out << (ports.isEmpty() ? QStringLiteral("writes off on every port: they answer exception 01")
                                    : QStringLiteral("writes on for port(s) %1: they become downlinks where a "
                                                     "template has downlinks")
                                              .arg(ports.join(QStringLiteral(", "))))
                << Qt::endl;
}
