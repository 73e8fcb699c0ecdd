// The uplink decoder on any payload, server figures and register scaling,
// against the sample templates or against a template taken from the input.
//
// Input, read in this order; numbers are little-endian, and what the input
// lacks reads as zeros:
// - one byte: the number of a sample template, modulo their count plus one;
//   the last number means a template text follows, ended by a NUL byte;
// - one byte: its lowest bit set, the register scaling follows as two 8-byte
//   doubles, start value and multiplier; otherwise they are 0 and 1;
// - the start address (4 bytes), ts (8), fcnt (4), rssi (2) and snr (an 8-byte
//   double);
// - the DevEUI and the gateway identifier, each a length byte and its text;
// - the rest: the payload.

#include "devices/cdevicelog.h"
#include "devices/cuplinkdecoder.h"
#include "devices/devicetemplate.h"
#include "fuzzsupport.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QtEndian>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// Parsed once: the decoder keeps a reference to its template.
QList<SDeviceTemplate> &samples()
{
    static QList<SDeviceTemplate> templates;
    return templates;
}

class CInput
{
public:
    CInput(const uint8_t *data, size_t size)
        : m_bytes(QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size)))
    {
    }

    template<typename T>
    T number()
    {
        char raw[sizeof(T)] = {};
        const QByteArray taken = bytes(int(sizeof(T)));
        std::memcpy(raw, taken.constData(), size_t(taken.size()));
        return qFromLittleEndian<T>(raw);
    }

    double real()
    {
        const quint64 bits = number<quint64>();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    QByteArray bytes(int count)
    {
        const QByteArray taken = m_bytes.mid(m_position, count);
        m_position += taken.size();
        return taken;
    }

    QByteArray untilNul()
    {
        const int end = m_bytes.indexOf('\0', m_position);
        const QByteArray taken = bytes(end < 0 ? m_bytes.size() - m_position : end - m_position);
        bytes(1);
        return taken;
    }

    QByteArray counted() { return bytes(number<quint8>()); }
    QByteArray rest() { return bytes(m_bytes.size() - m_position); }

private:
    QByteArray m_bytes;
    int m_position = 0;
};

SDeviceTemplate chosenTemplate(CInput &input)
{
    const int choice = input.number<quint8>() % (samples().size() + 1);
    if (choice < samples().size())
        return samples().at(choice);
    return SDeviceTemplate(QJsonDocument::fromJson(input.untilNul()).object());
}

// The scaling that a register carries in the store: the defaults, or any
// pair of doubles, infinities and NaN among them.
DB::SRegisterParam scaling(CInput &input)
{
    DB::SRegisterParam param;
    if (input.number<quint8>() & 1) {
        param.startValue = input.real();
        param.gratingPeriod = input.real();
    }
    return param;
}

API::SApiDeviceData uplink(CInput &input)
{
    API::SApiDeviceData record;
    record.ts = input.number<quint64>();
    record.fcnt = input.number<quint32>();
    record.rssi = input.number<qint16>();
    record.snr = input.real();
    record.devEui = QString::fromUtf8(input.counted());
    record.gatewayId = QString::fromUtf8(input.counted());
    record.data = input.rest();
    record.valid = true;
    return record;
}

// Each register holds four characters at most: a number's four digits, a
// group of an identifier or of a text, or a text of one or two bytes.
void checkRegisters(const DB::SDbDeviceRegDataSet &set)
{
    for (const DB::SDbRegValue &reg : set.regs) {
        if (reg.value.isEmpty() || reg.value.size() > 4)
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    FuzzSupport::start();
    // Its texts would only go to the dropped debug output.
    CDeviceLog::setSink([](const QString &, CLogFile::ELogMessageType, bool) {});
    const QDir folder(QStringLiteral(SAMPLE_TEMPLATES_DIR));
    const QStringList names = folder.entryList({QStringLiteral("*.json")}, QDir::Files);
    for (const QString &name : names) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const SDeviceTemplate sample(QJsonDocument::fromJson(file.readAll()).object());
        if (sample.isValid)
            samples().append(sample);
    }
    if (samples().isEmpty())
        std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    CInput input(data, size);
    const SDeviceTemplate deviceTemplate = chosenTemplate(input);
    const DB::SRegisterParam param = scaling(input);
    const quint32 startAddr = input.number<quint32>();
    const API::SApiDeviceData record = uplink(input);

    const CUplinkDecoder decoder(deviceTemplate, [&param](quint32) { return param; });
    const std::optional<DB::SDbDeviceRegDataSet> set = decoder.decode(record, startAddr);
    if (set)
        checkRegisters(*set);
    return 0;
}
