#pragma once

// Positions of the columns of a register row, in the order of the register
// table (kRegisterColumns); every register model of the interface has them.
namespace RegisterColumn {
enum : int {
    Device = 0,
    Port = 1,
    RegAddr = 2,
    StartValue = 3,
    GratingPeriod = 4,
    BitSize = 5,
    DataType = 6,
    Value = 7,
    FullValue = 8,
    Time = 9,
    Name = 10,
    Unit = 11,
    Parent = 12,
    Source = 13,
    Count = 14,
    // The forms' register models only: the decimals a scaled value keeps.
    Decimals = 14,
    FormCount = 15,
};
} // namespace RegisterColumn
