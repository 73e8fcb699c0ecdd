#pragma once

#include "devices/downlinktemplate.h"

#include <QByteArray>
#include <QMap>
#include <QString>

// Builds the payload of a downlink entry from the words of its holding
// registers, the way back of an uplink: each register value is scaled back
// from engineering units to the raw value the device takes. The program's
// writes and `quillbar-tool encode` both go through here.
class CDownlinkEncoder
{
public:
    // Register words by offset from the device's start address.
    using Words = QMap<qint32, quint16>;

    struct SResult
    {
        QByteArray payload;     // empty when refused
        QString refusal;        // why, for the log and the tool
        bool ok() const { return refusal.isEmpty(); }
    };

    // Every register of the entry's fields must be in words.
    static SResult encode(const SDownlink &entry, const Words &words);
    // Empty when the field's register value lies within its limits.
    static QString outsideLimits(const SDownlinkField &field, const Words &words);
    // The value the field's registers hold, as its type reads them: integer
    // as the two's complement of the register width.
    static double registerValue(const SDownlinkField &field, const Words &words);

private:
    static QString putNumber(const SDownlinkField &field, const Words &words, QByteArray &payload);
    static void putText(const SDownlinkField &field, const Words &words, QByteArray &payload);
};
