#include "tcpdevicetemplate.h"

#include "core/constants.h"

#include <QDebug>

STCPDeviceTemplate::STCPDeviceTemplate(const QJsonObject &object)
{
    if (object.isEmpty()) {
        qDebug().noquote() << QStringLiteral("[STCPDeviceTemplate] Empty input JSON");
        return;
    }
    if (!object.contains(TemplateKey::appEui) || !object.contains(TemplateKey::devType)) {
        qDebug().noquote() << QStringLiteral("[STCPDeviceTemplate] Invalid input JSON");
        return;
    }
    if (object.value(TemplateKey::appEui).isNull() || object.value(TemplateKey::devType).isNull()) {
        qDebug().noquote() << QStringLiteral("[STCPDeviceTemplate] One or several values of input JSON is NULL");
        return;
    }

    appEui = object.value(TemplateKey::appEui).toString().toUpper();
    devType = object.value(TemplateKey::devType).toString();
    if (object.contains(TemplateKey::color))
        color = SDeviceTemplate::colorFromName(object.value(TemplateKey::color).toString());
    isValid = true;
}
