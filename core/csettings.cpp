#include "csettings.h"

#include <QDebug>
#include <QFile>
#include <QHash>
#include <QMutex>

namespace {
// The file holds the server password: only its owner reads it.
void keepPrivate(const QSettings &settings)
{
    QFile::setPermissions(settings.fileName(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

// QSettings reads its file again only on sync(), which only writeValue calls
// here, so a value read once stays what QSettings would give until the next
// write. The log reads two keys for every line it writes.
struct SCachedValue
{
    bool present;
    QVariant value;
};
QMutex cacheMutex;
QHash<QString, SCachedValue> cache;

} // namespace

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
    QMutexLocker locker(&cacheMutex);
    auto it = cache.constFind(key);
    if (it == cache.constEnd())
        it = cache.insert(key, {settings->contains(key), settings->value(key)});
    return it->present ? it->value : defaultValue;
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
    keepPrivate(*settings);
    QMutexLocker locker(&cacheMutex);
    cache.clear();
    return true;
}

bool CSettings::removeValue(const QString &key)
{
    CSettings *settings = getInstance(QString());
    if (!settings) {
        qDebug() << "ERROR: [CSettings::removeValue] Invalid object";
        return false;
    }
    settings->remove(key);
    settings->sync();
    keepPrivate(*settings);
    QMutexLocker locker(&cacheMutex);
    cache.clear();
    return true;
}
