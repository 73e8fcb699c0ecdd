// Starts a write on a register file and dies in the middle of it, as the
// service does when it is stopped mid-write: the journal stays behind, hot.
#include <sqlite3.h>

#include <unistd.h>

int main(int argc, char *argv[])
{
    if (argc != 2)
        return 2;
    sqlite3 *db = nullptr;
    if (sqlite3_open(argv[1], &db) != SQLITE_OK)
        return 1;
    // More pages than the smallest cache holds: they spill into the file
    // before the commit, and only then is the journal marked as needed.
    const char *write = "PRAGMA cache_size = 1; BEGIN; "
                        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
                        "INSERT INTO dev_data (device, port, reg_addr, value, parent) "
                        "SELECT 0, 1, i, hex(zeroblob(500)), 0 FROM n;";
    if (sqlite3_exec(db, write, nullptr, nullptr, nullptr) != SQLITE_OK)
        return 1;
    _exit(0);
}
