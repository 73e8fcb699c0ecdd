#pragma once

#include "devices/devicetemplate.h"
#include "server/apitypes.h"
#include "server/cserverhandler.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

#include <optional>

class QTimer;

// The opt-in way from a SCADA to a LoRaWAN actuator: ModBus writes of the
// holding registers that a template's "downlinks" entries take become
// downlinks. Each entry keeps one pending downlink at most, which a newer
// write replaces until it is sent; it goes through the session when that is
// logged in and the entry's interval has passed, is never sent twice, and
// expires when its deadline passes unsent. Each entry's status registers tell
// what became of its last write. Lives on the main thread.
class CDownlinkQueue : public QObject
{
    Q_OBJECT

public:
    explicit CDownlinkQueue(QObject *parent = nullptr);

    // The session that sends the downlinks and answers for them.
    void attach(CServerHandler *server);

    // Takes the writes of a device on a port that accepts them: the entries
    // of its template, at its start address.
    void watch(const QString &devEui, quint16 port, quint32 startAddr, const SDeviceTemplate &deviceTemplate);
    void forget(const QString &devEui);

    // A ModBus write of holding registers: 0 when every register belongs to a
    // downlink and every value is taken, or the exception code. Nothing is
    // queued unless the whole write is.
    quint8 write(quint16 port, quint16 startAddress, const QList<quint16> &words);
    // The status registers of the port's entries, over the words a read gave.
    void overlay(quint16 port, quint16 startAddress, quint16 count, QMap<quint16, quint16> &words) const;

    // The downlink to send now, if any; called by the session.
    std::optional<API::SDownlinkFrame> takeDownlink();

signals:
    void downlinkWaiting();

private:
    struct SEntryState
    {
        QString devEui;
        quint16 port = 0;
        quint32 startAddr = 0;
        SDownlink entry;
        QMap<qint32, quint16> lastWritten;  // by offset from the start address
        std::optional<QByteArray> pending;
        QByteArray inFlight;                // the payload of the send awaiting its outcome
        qint64 deadlineMs = 0;              // of the pending downlink
        qint64 sentMs = 0;                  // 0: never sent
        quint16 status = SDownlink::Idle;
        quint32 statusTime = 0;             // seconds since the epoch of the last change
    };

    struct SDeviceSpan
    {
        QString devEui;
        quint16 port = 0;
        quint32 first = 0;
        quint32 last = 0;
    };

    using Words = QMap<qint32, quint16>;

    struct SWrite
    {
        quint16 port = 0;
        quint16 startAddress = 0;
        const QList<quint16> &words;
    };

    // What an entry sends for a write: its registers with those left out.
    struct SQueued
    {
        Words full;
        QByteArray payload;
    };

    void stepTaken(CServerHandler::EDownlinkStep step, const QString &reason);
    void tick();
    void askForTurn();
    void setStatus(SEntryState &state, quint16 status);
    bool isDue(const SEntryState &state, qint64 now) const;
    // Each step answers 0, or the exception code with the write's log line.
    quint8 sortByEntry(const SWrite &write, QMap<SEntryState *, Words> &byEntry);
    quint8 buildPayloads(const SWrite &write, const QMap<SEntryState *, Words> &byEntry,
                         QMap<SEntryState *, SQueued> &payloads) const;
    void queue(const SWrite &write, const QMap<SEntryState *, SQueued> &payloads);
    static quint8 refuse(const SWrite &write, quint8 code, const QString &reason);
    // The entry's words with what the write leaves out: last written, else stored.
    std::optional<Words> completed(const SEntryState &state, const Words &written) const;
    QString describe(const SEntryState &state) const;
    SEntryState *entryAt(quint16 port, quint32 address, qint32 *offset);

    CServerHandler *m_server = nullptr;
    QList<SEntryState> m_entries;
    QList<SDeviceSpan> m_devices;
    int m_inFlight = -1;    // index in m_entries of the downlink sent last, until its outcome
    QTimer *m_tick = nullptr;
};
