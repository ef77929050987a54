#include "rows.h"

#include <platform/datetext.h>

#include <QHash>

#include <cmath>
#include <limits>

namespace korva::server {

namespace {

constexpr qint64 kUnixEpochJulianDay = 2440588;
constexpr qint64 kMsecsPerDay = 86400000;
constexpr int kMixedOffset = std::numeric_limits<int>::min();

int digits(const QChar *p, int n)
{
    int v = 0;
    for (int i = 0; i < n; ++i) {
        const char16_t c = p[i].unicode();
        if (c < u'0' || c > u'9')
            return -1;
        v = v * 10 + (c - u'0');
    }
    return v;
}

// The local zone's offset on a day, or kMixedOffset on a day whose offset changes. Qt asks
// the C library for the offset of every local time it builds, and the library reads the zone
// file each time; one answer per day serves every row of that day.
int localOffset(const QDate &date)
{
    thread_local QHash<qint64, int> offsets;
    const qint64 day = date.toJulianDay();
    auto it = offsets.constFind(day);
    if (it == offsets.cend()) {
        const int start = QDateTime(date, QTime(0, 0)).offsetFromUtc();
        const int end = QDateTime(date, QTime(23, 59, 59, 999)).offsetFromUtc();
        if (offsets.size() > 100000)
            offsets.clear();
        it = offsets.insert(day, start == end ? start : kMixedOffset);
    }
    return *it;
}

// Turns one fetch's cells into the record set's own forms. SQLite hands dates and timestamps
// back as the ISO texts they were stored as; a list of thousands of rows has a few hundred
// distinct days, so each day is built once per fetch and shared by its rows.
class CellReader {
public:
    QVariant read(QVariant &&v, FieldType type)
    {
        if (v.isNull())
            return {};
        switch (type) {
        case FieldType::Text:
            return v.typeId() == QMetaType::QString ? std::move(v) : QVariant(v.toString());
        case FieldType::Integer:
            return v.typeId() == QMetaType::LongLong ? std::move(v) : QVariant(v.toLongLong());
        case FieldType::Decimal:
            // Amounts keep two places whatever the store made of them.
            return std::round(v.toDouble() * 100.0) / 100.0;
        case FieldType::Date:
            return date(v);
        case FieldType::Timestamp:
            return timestamp(v);
        }
        return std::move(v);
    }

private:
    const QVariant *isoDay(const QString &t)
    {
        if (t.size() < 10 || t.at(4) != u'-' || t.at(7) != u'-')
            return nullptr;
        const QChar *p = t.constData();
        const int y = digits(p, 4), m = digits(p + 5, 2), d = digits(p + 8, 2);
        if (y < 0 || m < 0 || d < 0)
            return nullptr;
        const int key = y * 10000 + m * 100 + d;
        auto it = m_days.constFind(key);
        if (it == m_days.cend()) {
            const QDate date(y, m, d);
            if (!date.isValid())
                return nullptr;
            it = m_days.insert(key, QVariant(date));
        }
        return &*it;
    }

    QVariant date(const QVariant &v)
    {
        if (v.typeId() == QMetaType::QDate)
            return v;
        if (v.typeId() == QMetaType::QDateTime)
            return v.toDateTime().date();
        const QString t = v.toString();
        if (const QVariant *day = isoDay(t))
            return *day;
        const QDate d = parseDateText(t);
        return d.isValid() ? QVariant(d) : QVariant();
    }

    QVariant timestamp(const QVariant &v)
    {
        if (v.typeId() == QMetaType::QDateTime)
            return v;
        const QString t = v.toString();
        if (t.size() >= 19 && (t.at(10) == u' ' || t.at(10) == u'T') && t.at(13) == u':' &&
            t.at(16) == u':') {
            const QChar *p = t.constData();
            const int h = digits(p + 11, 2), mi = digits(p + 14, 2), s = digits(p + 17, 2);
            const int ms = t.size() >= 23 && t.at(19) == u'.' ? digits(p + 20, 3) : 0;
            const QVariant *day = isoDay(t);
            if (day && h >= 0 && h < 24 && mi >= 0 && mi < 60 && s >= 0 && s < 60 && ms >= 0) {
                const QDate date = day->toDate();
                const int offset = localOffset(date);
                if (offset == kMixedOffset)
                    return QDateTime(date, QTime(h, mi, s, ms));
                const qint64 msecs = (date.toJulianDay() - kUnixEpochJulianDay) * kMsecsPerDay +
                                     ((h * 60 + mi) * 60 + s) * 1000 + ms - qint64(offset) * 1000;
                return offset == 0
                           ? QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC)
                           : QDateTime::fromMSecsSinceEpoch(msecs, Qt::OffsetFromUTC, offset);
            }
        }
        const QDateTime ts = parseDateTimeText(t);
        return ts.isValid() ? QVariant(ts) : QVariant();
    }

    QHash<int, QVariant> m_days; // by yyyymmdd
};

} // namespace

QList<Field> fieldsOf(std::span<const Column> columns)
{
    QList<Field> fields;
    fields.reserve(qsizetype(columns.size()));
    for (const Column &c : columns)
        fields.append(Field{QLatin1String(c.name), c.type});
    return fields;
}

QVariant fromDb(const QVariant &value, FieldType type)
{
    return CellReader().read(QVariant(value), type);
}

void appendRows(QSqlQuery &query, RecordSet &rs, std::span<const Column> columns)
{
    CellReader reader;
    const int n = int(columns.size());
    while (query.next()) {
        QList<QVariant> row(n);
        QVariant *cell = row.data();
        for (int i = 0; i < n; ++i)
            cell[i] = reader.read(query.value(i), columns[size_t(i)].type);
        rs.appendStorageRow(std::move(row));
    }
    query.finish();
}

RecordSetPtr readRecordSet(QSqlQuery &query, const QString &name, std::span<const Column> columns)
{
    return readRecordSet(query, name, columns, fieldsOf(columns));
}

RecordSetPtr readRecordSet(QSqlQuery &query, const QString &name, std::span<const Column> columns,
                           const QList<Field> &fields)
{
    auto rs = RecordSet::create(name, fields);
    appendRows(query, *rs, columns);
    return rs;
}

} // namespace korva::server
