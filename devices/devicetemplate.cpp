#include "devicetemplate.h"

#include "devices/cdevicelog.h"
#include "core/constants.h"

#include <QDebug>
#include <QJsonArray>

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

void report(const QString &message)
{
    qDebug().noquote() << message;
}

bool containsAll(const QJsonObject &object, const QStringList &keys)
{
    for (const QString &key : keys) {
        if (!object.contains(key))
            return false;
    }
    return true;
}

bool anyNull(const QJsonObject &object, const QStringList &keys)
{
    for (const QString &key : keys) {
        if (object.value(key).isNull())
            return true;
    }
    return false;
}

// The presence and null checks that every record makes, in this order;
// reports the first fault under the record's tag.
bool hasRequiredKeys(const QJsonObject &object, const QStringList &keys, const QString &tag)
{
    if (!containsAll(object, keys)) {
        report(QStringLiteral("[%1] Invalid input JSON").arg(tag));
        return false;
    }
    if (anyNull(object, keys)) {
        report(QStringLiteral("[%1] One or several values of input JSON is NULL").arg(tag));
        return false;
    }
    return true;
}

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
