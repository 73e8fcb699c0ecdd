#include "cremovecommand.h"

#include "cstorereader.h"
#include "cworkfolder.h"

#include "core/constants.h"
#include "database/cdatabasehandler.h"

namespace {

struct SFoundDevice
{
    quint32 id = 0;
    ProtocolOption protocol = ProtocolOption::ModBus;
    QString devEui;
};

} // namespace

CRemoveCommand::CRemoveCommand()
    : CSubCommand({
        QStringLiteral("remove"),
        QStringLiteral("Remove one stored device and its registers."),
        QStringLiteral("Remove the device with the DevEUI (any letter case) from server.db, with its registers, "
                       "as the window's delete does."),
        QStringLiteral("DEVEUI")
    })
{
}

void CRemoveCommand::configure(QCommandLineParser &parser) const
{
    parser.addPositionalArgument(QStringLiteral("DEVEUI"), QStringLiteral("The device to remove."));
    CWorkFolder::addOption(parser);
    CWorkFolder::addWaitOption(parser);
}

int CRemoveCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1)
        return fail(streams, QStringLiteral("one DEVEUI expected"), ExitUsage);
    const QString devEui = arguments.first().trimmed().toUpper();
    if (!CWorkFolder::readWait(parser, streams, name()))
        return ExitUsage;
    if (const int code = CWorkFolder::locateSite(parser, streams, name()))
        return code;

    std::optional<SFoundDevice> found;
    {
        CStoreReader reader(CWorkFolder::filePath(FileName::database), CWorkFolder::waitMs());
        if (!reader.open())
            return fail(streams, reader.errorText(), ExitFindings);
        const std::optional<SStoredDevices> devices = reader.allDevices();
        if (!devices)
            return fail(streams, reader.errorText(), ExitFindings);
        for (const SStoredDevice &device : devices->modbus) {
            if (device.devEui.toUpper() == devEui)
                found = SFoundDevice{device.id, ProtocolOption::ModBus, device.devEui};
        }
        for (const SStoredTcpDevice &device : devices->tcp) {
            if (device.devEui.toUpper() == devEui)
                found = SFoundDevice{device.id, ProtocolOption::TCP, device.devEui};
        }
    }
    if (!found)
        return fail(streams, QStringLiteral("no device %1 is stored").arg(devEui), ExitFindings);

    CDataBaseHandler *store = CWorkFolder::openStore();
    const bool removed = store && store->deleteDevice(found->id, found->protocol);
    if (!removed && store && store->deleteWasBusy())
        return fail(streams, CStoreReader::busyError(FileName::database), ExitFindings);
    if (!removed)
        return fail(streams, QStringLiteral("device %1 was not removed: %2")
                                     .arg(found->devEui, CWorkFolder::takeLibraryText()),
                    ExitFindings);
    CWorkFolder::logChange(name(), QStringLiteral("removed device %1").arg(found->devEui));
    streams.out << QStringLiteral("Removed device %1.").arg(found->devEui) << Qt::endl;
    CWorkFolder::noteRestart(streams);
    return ExitClean;
}
