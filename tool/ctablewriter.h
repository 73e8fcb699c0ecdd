#pragma once

#include <QList>
#include <QStringList>
#include <QTextStream>

// Writes a table with one header row, as CSV (RFC 4180: CRLF line ends, a
// field with a comma, quote or line break quoted, quotes doubled) or as a
// Markdown table for reading.
class CTableWriter
{
public:
    enum EFormat {
        Csv,
        Markdown,
    };

    CTableWriter(EFormat format, const QStringList &header);

    void addRow(const QStringList &cells);
    void write(QTextStream &out) const;

private:
    static QString csvField(const QString &cell);
    static QString markdownCell(const QString &cell);

    EFormat m_format;
    QStringList m_header;
    QList<QStringList> m_rows;
};
