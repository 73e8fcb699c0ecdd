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
