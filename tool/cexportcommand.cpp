#include "cexportcommand.h"

#include "cimportformat.h"
#include "cstorereader.h"
#include "ctablewriter.h"
#include "cworkfolder.h"

#include "core/constants.h"
#include "devices/calldevicehandler.h"

#include <QLocale>

#include <algorithm>

namespace {

const QString kRegistersOption = QStringLiteral("registers");

bool isScaled(const SStoredRegister &reg)
{
    return reg.multiplier != 1.0 || reg.offset != 0.0 || !reg.unit.isEmpty() || reg.decimals > 0;
}

QString numberText(double value)
{
    // The fewest digits that read back as the same double.
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

} // namespace

CExportCommand::CExportCommand()
    : CSubCommand({
        QStringLiteral("export"),
        QStringLiteral("Print the stored devices (or their scaling) in the import format."),
        QStringLiteral("Print the stored devices as DEVICES.csv for import; with --registers, print instead "
                       "the registers whose multiplier, offset or unit differ from 1, 0 and none, as "
                       "REGISTERS.csv. The register file is opened read-only."),
        QString()
    })
{
}

void CExportCommand::configure(QCommandLineParser &parser) const
{
    parser.addOption({kRegistersOption, QStringLiteral("Print the scaling rows instead of the devices.")});
    CWorkFolder::addOption(parser);
    CWorkFolder::addWaitOption(parser);
}

int CExportCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    if (!parser.positionalArguments().isEmpty())
        return fail(streams, QStringLiteral("no arguments expected"), ExitUsage);
    if (!CWorkFolder::readWait(parser, streams, name()))
        return ExitUsage;
    if (const int code = CWorkFolder::locateSite(parser, streams, name()))
        return code;
    CStoreReader reader(CWorkFolder::filePath(FileName::database), CWorkFolder::waitMs());
    if (!reader.open())
        return fail(streams, reader.errorText(), ExitFindings);

    if (parser.isSet(kRegistersOption)) {
        const auto registers = reader.registers();
        if (!registers)
            return fail(streams, reader.errorText(), ExitFindings);
        // The optional columns come only when some row has a value for them,
        // so that a site without the opt-ins exports as before.
        const bool anyDecimals = std::any_of(registers->cbegin(), registers->cend(),
                                             [](const SStoredRegister &reg) { return reg.decimals > 0; });
        CTableWriter table(CTableWriter::Csv, anyDecimals ? ImportFormat::registersColumns
                                                          : ImportFormat::registersHeader);
        for (const SStoredRegister &reg : *registers) {
            if (!isScaled(reg))
                continue;
            QStringList row{reg.devEui, QString::number(reg.address), numberText(reg.multiplier),
                            numberText(reg.offset), reg.unit};
            if (anyDecimals)
                row.append(QString::number(reg.decimals));
            table.addRow(row);
        }
        table.write(streams.out);
        return ExitClean;
    }

    const std::optional<SStoredDevices> devices = reader.allDevices();
    if (!devices)
        return fail(streams, reader.errorText(), ExitFindings);
    CWorkFolder::openSettings();
    const bool anyMaxAge = std::any_of(devices->modbus.cbegin(), devices->modbus.cend(),
                                       [](const SStoredDevice &device) {
                                           return CAllDeviceHandler::maxDataAge(device.devEui) > 0;
                                       });
    const bool anyWritable = std::any_of(devices->modbus.cbegin(), devices->modbus.cend(),
                                         [](const SStoredDevice &device) {
                                             return CAllDeviceHandler::portTakesWrites(quint16(device.port));
                                         });
    QStringList header = ImportFormat::devicesHeader;
    if (anyMaxAge)
        header.append(ImportFormat::maxAge);
    if (anyWritable)
        header.append(ImportFormat::writable);
    CTableWriter table(CTableWriter::Csv, header);
    for (const SStoredDevice &device : devices->modbus) {
        QStringList row{device.devEui, device.appEui, device.deviceName, QString::number(device.port),
                        QString::number(device.startAddr), ImportFormat::modbusKind};
        if (anyMaxAge)
            row.append(QString::number(CAllDeviceHandler::maxDataAge(device.devEui)));
        if (anyWritable)
            row.append(CAllDeviceHandler::portTakesWrites(quint16(device.port)) ? QStringLiteral("yes")
                                                                              : QStringLiteral("no"));
        table.addRow(row);
    }
    for (const SStoredTcpDevice &device : devices->tcp)
        table.addRow({device.devEui, device.appEui, device.deviceName, QString::number(device.port), QString(),
                      ImportFormat::tcpKind});
    table.write(streams.out);
    return ExitClean;
}
