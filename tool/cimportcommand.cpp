#include "cimportcommand.h"

#include "cimportformat.h"
#include "cmessagecollector.h"
#include "cworkfolder.h"

#include "core/constants.h"
#include "database/cdatabasehandler.h"
#include "devices/calldevicehandler.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>

namespace {

const QString kRegistersOption = QStringLiteral("registers");
const QString kDryRunOption = QStringLiteral("dry-run");

struct SCsvFile
{
    QString path;
    QList<SCsvRecord> records;  // without the header
    QStringList header;
};

// Reads a CSV file with the given header; the error is the whole message.
// The records in the order of `columns`, an optional column the file lacks
// read as empty. The header names the required columns first, then any of
// the optional ones.
std::optional<SCsvFile> readCsv(const QString &path, const QStringList &columns, int required,
                                const QString &what, QString *error)
{
    QFile file(path);
    if (!QFileInfo(path).isFile()) {
        *error = QStringLiteral("no file \"%1\"").arg(path);
        return std::nullopt;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read \"%1\"").arg(path);
        return std::nullopt;
    }
    CCsvReader reader;
    if (!reader.parse(file.readAll())) {
        *error = QStringLiteral("\"%1\" %2").arg(path, reader.errorText());
        return std::nullopt;
    }
    QList<SCsvRecord> records = reader.records();
    QStringList found = records.isEmpty() ? QStringList() : records.first().fields;
    for (QString &field : found)
        field = field.trimmed();
    const QStringList optional = columns.mid(required);
    bool known = found.mid(0, required) == columns.mid(0, required);
    for (int i = required; known && i < found.size(); ++i)
        known = optional.contains(found.at(i)) && found.indexOf(found.at(i)) == i;
    if (!known) {
        *error = QStringLiteral("\"%1\" is not %2: its first line must be %3, then any of %4")
                         .arg(path, what, columns.mid(0, required).join(QLatin1Char(',')),
                              optional.join(QLatin1Char(',')));
        return std::nullopt;
    }
    records.removeFirst();
    for (SCsvRecord &record : records) {
        if (record.fields.size() != found.size()) {
            record.misfit = int(found.size());
            continue;
        }
        QStringList fields;
        for (const QString &column : columns) {
            const int at = int(found.indexOf(column));
            fields.append(at < 0 ? QString() : record.fields.at(at));
        }
        record.fields = fields;
    }
    return SCsvFile{path, records, found};
}

} // namespace

CImportCommand::CImportCommand()
    : CSubCommand({
        QStringLiteral("import"),
        QStringLiteral("Store devices and their scaling from CSV files, all or none."),
        QStringLiteral("Store the devices of DEVICES.csv (dev_eui,app_eui,name,port,start_addr, then any of "
                       "kind,max_age,writable) with the registers of their templates, and with --registers the scaling "
                       "of REGISTERS.csv (dev_eui,address,multiplier,offset,unit, then optionally decimals; "
                       "the address as map prints it). Every row "
                       "is checked first: if any is refused, nothing is written and each refused row is "
                       "listed. A missing server.db is made with the program's schema."),
        QStringLiteral("DEVICES.csv")
    })
{
}

void CImportCommand::configure(QCommandLineParser &parser) const
{
    parser.addPositionalArgument(QStringLiteral("DEVICES.csv"), QStringLiteral("The devices to store."));
    parser.addOption({kRegistersOption, QStringLiteral("The scaling and units of their registers."),
                      QStringLiteral("REGISTERS.csv")});
    parser.addOption({kDryRunOption, QStringLiteral("Check and print what would be stored; write nothing.")});
    CWorkFolder::addOption(parser);
    CWorkFolder::addWaitOption(parser);
}

