#include "cuplinkdecoder.h"

#include "devices/cdevicelog.h"
#include "core/constants.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int kDigitsPerRegister = 4;
constexpr int kBitsPerDigit = 4;
constexpr int kDigitsOf64Bits = 16;
constexpr int kMillisecondsPerSecond = 1000;

// A negative value keeps its minus sign, as QString::arg writes it.
template<typename T>
QString hexText(T value, int width)
{
    return QStringLiteral("%1").arg(value, width, 16, QLatin1Char('0')).right(width);
}

// With the template's opt-in, a negative value is written as the bits a
// register of this many hex digits holds, so -100 in one register is ff9c.
QString signedText(qint64 value, int width, bool twosComplement)
{
    if (!twosComplement || value >= 0)
        return hexText(value, width);
    quint64 bits = quint64(value);
    if (width < kDigitsOf64Bits)
        bits &= (quint64(1) << (width * kBitsPerDigit)) - 1;
    return hexText(bits, width);
}

// Entries with an empty value are never added: that is how short texts end.
void addRegister(DB::SDbDeviceRegDataSet &set, const QString &value, const QString &fullValue, qint64 offset)
{
    if (value.isEmpty())
        return;
    set.regs.append({value, fullValue, quint32(offset)});
}

// Four characters a register from the first one, which carries the whole text.
void addWords(DB::SDbDeviceRegDataSet &set, const QString &text, int registers, qint32 regMapBias)
{
    for (int word = 0; word < registers; ++word) {
        addRegister(set, text.mid(word * kDigitsPerRegister, kDigitsPerRegister), word == 0 ? text : QString(),
                    qint64(regMapBias) + word);
    }
}

qint64 roundHalfAway(double value)
{
    const double rounded = std::trunc(value >= 0.0 ? value + 0.5 : value - 0.5);
    if (std::isnan(rounded))
        return 0;
    if (rounded >= 9223372036854775807.0)
        return std::numeric_limits<qint64>::max();
    if (rounded <= -9223372036854775808.0)
        return std::numeric_limits<qint64>::min();
    return qint64(rounded);
}

quint64 truncateUnsigned(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= 18446744073709551616.0)
        return std::numeric_limits<quint64>::max();
    // Below zero the bits of the signed value stand, as a wrap would give.
    if (value < 0.0)
        return quint64(qint64(std::max(std::trunc(value), -9223372036854775808.0)));
    return quint64(value);
}

template<typename T>
T readRaw(QByteArray bytes, bool bigEndian)
{
    // The template's offsets are taken on trust: a short cut reads as zeros.
    bytes.append(QByteArray(int(sizeof(T)) - bytes.size(), '\0'));
    return bigEndian ? qFromBigEndian<T>(bytes.constData()) : qFromLittleEndian<T>(bytes.constData());
}

// The server data as the template's keyword asks, with how many registers its
// text fills when the text is a number.
QString serverDataText(const QString &code, const API::SApiDeviceData &uplink, bool twosComplement)
{
    // The time stamp keeps its whole text: seconds of 2^32 and more give more
    // than eight digits, and the first register then takes the leading ones.
    if (code == TemplateKey::ts)
        return QStringLiteral("%1").arg(uplink.ts / kMillisecondsPerSecond, 8, 16, QLatin1Char('0'));
    if (code == TemplateKey::rssi)
        return signedText(uplink.rssi, 4, twosComplement);
    if (code == TemplateKey::snr)
        return signedText(qint32(roundHalfAway(uplink.snr)), 8, twosComplement);
    if (code == TemplateKey::fcnt)
        return hexText(uplink.fcnt, 8);
    if (code == TemplateKey::gatewayId)
        return uplink.gatewayId;
    return uplink.devEui;
}

// The low-order groups of an identifier that the register size keeps.
int identifierFirstGroup(qint32 regBitSize)
{
    if (regBitSize > 48)
        return 0;
    if (regBitSize > 32)
        return 1;
    if (regBitSize > 16)
        return 2;
    return 3;
}

} // namespace

CUplinkDecoder::CUplinkDecoder(const SDeviceTemplate &deviceTemplate, ScalingLookup scaling)
    : m_template(deviceTemplate)
    , m_scaling(std::move(scaling))
{
}

std::optional<DB::SDbDeviceRegDataSet> CUplinkDecoder::decode(const API::SApiDeviceData &uplink,
                                                              quint32 startAddr) const
{
    DB::SDbDeviceRegDataSet set;
    set.devEui = uplink.devEui;
    set.startAddr = startAddr;

    for (const SServerData &datum : m_template.serverData) {
        if (!kServerDataFormats.contains(datum.dataCode)) {
            CDeviceLog::write(QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Uncknown DataCode [%1]!")
                                     .arg(datum.dataCode));
            continue;
        }
        addServerData(set, datum, uplink);
    }

    const qint32 packetType = uplink.data.isEmpty() ? 0 : qint8(uplink.data.at(0));
    const QString typeText = QStringLiteral("%1").arg(packetType, 2, 10, QLatin1Char('0'));
    const auto packet = m_template.devicePackets.constFind(quint32(packetType));
    if (packet == m_template.devicePackets.cend()) {
        CDeviceLog::write(QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Uncknown packet type [%1]")
                                 .arg(typeText));
        return std::nullopt;
    }
    if (uplink.data.size() != packet->packetSize) {
        CDeviceLog::write(QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Invalid size of packet "
                                        "[%1][%2]. Expect [%3], real [%4]")
                                 .arg(typeText, QString::fromLatin1(uplink.data.toHex()),
                                      QString::number(packet->packetSize), QString::number(uplink.data.size())));
        return std::nullopt;
    }

    for (const SDevicePacketField &field : packet->packetFields)
        addField(set, field, uplink.data);
    return set;
}

