#include "rows.h"

#include <platform/datetext.h>

#include <cmath>

namespace korva::server {

namespace {

int digits(const QChar *p, int n) {
    int v = 0;
    for (int i = 0; i < n; ++i) {
        const char16_t c = p[i].unicode();
        if (c < u'0' || c > u'9')
            return -1;
        v = v * 10 + (c - u'0');
    }
    return v;
}

// SQLite hands dates back as the ISO text they were stored as; reading that directly keeps
// the conversion from costing more than the fetch itself on large lists.
QDate isoDate(const QString &t) {
    if (t.size() >= 10 && t.at(4) == u'-' && t.at(7) == u'-') {
        const QChar *p = t.constData();
        const int y = digits(p, 4), m = digits(p + 5, 2), d = digits(p + 8, 2);
        if (y >= 0 && m >= 0 && d >= 0) {
            const QDate date(y, m, d);
            if (date.isValid())
                return date;
        }
    }
    return parseDateText(t);
}

QDateTime isoTimestamp(const QString &t) {
    if (t.size() >= 19 && (t.at(10) == u' ' || t.at(10) == u'T') && t.at(13) == u':' &&
        t.at(16) == u':') {
        const QDate date = isoDate(t);
        const QChar *p = t.constData();
        const int h = digits(p + 11, 2), mi = digits(p + 14, 2), s = digits(p + 17, 2);
        int ms = 0;
        if (t.size() >= 23 && t.at(19) == u'.')
            ms = digits(p + 20, 3);
        if (date.isValid() && h >= 0 && mi >= 0 && s >= 0 && ms >= 0) {
            const QTime time(h, mi, s, ms);
            if (time.isValid())
                return QDateTime(date, time);
        }
    }
    return parseDateTimeText(t);
}

} // namespace

QList<Field> fieldsOf(std::span<const Column> columns) {
    QList<Field> fields;
    fields.reserve(qsizetype(columns.size()));
    for (const Column &c : columns)
        fields.append(Field{QLatin1String(c.name), c.type});
    return fields;
}

QVariant fromDb(const QVariant &value, FieldType type) {
    if (value.isNull())
        return {};
    switch (type) {
    case FieldType::Text:
        return value.typeId() == QMetaType::QString ? value : QVariant(value.toString());
    case FieldType::Integer:
        return value.typeId() == QMetaType::LongLong ? value : QVariant(value.toLongLong());
    case FieldType::Decimal:
        // Amounts keep two places whatever the store made of them.
        return std::round(value.toDouble() * 100.0) / 100.0;
    case FieldType::Date:
        if (value.typeId() == QMetaType::QDate)
            return value;
        if (value.typeId() == QMetaType::QDateTime)
            return value.toDateTime().date();
        {
            const QDate d = isoDate(value.toString());
            return d.isValid() ? QVariant(d) : QVariant();
        }
    case FieldType::Timestamp:
        if (value.typeId() == QMetaType::QDateTime)
            return value;
        {
            const QDateTime ts = isoTimestamp(value.toString());
            return ts.isValid() ? QVariant(ts) : QVariant();
        }
    }
    return value;
}

void appendRows(QSqlQuery &query, RecordSet &rs, std::span<const Column> columns) {
    const int n = int(columns.size());
    while (query.next()) {
        QList<QVariant> row;
        row.reserve(n);
        for (int i = 0; i < n; ++i)
            row.append(fromDb(query.value(i), columns[size_t(i)].type));
        rs.appendStorageRow(std::move(row));
    }
    query.finish();
}

RecordSetPtr readRecordSet(QSqlQuery &query, const QString &name, std::span<const Column> columns) {
    auto rs = RecordSet::create(name, fieldsOf(columns));
    appendRows(query, *rs, columns);
    return rs;
}

} // namespace korva::server
