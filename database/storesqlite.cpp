#include "storesqlite.h"

#include "core/clogfile.h"

#include <QSqlDatabase>
#include <QSqlDriver>
#include <QVariant>

#include <sqlite3.h>

namespace StoreSqlite {

sqlite3 *handleOf(const QSqlDatabase &db)
{
    const QVariant handle = db.driver() ? db.driver()->handle() : QVariant();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0)
        return nullptr;
    return *static_cast<sqlite3 *const *>(handle.constData());
}

bool isBusy(int result)
{
    const int primary = result & 0xFF;
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

bool connectionIsBusy(const QSqlDatabase &db)
{
    sqlite3 *handle = handleOf(db);
    if (!handle)
        return false;
    // The journal of a cut-off write fails a read-only connection with
    // READONLY_ROLLBACK (READONLY_RECOVERY for a write-ahead log): only the
    // extended code tells it from a file that cannot be written at all.
    const int code = sqlite3_extended_errcode(handle);
    return isBusy(code) || code == SQLITE_READONLY_ROLLBACK || code == SQLITE_READONLY_RECOVERY;
}

int execute(sqlite3 *handle, const char *sql)
{
    return handle ? sqlite3_exec(handle, sql, nullptr, nullptr, nullptr) : SQLITE_MISUSE;
}

void logWithSql(const QString &message, const QString &sql)
{
    CLogFile::addLog(message);
    CLogFile::addLog(sql);
}

} // namespace StoreSqlite
