#include "downlinktemplate.h"

#include "core/constants.h"
#include "devices/templatejson.h"

#include <QJsonArray>
#include <QSet>

#include <cmath>

namespace {

using TemplateJson::report;

const QString kFieldTag = QStringLiteral("SDownlinkField");
const QString kEntryTag = QStringLiteral("SDownlink");

const QStringList kFieldKeys = {
    TemplateKey::dataName, TemplateKey::regMapBias, TemplateKey::packetBias,
    TemplateKey::dataBitSize, TemplateKey::dataType,
};
const QStringList kEntryKeys = {
    TemplateKey::name, TemplateKey::loraPort, TemplateKey::packetType,
    TemplateKey::packetFields, TemplateKey::statusReg, TemplateKey::statusTimeReg,
};

constexpr int kRegisterBits = 16;
constexpr int kMaxLoraPort = 223;   // 224 and up are reserved by LoRaWAN
constexpr int kMaxByte = 255;

bool isNumberWidth(qint32 bits)
{
    return bits == 8 || bits == 16 || bits == 32 || bits == 64;
}

// A limit is a number or absent: a misspelt one must not lift the limit.
bool readLimit(const QJsonObject &object, const QString &key, std::optional<double> &limit)
{
    if (!object.contains(key))
        return true;
    if (!object.value(key).isDouble()) {
        report(QStringLiteral("[SDownlinkField] Invalid %1: it must be a number").arg(key));
        return false;
    }
    limit = object.value(key).toDouble();
    return true;
}

} // namespace

SDownlinkField::SDownlinkField(const QJsonObject &object)
{
    if (object.isEmpty()) {
        report(QStringLiteral("[SDownlinkField] Empty input JSON"));
        return;
    }
    if (!TemplateJson::hasRequiredKeys(object, kFieldKeys, kFieldTag))
        return;
    dataName = object.value(TemplateKey::dataName).toString();
    regMapBias = object.value(TemplateKey::regMapBias).toInt(0);
    regBitSize = object.value(TemplateKey::regBitSize).toInt(kRegisterBits);
    packetBias = object.value(TemplateKey::packetBias).toInt(0);
    dataBitSize = object.value(TemplateKey::dataBitSize).toInt(0);
    dataType = object.value(TemplateKey::dataType).toString();
    multiplier = object.value(TemplateKey::multiplier).toDouble(1.0);
    offset = object.value(TemplateKey::offset).toDouble(0.0);

    const QString endianness = object.value(TemplateKey::endianness).toString(QStringLiteral("le")).toLower();
    if (endianness != QLatin1String("le") && endianness != QLatin1String("be")) {
        report(QStringLiteral(R"([SDownlinkField] Invalid endianness field value, can be "le" or "be")"));
        return;
    }
    bigEndian = endianness == QLatin1String("be");

    if (regBitSize != 16 && regBitSize != 32 && regBitSize != 64) {
        report(QStringLiteral("[SDownlinkField] Invalid register size [%1], can be 16, 32 or 64 bits").arg(regBitSize));
        return;
    }
    if (regMapBias < 0 || regMapBias + registerCount() > 0x10000) {
        report(QStringLiteral("[SDownlinkField] Invalid register [%1]").arg(regMapBias));
        return;
    }
    if (packetBias < 1 || packetBias >= kMaxByte) {
        report(QStringLiteral("[SDownlinkField] Invalid packet bias [%1], can be 1 to %2: byte 0 is the packet type")
                       .arg(packetBias)
                       .arg(kMaxByte - 1));
        return;
    }
    if (dataType == DataType::text) {
        if (dataBitSize <= 0 || dataBitSize % 8 != 0 || dataBitSize > regBitSize) {
            report(QStringLiteral("[SDownlinkField] Invalid size of text [%1], can be whole bytes up to the "
                                  "register size")
                           .arg(dataBitSize));
            return;
        }
    } else if (dataType == DataType::integer || dataType == DataType::uinteger) {
        if (!isNumberWidth(dataBitSize)) {
            report(QStringLiteral("[SDownlinkField] Invalid data size [%1], can be 8, 16, 32 or 64 bits")
                           .arg(dataBitSize));
            return;
        }
    } else {
        report(QStringLiteral("[SDownlinkField] Invalid data type [%1], can be integer, uinteger or text")
                       .arg(dataType));
        return;
    }
    if (multiplier == 0.0 || !std::isfinite(multiplier) || !std::isfinite(offset)) {
        report(QStringLiteral("[SDownlinkField] Invalid multiplier or offset: the multiplier must not be 0"));
        return;
    }
    if (!readLimit(object, TemplateKey::min, min) || !readLimit(object, TemplateKey::max, max))
        return;
    if (min && max && *min > *max) {
        report(QStringLiteral("[SDownlinkField] Invalid limits: min [%1] is above max [%2]").arg(*min).arg(*max));
        return;
    }
    isValid = true;
}

