#include "cregisterimage.h"

#include <algorithm>

namespace {

constexpr int kRegisterBits = 16;

quint8 byteAt(const QByteArray &bytes, int index)
{
    return index < bytes.size() ? quint8(bytes.at(index)) : 0;
}

} // namespace

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
        if (row.bitSize > kRegisterBits) {
            for (int word = 0; kRegisterBits * word < row.bitSize; ++word) {
                const int first = 2 * word;
                const quint16 value = bytes.size() >= first + 2
                        ? quint16(byteAt(bytes, first) * 256 + byteAt(bytes, first + 1)) : 0;
                const quint16 address = quint16(row.address + word);
                byAddress.insert(address, {address, value, row.name, word == 0 ? row.fullValue : QString()});
            }
        } else {
            const quint16 address = quint16(row.address);
            byAddress.insert(address, {address, quint16(byteAt(bytes, 0) * 256 + byteAt(bytes, 1)), row.name,
                                       QString()});
        }
    }
    return byAddress.values();
}
