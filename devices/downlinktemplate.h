#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

// The opt-in "downlinks" section of a device template: how a ModBus write of
// holding registers becomes the payload of a downlink. Each entry builds one
// payload from the registers it takes; like the uplink records, each record
// is built from its JSON object and tells through isValid whether it was
// accepted, with the reason on the debug output.

// One value of a downlink payload, taken from one or more holding registers.
struct SDownlinkField
{
    SDownlinkField() = default;
    explicit SDownlinkField(const QJsonObject &object);

    // The registers the value takes, from regMapBias on.
    int registerCount() const;
    // What a written register value may be; the whole range of the register
    // word(s) when the template sets no limit.
    double lowest() const;
    double highest() const;

    QString dataName;
    qint32 regMapBias = 0;      // relative to the device's start address
    qint32 regBitSize = 16;     // 16, 32 or 64: one, two or four registers, high word first
    qint32 packetBias = 0;      // byte offset in the payload, the fixed first byte being 0
    qint32 dataBitSize = 0;     // 8, 16, 32 or 64; a multiple of 8 for text
    QString dataType;           // "integer", "uinteger" or "text"
    bool bigEndian = false;
    // Register value = raw * multiplier + offset, as an uplink is scaled.
    double multiplier = 1.0;
    double offset = 0.0;
    std::optional<double> min;
    std::optional<double> max;
    bool isValid = false;
};

// One downlink: the registers it takes, the payload it builds and how it is sent.
struct SDownlink
{
    enum EStatus : quint16 {
        Idle = 0,
        Pending = 1,
        Sent = 2,
        Accepted = 3,
        Refused = 4,
        Expired = 5,
    };

    // A write waits this long for its send unless the template says otherwise.
    static constexpr qint32 kDefaultDeadlineSeconds = 600;
    // The status register, then two registers of the time of its last change.
    static constexpr int kStatusRegisters = 3;

    SDownlink() = default;
    explicit SDownlink(const QJsonObject &object);

    // The field that takes the register at this offset from the device's start, or none.
    const SDownlinkField *fieldAt(qint32 offset) const;
    // Whether the register at this offset is one of the entry's status registers.
    bool isStatusRegister(qint32 offset) const;

    QString name;
    quint8 loraPort = 0;        // 1 to 223
    bool confirmed = false;
    quint8 packetType = 0;      // the payload's first byte
    qint32 packetSize = 0;      // the payload's length, the first byte included
    qint32 minIntervalSeconds = 0;
    qint32 deadlineSeconds = kDefaultDeadlineSeconds;
    qint32 statusReg = 0;       // relative to the device's start address
    qint32 statusTimeReg = 0;
    QList<SDownlinkField> fields;
    bool isValid = false;
};
