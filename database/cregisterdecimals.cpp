#include "cregisterdecimals.h"

#include "core/constants.h"

#include <QSqlQuery>
#include <QVariant>

#include <algorithm>

namespace {
const QString kDevice = QStringLiteral("device");
const QString kRegAddr = QStringLiteral("reg_addr");
const QString kDecimals = QStringLiteral("decimals");
} // namespace

bool CRegisterDecimals::load(QSqlDatabase &db)
{
    QSqlQuery query(db);
    query.prepare(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type='table' AND name=?;"));
    query.addBindValue(DbName::decimalsTable);
    if (!query.exec() || !query.next())
        return false;
    m_tableExists = query.value(0).toInt() > 0;
    m_byDevice.clear();
    if (!m_tableExists)
        return true;
    const QString devEui = kDeviceColumns.at(3);
    if (!query.exec(QStringLiteral("SELECT d.%5, x.%3, x.%4 FROM %1 x JOIN %2 d ON d.%6 = x.%6;")
                            .arg(DbName::decimalsTable, DbName::deviceTable, kRegAddr, kDecimals, devEui,
                                 kDevice))) {
        return false;
    }
    while (query.next())
        m_byDevice[query.value(0).toString()].insert(query.value(1).toUInt(), query.value(2).toInt());
    return true;
}

int CRegisterDecimals::decimals(const QString &devEui, quint32 regAddr) const
{
    const auto device = m_byDevice.constFind(devEui);
    return device == m_byDevice.cend() ? 0 : device->value(regAddr, 0);
}

QMap<quint32, int> CRegisterDecimals::ofDevice(QSqlDatabase &db, quint32 deviceId) const
{
    QMap<quint32, int> result;
    if (!m_tableExists)
        return result;
    QSqlQuery query(db);
    query.prepare(QStringLiteral("SELECT %2, %3 FROM %1 WHERE %4=?;")
                          .arg(DbName::decimalsTable, kRegAddr, kDecimals, kDevice));
    query.addBindValue(deviceId);
    if (query.exec()) {
        while (query.next())
            result.insert(query.value(0).toUInt(), query.value(1).toInt());
    }
    return result;
}

bool CRegisterDecimals::write(QSqlDatabase &db, quint32 deviceId, const QList<SEntry> &entries)
{
    const bool anyKept = std::any_of(entries.cbegin(), entries.cend(),
                                     [](const SEntry &entry) { return entry.decimals > 0; });
    if (!m_tableExists && !anyKept)
        return true;
    QSqlQuery create(db);
    if (!m_tableExists
        && !create.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS %1 ( %2 INTEGER NOT NULL, %3 INTEGER NOT NULL, "
                                       "%4 INTEGER NOT NULL, PRIMARY KEY ( %2, %3 ) );")
                                .arg(DbName::decimalsTable, kDevice, kRegAddr, kDecimals))) {
        return false;
    }
    QSqlQuery replace(db);
    replace.prepare(QStringLiteral("INSERT OR REPLACE INTO %1 (%2, %3, %4) VALUES (?, ?, ?);")
                            .arg(DbName::decimalsTable, kDevice, kRegAddr, kDecimals));
    QSqlQuery remove(db);
    remove.prepare(QStringLiteral("DELETE FROM %1 WHERE %2=? AND %3=?;").arg(DbName::decimalsTable, kDevice,
                                                                             kRegAddr));
    for (const SEntry &entry : entries) {
        QSqlQuery &query = entry.decimals > 0 ? replace : remove;
        query.addBindValue(deviceId);
        query.addBindValue(entry.regAddr);
        if (entry.decimals > 0)
            query.addBindValue(std::min(entry.decimals, kMaxDecimals));
        if (!query.exec())
            return false;
    }
    return load(db);
}

bool CRegisterDecimals::removeDevice(QSqlDatabase &db, quint32 deviceId)
{
    if (!m_tableExists)
        return true;
    QSqlQuery query(db);
    query.prepare(QStringLiteral("DELETE FROM %1 WHERE %2=?;").arg(DbName::decimalsTable, kDevice));
    query.addBindValue(deviceId);
    return query.exec();
}
