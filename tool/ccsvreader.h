#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// One record of a CSV file with the line it starts on.
struct SCsvRecord
{
    int line = 0;
    QStringList fields;
    // The fields its header has, when the record has another number of them.
    int misfit = 0;
};

// Reads RFC 4180 text: fields split by commas, records by CRLF (a bare LF is
// taken too), quoted fields with doubled quotes and line breaks inside.
class CCsvReader
{
public:
    // False, with errorText() set, for text that is not CSV.
    bool parse(const QByteArray &bytes);
    QString errorText() const { return m_error; }
    const QList<SCsvRecord> &records() const { return m_records; }

private:
    void endRecord();

    QList<SCsvRecord> m_records;
    SCsvRecord m_record;
    QString m_field;
    QString m_error;
};
