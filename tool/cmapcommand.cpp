#include "cmapcommand.h"

#include "cmessagecollector.h"
#include "cstorereader.h"
#include "ctablewriter.h"
#include "cworkfolder.h"

#include "core/constants.h"
#include "core/csettings.h"
#include "database/registerwords.h"
#include "devices/calldevicehandler.h"
#include "devices/ctemplatefolder.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

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
const QString kStatus = QStringLiteral("status");
const QString kDecimals = QStringLiteral("decimals");
const QString kDownlink = QStringLiteral("downlink");

QStringList statusRow(quint16 port, quint32 address, quint16 width, const QString &deviceName,
                      const QString &devEui, const QString &registerName)
{
    return {QString::number(port), QString::number(address), QString::number(width), deviceName, devEui,
            QString(), QString(), registerName, QString(), DataType::uinteger, QStringLiteral("1"),
            QStringLiteral("0"), kStatus};
}

// A SCADA tag reads a negative value differently when its template stores
// two's complement, so the data type says so.
QString dataTypeText(const QString &dataType, const SDeviceTemplate &deviceTemplate)
{
    if (deviceTemplate.twosComplement && dataType == DataType::integer)
        return QStringLiteral("%1 (two's complement)").arg(dataType);
    return dataType;
}

} // namespace

CMapCommand::CMapCommand()
    : CSubCommand({
        QStringLiteral("map"),
        QStringLiteral("Export the register map of the register file as CSV."),
        QStringLiteral("Print the register map of every stored device as CSV: port, address, registers, "
                       "device, register, unit, data type and scaling, then the TCP devices with their ports, "
                       "the outcome registers of the downlinks on ports that take writes, then the status "
                       "registers when the settings.conf beside the register file sets their port. The register file is opened read-only."),
        QStringLiteral("[DB]")
    })
{
}

void CMapCommand::configure(QCommandLineParser &parser) const
{
    parser.addPositionalArgument(QStringLiteral("DB"),
                                 QStringLiteral("The register file (default %1 of the working folder).")
                                         .arg(FileName::database),
                                 QStringLiteral("[DB]"));
    parser.addOption({kFormatOption, QStringLiteral("csv (default) or markdown."), QStringLiteral("FORMAT"), kCsv});
    parser.addOption({kTemplatesOption,
                      QStringLiteral("The template folder that names the device types (default %1 beside the "
                                     "register file).")
                              .arg(FileName::deviceFolder),
                      QStringLiteral("FOLDER")});
    CWorkFolder::addOption(parser);
    CWorkFolder::addWaitOption(parser);
}

int CMapCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() > 1)
        return fail(streams, QStringLiteral("one register file at most"), ExitUsage);
    const QString format = parser.value(kFormatOption);
    if (format != kCsv && format != kMarkdown)
        return fail(streams, QStringLiteral("unknown format \"%1\": csv or markdown").arg(format), ExitUsage);
    if (!CWorkFolder::readWait(parser, streams, name()))
        return ExitUsage;

    const QString dbPath = arguments.isEmpty() ? CWorkFolder::fileIn(parser, FileName::database) : arguments.first();
    CStoreReader store(dbPath, CWorkFolder::waitMs());
    if (!store.open())
        return fail(streams, store.errorText(), ExitFindings);
    const auto registers = store.registers();
    const std::optional<SStoredDevices> devices = registers ? store.allDevices() : std::nullopt;
    if (!registers || !devices)
        return fail(streams, store.errorText(), ExitFindings);

    // The device types come from the templates; their load texts are not wanted here.
    CTemplateFolder folder;
    {
        CMessageCollector quiet;
        // The working folder's templates lie beside its register file.
        const QString templates = parser.isSet(kTemplatesOption)
                ? parser.value(kTemplatesOption)
                : QFileInfo(dbPath).dir().filePath(FileName::deviceFolder);
        if (QDir(templates).exists())
            folder.load(templates);
    }

    // The decimals column comes only with the opt-in, so that a tag import
    // set up for the usual columns goes on reading them.
    const bool anyDecimals = std::any_of(registers->cbegin(), registers->cend(),
                                         [](const SStoredRegister &reg) { return reg.decimals > 0; });
    CTableWriter table(format == kMarkdown ? CTableWriter::Markdown : CTableWriter::Csv,
                       anyDecimals ? kHeader + QStringList(kDecimals) : kHeader);
    for (const SStoredRegister &reg : *registers) {
        const SDeviceTemplate deviceTemplate = folder.templates().value(reg.appEui.toUpper());
        QStringList row{QString::number(reg.port), QString::number(reg.address),
                        QString::number(RegisterWords::wordCount(reg.bitSize)), reg.deviceName, reg.devEui,
                        reg.appEui, deviceTemplate.devType, reg.name, reg.unit,
                        dataTypeText(reg.dataType, deviceTemplate), QString::number(reg.multiplier),
                        QString::number(reg.offset), kModBus};
        if (anyDecimals)
            row.append(QString::number(reg.decimals));
        table.addRow(row);
    }
    // The register file's folder is the program's working folder.
    CSettings::getInstance(QFileInfo(dbPath).absoluteDir().filePath(FileName::settings));
    addDownlinkRows(devices->modbus, folder, anyDecimals, table);
    for (const SStoredTcpDevice &device : devices->tcp) {
        table.addRow({QString::number(device.port), QString(), QString(), device.deviceName, device.devEui,
                      device.appEui, folder.tcpTemplates().value(device.appEui.toUpper()).devType, QString(),
                      QString(), QString(), QString(), QString(), kTcp});
    }
    const int code = addStatusRows(*devices, table, streams);
    table.write(streams.out);
    return code;
}

// The outcome registers of the downlinks that a port taking writes serves.
void CMapCommand::addDownlinkRows(const QList<SStoredDevice> &devices, const CTemplateFolder &folder,
                                  bool withDecimals, CTableWriter &table)
{
    for (const SStoredDevice &device : devices) {
        if (!CAllDeviceHandler::portTakesWrites(quint16(device.port)))
            continue;
        const SDeviceTemplate deviceTemplate = folder.templates().value(device.appEui.toUpper());
        const auto add = [&](qint32 offset, int width, const QString &name) {
            QStringList row{QString::number(device.port), QString::number(device.startAddr + quint32(offset)),
                            QString::number(width), device.deviceName, device.devEui, device.appEui,
                            deviceTemplate.devType, name, QString(), DataType::uinteger, QStringLiteral("1"),
                            QStringLiteral("0"), kDownlink};
            if (withDecimals)
                row.append(QStringLiteral("0"));
            table.addRow(row);
        };
        for (const SDownlink &entry : deviceTemplate.downlinks) {
            add(entry.statusReg, 1, QStringLiteral("%1 downlink status").arg(entry.name));
            add(entry.statusTimeReg, 2, QStringLiteral("%1 downlink status time (s since 1970)").arg(entry.name));
        }
    }
}

int CMapCommand::addStatusRows(const SStoredDevices &devices, CTableWriter &table, SToolStreams &streams) const
{
    const std::optional<quint16> port = CWorkFolder::statusPort();
    if (!port || *port == 0)
        return ExitClean;
    const QString holder = devices.holderOf(*port);
    if (!holder.isEmpty())
        return fail(streams, QStringLiteral("status port %1 is held by %2, so the program leaves the status "
                                            "registers off")
                                     .arg(*port)
                                     .arg(holder),
                    ExitFindings);

    for (const StatusBlock::SField &field : StatusBlock::kFields)
        table.addRow(statusRow(*port, field.address, field.width, QString(), QString(), field.name));
    QList<SStoredDevice> byId = devices.modbus;
    std::sort(byId.begin(), byId.end(), [](const SStoredDevice &a, const SStoredDevice &b) { return a.id < b.id; });
    quint32 address = StatusBlock::deviceAgeBase;
    for (const SStoredDevice &device : std::as_const(byId)) {
        table.addRow(statusRow(*port, address, StatusBlock::deviceAgeWidth, device.deviceName, device.devEui,
                               StatusBlock::deviceAgeName));
        address += StatusBlock::deviceAgeWidth;
    }
    return ExitClean;
}
