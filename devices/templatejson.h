#pragma once

#include <QDebug>
#include <QJsonObject>
#include <QString>
#include <QStringList>

// The checks that every template record makes of its JSON object, with its
// reasons on the debug output.
namespace TemplateJson {

inline void report(const QString &message)
{
    qDebug().noquote() << message;
}

inline bool containsAll(const QJsonObject &object, const QStringList &keys)
{
    for (const QString &key : keys) {
        if (!object.contains(key))
            return false;
    }
    return true;
}

inline bool anyNull(const QJsonObject &object, const QStringList &keys)
{
    for (const QString &key : keys) {
        if (object.value(key).isNull())
            return true;
    }
    return false;
}

// The presence and null checks, in this order; reports the first fault under
// the record's tag.
inline bool hasRequiredKeys(const QJsonObject &object, const QStringList &keys, const QString &tag)
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

} // namespace TemplateJson
