#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

namespace korva::server {

// One record of a comma-separated file and the line it starts on (a quoted field may run
// over several lines).
struct CsvRecord {
    qsizetype line = 0;
    QStringList fields;
};

struct CsvText {
    QList<CsvRecord> records;
    QString error; // empty when the whole text was read; else the line and what is wrong
};

// Reads comma-separated text as its common form has it: fields in double quotes may hold
// commas, line breaks and doubled quotes; lines end in CRLF or LF; UTF-8 with or without a
// byte-order mark. Blank lines are skipped. Stops at the first malformed record.
CsvText readCsv(const QByteArray &data);

// One record as readCsv reads it back, ending in CRLF.
QByteArray csvLine(const QStringList &fields);

} // namespace korva::server
