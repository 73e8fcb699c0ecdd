#pragma once

#include "core/constants.h"
#include "core/coretypes.h"

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

// A column's named placeholder in a prepared statement.
inline QString placeholder(const QString &column)
{
    return QLatin1Char(':') + column;
}

inline const QString &deviceTableFor(ProtocolOption protocol)
{
    return protocol == ProtocolOption::TCP ? DbName::tcpDeviceTable : DbName::deviceTable;
}

// The id of a device by DevEUI: table, id column, DevEUI column, DevEUI.
inline const QString kSelectDeviceIdFormat = QStringLiteral("SELECT %2 FROM %1 WHERE %3='%4';");
// Three columns of one register by device id and address.
inline const QString kUpdateRegisterFormat = QStringLiteral(
        "UPDATE %1 SET %2=:%2, %3=:%3, %4=:%4 WHERE %5=:%5 AND %6=:%6;");

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
