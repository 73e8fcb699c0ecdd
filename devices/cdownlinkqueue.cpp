#include "cdownlinkqueue.h"

#include "core/clogfile.h"
#include "core/cstatusboard.h"
#include "database/cdatabasehandler.h"
#include "database/registerwords.h"
#include "devices/cdownlinkencoder.h"
#include "server/sessiontimers.h"
#include "tcp/cmodbusframing.h"

#include <QDateTime>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int kTickMs = 1000;
constexpr qint64 kMsPerSecond = 1000;

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QString wordList(const QList<quint16> &words)
{
    QStringList texts;
    for (quint16 word : words)
        texts.append(QString::number(word));
    return texts.join(QLatin1Char(' '));
}

QString hexOf(const QByteArray &payload)
{
    return QString::fromLatin1(payload.toHex());
}

} // namespace

CDownlinkQueue::CDownlinkQueue(QObject *parent)
    : QObject(parent)
    , m_tick(new QTimer(this))
{
    m_tick->setInterval(kTickMs);
    connect(m_tick, &QTimer::timeout, this, &CDownlinkQueue::tick);
}

void CDownlinkQueue::attach(CServerHandler *server)
{
    m_server = server;
    server->setDownlinkSource([this] { return takeDownlink(); });
    connect(this, &CDownlinkQueue::downlinkWaiting, server, &CServerHandler::downlinkWaiting);
    connect(server, &CServerHandler::downlinkStep, this, &CDownlinkQueue::stepTaken);
    // Writes that came while the session was down go once it is back.
    connect(server, &CServerHandler::changeServerStatus, this, [this](COMM::EServerStatus status) {
        if (status == COMM::Success)
            askForTurn();
    });
}

void CDownlinkQueue::watch(const QString &devEui, quint16 port, quint32 startAddr,
                           const SDeviceTemplate &deviceTemplate)
{
    forget(devEui);
    if (deviceTemplate.downlinks.isEmpty())
        return;
    SDeviceSpan span{devEui, port, 0xFFFFFFFFu, 0};
    const auto cover = [&span, startAddr](qint64 offset, int words) {
        span.first = std::min<quint32>(span.first, quint32(startAddr + offset));
        span.last = std::max<quint32>(span.last, quint32(startAddr + offset + words - 1));
    };
    for (const DB::SDeviceRegDescription &reg : deviceTemplate.registerMap().regs)
        cover(reg.regAddr, RegisterWords::wordCount(reg.bitSize));
    for (const SDownlink &entry : deviceTemplate.downlinks) {
        SEntryState state;
        state.devEui = devEui;
        state.port = port;
        state.startAddr = startAddr;
        state.entry = entry;
        m_entries.append(state);
        cover(entry.statusReg, 1);
        cover(entry.statusTimeReg, 2);
        for (const SDownlinkField &field : entry.fields)
            cover(field.regMapBias, field.registerCount());
    }
    m_devices.append(span);
}

void CDownlinkQueue::forget(const QString &devEui)
{
    for (int index = int(m_entries.size()) - 1; index >= 0; --index) {
        if (m_entries.at(index).devEui != devEui)
            continue;
        m_entries.removeAt(index);
        if (m_inFlight == index)
            m_inFlight = -1;
        else if (m_inFlight > index)
            --m_inFlight;
    }
    m_devices.removeIf([&devEui](const SDeviceSpan &span) { return span.devEui == devEui; });
}

CDownlinkQueue::SEntryState *CDownlinkQueue::entryAt(quint16 port, quint32 address, qint32 *offset)
{
    for (SEntryState &state : m_entries) {
        if (state.port != port || address < state.startAddr)
            continue;
        *offset = qint32(address - state.startAddr);
        if (state.entry.fieldAt(*offset))
            return &state;
    }
    return nullptr;
}

quint8 CDownlinkQueue::write(quint16 port, quint16 startAddress, const QList<quint16> &words)
{
    CStatusBoard::getInstance()->writeReceived();
    const SWrite write{port, startAddress, words};
    QMap<SEntryState *, Words> byEntry;
    if (const quint8 code = sortByEntry(write, byEntry))
        return code;
    QMap<SEntryState *, SQueued> payloads;
    if (const quint8 code = buildPayloads(write, byEntry, payloads))
        return code;
    queue(write, payloads);
    return 0;
}

// Every register of the write must belong to a downlink field.
quint8 CDownlinkQueue::sortByEntry(const SWrite &write, QMap<SEntryState *, Words> &byEntry)
{
    for (int index = 0; index < write.words.size(); ++index) {
        const quint32 address = quint32(write.startAddress) + quint32(index);
        qint32 offset = 0;
        SEntryState *state = address <= 0xFFFF ? entryAt(write.port, address, &offset) : nullptr;
        if (state) {
            byEntry[state].insert(offset, write.words.at(index));
            continue;
        }
        const auto covers = [&write, address](const SDeviceSpan &span) {
            return span.port == write.port && address >= span.first && address <= span.last;
        };
        // A device without downlinks refuses writes as it always did.
        if (std::none_of(m_devices.cbegin(), m_devices.cend(), covers))
            return refuse(write, CModbusFraming::IllegalFunction, QStringLiteral("no device here takes writes"));
        return refuse(write, CModbusFraming::IllegalDataAddress,
                      QStringLiteral("register %1 belongs to no downlink").arg(address));
    }
    return 0;
}

