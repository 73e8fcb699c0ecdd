#include "cdataagewatch.h"

#include "core/clogfile.h"
#include "core/cstatusboard.h"

#include <algorithm>

void CDataAgeWatch::watch(const QString &devEui, quint16 port, quint32 firstAddress, quint32 lastAddress,
                          quint32 maxAgeSeconds)
{
    forget(devEui);
    if (maxAgeSeconds == 0)
        return;
    m_byPort[port].append({devEui, firstAddress, lastAddress, maxAgeSeconds, false});
}

void CDataAgeWatch::forget(const QString &devEui)
{
    for (auto it = m_byPort.begin(); it != m_byPort.end();) {
        it->removeIf([&devEui](const SEntry &entry) { return entry.devEui == devEui; });
        it = it->isEmpty() ? m_byPort.erase(it) : std::next(it);
    }
}

bool CDataAgeWatch::anyStale(quint16 port, quint16 startAddress, quint16 count)
{
    const auto found = m_byPort.find(port);
    if (found == m_byPort.end())
        return false;
    const quint32 first = startAddress;
    const quint32 last = first + std::max<quint32>(count, 1) - 1;
    bool anyStale = false;
    for (SEntry &entry : *found) {
        if (entry.last < first || entry.first > last)
            continue;
        const quint32 age = CStatusBoard::getInstance()->secondsSinceStored(entry.devEui);
        const bool stale = age > entry.maxAgeSeconds;
        if (stale != entry.stale) {
            entry.stale = stale;
            CLogFile::addLog(stale ? QStringLiteral("WARNING: [CAllDeviceHandler] Device DevEUI[%1] has stored no "
                                                    "uplink for more than %2 s: its reads answer exception 0B.")
                                             .arg(entry.devEui)
                                             .arg(entry.maxAgeSeconds)
                                   : QStringLiteral("INFO: [CAllDeviceHandler] Device DevEUI[%1] has fresh data "
                                                    "again: its reads are answered.")
                                             .arg(entry.devEui));
        }
        anyStale = anyStale || stale;
    }
    return anyStale;
}
