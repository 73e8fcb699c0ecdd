#include "cimportplan.h"

#include "cimportformat.h"

#include "core/tcpport.h"
#include "database/registerwords.h"
#include "devices/calldevicehandler.h"

#include <QRegularExpression>

#include <cmath>

namespace {

// The fields in the order of the full column lists of the import format.
enum EDeviceField {
    FieldDevEui = 0, FieldAppEui, FieldName, FieldPort, FieldStartAddr, FieldKind, FieldMaxAge, FieldWritable
};

const QStringList kYes = {QStringLiteral("yes"), QStringLiteral("true"), QStringLiteral("1"), QStringLiteral("on")};
const QStringList kNo = {QStringLiteral("no"), QStringLiteral("false"), QStringLiteral("0"), QStringLiteral("off")};
enum ERegisterField { RegDevEui = 0, RegAddress, RegMultiplier, RegOffset, RegUnit, RegDecimals };


const QString &kModBusKind = ImportFormat::modbusKind;
const QString &kTcpKind = ImportFormat::tcpKind;
constexpr quint32 kMaxAddress = 65535;

bool isDevEui(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^[0-9A-Fa-f]{16}$"));
    return pattern.match(text).hasMatch();
}

// Why a multiplier or offset is refused, empty when it is taken. A value past
// the range of a double reads as infinite; neither it nor a NaN scales a register.
QString scalingFault(const QString &text, double *value)
{
    bool ok = false;
    *value = text.trimmed().toDouble(&ok);
    if (std::isinf(*value) || std::isnan(*value))
        return QStringLiteral("is not a finite number");
    return ok ? QString() : QStringLiteral("is not a number");
}

QString kindName(ProtocolOption protocol)
{
    return protocol == ProtocolOption::TCP ? QStringLiteral("TCP") : QStringLiteral("ModBus");
}

} // namespace

CImportPlan::CImportPlan(const CAllDeviceHandler &registry)
    : m_registry(registry)
{
}

void CImportPlan::addStored(const SStoredDevices &devices, const QList<SStoredRegister> &registers)
{
    for (const SStoredDevice &device : devices.modbus) {
        m_storedEuis.insert(device.devEui.toUpper());
        m_portKinds.insert(device.port, ProtocolOption::ModBus);
    }
    for (const SStoredRegister &reg : registers) {
        const int words = RegisterWords::wordCount(reg.bitSize);
        for (int word = 0; word < words; ++word)
            m_takenAddresses[reg.port].insert(reg.address + quint32(word), reg.devEui.toUpper());
    }
    for (const SStoredTcpDevice &device : devices.tcp) {
        m_storedEuis.insert(device.devEui.toUpper());
        m_portKinds.insert(device.port, ProtocolOption::TCP);
        m_tcpPortHolders.insert(device.port, device.devEui.toUpper());
    }
}

void CImportPlan::refuse(const QString &file, int line, const QString &reason)
{
    m_refusals.append({file, line, reason});
}

bool CImportPlan::checkDevEui(const QString &file, int line, const QString &devEui)
{
    if (!isDevEui(devEui)) {
        refuse(file, line, QStringLiteral("DevEUI \"%1\" is not 16 hexadecimal digits").arg(devEui));
        return false;
    }
    const QString key = devEui.toUpper();
    if (m_storedEuis.contains(key)) {
        refuse(file, line, QStringLiteral("DevEUI %1 is already stored").arg(key));
        return false;
    }
    if (m_importedEuis.contains(key)) {
        refuse(file, line, QStringLiteral("DevEUI %1 repeats line %2").arg(key).arg(m_importedEuis.value(key)));
        return false;
    }
    m_importedEuis.insert(key, line);
    return true;
}

std::optional<quint32> CImportPlan::number(const QString &file, int line, const QString &column,
                                           const QString &text, quint32 low, quint32 high)
{
    bool ok = false;
    const qlonglong value = text.trimmed().toLongLong(&ok);
    if (!ok) {
        refuse(file, line, QStringLiteral("%1 \"%2\" is not a number").arg(column, text));
        return std::nullopt;
    }
    if (value < qlonglong(low) || value > qlonglong(high)) {
        refuse(file, line, QStringLiteral("%1 %2 is outside %3 to %4").arg(column).arg(value).arg(low).arg(high));
        return std::nullopt;
    }
    return quint32(value);
}

