#include "cstatusboard.h"

#include "core/constants.h"
#include "core/coretypes.h"

#include <QDateTime>

#include <algorithm>

namespace {
constexpr qint64 kMsPerSecond = 1000;

quint16 highWord(quint32 value)
{
    return quint16(value >> 16);
}

quint16 lowWord(quint32 value)
{
    return quint16(value & 0xFFFF);
}

} // namespace

CStatusBoard *CStatusBoard::getInstance()
{
    static CStatusBoard instance;
    return &instance;
}

CStatusBoard::CStatusBoard()
    : m_sessionState(COMM::Disconnected)
{
    setClock(&QDateTime::currentMSecsSinceEpoch);
}

void CStatusBoard::setClock(Clock clock)
{
    m_clock = std::move(clock);
    m_startMs = m_clock();
}

void CStatusBoard::setSessionState(int state)
{
    m_sessionState = state;
}

void CStatusBoard::uplinkReceived()
{
    ++m_uplinksReceived;
    m_lastUplinkMs = m_clock();
}

void CStatusBoard::uplinkStored(const QString &devEui)
{
    ++m_uplinksStored;
    m_lastStoredMs.insert(devEui, m_clock());
}

void CStatusBoard::unknownDeviceUplink()
{
    ++m_unknownDeviceUplinks;
}

void CStatusBoard::requestAnswered()
{
    ++m_requestsAnswered;
}

void CStatusBoard::writeReceived()
{
    ++m_writesReceived;
}

void CStatusBoard::downlinkSent()
{
    ++m_downlinksSent;
}

void CStatusBoard::downlinkRefused()
{
    ++m_downlinksRefused;
}

void CStatusBoard::downlinkExpired()
{
    ++m_downlinksExpired;
}

void CStatusBoard::connectionLost()
{
    ++m_connectionsLost;
}

void CStatusBoard::setPublishedDevices(int modbusDevices, int tcpDevices)
{
    m_modbusDevices = modbusDevices;
    m_tcpDevices = tcpDevices;
}

void CStatusBoard::changeListenersNotOpen(int delta)
{
    m_listenersNotOpen = std::max(0, m_listenersNotOpen + delta);
}

void CStatusBoard::setUplinksWaiting(int waiting)
{
    m_uplinksWaiting = quint32(std::max(0, waiting));
}

void CStatusBoard::uplinkDelayed()
{
    ++m_uplinksDelayed;
}

void CStatusBoard::uplinkDropped()
{
    ++m_uplinksDropped;
}

void CStatusBoard::setStoredDevices(const QList<std::pair<QString, qint64>> &devices)
{
    m_deviceOrder.clear();
    m_lastStoredMs.clear();
    for (const auto &[devEui, time] : devices) {
        m_deviceOrder.append(devEui);
        if (time > 0)
            m_lastStoredMs.insert(devEui, time);
    }
}

void CStatusBoard::deviceAdded(const QString &devEui)
{
    if (!m_deviceOrder.contains(devEui))
        m_deviceOrder.append(devEui);
}

void CStatusBoard::deviceRemoved(const QString &devEui)
{
    m_deviceOrder.removeAll(devEui);
    m_lastStoredMs.remove(devEui);
}

QMap<quint16, quint16> CStatusBoard::read(quint16 startAddress, quint16 count) const
{
    QMap<quint16, quint16> words;
    const qint64 now = m_clock();
    for (quint32 address = startAddress; address < quint32(startAddress) + count; ++address)
        words.insert(quint16(address), wordAt(address, now));
    return words;
}

quint16 CStatusBoard::wordAt(quint32 address, qint64 now) const
{
    if (address < StatusBlock::fixedBlockEnd) {
        for (const StatusBlock::SField &field : StatusBlock::kFields) {
            if (address < field.address || address >= quint32(field.address + field.width))
                continue;
            const quint32 value = fieldValue(field.address, now);
            if (field.width == 1)
                return lowWord(value);
            return address == field.address ? highWord(value) : lowWord(value);
        }
        return 0;
    }
    if (address < StatusBlock::deviceAgeBase)
        return 0;
    const quint32 offset = address - StatusBlock::deviceAgeBase;
    const quint32 index = offset / StatusBlock::deviceAgeWidth;
    if (index >= quint32(m_deviceOrder.size()))
        return 0;
    const quint32 age = deviceAge(int(index), now);
    return offset % StatusBlock::deviceAgeWidth == 0 ? highWord(age) : lowWord(age);
}

quint32 CStatusBoard::fieldValue(int field, qint64 now) const
{
    switch (field) {
    case StatusBlock::LayoutVersion:
        return StatusBlock::layoutVersion;
    case StatusBlock::SessionState:
        return quint32(m_sessionState);
    case StatusBlock::SecondsSinceUplink:
        return m_lastUplinkMs > 0 ? secondsSince(m_lastUplinkMs, now) : StatusBlock::never;
    case StatusBlock::SecondsSinceStart:
        return secondsSince(m_startMs, now);
    case StatusBlock::UplinksReceived:
        return m_uplinksReceived;
    case StatusBlock::UplinksStored:
        return m_uplinksStored;
    case StatusBlock::RequestsAnswered:
        return m_requestsAnswered;
    case StatusBlock::ModBusDevices:
        return quint32(m_modbusDevices);
    case StatusBlock::TcpDevices:
        return quint32(m_tcpDevices);
    case StatusBlock::ListenersNotOpen:
        return quint32(m_listenersNotOpen);
    case StatusBlock::ConnectionsLost:
        return m_connectionsLost;
    case StatusBlock::UplinksWaiting:
        return m_uplinksWaiting;
    case StatusBlock::UplinksDelayed:
        return m_uplinksDelayed;
    case StatusBlock::UplinksDropped:
        return m_uplinksDropped;
    case StatusBlock::UnknownDeviceUplinks:
        return m_unknownDeviceUplinks;
    case StatusBlock::WritesReceived:
        return m_writesReceived;
    case StatusBlock::DownlinksSent:
        return m_downlinksSent;
    case StatusBlock::DownlinksRefused:
        return m_downlinksRefused;
    case StatusBlock::DownlinksExpired:
        return m_downlinksExpired;
    default:
        return 0;
    }
}

quint32 CStatusBoard::deviceAge(int index, qint64 now) const
{
    return ageOf(m_deviceOrder.at(index), now);
}

quint32 CStatusBoard::secondsSinceStored(const QString &devEui) const
{
    return ageOf(devEui, m_clock());
}

quint32 CStatusBoard::ageOf(const QString &devEui, qint64 now) const
{
    const qint64 last = m_lastStoredMs.value(devEui, 0);
    return last > 0 ? secondsSince(last, now) : StatusBlock::never;
}

// A clock set back gives an age of 0 rather than one of a century.
quint32 CStatusBoard::secondsSince(qint64 then, qint64 now)
{
    return quint32(std::max<qint64>(0, now - then) / kMsPerSecond);
}
