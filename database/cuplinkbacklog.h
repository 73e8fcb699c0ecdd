#pragma once

#include "database/dbtypes.h"

#include <QString>

#include <deque>
#include <optional>

// The uplinks on their way to the register file, oldest first. While another
// program holds the file they wait here, in memory, and are stored when it
// frees; past a bound the oldest are dropped. Each busy spell is logged once
// at its start and once at its end, and the status block counts the uplinks
// that waited and those dropped. Used on the store's thread only.
class CUplinkBacklog
{
public:
    struct SEntry
    {
        DB::SUplinkWrite write;
        // Decoded once, in the first write that got the file: a retry stores
        // the same values and logs the decoder's warnings no second time.
        bool decoded = false;
        std::optional<DB::SDbDeviceRegDataSet> values;
        bool waited = false;
    };

    explicit CUplinkBacklog(int capacity);

    bool isEmpty() const { return m_entries.empty(); }
    int size() const { return int(m_entries.size()); }
    bool isBusy() const { return m_busy; }

    // The entry that the new one pushed out when the backlog was full.
    std::optional<SEntry> append(DB::SUplinkWrite write);
    SEntry &head() { return m_entries.front(); }
    SEntry takeHead();

    // The file could not be had: every uplink here now counts as waiting.
    void busy(const QString &cause);
    // The file took the uplinks again.
    void free();

private:
    void markWaiting(SEntry &entry);
    void reportSize() const;

    int m_capacity = 0;
    std::deque<SEntry> m_entries;
    bool m_busy = false;
    int m_waitedInSpell = 0;
    int m_droppedInSpell = 0;
};
