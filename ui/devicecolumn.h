#pragma once

#include <QtGlobal>

// Positions of the columns of a device row, in the order of the device tables
// (kDeviceColumns); a TCP device row ends before the start address.
namespace DeviceColumn {
enum : int {
    Id = 0,
    Name = 1,
    AppEui = 2,
    DevEui = 3,
    Port = 4,
    StartAddr = 5,
};

// Stands for the start address that a TCP device does not have.
constexpr quint32 kNoStartAddress = 0xFFFFFFFF;
} // namespace DeviceColumn