void CUplinkDecoder::addServerData(DB::SDbDeviceRegDataSet &set, const SServerData &datum,
                                   const API::SApiDeviceData &uplink) const
{
    const QString text = serverDataText(datum.dataCode, uplink, m_template.twosComplement);
    const qint64 bias = datum.regMapBias;
    if (datum.dataCode == TemplateKey::ts) {
        addRegister(set, text.left(kDigitsPerRegister), text, bias);
        addRegister(set, text.right(kDigitsPerRegister), QString(), bias + 1);
    } else if (datum.dataCode == TemplateKey::rssi) {
        addRegister(set, text, text, bias);
    } else if (datum.dataCode == TemplateKey::snr || datum.dataCode == TemplateKey::fcnt) {
        if (datum.regBitSize > 16) {
            addWords(set, text, 2, datum.regMapBias);
        } else {
            const QString low = text.mid(kDigitsPerRegister, kDigitsPerRegister);
            addRegister(set, low, low, bias);
        }
    } else {
        const int firstGroup = identifierFirstGroup(datum.regBitSize);
        const QString kept = firstGroup == 0 ? text
                                             : text.mid(firstGroup * kDigitsPerRegister,
                                                        (4 - firstGroup) * kDigitsPerRegister);
        for (int group = firstGroup; group < 4; ++group) {
            addRegister(set, text.mid(group * kDigitsPerRegister, kDigitsPerRegister),
                        group == firstGroup ? kept : QString(), bias + group - firstGroup);
        }
    }
}

void CUplinkDecoder::addField(DB::SDbDeviceRegDataSet &set, const SDevicePacketField &field,
                              const QByteArray &payload) const
{
    if (field.dataBitBias % 8 != 0 || field.dataBitSize % 8 != 0) {
        CDeviceLog::write(QStringLiteral("ERROR: [CAllDeviceHandler::processDataSlot] Unsupport functional"));
        return;
    }
    const int size = field.dataBitSize / 8;
    if (size != 1 && size != 2 && size != 4 && size != 8) {
        CDeviceLog::write(QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Unsupport size of data [%1]")
                                 .arg(size));
        return;
    }
    const QByteArray bytes = payload.mid(field.packetBias, size);
    QString text;
    if (field.dataType == DataType::integer || field.dataType == DataType::uinteger) {
        text = numberText(field, bytes, set.startAddr + quint32(field.regMapBias));
    } else if (field.dataType == DataType::text) {
        text = QString::fromUtf8(bytes);
    } else {
        CDeviceLog::write(QStringLiteral("WARNING: [CAllDeviceHandler::processDataSlot] Unsupport data type [%1] "
                                        "for size [%2]")
                                 .arg(field.dataType, QString::number(size)));
        return;
    }
    // One and two bytes fill one register, the text whole; wider values four
    // characters a register, high word first.
    if (size <= 2)
        addRegister(set, text, text, field.regMapBias);
    else
        addWords(set, text, size / 2, field.regMapBias);
}

QString CUplinkDecoder::numberText(const SDevicePacketField &field, const QByteArray &bytes, quint32 regAddr) const
{
    const bool isSigned = field.dataType == DataType::integer;
    const bool bigEndian = field.endianness == SDevicePacketField::BigEndian;
    const DB::SRegisterParam param = m_scaling(regAddr);
    const double keptDecimals = std::pow(10.0, param.decimals);
    const auto scaled = [&param, keptDecimals](double raw) {
        return (raw * param.gratingPeriod + param.startValue) * keptDecimals;
    };
    const bool twos = m_template.twosComplement;

    switch (bytes.size() > 0 ? field.dataBitSize / 8 : 0) {
    case 1: {
        const double raw = isSigned ? double(qint8(bytes.at(0))) : double(quint8(bytes.at(0)));
        return signedText(qint32(roundHalfAway(scaled(raw))), 4, twos);
    }
    case 2: {
        const double raw = isSigned ? double(readRaw<qint16>(bytes, bigEndian))
                                    : double(readRaw<quint16>(bytes, bigEndian));
        return signedText(qint32(roundHalfAway(scaled(raw))), 4, twos);
    }
    case 4: {
        const double raw = isSigned ? double(readRaw<qint32>(bytes, bigEndian))
                                    : double(readRaw<quint32>(bytes, bigEndian));
        return signedText(roundHalfAway(scaled(raw)), 8, twos);
    }
    case 8:
        if (isSigned)
            return signedText(roundHalfAway(scaled(double(readRaw<qint64>(bytes, bigEndian)))), 16, twos);
        return hexText(truncateUnsigned(scaled(double(readRaw<quint64>(bytes, bigEndian)))), 16);
    default:
        return QString();
    }
}
