#include "devicetemplate.h"

#include "core/constants.h"
#include "database/registerwords.h"
#include "devices/cdevicelog.h"
#include "devices/templatejson.h"

#include <QJsonArray>
#include <QSet>

#include <algorithm>

namespace {

const QStringList kTemplateKeys = {TemplateKey::appEui, TemplateKey::devType};
const QStringList kPacketKeys = {TemplateKey::packetType, TemplateKey::packetFields};
const QStringList kFieldKeys = {
    TemplateKey::packetBias, TemplateKey::dataBitBias, TemplateKey::dataBitSize,
    TemplateKey::regMapBias, TemplateKey::regBitBias, TemplateKey::regBitSize,
    TemplateKey::dataType, TemplateKey::dataName,
};
const QStringList kServerDataKeys = {
    TemplateKey::dataCode, TemplateKey::dataName, TemplateKey::regMapBias,
    TemplateKey::regBitBias, TemplateKey::regBitSize,
};

const QString kLittleEndian = QStringLiteral("le");
const QString kBigEndian = QStringLiteral("be");

// A register map entry wider than the widest decoded value has no meaning, and
// a ModBus read would expand it word by word.
constexpr qint32 kMaxRegisterBits = 64;

// Values of DB::SDeviceRegDescription::source.
constexpr quint32 kServerDataSource = 0;
constexpr quint32 kPacketFieldSource = 1;

using TemplateJson::hasRequiredKeys;
using TemplateJson::report;

DB::SDeviceRegDescription registerOf(const QString &name, quint32 source, qint32 regMapBias,
                                     qint32 regBitSize, const QString &dataType)
{
    DB::SDeviceRegDescription reg;
    reg.name = name;
    reg.source = source;
    reg.regAddr = static_cast<quint32>(regMapBias);
    reg.bitSize = static_cast<quint32>(regBitSize);
    reg.dataType = dataType;
    return reg;
}

bool registerSizeFits(qint32 regBitSize, const QString &tag)
{
    if (regBitSize >= 0 && regBitSize <= kMaxRegisterBits)
        return true;
    report(QStringLiteral("[%1] Invalid register size [%2], can be 0 to %3 bits")
                   .arg(tag, QString::number(regBitSize), QString::number(kMaxRegisterBits)));
    return false;
}

} // namespace

SServerData::SServerData(const QJsonObject &object)
{
    if (object.isEmpty()) {
        report(QStringLiteral("[SServerData] Empty input JSON"));
        return;
    }
    if (!hasRequiredKeys(object, kServerDataKeys, QStringLiteral("SServerData")))
        return;

    dataCode = object.value(TemplateKey::dataCode).toString();
    const auto format = kServerDataFormats.constFind(dataCode);
    if (format == kServerDataFormats.cend()) {
        CDeviceLog::write(QStringLiteral("ERROR: [SServerData] Server keyword [%1] is unknown!").arg(dataCode),
                         CLogFile::LogError);
        return;
    }
    bitSize = format->bitSize;
    type = format->dataType;
    report(QStringLiteral("[%1] - bitSize[%2], type[%3]").arg(dataCode, QString::number(bitSize), type));

    regMapBias = object.value(TemplateKey::regMapBias).toInt(0);
    regBitBias = object.value(TemplateKey::regBitBias).toInt(0);
    regBitSize = object.value(TemplateKey::regBitSize).toInt(0);
    dataName = object.value(TemplateKey::dataName).toString();
    isValid = registerSizeFits(regBitSize, QStringLiteral("SServerData"));
}

SDevicePacketField::SDevicePacketField(const QJsonObject &object)
{
    if (object.isEmpty()) {
        report(QStringLiteral("[SDevicePacketField] Empty input JSON"));
        return;
    }
    if (object.contains(TemplateKey::endianness)) {
        const QString word = object.value(TemplateKey::endianness).toString().toLower();
        if (word == kLittleEndian) {
            endianness = LittleEndian;
        } else if (word == kBigEndian) {
            endianness = BigEndian;
        } else {
            report(QStringLiteral(R"([SDevicePacketField] Invalid endianness field value, can be "le" or "be")"));
            return;
        }
    }
    if (!hasRequiredKeys(object, kFieldKeys, QStringLiteral("SDevicePacketField")))
        return;

    packetBias = object.value(TemplateKey::packetBias).toInt(0);
    dataBitBias = object.value(TemplateKey::dataBitBias).toInt(0);
    dataBitSize = object.value(TemplateKey::dataBitSize).toInt(0);
    regMapBias = object.value(TemplateKey::regMapBias).toInt(0);
    regBitBias = object.value(TemplateKey::regBitBias).toInt(0);
    regBitSize = object.value(TemplateKey::regBitSize).toInt(0);
    dataType = object.value(TemplateKey::dataType).toString();
    dataName = object.value(TemplateKey::dataName).toString();
    isValid = registerSizeFits(regBitSize, QStringLiteral("SDevicePacketField"));
}

