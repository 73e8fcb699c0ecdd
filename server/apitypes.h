#pragma once

#include "core/coretypes.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>

namespace API {

// One uplink, as the server pushes it ("rx") or lists it ("get_data_resp").
struct SApiDeviceData
{
    SApiDeviceData() = default;
    // Never fails: a refused object gives a record with valid false and an
    // empty devEui.
    explicit SApiDeviceData(const QJsonObject &object);

    QString devEui;
    quint64 ts = 0;
    QString gatewayId;
    bool ack = false;
    quint32 fcnt = 0;
    quint16 port = 0;
    QByteArray data;
    quint32 freq = 0;
    qint16 dr = 0;
    qint16 rssi = 0;
    double snr = 0.0;
    bool valid = false;
};

// One entry of the server's device list.
struct SServerDeviceInfo
{
    QString devEui;
    QString appEui;
    QString devName;
};

// One downlink made of a ModBus write, as it goes into a send_data_req.
struct SDownlinkFrame
{
    QString devEui;
    quint8 port = 0;        // LoRaWAN port
    bool confirmed = false;
    QByteArray payload;
};

} // namespace API

Q_DECLARE_METATYPE(API::SApiDeviceData)
Q_DECLARE_METATYPE(API::SServerDeviceInfo)

// Registers the types that the server link sends through queued signals.
void registerApiMetaTypes();
