#include "storeschema.h"

namespace StoreSchema {
namespace {

const QString kDevicesFormat = QStringLiteral(
        "CREATE TABLE IF NOT EXISTS %1 ( %2 INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL UNIQUE, "
        "%3 TEXT, %4 TEXT, %5 TEXT, %6 INTEGER, %7 INTEGER ); ");
const QString kTcpDevicesFormat = QStringLiteral(
        "CREATE TABLE IF NOT EXISTS %1 ( %2 INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL UNIQUE, "
        "%3 TEXT, %4 TEXT, %5 TEXT, %6 INTEGER ); ");
const QString kRegistersFormat = QStringLiteral(
        "CREATE TABLE IF NOT EXISTS %1 ( %2 INTEGER NOT NULL, %3 INTEGER, %4 INTEGER, %5 INTEGER, "
        "%6 REAL, %7 REAL, %8 TEXT, %9 TEXT DEFAULT NULL, %10 TEXT DEFAULT NULL, "
        "%11 INTEGER DEFAULT NULL, %12 TEXT DEFAULT NULL, %13 TEXT DEFAULT NULL, %14 INTEGER, "
        "%15 INTEGER ); ");

SIndex index(const QString &table, const QString &name, const QStringList &columns)
{
    QString sql = QStringLiteral("CREATE INDEX IF NOT EXISTS %2 ON %1 (").arg(table, name);
    for (const QString &column : columns)
        sql += QStringLiteral(" %1,").arg(column);
    sql.chop(1);
    sql += QStringLiteral(" );");
    return {table, name, sql};
}

} // namespace

QList<STable> tables()
{
    return {
        {DbName::deviceTable, fill(kDevicesFormat, QStringList(DbName::deviceTable) + kDeviceColumns)},
        {DbName::tcpDeviceTable,
         fill(kTcpDevicesFormat, QStringList(DbName::tcpDeviceTable) + kDeviceColumns.mid(0, DevStartAddr))},
        {DbName::registerTable, fill(kRegistersFormat, QStringList(DbName::registerTable) + kRegisterColumns)},
    };
}

QList<SIndex> indexes()
{
    return {
        index(DbName::deviceTable, QStringLiteral("idx_eui"), {dev(DevEui)}),
        index(DbName::deviceTable, QStringLiteral("idx_device"), {dev(DevDevice)}),
        index(DbName::tcpDeviceTable, QStringLiteral("idx_euiTCP"), {dev(DevEui)}),
        index(DbName::tcpDeviceTable, QStringLiteral("idx_deviceTCP"), {dev(DevDevice)}),
        index(DbName::registerTable, QStringLiteral("idx_dev_parent"), {reg(RegDevice), reg(RegParent)}),
        index(DbName::registerTable, QStringLiteral("idx_dev_regaddr"), {reg(RegDevice), reg(RegAddr)}),
        index(DbName::registerTable, QStringLiteral("idx_port_regaddr"), {reg(RegPort), reg(RegAddr)}),
    };
}

} // namespace StoreSchema