void CImportPlan::checkDevices(const QString &file, const QList<SCsvRecord> &records, bool withMaxAge,
                               bool withWritable)
{
    for (const SCsvRecord &record : records) {
        if (record.misfit) {
            refuse(file, record.line, QStringLiteral("%1 fields, %2 expected").arg(record.fields.size())
                                              .arg(record.misfit));
            continue;
        }
        const QString kind = record.fields.at(FieldKind).trimmed().toLower();
        if (!kind.isEmpty() && kind != kModBusKind && kind != kTcpKind) {
            refuse(file, record.line, QStringLiteral("kind \"%1\" is neither modbus nor tcp")
                                              .arg(record.fields.at(FieldKind)));
            continue;
        }
        SImportDevice planned;
        planned.protocol = kind == kTcpKind ? ProtocolOption::TCP : ProtocolOption::ModBus;
        if (withMaxAge && planned.protocol == ProtocolOption::ModBus) {
            const QString text = record.fields.at(FieldMaxAge).trimmed();
            planned.maxAge = text.isEmpty() ? std::optional<quint32>(0)
                                            : number(file, record.line, ImportFormat::maxAge, text, 0,
                                                     CAllDeviceHandler::kMaxDataAgeSeconds);
            if (!planned.maxAge)
                continue;
        }
        const QString writable = withWritable ? record.fields.at(FieldWritable).trimmed().toLower() : QString();
        if (!writable.isEmpty() && !kYes.contains(writable) && !kNo.contains(writable)) {
            refuse(file, record.line, QStringLiteral("writable \"%1\" is neither yes nor no")
                                              .arg(record.fields.at(FieldWritable)));
            continue;
        }
        if (kYes.contains(writable) && planned.protocol == ProtocolOption::TCP) {
            refuse(file, record.line, QStringLiteral("writable applies to ModBus devices, whose writes become "
                                                     "downlinks"));
            continue;
        }
        if (!writable.isEmpty() && planned.protocol == ProtocolOption::ModBus)
            planned.writable = kYes.contains(writable);
        const QString devEui = record.fields.at(FieldDevEui).trimmed();
        const QString appEui = record.fields.at(FieldAppEui).trimmed().toUpper();
        if (!checkDevEui(file, record.line, devEui))
            continue;
        const std::optional<quint32> port = number(file, record.line, QStringLiteral("port"),
                                                   record.fields.at(FieldPort), 1, quint32(TcpPort::highest));
        if (!port)
            continue;
        if (*port == m_statusPort) {
            refuse(file, record.line, QStringLiteral("port %1 is the port of the status registers").arg(*port));
            continue;
        }
        // Writes are a setting of the port: its rows must agree.
        const auto writes = m_writablePorts.constFind(*port);
        if (planned.writable && writes != m_writablePorts.cend() && *writes != *planned.writable) {
            refuse(file, record.line, QStringLiteral("writable differs from an earlier row of port %1").arg(*port));
            continue;
        }
        if (planned.writable)
            m_writablePorts.insert(*port, *planned.writable);
        const auto holder = m_portKinds.constFind(*port);
        if (holder != m_portKinds.cend() && *holder != planned.protocol) {
            refuse(file, record.line, QStringLiteral("port %1 is held by a %2 device").arg(*port)
                                              .arg(kindName(*holder)));
            continue;
        }

        const bool known = planned.protocol == ProtocolOption::TCP ? m_registry.hasTcpTemplate(appEui)
                                                                   : m_registry.hasTemplate(appEui);
        if (!known) {
            refuse(file, record.line, planned.protocol == ProtocolOption::TCP
                                              ? QStringLiteral("no entry in TCP.json for application EUI \"%1\"")
                                                        .arg(appEui)
                                              : QStringLiteral("no template for application EUI \"%1\"").arg(appEui));
            continue;
        }
        if (planned.protocol == ProtocolOption::ModBus)
            planned.device = m_registry.registerMap(appEui);
        planned.device.devEui = devEui.toUpper();
        planned.device.appEui = appEui;
        planned.device.name = record.fields.at(FieldName);
        planned.device.port = *port;

        const int refusedBefore = m_refusals.size();
        if (planned.protocol == ProtocolOption::TCP)
            checkTcp(file, record.line, planned, record.fields.at(FieldStartAddr));
        else
            checkModBus(file, record.line, planned, record.fields.at(FieldStartAddr));
        if (m_refusals.size() != refusedBefore)
            continue;
        m_portKinds.insert(*port, planned.protocol);
        m_devices.append(planned);
    }
}

void CImportPlan::checkTcp(const QString &file, int line, SImportDevice &planned, const QString &startText)
{
    if (!startText.trimmed().isEmpty()) {
        refuse(file, line, QStringLiteral("a TCP device takes no start address"));
        return;
    }
    // One TCP device a port, as the add form allows.
    const quint32 port = planned.device.port;
    if (m_tcpPortHolders.contains(port)) {
        refuse(file, line, QStringLiteral("port %1 is held by TCP device %2").arg(port)
                                   .arg(m_tcpPortHolders.value(port)));
        return;
    }
    m_tcpPortHolders.insert(port, planned.device.devEui);
}

