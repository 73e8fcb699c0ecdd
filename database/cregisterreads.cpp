#include "cregisterreads.h"

#include "database/registerwords.h"
#include "database/storeschema.h"

#include <QVarLengthArray>

#include <map>

#include <sqlite3.h>

namespace {

using namespace StoreSchema;

// Far above the ranges a plant's clients poll; past it the compiled reads start over.
constexpr int kMaxCompiledReads = 256;

// A column as QSQLITE would give it and QVariant::toInt() or toUInt() convert it.
qint64 integerColumn(sqlite3_stmt *statement, int column)
{
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return sqlite3_column_int64(statement, column);
    case SQLITE_FLOAT:
        return qRound64(sqlite3_column_double(statement, column));
    case SQLITE_NULL:
        return 0;
    default:
        return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, column)),
                                 sqlite3_column_bytes(statement, column))
                .toLongLong();
    }
}

int hexDigit(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return -1;
}

using ValueBytes = QVarLengthArray<char, 32>;

// The bytes of a stored hex text, as QByteArray::fromHex reads them; NULL
// reads as nothing. The values the program stores are even runs of digits and
// are read here with no allocation; anything else takes the long way.
QByteArrayView hexColumn(sqlite3_stmt *statement, int column, ValueBytes &bytes)
{
    const char *text = reinterpret_cast<const char *>(sqlite3_column_text(statement, column));
    const int size = text ? sqlite3_column_bytes(statement, column) : 0;
    bytes.resize(size / 2);
    bool plain = size % 2 == 0;
    for (int i = 0; plain && i < size / 2; ++i) {
        const int high = hexDigit(text[2 * i]);
        const int low = hexDigit(text[2 * i + 1]);
        plain = high >= 0 && low >= 0;
        if (plain)
            bytes[i] = char(high << 4 | low);
    }
    if (!plain) {
        const QByteArray decoded = QByteArray::fromHex(QByteArray::fromRawData(text, size));
        bytes.clear();
        bytes.append(decoded.constData(), decoded.size());
    }
    return QByteArrayView(bytes.constData(), bytes.size());
}

} // namespace

QString CRegisterReads::sql(quint32 port, quint32 first, quint32 last)
{
    return QStringLiteral("SELECT * FROM %1 WHERE %2=%3 AND %4 BETWEEN %5 AND %6;")
            .arg(DbName::registerTable, reg(RegPort), QString::number(port), reg(RegAddr), QString::number(first),
                 QString::number(last));
}

std::optional<QMap<quint16, quint16>> CRegisterReads::read(sqlite3 *handle, quint32 port, quint32 startAddress,
                                                           quint32 count, int *rows)
{
    const SReadRange range{port, startAddress, startAddress + count - 1};
    sqlite3_stmt *statement = compiled(handle, range);
    int step = statement ? sqlite3_step(statement) : SQLITE_ERROR;
    if (step != SQLITE_ROW && step != SQLITE_DONE) {
        drop(range);
        return std::nullopt;
    }

    // Built as a std::map, which takes the zeros in order at its end.
    std::map<quint16, quint16> words;
    for (quint32 i = 0; i < count; ++i)
        words.emplace_hint(words.end(), quint16(startAddress + i), 0);
    // Only the three columns the words come from are converted.
    ValueBytes value;
    int found = 0;
    for (; step == SQLITE_ROW; step = sqlite3_step(statement), ++found) {
        const int bitSize = int(integerColumn(statement, RegBitSize));
        const QByteArrayView bytes = hexColumn(statement, RegFullValue, value);
        const quint32 address = quint32(integerColumn(statement, RegAddr));
        RegisterWords::forEachWord(address, bitSize, bytes,
                                   [&words](quint16 at, quint16 word) { words.insert_or_assign(at, word); });
    }
    // Ends the read at once, so that the file is not left locked between requests.
    sqlite3_reset(statement);
    if (rows)
        *rows = found;
    return QMap<quint16, quint16>(std::move(words));
}

// The ModBus reads go to SQLite itself, on the connection's own handle: the
// same text, compiled once, with no row turned into fourteen QVariants. They
// are kept by their range, whose text is only written out to compile it.
sqlite3_stmt *CRegisterReads::compiled(sqlite3 *handle, const SReadRange &range)
{
    const auto it = m_compiled.constFind(range);
    if (it != m_compiled.constEnd())
        return it.value();
    if (!handle)
        return nullptr;
    if (m_compiled.size() >= kMaxCompiledReads) {
        for (sqlite3_stmt *statement : std::as_const(m_compiled))
            sqlite3_finalize(statement);
        m_compiled.clear();
    }
    const QByteArray text = sql(range.port, range.first, range.last).toUtf8();
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(handle, text.constData(), int(text.size()), &statement, nullptr) != SQLITE_OK) {
        sqlite3_finalize(statement);
        return nullptr;
    }
    m_compiled.insert(range, statement);
    return statement;
}

void CRegisterReads::drop(const SReadRange &range)
{
    sqlite3_stmt *statement = m_compiled.take(range);
    if (statement)
        sqlite3_finalize(statement);
}

CRegisterReads::~CRegisterReads()
{
    for (sqlite3_stmt *statement : std::as_const(m_compiled))
        sqlite3_finalize(statement);
}

