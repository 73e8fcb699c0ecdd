#include "ctemplatelayout.h"

#include "core/constants.h"
#include "database/registerwords.h"

#include <limits>

namespace {

constexpr int kBitsPerByte = 8;
const QList<int> kDecodedSizes = {1, 2, 4, 8};

// Registers the decoder writes for a server datum of this keyword and width.
int writtenByServerData(const SServerData &datum)
{
    if (datum.dataCode == TemplateKey::ts)
        return 2;
    if (datum.dataCode == TemplateKey::rssi)
        return 1;
    if (datum.dataCode == TemplateKey::snr || datum.dataCode == TemplateKey::fcnt)
        return datum.regBitSize > RegisterWords::kRegisterBits ? 2 : 1;
    if (datum.regBitSize > 48)
        return 4;
    if (datum.regBitSize > 32)
        return 3;
    return datum.regBitSize > RegisterWords::kRegisterBits ? 2 : 1;
}

QString packetName(const SDevicePacket &packet)
{
    return QStringLiteral("packet %1").arg(packet.packetType);
}

} // namespace

CTemplateLayout::CTemplateLayout(const SDeviceTemplate &deviceTemplate)
{
    for (const SServerData &datum : deviceTemplate.serverData)
        addServerData(datum);
    for (const SDevicePacket &packet : deviceTemplate.devicePackets)
        addPacket(packet);
    checkOverlaps();
}

void CTemplateLayout::addServerData(const SServerData &datum)
{
    SLayoutEntry entry{datum.regMapBias, RegisterWords::wordCount(datum.regBitSize), writtenByServerData(datum), datum.dataName,
                       datum.type, QStringLiteral("server data %1").arg(datum.dataCode)};
    if (entry.written != entry.registers) {
        m_warnings.append(QStringLiteral("server data %1 \"%2\" writes %3 registers, but reg_bit_size %4 reads %5")
                                  .arg(datum.dataCode, datum.dataName, QString::number(entry.written),
                                       QString::number(datum.regBitSize), QString::number(entry.registers)));
    }
    m_entries.append(entry);
}

void CTemplateLayout::addPacket(const SDevicePacket &packet)
{
    if (packet.packetType > std::numeric_limits<qint8>::max() || packet.packetType < std::numeric_limits<qint8>::min()) {
        m_warnings.append(QStringLiteral("packet type %1 can never match a first payload byte: a byte of 128 or "
                                         "more is written as its negative value (-128 to -1)")
                                  .arg(packet.packetType));
    }
    if (packet.packetSize <= 0) {
        m_warnings.append(QStringLiteral("%1 has no packet_size: the program refuses every uplink of its type")
                                  .arg(packetName(packet)));
    }
    for (const SDevicePacketField &field : packet.packetFields) {
        const int bytes = field.dataBitSize / kBitsPerByte;
        const bool decoded = kDecodedSizes.contains(bytes);
        m_entries.append({field.regMapBias, RegisterWords::wordCount(field.regBitSize), decoded ? qMax(1, bytes / 2) : 0,
                          field.dataName, field.dataType, packetName(packet)});
        checkField(packet, field);
    }
}

void CTemplateLayout::checkField(const SDevicePacket &packet, const SDevicePacketField &field)
{
    const QString where = QStringLiteral("%1 field \"%2\"").arg(packetName(packet), field.dataName);
    if (field.dataBitBias % kBitsPerByte != 0 || field.dataBitSize % kBitsPerByte != 0) {
        m_warnings.append(QStringLiteral("%1 is not whole bytes: the program never decodes it").arg(where));
        return;
    }
    const int bytes = field.dataBitSize / kBitsPerByte;
    if (!kDecodedSizes.contains(bytes)) {
        m_warnings.append(QStringLiteral("%1 has %2 bytes: the program decodes only 1, 2, 4 or 8")
                                  .arg(where, QString::number(bytes)));
        return;
    }
    if (field.dataType != DataType::integer && field.dataType != DataType::uinteger
        && field.dataType != DataType::text) {
        m_warnings.append(QStringLiteral("%1 has data_type \"%2\": the program decodes only integer, uinteger and text")
                                  .arg(where, field.dataType));
    }
    if (field.packetBias < 0) {
        m_warnings.append(QStringLiteral("%1 starts before the payload (packet_bias %2): the program reads it from the type byte on")
                                  .arg(where, QString::number(field.packetBias)));
    }
    const qint64 end = qint64(field.packetBias) + bytes;
    if (packet.packetSize > 0 && end > packet.packetSize) {
        m_warnings.append(QStringLiteral("%1 reaches byte %2, past packet_size %3: the missing bytes read as zeros")
                                  .arg(where, QString::number(end), QString::number(packet.packetSize)));
    }
    const int written = qMax(1, bytes / 2);
    const int read = RegisterWords::wordCount(field.regBitSize);
    if (written != read) {
        m_warnings.append(QStringLiteral("%1 writes %2 registers, but reg_bit_size %3 reads %4")
                                  .arg(where, QString::number(written), QString::number(field.regBitSize),
                                       QString::number(read)));
    }
}

void CTemplateLayout::checkOverlaps()
{
    // The same value updated by several packets is meant; two values are not.
    for (int i = 0; i < m_entries.size(); ++i) {
        const SLayoutEntry &first = m_entries.at(i);
        for (int j = i + 1; j < m_entries.size(); ++j) {
            const SLayoutEntry &second = m_entries.at(j);
            const qint64 firstEnd = qint64(first.offset) + qMax(first.registers, first.written);
            const qint64 secondEnd = qint64(second.offset) + qMax(second.registers, second.written);
            if (first.offset >= secondEnd || second.offset >= firstEnd)
                continue;
            const bool sameValue = first.name == second.name && first.offset == second.offset
                    && first.registers == second.registers && first.source != second.source;
            if (sameValue)
                continue;
            m_warnings.append(QStringLiteral("\"%1\" (%2, offset %3) and \"%4\" (%5, offset %6) share a register")
                                      .arg(first.name, first.source, QString::number(first.offset), second.name,
                                           second.source, QString::number(second.offset)));
        }
    }
}