void CImportPlan::checkModBus(const QString &file, int line, SImportDevice &planned, const QString &startText)
{
    if (startText.trimmed().isEmpty()) {
        refuse(file, line, QStringLiteral("a ModBus device needs a start address"));
        return;
    }
    const std::optional<quint32> start = number(file, line, QStringLiteral("start address"), startText, 0,
                                                kMaxAddress);
    if (!start)
        return;
    planned.device.startAddr = *start;
    const QList<quint32> addresses = addressesOf(planned.device);
    if (!addresses.isEmpty() && addresses.last() > kMaxAddress) {
        refuse(file, line, QStringLiteral("its registers end at %1, past 65535").arg(addresses.last()));
        return;
    }
    QHash<quint32, QString> &taken = m_takenAddresses[planned.device.port];
    for (const quint32 address : addresses) {
        const auto other = taken.constFind(address);
        if (other != taken.cend()) {
            refuse(file, line, QStringLiteral("address %1 on port %2 is taken by device %3")
                                       .arg(address).arg(planned.device.port).arg(*other));
            return;
        }
    }
    for (const quint32 address : addresses)
        taken.insert(address, planned.device.devEui);
}

QList<quint32> CImportPlan::addressesOf(const DB::SDeviceRegMapDescription &device)
{
    QList<quint32> firsts;
    QList<quint32> addresses;
    for (const DB::SDeviceRegDescription &reg : device.regs) {
        const quint32 first = device.startAddr + reg.regAddr;
        if (firsts.contains(first))
            continue;
        firsts.append(first);
        const int words = RegisterWords::wordCount(reg.bitSize);
        for (int word = 0; word < words; ++word)
            addresses.append(first + quint32(word));
    }
    std::sort(addresses.begin(), addresses.end());
    return addresses;
}

void CImportPlan::checkRegisters(const QString &file, const QList<SCsvRecord> &records, bool withDecimals)
{
    QHash<QString, int> planIndex;
    for (int i = 0; i < m_devices.size(); ++i)
        planIndex.insert(m_devices.at(i).device.devEui, i);

    QSet<QPair<QString, quint32>> seen;
    for (const SCsvRecord &record : records) {
        if (record.misfit) {
            refuse(file, record.line, QStringLiteral("%1 fields, %2 expected").arg(record.fields.size())
                                              .arg(record.misfit));
            continue;
        }
        const QString devEui = record.fields.at(RegDevEui).trimmed().toUpper();
        const auto index = planIndex.constFind(devEui);
        if (index == planIndex.cend() || m_devices.at(*index).protocol != ProtocolOption::ModBus) {
            refuse(file, record.line, QStringLiteral("no ModBus device %1 in this import").arg(devEui));
            continue;
        }
        const std::optional<quint32> address = number(file, record.line, QStringLiteral("address"),
                                                      record.fields.at(RegAddress), 0, kMaxAddress);
        if (!address)
            continue;
        double multiplier = 1.0;
        double offset = 0.0;
        const QString multiplierFault = scalingFault(record.fields.at(RegMultiplier), &multiplier);
        const QString offsetFault = multiplierFault.isEmpty() ? scalingFault(record.fields.at(RegOffset), &offset)
                                                              : QString();
        if (!multiplierFault.isEmpty() || !offsetFault.isEmpty()) {
            const bool multiplierBad = !multiplierFault.isEmpty();
            refuse(file, record.line, QStringLiteral("%1 \"%2\" %3")
                                              .arg(multiplierBad ? QStringLiteral("multiplier")
                                                                 : QStringLiteral("offset"),
                                                   record.fields.at(multiplierBad ? RegMultiplier : RegOffset),
                                                   multiplierBad ? multiplierFault : offsetFault));
            continue;
        }
        SImportDevice &planned = m_devices[*index];
        bool exists = false;
        for (const DB::SDeviceRegDescription &reg : planned.device.regs)
            exists = exists || planned.device.startAddr + reg.regAddr == *address;
        if (!exists) {
            refuse(file, record.line, QStringLiteral("device %1 has no register at address %2").arg(devEui)
                                              .arg(*address));
            continue;
        }
        if (seen.contains({devEui, *address})) {
            refuse(file, record.line, QStringLiteral("address %1 of device %2 is scaled twice").arg(*address)
                                              .arg(devEui));
            continue;
        }
        std::optional<quint32> decimals = 0;
        const QString decimalsText = record.fields.at(RegDecimals).trimmed();
        if (withDecimals && !decimalsText.isEmpty())
            decimals = number(file, record.line, ImportFormat::decimals, decimalsText, 0,
                              CRegisterDecimals::kMaxDecimals);
        if (!decimals)
            continue;
        seen.insert({devEui, *address});
        planned.withDecimals = withDecimals;
        planned.scaling.append({*address, offset, multiplier, record.fields.at(RegUnit), int(*decimals)});
    }
}
