#include "ctablewriter.h"

namespace {

const QString kCrLf = QStringLiteral("\r\n");
const QString kQuote = QStringLiteral("\"");

} // namespace

CTableWriter::CTableWriter(EFormat format, const QStringList &header)
    : m_format(format)
    , m_header(header)
{
}

// A row shorter than the header ends with empty cells.
void CTableWriter::addRow(const QStringList &cells)
{
    QStringList row = cells;
    while (row.size() < m_header.size())
        row.append(QString());
    m_rows.append(row);
}

void CTableWriter::write(QTextStream &out) const
{
    if (m_format == Csv) {
        QList<QStringList> lines = m_rows;
        lines.prepend(m_header);
        for (const QStringList &cells : lines) {
            QStringList fields;
            for (const QString &cell : cells)
                fields.append(csvField(cell));
            out << fields.join(QLatin1Char(',')) << kCrLf;
        }
        return;
    }

    const auto line = [](const QStringList &cells) {
        QStringList escaped;
        for (const QString &cell : cells)
            escaped.append(markdownCell(cell));
        return QStringLiteral("| %1 |\n").arg(escaped.join(QStringLiteral(" | ")));
    };
    out << line(m_header);
    out << line(QStringList(m_header.size(), QStringLiteral("---")));
    for (const QStringList &cells : m_rows)
        out << line(cells);
}

QString CTableWriter::csvField(const QString &cell)
{
    if (!cell.contains(QLatin1Char(',')) && !cell.contains(kQuote) && !cell.contains(QLatin1Char('\n'))
        && !cell.contains(QLatin1Char('\r')))
        return cell;
    QString quoted = cell;
    quoted.replace(kQuote, QStringLiteral("\"\""));
    return kQuote + quoted + kQuote;
}

QString CTableWriter::markdownCell(const QString &cell)
{
    QString escaped = cell;
    escaped.replace(QLatin1Char('|'), QStringLiteral("\\|"));
    escaped.replace(QLatin1Char('\r'), QLatin1Char(' '));
    escaped.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return escaped;
}
