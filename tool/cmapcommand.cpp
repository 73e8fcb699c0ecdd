#include "cmapcommand.h"

#include "cmessagecollector.h"
#include "cstorereader.h"
#include "ctablewriter.h"
#include "ctemplatelayout.h"

#include "core/constants.h"
#include "devices/ctemplatefolder.h"

#include <QDir>

namespace {

const QString kFormatOption = QStringLiteral("format");
const QString kTemplatesOption = QStringLiteral("templates");
const QString kCsv = QStringLiteral("csv");
const QString kMarkdown = QStringLiteral("markdown");

const QStringList kHeader = {
    QStringLiteral("port"), QStringLiteral("address"), QStringLiteral("registers"), QStringLiteral("device name"),
    QStringLiteral("DevEUI"), QStringLiteral("application EUI"), QStringLiteral("device type"),
    QStringLiteral("register name"), QStringLiteral("unit"), QStringLiteral("data type"),
    QStringLiteral("multiplier"), QStringLiteral("offset"), QStringLiteral("protocol"),
};
const QString kModBus = QStringLiteral("ModBus");
const QString kTcp = QStringLiteral("TCP");

} // namespace

QString CMapCommand::name() const
{
    return QStringLiteral("map");
}

QString CMapCommand::summary() const
{
    return QStringLiteral("Export the register map of the register file as CSV.");
}

QString CMapCommand::description() const
{
    return QStringLiteral("Print the register map of every stored device as CSV: port, address, registers, "
                          "device, register, unit, data type and scaling, then the TCP devices with their ports. "
                          "The register file is opened read-only.");
}

QString CMapCommand::synopsis() const
{
    return QStringLiteral("[DB]");
}

void CMapCommand::configure(QCommandLineParser &parser) const
{
    parser.addPositionalArgument(QStringLiteral("DB"),
                                 QStringLiteral("The register file (default ./%1).").arg(FileName::database),
                                 QStringLiteral("[DB]"));
    parser.addOption({kFormatOption, QStringLiteral("csv (default) or markdown."), QStringLiteral("FORMAT"), kCsv});
    parser.addOption({kTemplatesOption,
                      QStringLiteral("The template folder that names the device types (default ./%1).")
                              .arg(FileName::deviceFolder),
                      QStringLiteral("FOLDER"), FileName::deviceFolder});
}

int CMapCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() > 1)
        return fail(streams, QStringLiteral("one register file at most"), ExitUsage);
    const QString format = parser.value(kFormatOption);
    if (format != kCsv && format != kMarkdown)
        return fail(streams, QStringLiteral("unknown format \"%1\": csv or markdown").arg(format), ExitUsage);

    CStoreReader store(arguments.isEmpty() ? FileName::database : arguments.first());
    if (!store.open())
        return fail(streams, store.errorText(), ExitFindings);
    const auto registers = store.registers();
    const auto tcpDevices = registers ? store.tcpDevices() : std::nullopt;
    if (!registers || !tcpDevices)
        return fail(streams, store.errorText(), ExitFindings);

    // The device types come from the templates; their load texts are not wanted here.
    CTemplateFolder folder;
    {
        CMessageCollector quiet;
        const QString templates = parser.value(kTemplatesOption);
        if (QDir(templates).exists())
            folder.load(templates);
    }

    CTableWriter table(format == kMarkdown ? CTableWriter::Markdown : CTableWriter::Csv, kHeader);
    for (const SStoredRegister &reg : *registers) {
        table.addRow({QString::number(reg.port), QString::number(reg.address),
                      QString::number(CTemplateLayout::registersOf(reg.bitSize)), reg.deviceName, reg.devEui,
                      reg.appEui, folder.templates().value(reg.appEui.toUpper()).devType, reg.name, reg.unit,
                      reg.dataType, QString::number(reg.multiplier), QString::number(reg.offset), kModBus});
    }
    for (const SStoredTcpDevice &device : *tcpDevices) {
        table.addRow({QString::number(device.port), QString(), QString(), device.deviceName, device.devEui,
                      device.appEui, folder.tcpTemplates().value(device.appEui.toUpper()).devType, QString(),
                      QString(), QString(), QString(), QString(), kTcp});
    }
    table.write(streams.out);
    return ExitClean;
}