SDevicePacket::SDevicePacket(const QJsonObject &object)
{
    // An empty object stands for an absent packet: nothing to report.
    if (object.isEmpty() || !hasRequiredKeys(object, kPacketKeys, QStringLiteral("SDevicePacket")))
        return;

    packetType = object.value(TemplateKey::packetType).toInt(0);
    // Absent or null reads as 0, which no payload matches.
    packetSize = object.value(TemplateKey::packetSize).toInt(0);

    const QJsonArray fields = object.value(TemplateKey::packetFields).toArray();
    if (fields.isEmpty()) {
        report(QStringLiteral("[SDevicePacket] Packet fields array is empty"));
        return;
    }
    for (const QJsonValue &value : fields) {
        const SDevicePacketField field(value.toObject());
        if (field.isValid)
            packetFields.append(field);
    }
    isValid = !packetFields.isEmpty();
}

SDeviceTemplate::SDeviceTemplate(const QJsonObject &object)
{
    if (object.isEmpty()) {
        report(QStringLiteral("[SDeviceTemplate] Empty input JSON"));
        return;
    }
    if (!hasRequiredKeys(object, kTemplateKeys, QStringLiteral("SDeviceTemplate")))
        return;

    appEui = object.value(TemplateKey::appEui).toString().toUpper();
    devType = object.value(TemplateKey::devType).toString();
    if (object.contains(TemplateKey::signedWords)) {
        // A misspelt word would silently store magnitudes: refuse it instead.
        if (object.value(TemplateKey::signedWords).toString() != TemplateKey::twosComplement) {
            report(QStringLiteral(R"([SDeviceTemplate] Invalid signed_words value, can be "twos_complement")"));
            return;
        }
        twosComplement = true;
    }

    const QJsonArray packets = object.value(TemplateKey::devicePackets).toArray();
    for (const QJsonValue &value : packets) {
        const SDevicePacket packet(value.toObject());
        if (packet.isValid)
            devicePackets.insert(static_cast<quint32>(packet.packetType), packet);
    }
    if (devicePackets.isEmpty()) {
        report(QStringLiteral("[SDeviceTemplate] Device packets array is empty"));
        return;
    }
    isValid = true;

    const QJsonArray data = object.value(TemplateKey::serverData).toArray();
    for (const QJsonValue &value : data) {
        const SServerData datum(value.toObject());
        if (datum.isValid)
            serverData.insert(datum.dataCode, datum);
    }
    if (object.contains(TemplateKey::color))
        color = colorFromName(object.value(TemplateKey::color).toString());
    readDownlinks(object);
}

// Every register an entry takes is its own: a write goes to one entry, and a
// status register must not hide a register the uplinks fill.
void SDeviceTemplate::readDownlinks(const QJsonObject &object)
{
    if (!object.contains(TemplateKey::downlinks))
        return;
    const QJsonValue section = object.value(TemplateKey::downlinks);
    if (!section.isArray()) {
        report(QStringLiteral("[SDeviceTemplate] Invalid downlinks value, must be an array of entries"));
        ++refusedDownlinks;
        return;
    }
    QSet<qint32> uplinkRegisters;
    for (const DB::SDeviceRegDescription &reg : registerMap().regs) {
        for (int word = 0; word < RegisterWords::wordCount(reg.bitSize); ++word)
            uplinkRegisters.insert(qint32(reg.regAddr) + word);
    }
    QSet<qint32> taken;
    for (const QJsonValue &value : section.toArray()) {
        const SDownlink entry(value.toObject());
        const QList<qint32> status{entry.statusReg, entry.statusTimeReg, entry.statusTimeReg + 1};
        const auto hidden = std::find_if(status.cbegin(), status.cend(),
                                         [&uplinkRegisters](qint32 reg) { return uplinkRegisters.contains(reg); });
        QList<qint32> registers = status;
        for (const SDownlinkField &field : entry.fields) {
            for (int word = 0; word < field.registerCount(); ++word)
                registers.append(field.regMapBias + word);
        }
        const auto shared = std::find_if(registers.cbegin(), registers.cend(),
                                         [&taken](qint32 reg) { return taken.contains(reg); });
        if (entry.isValid && hidden != status.cend()) {
            report(QStringLiteral("[SDeviceTemplate] Downlink \"%1\" refused: its status register %2 is an uplink "
                                  "register")
                           .arg(entry.name)
                           .arg(*hidden));
        } else if (entry.isValid && shared != registers.cend()) {
            report(QStringLiteral("[SDeviceTemplate] Downlink \"%1\" refused: register %2 belongs to another "
                                  "downlink")
                           .arg(entry.name)
                           .arg(*shared));
        } else if (entry.isValid) {
            downlinks.append(entry);
            for (qint32 reg : registers)
                taken.insert(reg);
            continue;
        }
        ++refusedDownlinks;
    }
}

DB::SDeviceRegMapDescription SDeviceTemplate::registerMap() const
{
    DB::SDeviceRegMapDescription map;
    map.appEui = appEui;
    for (const SServerData &datum : serverData) {
        map.regs.append(registerOf(datum.dataName, kServerDataSource, datum.regMapBias,
                                   datum.regBitSize, datum.type));
    }
    for (const SDevicePacket &packet : devicePackets) {
        for (const SDevicePacketField &field : packet.packetFields) {
            map.regs.append(registerOf(field.dataName, kPacketFieldSource, field.regMapBias,
                                       field.regBitSize, field.dataType));
        }
    }
    return map;
}

QColor SDeviceTemplate::colorFromName(const QString &name)
{
    const QColor named(name);
    if (named.isValid())
        return named;
    report(QStringLiteral("[SDeviceTemplate] Invalid color name [%1]").arg(name));
    return kDefaultDeviceColor;
}
