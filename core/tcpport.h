#pragma once

#include <QVariant>

#include <optional>

// TCP port numbers as the settings, the forms' texts and the command line give them.
namespace TcpPort {

inline constexpr qlonglong highest = 65535;

// The port a value names, 0 included; none when it is no port number.
inline std::optional<quint16> from(const QVariant &value)
{
    bool isNumber = false;
    const qlonglong port = value.toLongLong(&isNumber);
    if (!isNumber || port < 0 || port > highest)
        return std::nullopt;
    return quint16(port);
}

} // namespace TcpPort
