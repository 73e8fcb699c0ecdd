#pragma once

#include <QHash>
#include <QMap>
#include <QString>

#include <optional>

struct sqlite3;
struct sqlite3_stmt;

// The ModBus reads of the register file, on the store's own SQLite handle:
// the same texts come again and again, so each range's statement is compiled
// once, and of each row only the three columns the words come from are
// converted.
class CRegisterReads
{
public:
    CRegisterReads() = default;
    ~CRegisterReads();
    CRegisterReads(const CRegisterReads &) = delete;
    CRegisterReads &operator=(const CRegisterReads &) = delete;

    // Address to word for every address of the range, 0 where nothing is
    // stored; a wide value starting inside the range may add later addresses.
    // Nothing when the statement fails: it is compiled anew next time, once
    // the file is readable again. `rows` counts the stored registers found.
    std::optional<QMap<quint16, quint16>> read(sqlite3 *handle, quint32 port, quint32 startAddress, quint32 count,
                                               int *rows);
    // The text of a range's read, as the log shows a failed one.
    static QString sql(quint32 port, quint32 first, quint32 last);

private:
    // The addresses a ModBus read asks for on a port, first to last.
    struct SReadRange
    {
        quint32 port;
        quint32 first;
        quint32 last;
        friend bool operator==(const SReadRange &a, const SReadRange &b)
        {
            return a.port == b.port && a.first == b.first && a.last == b.last;
        }
        friend size_t qHash(const SReadRange &range, size_t seed = 0)
        {
            return qHashMulti(seed, range.port, range.first, range.last);
        }
    };

    sqlite3_stmt *compiled(sqlite3 *handle, const SReadRange &range);
    void drop(const SReadRange &range);

    QHash<SReadRange, sqlite3_stmt *> m_compiled;
};
