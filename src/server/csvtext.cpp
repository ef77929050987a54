#include "csvtext.h"

#include <QStringDecoder>

namespace korva::server {

CsvText readCsv(const QByteArray &data)
{
    CsvText out;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QByteArrayView bytes(data);
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes = bytes.sliced(3);
    const QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        out.error = QStringLiteral("the file is not UTF-8 text");
        return out;
    }
    qsizetype line = 1;
    CsvRecord record{1, {}};
    QString field;
    bool quoted = false;    // inside a quoted field
    bool wasQuoted = false; // the current field was quoted and its quotes have closed
    bool fieldSeen = false; // the record has some content, even an empty quoted field
    auto endField = [&] {
        record.fields.append(field);
        field.clear();
        wasQuoted = false;
    };
    auto endRecord = [&] {
        if (fieldSeen || !record.fields.isEmpty() || !field.isEmpty()) {
            endField();
            out.records.append(record);
        }
        record = CsvRecord{line, {}};
        field.clear();
        wasQuoted = false;
        fieldSeen = false;
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (quoted) {
            if (c == u'"') {
                if (i + 1 < text.size() && text.at(i + 1) == u'"') {
                    field.append(u'"');
                    ++i;
                } else {
                    quoted = false;
                    wasQuoted = true;
                }
            } else {
                if (c == u'\n')
                    ++line;
                field.append(c);
            }
            continue;
        }
        if (c == u',') {
            endField();
            fieldSeen = true;
        } else if (c == u'\r' && i + 1 < text.size() && text.at(i + 1) == u'\n') {
            continue; // the LF ends the record
        } else if (c == u'\n') {
            ++line;
            endRecord();
        } else if (c == u'"') {
            if (!field.isEmpty() || wasQuoted) {
                out.error = QStringLiteral("line %1: a quote inside a field that did not start "
                                           "with one")
                                .arg(line);
                return out;
            }
            quoted = true;
            fieldSeen = true;
        } else if (wasQuoted) {
            out.error = QStringLiteral("line %1: text after a field's closing quote").arg(line);
            return out;
        } else {
            field.append(c);
            fieldSeen = true;
        }
    }
    if (quoted) {
        out.error = QStringLiteral("line %1: a quoted field is not closed").arg(record.line);
        return out;
    }
    endRecord();
    return out;
}

QByteArray csvLine(const QStringList &fields)
{
    QString line;
    for (qsizetype i = 0; i < fields.size(); ++i) {
        if (i > 0)
            line.append(u',');
        const QString &f = fields.at(i);
        const bool quote = f.contains(u',') || f.contains(u'"') || f.contains(u'\n') ||
                           f.contains(u'\r') || f.startsWith(u' ') || f.endsWith(u' ');
        if (!quote) {
            line.append(f);
            continue;
        }
        line.append(u'"');
        line.append(QString(f).replace(u'"', QStringLiteral("\"\"")));
        line.append(u'"');
    }
    line.append(QStringLiteral("\r\n"));
    return line.toUtf8();
}

} // namespace korva::server
