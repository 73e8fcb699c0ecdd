#pragma once

#include <QMetaType>

// The words that every layer of the program shares.

// Kind of a device interface. The values are stored nowhere but select the
// device table: ModBus devices live in "devices", TCP devices in "devicesTCP".
enum class ProtocolOption {
    ModBus = 1,
    TCP = 2,
};

namespace COMM {

// State of the server session as the rest of the program sees it.
enum EServerStatus {
    Success = 0,
    PingWaiting = 1,
    InvalidPing = 2,
    AuthWaiting = 3,
    InvalidAuth = 4,
    Disconnected = 5,
};

} // namespace COMM

Q_DECLARE_METATYPE(ProtocolOption)
Q_DECLARE_METATYPE(COMM::EServerStatus)
