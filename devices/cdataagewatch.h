#pragma once

#include <QHash>
#include <QList>
#include <QString>

// The opt-in comm failure of a device that stopped reporting: for each
// watched ModBus device, the addresses it answers on its port and how old its
// stored data may be. A read that meets a device past its limit is to answer
// exception 0B, which a SCADA takes as its own comm alarm.
class CDataAgeWatch
{
public:
    // Replaces the device's watch; a limit of 0 seconds drops it.
    void watch(const QString &devEui, quint16 port, quint32 firstAddress, quint32 lastAddress,
               quint32 maxAgeSeconds);
    void forget(const QString &devEui);

    // Whether a watched device whose addresses the read meets has stored no
    // uplink within its limit. Each change of a device is logged once.
    bool anyStale(quint16 port, quint16 startAddress, quint16 count);

private:
    struct SEntry
    {
        QString devEui;
        quint32 first = 0;
        quint32 last = 0;
        quint32 maxAgeSeconds = 0;
        bool stale = false;     // as last logged
    };

    QHash<quint16, QList<SEntry>> m_byPort;
};
