#include "csettings.h"

#include <QDebug>

CSettings *CSettings::m_instance = nullptr;

CSettings::CSettings(const QString &fileName)
    : QSettings(fileName, QSettings::IniFormat)
{
}

CSettings *CSettings::getInstance(const QString &fileName)
{
    if (m_instance)
        return m_instance;

    if (fileName.isEmpty()) {
        qDebug() << "ERROR: [CSettings::getInstance] Invalid fileName";
        return nullptr;
    }
    m_instance = new CSettings(fileName);
    return m_instance;
}

QVariant CSettings::readValue(const QString &key, const QVariant &defaultValue)
{
    CSettings *settings = getInstance(QString());
    if (!settings) {
        qDebug() << "ERROR: [CSettings::readValue] Invalid object";
        return QVariant();
    }
    return settings->value(key, defaultValue);
}

bool CSettings::writeValue(const QString &key, const QVariant &value)
{
    CSettings *settings = getInstance(QString());
    if (!settings) {
        qDebug() << "ERROR: [CSettings::writeValue] Invalid object";
        return false;
    }
    settings->setValue(key, value);
    // The status of sync is not looked at: an unwritable file goes unnoticed.
    settings->sync();
    return true;
}
