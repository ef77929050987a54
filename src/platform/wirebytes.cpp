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

void appendText(QByteArray &out, const QString &text)
{
    static const char hex[] = "0123456789abcdef";
    out += '"';
    const QByteArray utf8 = text.toUtf8();
    for (const char c : utf8) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20) {
            out += "\\u00";
            out += hex[u >> 4];
            out += hex[u & 0xf];
        } else {
            out += c;
        }
    }
    out += '"';
}

void appendDay(QByteArray &out, const QDate &day)
{
    if (!day.isValid()) {
        out += "\"\"";
        return;
    }
    int y = 0;
    int m = 0;
    int d = 0;
    day.getDate(&y, &m, &d);
    char buf[16];
    const int n = std::snprintf(buf, sizeof buf, "\"%04d-%02d-%02d\"", y, m, d);
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
        appendText(out, v.toString());
        return;
    case FieldType::Integer:
        out += QByteArray::number(v.toLongLong());
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
        appendText(out, v.toDateTime().toString(Qt::ISODateWithMs));
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
    out.reserve(4096);
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
