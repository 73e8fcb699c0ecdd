#pragma once

#include <QByteArrayView>
#include <QtGlobal>

// How one stored register row answers a ModBus read: its whole value, as bytes,
// read out as the 16-bit words at and after its address. The store's reads
// and the tool's decoding preview both go through here, so they can't differ.
namespace RegisterWords {

constexpr int kRegisterBits = 16;
// A 16-bit address space holds no more words than this, however wide a stored row claims to be.
constexpr int kMaxWordsPerRow = 65536;

inline quint16 byteAt(QByteArrayView bytes, qsizetype index)
{
    return index < bytes.size() ? quint8(bytes.at(index)) : 0;
}

// A word of a wide value reads 0 unless both of its bytes are there.
inline quint16 wideWord(QByteArrayView bytes, int word)
{
    const qsizetype first = 2 * qsizetype(word);
    return bytes.size() >= first + 2 ? quint16(byteAt(bytes, first) * 256 + byteAt(bytes, first + 1)) : 0;
}

// A narrow value reads whatever bytes it has: a single byte b is b * 256.
inline quint16 narrowWord(QByteArrayView bytes)
{
    return quint16(byteAt(bytes, 0) * 256 + byteAt(bytes, 1));
}

// How many registers a row of this width answers.
inline int wordCount(qint64 bitSize)
{
    if (bitSize <= kRegisterBits)
        return 1;
    return int(qMin<qint64>(kMaxWordsPerRow, (bitSize + kRegisterBits - 1) / kRegisterBits));
}

// Calls put(address, word) for each word the row answers, first word first.
template<typename Put>
void forEachWord(quint32 address, qint64 bitSize, QByteArrayView bytes, Put put)
{
    if (bitSize <= kRegisterBits) {
        put(quint16(address), narrowWord(bytes));
        return;
    }
    const int words = wordCount(bitSize);
    for (int word = 0; word < words; ++word)
        put(quint16(address + word), wideWord(bytes, word));
}

} // namespace RegisterWords
