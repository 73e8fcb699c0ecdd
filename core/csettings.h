#pragma once

#include <QSettings>

// The program's persistent key-value store: a thin singleton over the INI
// file "settings.conf" in the working directory. Every write is synced at once.
class CSettings : public QSettings
{
    Q_OBJECT

public:
    static CSettings *getInstance(const QString &fileName);

    static QVariant readValue(const QString &key, const QVariant &defaultValue = QVariant());
    static bool writeValue(const QString &key, const QVariant &value);
    static bool removeValue(const QString &key);

private:
    explicit CSettings(const QString &fileName);

    static CSettings *m_instance;
};
