#include "apitypes.h"

#include "core/constants.h"

#include <QDebug>
#include <QVariant>

namespace API {

namespace {

bool isUplinkType(const QString &type)
{
    // A packet may carry several kinds at once, e.g. "UNCONF_UP+MAC_LINKCHECK_REQ".
    const QStringList kinds = type.split(QLatin1Char('+'), Qt::KeepEmptyParts);
    return kinds.contains(kPacketTypeNames.at(kUnconfirmedUplinkIndex))
            || kinds.contains(kPacketTypeNames.at(kConfirmedUplinkIndex));
}

} // namespace

SApiDeviceData::SApiDeviceData(const QJsonObject &object)
{
    if (object.isEmpty())
        return;

    if (!object.contains(JsonKey::type)) {
        qDebug() << "[SApiDeviceData] Uncknown JSON message format!";
        return;
    }
    const QString type = object.value(JsonKey::type).toString();
    if (!isUplinkType(type)) {
        qDebug().noquote() << "[SApiDeviceData] Not UPLINK message: " + type;
        return;
    }
    if (!object.contains(JsonKey::data)) {
        qDebug() << "[SApiDeviceData] DATA is not exist";
        return;
    }

    devEui = object.value(JsonKey::devEui).toString().toUpper();
    ts = object.value(JsonKey::ts).toVariant().toULongLong();
    const QStringList gatewayParts =
            object.value(JsonKey::gatewayId).toString().split(QLatin1Char('+'), Qt::KeepEmptyParts);
    gatewayId = gatewayParts.isEmpty() ? QString() : gatewayParts.first().toUpper();
    ack = object.value(JsonKey::ack).toBool(false);
    fcnt = object.value(JsonKey::fcnt).toVariant().toUInt();
    port = static_cast<quint16>(object.value(JsonKey::port).toInt(0));
    data = QByteArray::fromHex(object.value(JsonKey::data).toString().toUtf8());
    freq = object.value(JsonKey::freq).toVariant().toUInt();
    dr = static_cast<qint16>(object.value(JsonKey::dr).toInt(0));
    rssi = static_cast<qint16>(object.value(JsonKey::rssi).toInt(0));
    snr = object.value(JsonKey::snr).toDouble(0.0);
    valid = true;
}

} // namespace API

void registerApiMetaTypes()
{
    qRegisterMetaType<COMM::EServerStatus>("COMM::EServerStatus");
    qRegisterMetaType<QList<API::SServerDeviceInfo>>("QList<API::SServerDeviceInfo>");
    qRegisterMetaType<API::SApiDeviceData>("API::SApiDeviceData");
}