int CImportCommand::run(const QCommandLineParser &parser, SToolStreams &streams)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1)
        return fail(streams, QStringLiteral("one DEVICES.csv expected"), ExitUsage);
    if (!CWorkFolder::readWait(parser, streams, name()))
        return ExitUsage;
    // The files are named from where the tool was started, before --dir moves it.
    const QString devicesPath = QFileInfo(arguments.first()).absoluteFilePath();
    const QString registersPath = parser.isSet(kRegistersOption)
            ? QFileInfo(parser.value(kRegistersOption)).absoluteFilePath()
            : QString();
    QString error;
    const std::optional<SCsvFile> devices = readCsv(devicesPath, ImportFormat::devicesColumns,
                                                     ImportFormat::devicesRequired, QStringLiteral("a devices file"),
                                                     &error);
    if (!devices)
        return fail(streams, error, ExitFindings);
    std::optional<SCsvFile> registers;
    if (!registersPath.isEmpty()) {
        registers = readCsv(registersPath, ImportFormat::registersColumns, ImportFormat::registersRequired,
                            QStringLiteral("a register file"), &error);
        if (!registers)
            return fail(streams, error, ExitFindings);
    }
    if (!CWorkFolder::locate(parser, streams, name()))
        return ExitUsage;
    const QFileInfo templateFolder(CWorkFolder::filePath(FileName::deviceFolder));
    if (!templateFolder.isDir())
        return fail(streams, QStringLiteral("%1 has no %2, whose templates the devices need; name the working "
                                            "folder with --dir")
                                     .arg(CWorkFolder::displayPath(), FileName::deviceFolder),
                    ExitFindings);

    const CAllDeviceHandler *registry = nullptr;
    {
        // The template texts are for check; here only the templates count.
        CMessageCollector quiet;
        CAllDeviceHandler::setTemplateFolder(templateFolder.absoluteFilePath());
        registry = CAllDeviceHandler::getInstance();
    }
    CWorkFolder::openSettings();
    SImportRows rows{arguments.first(), devices->records, QString(), {},
                     devices->header.contains(ImportFormat::maxAge), false,
                     devices->header.contains(ImportFormat::writable)};
    if (registers) {
        rows.registersName = parser.value(kRegistersOption);
        rows.registers = registers->records;
        rows.withDecimals = registers->header.contains(ImportFormat::decimals);
    }
    CImportPlan plan(*registry);
    if (!check(plan, rows, streams))
        return ExitFindings;
    if (!plan.refusals().isEmpty())
        return refuse(plan, streams);
    printPlan(plan.devices(), streams);
    if (parser.isSet(kDryRunOption)) {
        streams.out << QStringLiteral("Dry run: nothing was written.") << Qt::endl;
        return ExitClean;
    }
    return store(*registry, rows, streams);
}

bool CImportCommand::check(CImportPlan &plan, const SImportRows &rows, SToolStreams &streams) const
{
    plan.setStatusPort(CWorkFolder::statusPort().value_or(0));
    const QString storePath = CWorkFolder::filePath(FileName::database);
    if (QFileInfo::exists(storePath)) {
        CStoreReader reader(storePath, CWorkFolder::waitMs());
        if (!reader.open()) {
            fail(streams, reader.errorText(), ExitFindings);
            return false;
        }
        const std::optional<SStoredDevices> stored = reader.allDevices();
        const auto storedRegisters = stored ? reader.registers() : std::nullopt;
        if (!storedRegisters) {
            fail(streams, reader.errorText(), ExitFindings);
            return false;
        }
        plan.addStored(*stored, *storedRegisters);
    }
    plan.checkDevices(rows.devicesName, rows.devices, rows.withMaxAge, rows.withWritable);
    if (!rows.registersName.isEmpty())
        plan.checkRegisters(rows.registersName, rows.registers, rows.withDecimals);
    return true;
}

int CImportCommand::refuse(const CImportPlan &plan, SToolStreams &streams) const
{
    for (const SImportRefusal &refusal : plan.refusals())
        streams.err << QStringLiteral("%1:%2: %3").arg(refusal.file).arg(refusal.line).arg(refusal.reason)
                    << Qt::endl;
    return fail(streams, QStringLiteral("%1 row(s) refused; nothing was written").arg(plan.refusals().size()),
                ExitFindings);
}

void CImportCommand::printPlan(const QList<SImportDevice> &devices, SToolStreams &streams)
{
    for (const SImportDevice &planned : devices) {
        const DB::SDeviceRegMapDescription &device = planned.device;
        if (planned.protocol == ProtocolOption::TCP) {
            streams.out << QStringLiteral("TCP device %1 \"%2\" (%3) on port %4")
                                   .arg(device.devEui, device.name, device.appEui)
                                   .arg(device.port)
                        << Qt::endl;
            continue;
        }
        streams.out << QStringLiteral("ModBus device %1 \"%2\" (%3) on port %4 from address %5, %6 register(s), "
                                      "%7 scaled")
                               .arg(device.devEui, device.name, device.appEui)
                               .arg(device.port)
                               .arg(device.startAddr)
                               .arg(device.regs.size())
                               .arg(planned.scaling.size())
                    << (planned.writable.value_or(false) ? QStringLiteral(", its port takes writes") : QString())
                    << Qt::endl;
    }
}

