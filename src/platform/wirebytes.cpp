#include "wirebytes.h"

#include "errors.h"
#include "wire.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <cstdio>

namespace korva::wire {

namespace {

[[noreturn]] void malformed(const QString &what)
{
    raiseError(kErrInvalidArgument, QStringLiteral("Malformed broker message: %1.").arg(what));
}

// Runs of plain characters are copied whole: a list reply is mostly such text, and a call
// per byte cost more than the query that filled it.
void appendText(QByteArray &out, QStringView text)
{
    static const char hex[] = "0123456789abcdef";
    out += '"';
    const QByteArray utf8 = text.toUtf8();
    const char *run = utf8.constData();
    const char *const end = run + utf8.size();
    for (const char *p = run; p != end; ++p) {
        const auto u = static_cast<unsigned char>(*p);
        if (u >= 0x20 && u != '"' && u != '\\')
            continue;
        out.append(run, p - run);
        run = p + 1;
        if (u >= 0x20) {
            out += '\\';
            out += char(u);
        } else {
            const char escaped[] = {'\\', 'u', '0', '0', hex[u >> 4], hex[u & 0xf]};
            out.append(escaped, sizeof escaped);
        }
    }
    out.append(run, end - run);
    out += '"';
}

// Writes `width` decimal digits of n (zero-padded) ending just before `end`.
char *putDigits(char *end, unsigned long long n, int width)
{
    do {
        *--end = char('0' + n % 10);
        n /= 10;
        --width;
    } while (n || width > 0);
    return end;
}

void appendInteger(QByteArray &out, qlonglong value)
{
    char buf[24];
    char *const end = buf + sizeof buf;
    const unsigned long long magnitude =
        value < 0 ? 0ULL - static_cast<unsigned long long>(value) : value;
    char *p = putDigits(end, magnitude, 1);
    if (value < 0)
        *--p = '-';
    out.append(p, end - p);
}

// "yyyy-MM-dd" into buf (10 characters); false for a year that form cannot hold.
bool putDay(char *buf, const QDate &day)
{
    int y = 0;
    int m = 0;
    int d = 0;
    day.getDate(&y, &m, &d);
    if (y < 0 || y > 9999)
        return false;
    putDigits(buf + 4, y, 4);
    buf[4] = '-';
    putDigits(buf + 7, m, 2);
    buf[7] = '-';
    putDigits(buf + 10, d, 2);
    return true;
}

void appendDay(QByteArray &out, const QDate &day)
{
    char buf[12];
    buf[0] = '"';
    if (!day.isValid()) {
        out += "\"\"";
    } else if (putDay(buf + 1, day)) {
        buf[11] = '"';
        out.append(buf, sizeof buf);
    } else {
        appendText(out, day.toString(Qt::ISODate));
    }
}

// The ISO form with milliseconds, as Qt writes it: local, UTC ("Z") or at an offset
// ("+hh:mm"), the three kinds the store's timestamps come as.
void appendTimestamp(QByteArray &out, const QDateTime &ts)
{
    const Qt::TimeSpec spec = ts.isValid() ? ts.timeSpec() : Qt::TimeZone;
    char buf[32];
    if (spec == Qt::TimeZone || !putDay(buf + 1, ts.date())) {
        appendText(out, ts.toString(Qt::ISODateWithMs));
        return;
    }
    const QTime time = ts.time();
    buf[0] = '"';
    buf[11] = 'T';
    putDigits(buf + 14, time.hour(), 2);
    buf[14] = ':';
    putDigits(buf + 17, time.minute(), 2);
    buf[17] = ':';
    putDigits(buf + 20, time.second(), 2);
    buf[20] = '.';
    putDigits(buf + 24, time.msec(), 3);
    int n = 24;
    if (spec == Qt::UTC) {
        buf[n++] = 'Z';
    } else if (spec == Qt::OffsetFromUTC) {
        const int offset = ts.offsetFromUtc();
        const int minutes = (offset < 0 ? -offset : offset) / 60;
        buf[n++] = offset < 0 ? '-' : '+';
        putDigits(buf + n + 2, minutes / 60, 2);
        buf[n + 2] = ':';
        putDigits(buf + n + 5, minutes % 60, 2);
        n += 5;
    }
    buf[n++] = '"';
    out.append(buf, n);
}

void appendCell(QByteArray &out, const QVariant &v, FieldType type)
{
    if (v.isNull()) {
        out += "null";
        return;
    }
    switch (type) {
    case FieldType::Text:
        if (v.metaType().id() == QMetaType::QString)
            appendText(out, *static_cast<const QString *>(v.constData()));
        else
            appendText(out, v.toString());
        return;
    case FieldType::Integer:
        appendInteger(out, v.toLongLong());
        return;
    case FieldType::Decimal: {
        char buf[64];
        const int n = std::snprintf(buf, sizeof buf, "\"%.2f\"", v.toDouble());
        out.append(buf, n);
        return;
    }
    case FieldType::Date:
        appendDay(out, v.toDate());
        return;
    case FieldType::Timestamp:
        appendTimestamp(out, v.toDateTime());
        return;
    }
    appendText(out, v.toString());
}

void appendRecordSet(QByteArray &out, const RecordSet &rs)
{
    out += "{\"name\":";
    appendText(out, rs.name());
    out += ",\"fields\":[";
    const QList<Field> &fields = rs.fields();
    for (qsizetype c = 0; c < fields.size(); ++c) {
        out += c ? ",{\"name\":" : "{\"name\":";
        appendText(out, fields.at(c).name);
        out += ",\"type\":";
        appendText(out, fieldTypeName(fields.at(c).type));
        out += '}';
    }
    out += "],\"rows\":[";
    for (int r = 0; r < rs.count(); ++r) {
        out += r ? ",[" : "[";
        for (int c = 0; c < rs.fieldCount(); ++c) {
            if (c)
                out += ',';
            appendCell(out, rs.valueAt(r, c), fields.at(c).type);
        }
        out += ']';
    }
    out += "]}";
}

int digits(const QString &s, int from, int count)
{
    int n = 0;
    for (int i = from; i < from + count; ++i) {
        const char16_t c = s.at(i).unicode();
        if (c < u'0' || c > u'9')
            return -1;
        n = n * 10 + int(c - u'0');
    }
    return n;
}

QVariant cell(const QJsonValue &v, FieldType type)
{
    if (v.isNull() || v.isUndefined())
        return {};
    if (v.isString()) {
        QString s = v.toString();
        if (s.isNull())
            s = QStringLiteral(""); // an empty text is a present value, never a null one
        if (type == FieldType::Text)
            return s;
        if (type == FieldType::Date && s.size() == 10 && s.at(4) == u'-' && s.at(7) == u'-') {
            const int y = digits(s, 0, 4);
            const int m = digits(s, 5, 2);
            const int d = digits(s, 8, 2);
            if (y >= 0 && m >= 0 && d >= 0 && QDate::isValid(y, m, d))
                return QDate(y, m, d);
        }
        return RecordSet::convert(QVariant(s), type);
    }
    if (type == FieldType::Integer && v.isDouble()) {
        const double d = v.toDouble();
        constexpr double kExact = 9007199254740992.0; // 2^53: beyond it a double is not exact
        if (!(d >= -kExact && d <= kExact) || d != std::trunc(d))
            malformed(QStringLiteral("%1 is not a whole number").arg(d));
        return qlonglong(d);
    }
    return RecordSet::convert(v.toVariant(), type);
}

RecordSetPtr recordSet(const QJsonObject &o)
{
    const QJsonValue fieldList = o.value(QLatin1String("fields"));
    if (!fieldList.isArray())
        malformed(QStringLiteral("a record set has no field list"));
    QList<Field> fields;
    for (const QJsonValue &f : fieldList.toArray()) {
        const QJsonObject field = f.toObject();
        const QString name = field.value(QLatin1String("name")).toString();
        if (name.isEmpty())
            malformed(QStringLiteral("a field has no name"));
        fields.append(
            Field{name, fieldTypeFromName(
                            field.value(QLatin1String("type")).toString(QStringLiteral("text")))});
    }
    auto rs = RecordSet::create(o.value(QLatin1String("name")).toString(), fields);
    const QJsonArray rows = o.value(QLatin1String("rows")).toArray();
    rs->reserve(int(rows.size()));
    for (const QJsonValue &rowValue : rows) {
        const QJsonArray row = rowValue.toArray();
        if (row.size() != fields.size())
            malformed(QStringLiteral("a row of %1 has %2 values for %3 fields")
                          .arg(rs->name())
                          .arg(row.size())
                          .arg(fields.size()));
        QList<QVariant> values;
        values.reserve(row.size());
        for (qsizetype c = 0; c < row.size(); ++c)
            values.append(cell(row.at(c), fields.at(c).type));
        rs->appendStorageRow(std::move(values));
    }
    return rs;
}

} // namespace

QByteArray replyBytes(const BrokerReply &reply)
{
    QByteArray out;
    qsizetype cells = 0;
    for (const RecordSetPtr &rs : reply.recordSets)
        cells += rs ? qsizetype(rs->count()) * rs->fieldCount() : 0;
    out.reserve(1024 + cells * 10); // about what a list's cells take
    out += "{\"identity\":";
    appendText(out, reply.identity);
    out += ",\"tag\":";
    appendText(out, reply.tag);
    out += ",\"error\":";
    appendText(out, reply.error);
    out += ",\"recordSets\":{";
    bool first = true;
    for (auto it = reply.recordSets.cbegin(); it != reply.recordSets.cend(); ++it) {
        if (!it.value())
            continue;
        if (!first)
            out += ',';
        first = false;
        appendText(out, it.key());
        out += ':';
        appendRecordSet(out, *it.value());
    }
    out += "}}";
    return out;
}

BrokerReply replyFromBytes(const QByteArray &data)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (!doc.isObject())
        malformed(error.errorString());
    const QJsonObject o = doc.object();
    BrokerReply reply;
    reply.identity = o.value(QLatin1String("identity")).toString();
    reply.tag = o.value(QLatin1String("tag")).toString();
    reply.error = o.value(QLatin1String("error")).toString();
    const QJsonObject sets = o.value(QLatin1String("recordSets")).toObject();
    for (auto it = sets.begin(); it != sets.end(); ++it)
        reply.recordSets.insert(it.key(), recordSet(it.value().toObject()));
    return reply;
}

} // namespace korva::wire