// Nothing is queued unless every entry the write touches takes it.
quint8 CDownlinkQueue::buildPayloads(const SWrite &write, const QMap<SEntryState *, Words> &byEntry,
                                     QMap<SEntryState *, SQueued> &payloads) const
{
    for (auto it = byEntry.cbegin(); it != byEntry.cend(); ++it) {
        const std::optional<Words> full = completed(*it.key(), it.value());
        if (!full) {
            return refuse(write, CModbusFraming::ServerDeviceFailure,
                          QStringLiteral("the register file could not be read for the registers left out"));
        }
        for (const SDownlinkField &field : it.key()->entry.fields) {
            const bool written = std::any_of(it->keyBegin(), it->keyEnd(), [&field](qint32 offset) {
                return offset >= field.regMapBias && offset < field.regMapBias + field.registerCount();
            });
            const QString outside = written ? CDownlinkEncoder::outsideLimits(field, *full) : QString();
            if (!outside.isEmpty())
                return refuse(write, CModbusFraming::IllegalDataValue, outside);
        }
        const CDownlinkEncoder::SResult result = CDownlinkEncoder::encode(it.key()->entry, *full);
        if (!result.ok())
            return refuse(write, CModbusFraming::IllegalDataValue, result.refusal);
        payloads.insert(it.key(), {*full, result.payload});
    }
    return 0;
}

void CDownlinkQueue::queue(const SWrite &write, const QMap<SEntryState *, SQueued> &payloads)
{
    const qint64 now = nowMs();
    for (auto it = payloads.cbegin(); it != payloads.cend(); ++it) {
        SEntryState &state = *it.key();
        const QString replaced = state.pending ? QStringLiteral(", replacing the unsent %1").arg(hexOf(*state.pending))
                                               : QString();
        state.lastWritten = it->full;
        state.pending = it->payload;
        state.deadlineMs = now + qint64(state.entry.deadlineSeconds) * kMsPerSecond;
        setStatus(state, SDownlink::Pending);
        CLogFile::addLog(QStringLiteral("INFO: [CDownlinkQueue] Write on port %1 at %2: %3 for %4: payload %5 waits "
                                        "to be sent%6.")
                                 .arg(QString::number(write.port), QString::number(write.startAddress),
                                      wordList(write.words), describe(state), hexOf(it->payload), replaced));
    }
    m_tick->start();
    askForTurn();
}

quint8 CDownlinkQueue::refuse(const SWrite &write, quint8 code, const QString &reason)
{
    CLogFile::addLog(QStringLiteral("WARNING: [CDownlinkQueue] Write on port %1 at %2: %3 refused with exception "
                                    "%4: %5.")
                             .arg(QString::number(write.port), QString::number(write.startAddress),
                                  wordList(write.words), QStringLiteral("%1").arg(code, 2, 16, QLatin1Char('0')),
                                  reason));
    return code;
}

std::optional<CDownlinkQueue::Words> CDownlinkQueue::completed(const SEntryState &state, const Words &written) const
{
    Words full = state.lastWritten;
    for (auto it = written.cbegin(); it != written.cend(); ++it)
        full.insert(it.key(), it.value());
    for (const SDownlinkField &field : state.entry.fields) {
        const qint32 first = field.regMapBias;
        bool missing = false;
        for (int word = 0; word < field.registerCount(); ++word)
            missing = missing || !full.contains(first + word);
        if (!missing)
            continue;
        // What the device last reported stands for a value never written.
        CDataBaseHandler *store = CDataBaseHandler::getInstance();
        const quint32 address = state.startAddr + quint32(first);
        const std::optional<QMap<quint16, quint16>> stored =
                store ? store->readRegisters(state.port, address, quint32(field.registerCount()),
                                             CDataBaseHandler::kReadWaitMs)
                      : std::nullopt;
        if (!stored)
            return std::nullopt;
        for (int word = 0; word < field.registerCount(); ++word) {
            if (!full.contains(first + word))
                full.insert(first + word, stored->value(quint16(state.startAddr + quint32(first + word))));
        }
    }
    return full;
}

void CDownlinkQueue::overlay(quint16 port, quint16 startAddress, quint16 count, QMap<quint16, quint16> &words) const
{
    const quint32 end = quint32(startAddress) + count;
    for (const SEntryState &state : m_entries) {
        if (state.port != port)
            continue;
        const quint32 status = state.startAddr + quint32(state.entry.statusReg);
        const quint32 time = state.startAddr + quint32(state.entry.statusTimeReg);
        const std::pair<quint32, quint16> registers[] = {
                {status, state.status}, {time, quint16(state.statusTime >> 16)}, {time + 1, quint16(state.statusTime)}};
        for (const auto &[address, word] : registers) {
            if (address < startAddress || address >= end)
                continue;
            // A read that met no stored register still has these.
            if (words.isEmpty()) {
                for (quint32 each = startAddress; each < end; ++each)
                    words.insert(quint16(each), 0);
            }
            words.insert(quint16(address), word);
        }
    }
}

