#pragma once

#include <QHash>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <utility>

// The live health of the running program, as the status registers show it:
// counters and times kept in memory only, so that answering them never
// touches the store. Every part of the data path reports here from the main
// thread, but for the store's backlog, which its own thread reports.
class CStatusBoard
{
public:
    // Milliseconds since the epoch.
    using Clock = std::function<qint64()>;

    static CStatusBoard *getInstance();

    // The start of the run is taken anew from the new clock.
    void setClock(Clock clock);

    void setSessionState(int state);
    void uplinkReceived();
    void uplinkStored(const QString &devEui);
    void unknownDeviceUplink();
    void requestAnswered();
    void connectionLost();
    // ModBus writes and the downlinks made of them.
    void writeReceived();
    void downlinkSent();
    void downlinkRefused();
    void downlinkExpired();
    void setPublishedDevices(int modbusDevices, int tcpDevices);
    void changeListenersNotOpen(int delta);

    // Uplinks that wait for a busy register file; any thread.
    void setUplinksWaiting(int waiting);
    void uplinkDelayed();
    void uplinkDropped();

    // The stored ModBus devices in ascending device id order, each with the
    // milliseconds since the epoch of its last stored uplink as the store has
    // it (0: none); replaces what was known.
    void setStoredDevices(const QList<std::pair<QString, qint64>> &devices);
    // A device stored while running has the highest id so far.
    void deviceAdded(const QString &devEui);
    void deviceRemoved(const QString &devEui);

    // Seconds since the device's last stored uplink; StatusBlock::never when
    // it has none.
    quint32 secondsSinceStored(const QString &devEui) const;

    // Address to word for every address of the request; 0 where the layout
    // holds nothing.
    QMap<quint16, quint16> read(quint16 startAddress, quint16 count) const;

private:
    CStatusBoard();

    quint16 wordAt(quint32 address, qint64 now) const;
    quint32 fieldValue(int field, qint64 now) const;
    quint32 deviceAge(int index, qint64 now) const;
    quint32 ageOf(const QString &devEui, qint64 now) const;
    static quint32 secondsSince(qint64 then, qint64 now);

    Clock m_clock;
    qint64 m_startMs = 0;
    qint64 m_lastUplinkMs = 0;      // 0: none yet
    int m_sessionState = 0;
    quint32 m_uplinksReceived = 0;
    quint32 m_uplinksStored = 0;
    quint32 m_unknownDeviceUplinks = 0;
    quint32 m_requestsAnswered = 0;
    quint32 m_connectionsLost = 0;
    quint32 m_writesReceived = 0;
    quint32 m_downlinksSent = 0;
    quint32 m_downlinksRefused = 0;
    quint32 m_downlinksExpired = 0;
    int m_modbusDevices = 0;
    int m_tcpDevices = 0;
    int m_listenersNotOpen = 0;
    std::atomic<quint32> m_uplinksWaiting{0};
    std::atomic<quint32> m_uplinksDelayed{0};
    std::atomic<quint32> m_uplinksDropped{0};
    QStringList m_deviceOrder;
    QHash<QString, qint64> m_lastStoredMs;      // absent or 0: none yet
};
