#include "cuplinkbacklog.h"

#include "core/clogfile.h"
#include "core/cstatusboard.h"

CUplinkBacklog::CUplinkBacklog(int capacity)
    : m_capacity(capacity)
{
}

std::optional<CUplinkBacklog::SEntry> CUplinkBacklog::append(DB::SUplinkWrite write)
{
    m_entries.push_back({std::move(write), false, std::nullopt, false});
    if (m_busy)
        markWaiting(m_entries.back());
    std::optional<SEntry> dropped;
    if (size() > m_capacity) {
        dropped = takeHead();
        CStatusBoard::getInstance()->uplinkDropped();
        if (m_droppedInSpell++ == 0) {
            CLogFile::addLog(QStringLiteral("ERROR: [CDataBaseHandler::saveRegisterData] %1 uplinks wait for the "
                                            "register file: the oldest are dropped.")
                                     .arg(m_capacity),
                             CLogFile::LogError);
        }
    }
    reportSize();
    return dropped;
}

CUplinkBacklog::SEntry CUplinkBacklog::takeHead()
{
    SEntry entry = std::move(m_entries.front());
    m_entries.pop_front();
    reportSize();
    return entry;
}

void CUplinkBacklog::busy(const QString &cause)
{
    if (!m_busy) {
        m_busy = true;
        CLogFile::addLog(QStringLiteral("WARNING: [CDataBaseHandler::saveRegisterData] The register file is busy "
                                        "(%1): uplinks wait in memory until it is free.")
                                 .arg(cause),
                         CLogFile::LogError);
    }
    for (SEntry &entry : m_entries)
        markWaiting(entry);
}

void CUplinkBacklog::free()
{
    if (!m_busy)
        return;
    m_busy = false;
    CLogFile::addLog(QStringLiteral("INFO: [CDataBaseHandler::saveRegisterData] The register file is free again: "
                                    "%1 uplink(s) waited for it, %2 dropped.")
                             .arg(m_waitedInSpell)
                             .arg(m_droppedInSpell));
    m_waitedInSpell = 0;
    m_droppedInSpell = 0;
}

void CUplinkBacklog::markWaiting(SEntry &entry)
{
    if (entry.waited)
        return;
    entry.waited = true;
    ++m_waitedInSpell;
    CStatusBoard::getInstance()->uplinkDelayed();
}

void CUplinkBacklog::reportSize() const
{
    CStatusBoard::getInstance()->setUplinksWaiting(size());
}
