#pragma once

#include "devicetemplate.h"

#include <QColor>
#include <QJsonObject>
#include <QMap>
#include <QString>

// One kind of TCP device: one element of the "data" array of "TCP.json". A
// TCP device is not decoded, so the template only names the kind.
struct STCPDeviceTemplate
{
    STCPDeviceTemplate() = default;
    explicit STCPDeviceTemplate(const QJsonObject &object);

    bool isValid = false;
    QString appEui;         // upper case; the template's key
    QString devType;
    QColor color = kDefaultDeviceColor;
    // Never filled: they only give the record the layout of SDeviceTemplate.
    QMap<QString, SServerData> serverData;
    QMap<quint32, SDevicePacket> devicePackets;
};