bool CDownlinkQueue::isDue(const SEntryState &state, qint64 now) const
{
    return state.pending && now < state.deadlineMs
           && (state.sentMs == 0 || now - state.sentMs >= qint64(state.entry.minIntervalSeconds) * kMsPerSecond);
}

std::optional<API::SDownlinkFrame> CDownlinkQueue::takeDownlink()
{
    if (m_inFlight >= 0)
        return std::nullopt;
    const qint64 now = nowMs();
    // The longest waiting first: the one nearest its deadline.
    int chosen = -1;
    for (int index = 0; index < m_entries.size(); ++index) {
        const SEntryState &state = m_entries.at(index);
        if (isDue(state, now) && (chosen < 0 || state.deadlineMs < m_entries.at(chosen).deadlineMs))
            chosen = index;
    }
    if (chosen < 0)
        return std::nullopt;
    SEntryState &state = m_entries[chosen];
    state.inFlight = *state.pending;
    state.pending.reset();
    m_inFlight = chosen;
    return API::SDownlinkFrame{state.devEui, state.entry.loraPort, state.entry.confirmed, state.inFlight};
}

void CDownlinkQueue::stepTaken(CServerHandler::EDownlinkStep step, const QString &reason)
{
    if (m_inFlight < 0)
        return;
    SEntryState &state = m_entries[m_inFlight];
    const QString payload = hexOf(state.inFlight);
    // A newer write that waits is what the status register tells of.
    const auto settle = [this, &state](quint16 status) {
        m_inFlight = -1;
        if (!state.pending)
            setStatus(state, status);
        askForTurn();
    };
    switch (step) {
    case CServerHandler::DownlinkSent:
        state.sentMs = nowMs();
        if (!state.pending)
            setStatus(state, SDownlink::Sent);
        CStatusBoard::getInstance()->downlinkSent();
        return;
    case CServerHandler::DownlinkAccepted:
        CLogFile::addLog(QStringLiteral("INFO: [CDownlinkQueue] Downlink %1 accepted by the server: payload %2 on "
                                        "LoRaWAN port %3.")
                                 .arg(describe(state), payload, QString::number(state.entry.loraPort)));
        settle(SDownlink::Accepted);
        return;
    case CServerHandler::DownlinkRefused:
        CStatusBoard::getInstance()->downlinkRefused();
        CLogFile::addLog(QStringLiteral("WARNING: [CDownlinkQueue] Downlink %1 refused by the server (%2): payload "
                                        "%3 is not sent again.")
                                 .arg(describe(state), reason, payload));
        settle(SDownlink::Refused);
        return;
    case CServerHandler::DownlinkUnanswered:
        CLogFile::addLog(QStringLiteral("WARNING: [CDownlinkQueue] Downlink %1 sent, but the server gave no answer "
                                        "within %2 s: payload %3 is not sent again.")
                                 .arg(describe(state), QString::number(SessionTimer::downlinkAnswerTimeoutMs / 1000),
                                      payload));
        settle(SDownlink::Sent);
        return;
    }
}

void CDownlinkQueue::tick()
{
    const qint64 now = nowMs();
    bool anyPending = false;
    for (SEntryState &state : m_entries) {
        if (state.pending && now >= state.deadlineMs) {
            CStatusBoard::getInstance()->downlinkExpired();
            CLogFile::addLog(QStringLiteral("WARNING: [CDownlinkQueue] Downlink %1 expired unsent after %2 s: payload "
                                            "%3 is dropped.")
                                     .arg(describe(state), QString::number(state.entry.deadlineSeconds),
                                          hexOf(*state.pending)));
            state.pending.reset();
            setStatus(state, SDownlink::Expired);
        }
        anyPending = anyPending || state.pending;
    }
    if (!anyPending) {
        m_tick->stop();
        return;
    }
    askForTurn();
}

void CDownlinkQueue::askForTurn()
{
    if (m_inFlight >= 0 || !m_server || !m_server->isLoggedIn())
        return;
    const qint64 now = nowMs();
    if (std::any_of(m_entries.cbegin(), m_entries.cend(), [this, now](const SEntryState &state) {
            return isDue(state, now);
        })) {
        emit downlinkWaiting();
    }
}

void CDownlinkQueue::setStatus(SEntryState &state, quint16 status)
{
    if (state.status == status)
        return;
    state.status = status;
    state.statusTime = quint32(nowMs() / kMsPerSecond);
}

QString CDownlinkQueue::describe(const SEntryState &state) const
{
    return QStringLiteral("\"%1\" of DevEUI[%2]").arg(state.entry.name, state.devEui);
}
