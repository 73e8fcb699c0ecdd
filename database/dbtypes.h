#pragma once

#include "core/coretypes.h"

#include <QList>
#include <QMetaType>
#include <QString>

#include <functional>
#include <optional>

namespace DB {

// One register of a device as its template offers it.
struct SDeviceRegDescription
{
    QString name;
    quint32 source = 0;     // 0: a datum of the server, 1: a field of the payload
    quint32 regAddr = 0;    // offset in the device; the start address is added on registration
    quint32 bitSize = 0;
    QString dataType;
    double startValue = 0.0;
    double gratingPeriod = 1.0;
    QString unit;
    int decimals = 0;       // opt-in: the stored value is the scaled one times 10^decimals
};

// One device to register or publish, with its register map (empty for a TCP device).
struct SDeviceRegMapDescription
{
    QString devEui;
    QString appEui;
    QString name;
    quint32 startAddr = 0;
    QList<SDeviceRegDescription> regs;
    quint32 port = 0;       // listeners use its low 16 bits
};

// One register value of one uplink, as hexadecimal text.
struct SDbRegValue
{
    QString value;
    QString fullValue;      // the whole value on its first register, empty on the others
    quint32 regOffset = 0;
};

// The decoded values of one uplink.
struct SDbDeviceRegDataSet
{
    QString devEui;
    quint32 startAddr = 0;
    QList<SDbRegValue> regs;
};

// The scaling of one register.
struct SRegisterParam
{
    quint32 regAddr = 0;    // absolute address; 0 when the register was not found
    double startValue = 0.0;
    double gratingPeriod = 1.0;
    QString unit;
    int decimals = 0;
};

// Argument of the two edit operations.
struct SDeviceRegUpdate
{
    quint32 deviceId = 0;
    quint16 port = 0;
    QList<SRegisterParam> regs;
    bool withDecimals = false;  // whether the decimals of regs replace the stored ones
};

// When a stored ModBus device last had an uplink stored.
struct SDeviceLastStored
{
    QString devEui;
    qint64 time = 0;    // milliseconds since the epoch; 0 if it never had one
};

// The scaling of the register at an absolute address.
using ScalingLookup = std::function<SRegisterParam(quint32 regAddr)>;

// One uplink of a ModBus device on its way to the store. The store decodes it
// itself, while it holds the file for the write, so that the scaling it reads
// and the values it writes belong together.
struct SUplinkWrite
{
    QString devEui;
    // The values of the uplink; nothing when it has none to store.
    std::function<std::optional<SDbDeviceRegDataSet>(const ScalingLookup &scaling)> decode;
    // Called on the store's thread when the values are stored, or given up.
    std::function<void(bool stored)> done;
};

} // namespace DB

Q_DECLARE_METATYPE(DB::SDeviceRegMapDescription)
Q_DECLARE_METATYPE(DB::SDbDeviceRegDataSet)
