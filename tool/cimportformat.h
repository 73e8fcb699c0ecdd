#pragma once

#include <QStringList>

// The columns of the import files, which export writes too. The first
// columns of each are required, in this order; the optional ones after them
// may come in any order or not at all.
namespace ImportFormat {
inline const QString kind = QStringLiteral("kind");
inline const QString maxAge = QStringLiteral("max_age");
inline const QString decimals = QStringLiteral("decimals");
inline const QString writable = QStringLiteral("writable");

inline const QStringList devicesHeader = {
    QStringLiteral("dev_eui"), QStringLiteral("app_eui"), QStringLiteral("name"),
    QStringLiteral("port"), QStringLiteral("start_addr"), kind,
};
inline const QStringList devicesColumns = devicesHeader + QStringList{maxAge, writable};
inline constexpr int devicesRequired = 5;

inline const QStringList registersHeader = {
    QStringLiteral("dev_eui"), QStringLiteral("address"), QStringLiteral("multiplier"),
    QStringLiteral("offset"), QStringLiteral("unit"),
};
inline const QStringList registersColumns = registersHeader + QStringList{decimals};
inline constexpr int registersRequired = 5;

inline const QString modbusKind = QStringLiteral("modbus");
inline const QString tcpKind = QStringLiteral("tcp");
} // namespace ImportFormat
