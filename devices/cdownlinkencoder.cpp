#include "cdownlinkencoder.h"

#include "core/constants.h"

#include <QtEndian>

#include <cmath>

namespace {

constexpr int kBitsPerByte = 8;

// The field's registers as one number, high word first.
quint64 registerBits(const SDownlinkField &field, const CDownlinkEncoder::Words &words)
{
    quint64 bits = 0;
    for (int word = 0; word < field.registerCount(); ++word)
        bits = bits << 16 | words.value(field.regMapBias + word);
    return bits;
}

qint64 signExtended(quint64 bits, int width)
{
    if (width >= 64)
        return qint64(bits);
    const quint64 sign = quint64(1) << (width - 1);
    return qint64((bits ^ sign) - sign);
}

void putRaw(QByteArray &payload, const SDownlinkField &field, quint64 raw)
{
    const int size = field.dataBitSize / kBitsPerByte;
    uchar bytes[8];
    qToBigEndian(raw, bytes);
    const uchar *low = bytes + 8 - size;
    for (int i = 0; i < size; ++i)
        payload[field.packetBias + i] = char(field.bigEndian ? low[i] : low[size - 1 - i]);
}

QString number(double value)
{
    return QString::number(value, 'g', 15);
}

} // namespace

double CDownlinkEncoder::registerValue(const SDownlinkField &field, const Words &words)
{
    const quint64 bits = registerBits(field, words);
    if (field.dataType == DataType::integer)
        return double(signExtended(bits, field.regBitSize));
    return double(bits);
}

QString CDownlinkEncoder::outsideLimits(const SDownlinkField &field, const Words &words)
{
    if (field.dataType == DataType::text)
        return QString();
    const double value = registerValue(field, words);
    if (value >= field.lowest() && value <= field.highest())
        return QString();
    return QStringLiteral("%1 = %2 is outside %3 to %4")
            .arg(field.dataName, number(value), number(field.lowest()), number(field.highest()));
}

CDownlinkEncoder::SResult CDownlinkEncoder::encode(const SDownlink &entry, const Words &words)
{
    SResult result;
    QByteArray payload(entry.packetSize, '\0');
    payload[0] = char(entry.packetType);
    for (const SDownlinkField &field : entry.fields) {
        if (field.dataType == DataType::text) {
            putText(field, words, payload);
            continue;
        }
        result.refusal = putNumber(field, words, payload);
        if (!result.ok())
            return result;
    }
    result.payload = payload;
    return result;
}

// In long double, whose 64-bit mantissa keeps every value of 64 bits exact.
QString CDownlinkEncoder::putNumber(const SDownlinkField &field, const Words &words, QByteArray &payload)
{
    const bool isSigned = field.dataType == DataType::integer;
    const int width = field.dataBitSize;
    const quint64 bits = registerBits(field, words);
    const long double value = isSigned ? (long double)signExtended(bits, field.regBitSize) : (long double)bits;
    const long double raw = std::round((value - (long double)field.offset) / (long double)field.multiplier);
    const long double lowest = isSigned ? -std::ldexp((long double)1, width - 1) : 0;
    const long double highest = std::ldexp((long double)1, isSigned ? width - 1 : width) - 1;
    if (!(raw >= lowest && raw <= highest)) {
        return QStringLiteral("%1 = %2 gives the raw value %3, which %4 %5 bits cannot hold")
                .arg(field.dataName, number(double(value)), number(double(raw)), field.dataType,
                     QString::number(width));
    }
    putRaw(payload, field, raw < 0 ? quint64(qint64(raw)) : quint64(raw));
    return QString();
}

void CDownlinkEncoder::putText(const SDownlinkField &field, const Words &words, QByteArray &payload)
{
    const int size = field.dataBitSize / kBitsPerByte;
    for (int i = 0; i < size; ++i) {
        const quint16 word = words.value(field.regMapBias + i / 2);
        payload[field.packetBias + i] = char(i % 2 == 0 ? word >> 8 : word & 0xFF);
    }
}
