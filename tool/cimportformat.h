#pragma once

#include <QStringList>

// The header rows of the import files, which export writes too.
namespace ImportFormat {
inline const QStringList devicesHeader = {
    QStringLiteral("dev_eui"), QStringLiteral("app_eui"), QStringLiteral("name"),
    QStringLiteral("port"), QStringLiteral("start_addr"), QStringLiteral("kind"),
};
inline const QStringList registersHeader = {
    QStringLiteral("dev_eui"), QStringLiteral("address"), QStringLiteral("multiplier"),
    QStringLiteral("offset"), QStringLiteral("unit"),
};
inline const QString modbusKind = QStringLiteral("modbus");
inline const QString tcpKind = QStringLiteral("tcp");
} // namespace ImportFormat
