#include "updaterow.h"

#include "database.h"
#include "servererror.h"

#include <platform/wire.h>

#include <QJsonDocument>

#include <platform/datetext.h>

#include <cmath>
#include <limits>

namespace korva::server {

namespace {

constexpr int kRequestKeyMax = 200;

// The empty answer marks a key claimed by a transaction that has not committed; nobody else
// ever sees it, since the claim and the answer commit together.
constexpr char kClaimKey[] = R"sql(
INSERT INTO KORVA_REQ (REQ_KEY, INSP_ID, KIND, RPLY_TXT, DONE_MS) VALUES (?, ?, ?, '', ?)
ON CONFLICT (REQ_KEY) DO NOTHING)sql";
constexpr char kReadKey[] =
    R"sql(SELECT INSP_ID, KIND, RPLY_TXT FROM KORVA_REQ WHERE REQ_KEY = ?)sql";
constexpr char kPurgeKeys[] = R"sql(DELETE FROM KORVA_REQ WHERE DONE_MS < ?)sql";
constexpr qint64 kKeyKeepMs = 7LL * 24 * 3600 * 1000;
constexpr char kKeepReply[] =
    R"sql(UPDATE KORVA_REQ SET RPLY_TXT = ?, DONE_MS = ? WHERE REQ_KEY = ?)sql";

} // namespace

UpdateRow::UpdateRow(const RecordSet &rs, int storageIndex)
    : m_rs(rs)
    , m_index(storageIndex)
{}

QVariant UpdateRow::raw(const char *field) const
{
    const int col = m_rs.fieldIndex(QString::fromLatin1(field));
    if (col < 0)
        return {};
    const QList<QVariant> &row = m_rs.storageRow(m_index);
    return col < row.size() ? row.at(col) : QVariant();
}

bool UpdateRow::has(const char *field) const
{
    const QVariant v = raw(field);
    return !(v.isNull() || (v.typeId() == QMetaType::QString && v.toString().isNull()));
}

QString UpdateRow::text(const char *field) const
{
    if (!has(field))
        return {};
    const QVariant v = raw(field);
    if (v.typeId() == QMetaType::QDate)
        return v.toDate().toString(Qt::ISODate);
    QString t = v.toString();
    if (t.isNull())
        t = QStringLiteral("");
    return t;
}

void UpdateRow::refuse(const QString &text) const
{
    // The row is named only where there is more than one to choose from; an officer who
    // saved one reply has no "row 1" in sight.
    if (m_rs.storageCount() < 2)
        throw RequestError(text);
    throw RequestError(QStringLiteral("Row %1: %2").arg(m_index + 1).arg(text));
}

QString UpdateRow::required(const char *field, int maxLength) const
{
    const QString t = text(field);
    if (t.trimmed().isEmpty())
        refuse(QStringLiteral("%1 is required.").arg(QLatin1String(field)));
    if (t.size() > maxLength)
        refuse(QStringLiteral("%1 is longer than %2 characters.")
                   .arg(QLatin1String(field))
                   .arg(maxLength));
    return t;
}

QString UpdateRow::optional(const char *field, int maxLength) const
{
    const QString t = text(field);
    if (t.size() > maxLength)
        refuse(QStringLiteral("%1 is longer than %2 characters.")
                   .arg(QLatin1String(field))
                   .arg(maxLength));
    return t;
}

std::optional<qint64> UpdateRow::id(const char *field) const
{
    const QString t = trimmed(field);
    if (t.isEmpty())
        return std::nullopt;
    bool ok = false;
    const qint64 v = t.toLongLong(&ok);
    // Officer columns are 32-bit integers in both stores.
    if (!ok || v <= 0 || v > std::numeric_limits<qint32>::max())
        refuse(QStringLiteral("%1 \"%2\" is not a valid officer number.")
                   .arg(QLatin1String(field), t));
    return v;
}

qint64 UpdateRow::requiredId(const char *field) const
{
    const auto v = id(field);
    if (!v)
        refuse(QStringLiteral("%1 is required.").arg(QLatin1String(field)));
    return *v;
}

