#include "ccsvreader.h"

namespace {
const QChar kQuote = QLatin1Char('"');
const QChar kComma = QLatin1Char(',');
const QChar kLineFeed = QLatin1Char('\n');
const QChar kReturn = QLatin1Char('\r');
} // namespace

bool CCsvReader::parse(const QByteArray &bytes)
{
    m_records.clear();
    m_error.clear();
    QString text = QString::fromUtf8(bytes);
    // Spreadsheets save UTF-8 with a byte order mark.
    if (text.startsWith(QChar::ByteOrderMark))
        text.remove(0, 1);
    if (text.contains(QChar::ReplacementCharacter) || text.contains(QChar::Null)) {
        m_error = QStringLiteral("is not CSV text");
        return false;
    }
    int line = 1;
    bool inQuotes = false;
    bool closedQuote = false;
    m_record = {line, {}};
    m_field.clear();
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == kLineFeed)
            ++line;
        if (inQuotes) {
            if (c != kQuote) {
                m_field += c;
            } else if (i + 1 < text.size() && text.at(i + 1) == kQuote) {
                m_field += kQuote;
                ++i;
            } else {
                inQuotes = false;
                closedQuote = true;
            }
            continue;
        }
        if (c == kComma) {
            m_record.fields.append(m_field);
            m_field.clear();
            closedQuote = false;
        } else if (c == kLineFeed || (c == kReturn && i + 1 < text.size() && text.at(i + 1) == kLineFeed)) {
            if (c == kReturn) {
                ++i;
                ++line;
            }
            endRecord();
            m_record = {line, {}};
            closedQuote = false;
        } else if (closedQuote || (c == kQuote && !m_field.isEmpty()) || c == kReturn) {
            m_error = QStringLiteral("is not CSV: a stray quote or carriage return on line %1").arg(line);
            return false;
        } else if (c == kQuote) {
            inQuotes = true;
        } else {
            m_field += c;
        }
    }
    if (inQuotes) {
        m_error = QStringLiteral("is not CSV: a quoted field opened on line %1 never ends").arg(m_record.line);
        return false;
    }
    if (!m_field.isEmpty() || !m_record.fields.isEmpty())
        endRecord();
    return true;
}

void CCsvReader::endRecord()
{
    m_record.fields.append(m_field);
    m_field.clear();
    // A blank line is no record.
    if (m_record.fields.size() > 1 || !m_record.fields.first().isEmpty())
        m_records.append(m_record);
}
