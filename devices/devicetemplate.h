#pragma once

#include "database/dbtypes.h"
#include "devices/downlinktemplate.h"

#include <QColor>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>

// The records of a device template file ("deviceFolder/*.json"): how the
// uplinks of one kind of device become registers. Each record is built from
// its JSON object, never refuses to be built, and tells through isValid
// whether it was accepted; the reason of a refusal goes to the debug output.

// Colour of a device kind whose template names none, or one that QColor refuses.
inline const QColor kDefaultDeviceColor = QColor(QStringLiteral("#94999D"));

// One datum that the server reports beside the payload (time stamp, signal
// figures, identifiers), mapped to registers.
struct SServerData
{
    SServerData() = default;
    explicit SServerData(const QJsonObject &object);

    QString dataCode;       // one of the keys of kServerDataFormats, exact case
    qint32 bitSize = 0;     // natural size of the datum
    QString type;           // natural data type word of the datum
    qint32 regMapBias = 0;  // first register, relative to the device's start address
    qint32 regBitBias = 0;
    qint32 regBitSize = 0;  // how much of the datum is mapped
    QString dataName;
    bool isValid = false;
};

// One value inside an uplink payload.
struct SDevicePacketField
{
    enum EEndianness : qint32 {
        LittleEndian = 0,
        BigEndian = 1,
    };

    SDevicePacketField() = default;
    explicit SDevicePacketField(const QJsonObject &object);

    qint32 packetBias = 0;  // byte offset in the payload, the type byte being 0
    qint32 dataBitBias = 0;
    qint32 dataBitSize = 0;
    QString dataType;       // "integer", "uinteger" or "text"; checked by the decoder
    qint32 regMapBias = 0;  // first register, relative to the device's start address
    qint32 regBitBias = 0;
    qint32 regBitSize = 0;  // width in the register map
    QString dataName;
    bool isValid = false;
    EEndianness endianness = LittleEndian;
};

// One payload layout, selected by the first payload byte.
struct SDevicePacket
{
    SDevicePacket() = default;
    explicit SDevicePacket(const QJsonObject &object);

    qint32 packetType = 0;
    qint32 packetSize = 0;  // exact payload length, the type byte included
    QList<SDevicePacketField> packetFields;
    bool isValid = false;
};

// One kind of ModBus device: one template file.
struct SDeviceTemplate
{
    SDeviceTemplate() = default;
    explicit SDeviceTemplate(const QJsonObject &object);

    // The registers that a new device of this kind gets: the server data by
    // code, then the fields of the packets by ascending key, in list order.
    DB::SDeviceRegMapDescription registerMap() const;

    // The colour that a template names, or the default one with a message.
    static QColor colorFromName(const QString &name);

    bool isValid = false;
    QString appEui;         // upper case; the template's key
    QString devType;
    QColor color = kDefaultDeviceColor;
    // Opt-in: a negative value is stored as the two's complement of its
    // register width rather than as its magnitude with a minus sign.
    bool twosComplement = false;
    QMap<QString, SServerData> serverData;
    // Keyed by packet_type as unsigned: -56 in the file is 0xFFFFFFC8, the
    // pattern of a payload byte 0xC8 widened with its sign.
    QMap<quint32, SDevicePacket> devicePackets;
    // Opt-in: ModBus writes that become downlinks. An entry that is refused
    // is left out, with its reason, and counted.
    QList<SDownlink> downlinks;
    int refusedDownlinks = 0;

private:
    void readDownlinks(const QJsonObject &object);
};