int SDownlinkField::registerCount() const
{
    return regBitSize / kRegisterBits;
}

double SDownlinkField::lowest() const
{
    if (min)
        return *min;
    if (dataType != DataType::integer)
        return 0.0;
    return -std::ldexp(1.0, regBitSize - 1);
}

double SDownlinkField::highest() const
{
    if (max)
        return *max;
    return std::ldexp(1.0, dataType == DataType::integer ? regBitSize - 1 : regBitSize) - 1.0;
}

SDownlink::SDownlink(const QJsonObject &object)
{
    if (object.isEmpty()) {
        report(QStringLiteral("[SDownlink] Empty input JSON"));
        return;
    }
    if (!TemplateJson::hasRequiredKeys(object, kEntryKeys, kEntryTag))
        return;
    name = object.value(TemplateKey::name).toString();
    const int port = object.value(TemplateKey::loraPort).toInt(0);
    const int type = object.value(TemplateKey::packetType).toInt(-1);
    confirmed = object.value(TemplateKey::confirmed).toBool(false);
    minIntervalSeconds = object.value(TemplateKey::minInterval).toInt(0);
    deadlineSeconds = object.value(TemplateKey::deadline).toInt(kDefaultDeadlineSeconds);
    statusReg = object.value(TemplateKey::statusReg).toInt(-1);
    statusTimeReg = object.value(TemplateKey::statusTimeReg).toInt(-1);

    const QString tag = QStringLiteral("[SDownlink] Downlink \"%1\": ").arg(name);
    if (port < 1 || port > kMaxLoraPort) {
        report(tag + QStringLiteral("invalid LoRaWAN port [%1], can be 1 to %2").arg(port).arg(kMaxLoraPort));
        return;
    }
    if (type < 0 || type > kMaxByte) {
        report(tag + QStringLiteral("invalid packet type, can be 0 to %1").arg(kMaxByte));
        return;
    }
    if (minIntervalSeconds < 0 || deadlineSeconds < 1) {
        report(tag + QStringLiteral("invalid min_interval or deadline, seconds from 0 and from 1"));
        return;
    }
    if (statusReg < 0 || statusTimeReg < 0 || statusReg > 0xFFFF || statusTimeReg > 0xFFFE) {
        report(tag + QStringLiteral("invalid status_reg or status_time_reg"));
        return;
    }
    loraPort = quint8(port);
    packetType = quint8(type);

    const QJsonArray list = object.value(TemplateKey::packetFields).toArray();
    if (list.isEmpty()) {
        report(tag + QStringLiteral("packet fields array is empty"));
        return;
    }
    for (const QJsonValue &value : list) {
        const SDownlinkField field(value.toObject());
        // A payload without one of its values would tell the device something else.
        if (!field.isValid) {
            report(tag + QStringLiteral("refused for its invalid field"));
            return;
        }
        fields.append(field);
    }

    QSet<qint32> bytes;
    QSet<qint32> registers{statusReg, statusTimeReg, statusTimeReg + 1};
    if (registers.size() != kStatusRegisters) {
        report(tag + QStringLiteral("its status registers overlap"));
        return;
    }
    qint32 end = 1;
    for (const SDownlinkField &field : fields) {
        const qint32 fieldEnd = field.packetBias + field.dataBitSize / 8;
        for (qint32 byte = field.packetBias; byte < fieldEnd; ++byte) {
            if (bytes.contains(byte)) {
                report(tag + QStringLiteral("two fields take payload byte %1").arg(byte));
                return;
            }
            bytes.insert(byte);
        }
        end = qMax(end, fieldEnd);
        for (qint32 reg = field.regMapBias; reg < field.regMapBias + field.registerCount(); ++reg) {
            if (registers.contains(reg)) {
                report(tag + QStringLiteral("register %1 is taken twice").arg(reg));
                return;
            }
            registers.insert(reg);
        }
    }
    packetSize = object.value(TemplateKey::packetSize).toInt(end);
    if (packetSize < end || packetSize > kMaxByte) {
        report(tag + QStringLiteral("packet size [%1] does not hold its fields (%2 bytes)").arg(packetSize).arg(end));
        return;
    }
    isValid = true;
}

const SDownlinkField *SDownlink::fieldAt(qint32 offset) const
{
    for (const SDownlinkField &field : fields) {
        if (offset >= field.regMapBias && offset < field.regMapBias + field.registerCount())
            return &field;
    }
    return nullptr;
}

bool SDownlink::isStatusRegister(qint32 offset) const
{
    return offset == statusReg || offset == statusTimeReg || offset == statusTimeReg + 1;
}