int CImportCommand::store(const CAllDeviceHandler &registry, const SImportRows &rows, SToolStreams &streams)
{
    CDataBaseHandler *store = CWorkFolder::openStore();
    if (!store)
        return fail(streams, QStringLiteral("cannot open %1: %2").arg(FileName::database,
                                                                      CWorkFolder::takeLibraryText()),
                    ExitFindings);
    if (!store->beginWrite()) {
        if (store->writeWasBusy())
            return fail(streams, CStoreReader::busyError(FileName::database), ExitFindings);
        return fail(streams, QStringLiteral("%1 cannot be written (%2); nothing was written")
                                     .arg(FileName::database, store->writeError()),
                    ExitFindings);
    }

    // Nothing of the import stays when one step of it fails.
    const auto abandon = [&](const QString &reason) {
        const bool busy = store->writeWasBusy() || store->lastFailureWasBusy();
        store->rollbackWrite();
        if (busy)
            return fail(streams, CStoreReader::busyError(FileName::database), ExitFindings);
        const QString why = CWorkFolder::takeLibraryText();
        return fail(streams, QStringLiteral("%1%2; nothing was written").arg(reason, why.isEmpty() ? QString()
                                                                                                 : ": " + why),
                    ExitFindings);
    };
    // Another import may have committed since the check above. Nobody else
    // can commit while this connection holds the write lock, and readers still
    // read, so a check made now sees the file this import is written into.
    CImportPlan plan(registry);
    const bool read = check(plan, rows, streams);
    if (!read || !plan.refusals().isEmpty()) {
        store->rollbackWrite();
        return read ? refuse(plan, streams) : ExitFindings;
    }
    const QList<SImportDevice> &devices = plan.devices();
    for (const SImportDevice &planned : devices) {
        if (!store->registerNewDevice(planned.device, planned.protocol))
            return abandon(QStringLiteral("device %1 was not stored").arg(planned.device.devEui));
    }
    QHash<QString, quint32> ids;
    QSqlQuery stored = store->getDevices(QString(), ProtocolOption::ModBus);
    while (stored.next())
        ids.insert(stored.value(kDeviceColumns.indexOf(QStringLiteral("dev_eui"))).toString(),
                   stored.value(0).toUInt());
    stored.finish();
    for (const SImportDevice &planned : devices) {
        if (planned.scaling.isEmpty())
            continue;
        DB::SDeviceRegUpdate update;
        update.deviceId = ids.value(planned.device.devEui);
        if (update.deviceId == 0)
            return abandon(QStringLiteral("device %1 was not found after storing it").arg(planned.device.devEui));
        update.port = quint16(planned.device.port);
        update.regs = planned.scaling;
        update.withDecimals = planned.withDecimals;
        if (!store->updateRegInfo(update))
            return abandon(QStringLiteral("the scaling of %1 could not be stored").arg(planned.device.devEui));
    }
    if (!store->commitWrite())
        return abandon(QStringLiteral("%1 could not be written").arg(FileName::database));
    for (const SImportDevice &planned : devices) {
        if (planned.maxAge)
            CAllDeviceHandler::getInstance()->setMaxDataAge(planned.device.devEui, *planned.maxAge);
        if (planned.writable)
            CAllDeviceHandler::setPortTakesWrites(quint16(planned.device.port), *planned.writable);
    }
    CWorkFolder::takeLibraryText();
    CWorkFolder::logChange(name(), QStringLiteral("stored %1 device(s) from %2").arg(devices.size())
                                           .arg(rows.devicesName));
    streams.out << QStringLiteral("Stored %1 device(s).").arg(devices.size()) << Qt::endl;
    QSet<quint16> ports;
    for (const SImportDevice &planned : devices)
        ports.insert(quint16(planned.device.port));
    QList<quint16> sorted(ports.cbegin(), ports.cend());
    std::sort(sorted.begin(), sorted.end());
    for (const quint16 port : std::as_const(sorted))
        CWorkFolder::notePrivilegedPort(streams, port);
    CWorkFolder::noteRestart(streams);
    return ExitClean;
}
