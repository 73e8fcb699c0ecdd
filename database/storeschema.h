#pragma once

#include "core/constants.h"

#include <QList>
#include <QString>
#include <QStringList>

// The register file's tables and indexes as SQL, made from the column lists:
// the store creates them, and whatever needs a file of the same shape (the
// benchmarks) takes them from here.
namespace StoreSchema {

enum EDeviceColumn { DevDevice = 0, DevName, DevAppEui, DevEui, DevPort, DevStartAddr, DevColumnCount };
enum ERegisterColumn {
    RegDevice = 0, RegPort, RegAddr, RegStartValue, RegGratingPeriod, RegBitSize, RegDataType,
    RegValue, RegFullValue, RegTime, RegName, RegUnit, RegParent, RegSource, RegColumnCount
};

inline QString dev(EDeviceColumn column)
{
    return kDeviceColumns.at(column);
}

inline QString reg(ERegisterColumn column)
{
    return kRegisterColumns.at(column);
}

// Fills the markers one argument at a time, for formats with more than nine.
inline QString fill(QString format, const QStringList &arguments)
{
    for (const QString &argument : arguments)
        format = format.arg(argument);
    return format;
}

// The transaction words, for the store and for whatever acts as another
// program on the file. The write lock is taken at the start: a plain BEGIN
// would read first, and a reader asking for the write lock that another
// connection holds is refused at once, busy timeout or not.
inline constexpr const char *kBeginWriteSql = "BEGIN IMMEDIATE;";
inline constexpr const char *kBeginExclusiveSql = "BEGIN EXCLUSIVE;";
inline constexpr const char *kCommitSql = "COMMIT;";
inline constexpr const char *kRollbackSql = "ROLLBACK;";

struct STable
{
    QString name;
    QString sql;
};

struct SIndex
{
    QString table;
    QString name;
    QString sql;
};

// The three tables, ModBus devices, TCP devices, registers, in the order they are made.
QList<STable> tables();
// Every index, table by table; a table without indexes gives none.
QList<SIndex> indexes();

} // namespace StoreSchema