std::optional<QDate> UpdateRow::date(const char *field) const
{
    const QVariant v = raw(field);
    if (v.typeId() == QMetaType::QDate)
        return v.toDate();
    const QString t = trimmed(field);
    if (t.isEmpty())
        return std::nullopt;
    const QDate d = parseDateText(t);
    if (!d.isValid())
        refuse(QStringLiteral("%1 \"%2\" is not a valid date.").arg(QLatin1String(field), t));
    return d;
}

QDate UpdateRow::requiredDate(const char *field) const
{
    const auto d = date(field);
    if (!d)
        refuse(QStringLiteral("%1 is required.").arg(QLatin1String(field)));
    return *d;
}

std::optional<double> UpdateRow::amount(const char *field) const
{
    QString t = trimmed(field);
    t.remove(u'$').remove(u',');
    if (t.isEmpty())
        return std::nullopt;
    bool ok = false;
    const double v = t.toDouble(&ok);
    // toDouble takes "nan" and "inf"; neither is an amount of money.
    if (!ok || !std::isfinite(v) || v < 0 || v >= 1e10)
        refuse(QStringLiteral("%1 \"%2\" is not a valid amount.")
                   .arg(QLatin1String(field), trimmed(field)));
    return v;
}

std::optional<BrokerReply> claimRequestKey(HandlerContext &ctx, const BrokerRequest &request)
{
    const QString key = request.requestKey();
    if (key.isEmpty())
        return std::nullopt;
    if (key.size() > kRequestKeyMax)
        throw RequestError(
            QStringLiteral("The request key is longer than %1 characters.").arg(kRequestKeyMax));
    QSqlQuery &claim =
        ctx.db.run(QLatin1String(kClaimKey),
                   {key, ctx.session.officerId, request.kind(), ctx.now.toMSecsSinceEpoch()});
    const int claimed = claim.numRowsAffected();
    claim.finish();
    if (claimed == 1)
        return std::nullopt;
    QSqlQuery &q = ctx.db.run(QLatin1String(kReadKey), {key});
    if (!q.next()) {
        q.finish();
        throw DatabaseError(QStringLiteral("The request key %1 could not be read back.").arg(key));
    }
    const qint64 officer = q.value(0).toLongLong();
    const int kind = q.value(1).toInt();
    const QByteArray stored = q.value(2).toString().toUtf8();
    q.finish();
    // A key is one officer's one update; reusing it for anything else is a forgery.
    if (officer != ctx.session.officerId || kind != request.kind())
        throw RequestError(
            QStringLiteral("The request key %1 belongs to another request.").arg(key));
    BrokerReply first = wire::replyFromJson(QJsonDocument::fromJson(stored).object());
    first.identity = request.messageId();
    first.tag = request.readBack();
    return first;
}

void recordRequestReply(HandlerContext &ctx, const BrokerRequest &request, const BrokerReply &reply)
{
    if (request.requestKey().isEmpty())
        return;
    const QByteArray text = QJsonDocument(wire::toJson(reply)).toJson(QJsonDocument::Compact);
    ctx.db
        .run(QLatin1String(kKeepReply),
             {QString::fromUtf8(text), ctx.now.toMSecsSinceEpoch(), request.requestKey()})
        .finish();
}

void purgeRequestKeys(Database &db, const QDateTime &now)
{
    db.run(QLatin1String(kPurgeKeys), {now.toMSecsSinceEpoch() - kKeyKeepMs}).finish();
}

void checkRequestSize(const BrokerRequest &request, qint64 maxChars)
{
    qint64 size = request.context().size();
    for (const RequestParameter &p : request.parameters())
        size += p.name.size() + p.value.size();
    for (const auto &[name, rs] : request.recordSets()) {
        if (!rs)
            continue;
        for (int r = 0; r < rs->storageCount() && size <= maxChars; ++r) {
            for (const QVariant &v : rs->storageRow(r))
                size += v.typeId() == QMetaType::QString ? v.toString().size() : 8;
        }
    }
    if (size > maxChars)
        throw RequestError(QStringLiteral("The request is larger than the %1 characters the "
                                          "server takes in one request.")
                               .arg(maxChars));
}

} // namespace korva::server
