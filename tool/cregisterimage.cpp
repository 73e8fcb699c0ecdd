#include "cregisterimage.h"

#include "database/registerwords.h"

#include <algorithm>

CRegisterImage::CRegisterImage(const DB::SDeviceRegMapDescription &registerMap, quint32 startAddr)
{
    // Of two registers at one address the store keeps the first.
    for (const DB::SDeviceRegDescription &reg : registerMap.regs) {
        const quint32 address = startAddr + reg.regAddr;
        const bool taken = std::any_of(m_rows.cbegin(), m_rows.cend(),
                                       [address](const SRow &row) { return row.address == address; });
        if (!taken)
            m_rows.append({address, int(reg.bitSize), reg.name, QString()});
    }
}

void CRegisterImage::write(const DB::SDbDeviceRegDataSet &set)
{
    for (const DB::SDbRegValue &value : set.regs) {
        const quint32 address = set.startAddr + value.regOffset;
        for (SRow &row : m_rows) {
            if (row.address == address)
                row.fullValue = value.fullValue;
        }
    }
}

QList<SRegisterWord> CRegisterImage::words() const
{
    // Later rows overwrite earlier ones where a wide value reaches another's address.
    QMap<quint16, SRegisterWord> byAddress;
    for (const SRow &row : m_rows) {
        const QByteArray bytes = QByteArray::fromHex(row.fullValue.toUtf8());
        const bool wide = row.bitSize > RegisterWords::kRegisterBits;
        RegisterWords::forEachWord(row.address, row.bitSize, bytes, [&](quint16 address, quint16 word) {
            const bool first = address == quint16(row.address);
            byAddress.insert(address, {address, word, row.name, wide && first ? row.fullValue : QString()});
        });
    }
    return byAddress.values();
}
