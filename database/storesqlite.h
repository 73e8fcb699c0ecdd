#pragma once

class QSqlDatabase;
class QString;
struct sqlite3;

// What the store's parts share beside the QSQLITE driver: SQLite's own side
// of a connection, for what the driver does not offer (busy timeouts,
// savepoints, result codes), and the log lines of a failed statement.
namespace StoreSqlite {

// The connection's handle, or null.
sqlite3 *handleOf(const QSqlDatabase &db);
// Whether a result code, plain or extended, means another connection holds the file.
bool isBusy(int result);
// True when the last failure on the connection came from another program's
// write: its lock held past the wait, or the journal of an interrupted write,
// which only a writer can roll back.
bool connectionIsBusy(const QSqlDatabase &db);
// Runs statements without results; SQLITE_MISUSE without a handle.
int execute(sqlite3 *handle, const char *sql);
// What failed, then the statement, as two lines of the operator's log.
void logWithSql(const QString &message, const QString &sql);

} // namespace StoreSqlite
