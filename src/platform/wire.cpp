#include "wire.h"

#include "datetext.h"
#include "errors.h"

#include <QJsonArray>

#include <cmath>

namespace korva::wire {

namespace {

[[noreturn]] void malformed(const QString &what)
{
    raiseError(kErrInvalidArgument, QStringLiteral("Malformed broker message: %1.").arg(what));
}

QJsonValue cellToJson(const QVariant &v, FieldType type)
{
    if (v.isNull())
        return QJsonValue::Null;
    switch (type) {
    case FieldType::Text:
        return v.toString();
    case FieldType::Integer:
        return double(v.toLongLong());
    case FieldType::Decimal:
        return QString::number(v.toDouble(), 'f', 2);
    case FieldType::Date:
        return v.toDate().toString(Qt::ISODate);
    case FieldType::Timestamp:
        return v.toDateTime().toString(Qt::ISODateWithMs);
    }
    return v.toString();
}

QVariant cellFromJson(const QJsonValue &v, FieldType type)
{
    if (v.isNull() || v.isUndefined())
        return {};
    if (type == FieldType::Integer && v.isDouble()) {
        // A JSON number is a double: only whole values that a double holds exactly convert
        // to an integer without loss (and without undefined behaviour for huge ones).
        const double d = v.toDouble();
        constexpr double kExact = 9007199254740992.0; // 2^53
        if (!(d >= -kExact && d <= kExact) || d != std::trunc(d))
            malformed(QStringLiteral("%1 is not a whole number").arg(d));
        return qlonglong(d);
    }
    if (v.isString()) {
        // An empty text is a present value, never a null one.
        const QString s = v.toString();
        return RecordSet::convert(QVariant(s.isNull() ? QStringLiteral("") : s), type);
    }
    return RecordSet::convert(v.toVariant(), type);
}

} // namespace

QString fieldTypeName(FieldType type)
{
    switch (type) {
    case FieldType::Text:
        return QStringLiteral("text");
    case FieldType::Integer:
        return QStringLiteral("integer");
    case FieldType::Decimal:
        return QStringLiteral("decimal");
    case FieldType::Date:
        return QStringLiteral("date");
    case FieldType::Timestamp:
        return QStringLiteral("timestamp");
    }
    return QStringLiteral("text");
}

FieldType fieldTypeFromName(const QString &name)
{
    const QString n = name.toLower();
    if (n == u"text")
        return FieldType::Text;
    if (n == u"integer")
        return FieldType::Integer;
    if (n == u"decimal")
        return FieldType::Decimal;
    if (n == u"date")
        return FieldType::Date;
    if (n == u"timestamp")
        return FieldType::Timestamp;
    malformed(QStringLiteral("unknown field type \"%1\"").arg(name));
}

QJsonObject toJson(const RecordSet &rs)
{
    QJsonArray fields;
    for (const Field &f : rs.fields())
        fields.append(QJsonObject{{QStringLiteral("name"), f.name},
                                  {QStringLiteral("type"), fieldTypeName(f.type)}});
    QJsonArray rows;
    for (int r = 0; r < rs.count(); ++r) {
        QJsonArray row;
        for (int c = 0; c < rs.fieldCount(); ++c)
            row.append(cellToJson(rs.valueAt(r, c), rs.fields().at(c).type));
        rows.append(row);
    }
    return QJsonObject{{QStringLiteral("name"), rs.name()},
                       {QStringLiteral("fields"), fields},
                       {QStringLiteral("rows"), rows}};
}

RecordSetPtr recordSetFromJson(const QJsonObject &o)
{
    if (!o.value(QStringLiteral("fields")).isArray())
        malformed(QStringLiteral("a record set has no field list"));
    QList<Field> fields;
    for (const QJsonValue &f : o.value(QStringLiteral("fields")).toArray()) {
        const QString name = f.toObject().value(QStringLiteral("name")).toString();
        if (name.isEmpty())
            malformed(QStringLiteral("a field has no name"));
        fields.append(Field{
            name,
            fieldTypeFromName(
                f.toObject().value(QStringLiteral("type")).toString(QStringLiteral("text")))});
    }
    auto rs = RecordSet::create(o.value(QStringLiteral("name")).toString(), fields);
    for (const QJsonValue &rowValue : o.value(QStringLiteral("rows")).toArray()) {
        const QJsonArray row = rowValue.toArray();
        if (row.size() != fields.size())
            malformed(QStringLiteral("a row of %1 has %2 values for %3 fields")
                          .arg(rs->name())
                          .arg(row.size())
                          .arg(fields.size()));
        QList<QVariant> values;
        values.reserve(row.size());
        for (int c = 0; c < row.size(); ++c)
            values.append(cellFromJson(row.at(c), fields.at(c).type));
        rs->appendStorageRow(std::move(values));
    }
    return rs;
}

QJsonObject toJson(const BrokerRequest &request)
{
    QJsonArray params;
    for (const auto &p : request.parameters())
        params.append(QJsonObject{{QStringLiteral("application"), p.application},
                                  {QStringLiteral("name"), p.name},
                                  {QStringLiteral("operator"), p.op},
                                  {QStringLiteral("value"), p.value}});
    QJsonObject sets;
    for (const auto &[name, rs] : request.recordSets()) {
        if (rs)
            sets.insert(name, toJson(*rs));
    }
    QJsonObject o{{QStringLiteral("messageId"), request.messageId()},
                  {QStringLiteral("version"), request.version()},
                  {QStringLiteral("kind"), request.kind()},
                  {QStringLiteral("context"), request.context()},
                  {QStringLiteral("tag"), request.readBack()},
                  {QStringLiteral("parameters"), params},
                  {QStringLiteral("recordSets"), sets}};
    if (!request.sessionToken().isEmpty())
        o.insert(QStringLiteral("session"), request.sessionToken());
    if (!request.requestKey().isEmpty())
        o.insert(QStringLiteral("requestKey"), request.requestKey());
    return o;
}

BrokerRequest requestFromJson(const QJsonObject &o)
{
    if (!o.value(QStringLiteral("kind")).isDouble())
        malformed(QStringLiteral("a request has no kind"));
    BrokerRequest request;
    request.setMessageId(o.value(QStringLiteral("messageId")).toString());
    request.setVersion(o.value(QStringLiteral("version")).toString());
    request.setKind(o.value(QStringLiteral("kind")).toInt());
    request.setContext(o.value(QStringLiteral("context")).toString());
    request.setSessionToken(o.value(QStringLiteral("session")).toString());
    request.setRequestKey(o.value(QStringLiteral("requestKey")).toString());
    if (const QString tag = o.value(QStringLiteral("tag")).toString(); !tag.isEmpty())
        request.setReadBack(tag);
    for (const QJsonValue &pv : o.value(QStringLiteral("parameters")).toArray()) {
        const QJsonObject p = pv.toObject();
        request.addParameter(RequestParameter{
            p.value(QStringLiteral("application")).toString(QLatin1String(kApplicationKey)),
            p.value(QStringLiteral("name")).toString(),
            p.value(QStringLiteral("operator")).toString(QStringLiteral("=")),
            p.value(QStringLiteral("value")).toString()});
    }
    const QJsonObject sets = o.value(QStringLiteral("recordSets")).toObject();
    for (auto it = sets.begin(); it != sets.end(); ++it)
        request.addRecordSet(it.key(), recordSetFromJson(it.value().toObject()));
    return request;
}

QJsonObject toJson(const BrokerReply &reply)
{
    QJsonObject sets;
    for (auto it = reply.recordSets.cbegin(); it != reply.recordSets.cend(); ++it) {
        if (it.value())
            sets.insert(it.key(), toJson(*it.value()));
    }
    return QJsonObject{{QStringLiteral("identity"), reply.identity},
                       {QStringLiteral("tag"), reply.tag},
                       {QStringLiteral("error"), reply.error},
                       {QStringLiteral("recordSets"), sets}};
}

BrokerReply replyFromJson(const QJsonObject &o)
{
    BrokerReply reply;
    reply.identity = o.value(QStringLiteral("identity")).toString();
    reply.tag = o.value(QStringLiteral("tag")).toString();
    reply.error = o.value(QStringLiteral("error")).toString();
    const QJsonObject sets = o.value(QStringLiteral("recordSets")).toObject();
    for (auto it = sets.begin(); it != sets.end(); ++it)
        reply.recordSets.insert(it.key(), recordSetFromJson(it.value().toObject()));
    return reply;
}

} // namespace korva::wire
