// Kind 62: the assignment list of one officer, and the history of one assignment.
#include "listquery.h"
#include "assignmentstore.h"
#include "database.h"
#include "handlers.h"
#include "lookups.h"
#include "rows.h"
#include "servererror.h"

#include <platform/datetext.h>

namespace korva::server {

namespace {

constexpr Column kListColumns[] = {
    {"ASGNMT_NBR", FieldType::Integer},    {"ASGNMT_TYP_CD", FieldType::Text},
    {"ASGNMT_STTS_CD", FieldType::Text},   {"OFCR_FRM_ID", FieldType::Integer},
    {"OFCR_TO_ID", FieldType::Integer},    {"OFCR_CRTR_ID", FieldType::Integer},
    {"ASGNMT_DT", FieldType::Date},        {"EFCTV_DT", FieldType::Date},
    {"DUE_DT", FieldType::Date},           {"EXPRTN_DT", FieldType::Date},
    {"CLSE_DT", FieldType::Date},          {"ASGNMT_CMMT_TXT", FieldType::Text},
    {"ASGNMT_SBJCT_TXT", FieldType::Text}, {"FORM_NBR", FieldType::Text},
    {"FORM_TYP_CD", FieldType::Text},      {"HIST_CNT", FieldType::Integer},
    {"AGNCY_CD", FieldType::Text},         {"TRP_ID", FieldType::Text},
    {"TRP_DIST_ID", FieldType::Text},      {"STATION_ID", FieldType::Text},
    {"NTFY_IND", FieldType::Text},         {"LST_UPDT_TS", FieldType::Timestamp},
    {"CUST_ID", FieldType::Text},          {"CUST_NM", FieldType::Text},
    {"PRPRD_DT", FieldType::Date},         {"RFND_NBR", FieldType::Integer},
    {"RFND_AMT", FieldType::Decimal},      {"STTS_CD", FieldType::Text},
};

// The refund columns are filled for refund requests only: the assignment that the system
// generated for the refund, or a copy forwarded from it.
constexpr char kListSelect[] = R"sql(
SELECT A.ASGNMT_NBR, A.ASGNMT_TYP_CD, A.ASGNMT_STTS_CD, A.OFCR_FRM_ID, A.OFCR_TO_ID,
       A.OFCR_CRTR_ID, A.ASGNMT_DT, A.EFCTV_DT, A.DUE_DT, A.EXPRTN_DT, A.CLSE_DT,
       A.ASGNMT_CMMT_TXT, A.ASGNMT_SBJCT_TXT, A.FORM_NBR, A.FORM_TYP_CD, A.HIST_CNT,
       A.AGNCY_CD, A.TRP_ID, A.TRP_DIST_ID, A.STATION_ID, A.NTFY_IND, A.LST_UPDT_TS,
       R.CUST_ID, C.CUST_NM, R.CREATED_DT, R.RFND_NBR, R.RFND_AMT, R.STTS_CD
FROM ASGNMT A
LEFT JOIN REFUND R ON R.ASGNMT_NBR = COALESCE(A.ORIG_ASGNMT_NBR, A.ASGNMT_NBR)
LEFT JOIN CUSTOMER C ON C.CUST_ID = R.CUST_ID
)sql";
constexpr char kWhereReceived[] =
    R"sql(WHERE A.OFCR_TO_ID = ? AND A.ASGNMT_DT >= ? AND A.ASGNMT_DT <= ?)sql";
constexpr char kWhereSent[] =
    R"sql(WHERE A.OFCR_FRM_ID = ? AND A.ASGNMT_DT >= ? AND A.ASGNMT_DT <= ?)sql";
// An open search shows everything not closed: forwarded and replied-to assignments are
// still being worked on.
constexpr char kStatusOpen[] = R"sql( AND A.ASGNMT_STTS_CD IN ('O', 'F', 'R'))sql";
constexpr char kStatusClosed[] = R"sql( AND A.ASGNMT_STTS_CD = 'C')sql";
constexpr char kListOrder[] = R"sql( ORDER BY A.ASGNMT_DT DESC, A.ASGNMT_NBR DESC)sql";

constexpr Column kHistoryColumns[] = {
    {"ASGNMT_SBJCT_TXT", FieldType::Text}, {"OFCR_CRTR_ID", FieldType::Integer},
    {"ASGNMT_NBR", FieldType::Integer},    {"OFCR_FRM_ID", FieldType::Integer},
    {"OFCR_TO_ID", FieldType::Integer},    {"ASGNMT_TYP_CD", FieldType::Text},
    {"FORM_NBR", FieldType::Text},         {"FORM_TYP_CD", FieldType::Text},
    {"ASGNMT_STTS_CD", FieldType::Text},   {"AGNCY_CD", FieldType::Text},
    {"STATION_ID", FieldType::Text},       {"LST_UPDT_TS", FieldType::Timestamp},
    {"ACTION", FieldType::Text},           {"ASGNMT_DT", FieldType::Date},
    {"EFCTV_DT", FieldType::Date},         {"DUE_DT", FieldType::Date},
    {"EXPRTN_DT", FieldType::Date},        {"CLSE_DT", FieldType::Date},
    {"ASGNMT_CMMT_TXT", FieldType::Text},  {"TRP_ID", FieldType::Text},
    {"TRP_DIST_ID", FieldType::Text},      {"UPDT_BY_ID", FieldType::Integer},
};

// An assignment's own steps, and the first step of each copy tied to it: a forward to several
// officers shows in the history it came from as well as in each copy's.
constexpr char kHistorySelect[] = R"sql(
SELECT ASGNMT_SBJCT_TXT, OFCR_CRTR_ID, ASGNMT_NBR, OFCR_FRM_ID, OFCR_TO_ID, ASGNMT_TYP_CD,
       FORM_NBR, FORM_TYP_CD, ASGNMT_STTS_CD, AGNCY_CD, STATION_ID, LST_UPDT_TS, ACTION,
       ASGNMT_DT, EFCTV_DT, DUE_DT, EXPRTN_DT, CLSE_DT, ASGNMT_CMMT_TXT, TRP_ID, TRP_DIST_ID,
       UPDT_BY_ID
FROM ASGNMT_HIST
WHERE ASGNMT_NBR = ?
   OR HIST_ID IN (SELECT MIN(H.HIST_ID) FROM ASGNMT_HIST H
                  JOIN ASGNMT C ON C.ASGNMT_NBR = H.ASGNMT_NBR
                  WHERE C.ORIG_ASGNMT_NBR = ?
                  GROUP BY H.ASGNMT_NBR)
ORDER BY LST_UPDT_TS DESC, HIST_ID DESC)sql";

QDate keyDate(const BrokerRequest &request, const char *key)
{
    const QString t = request.keyValue(QString::fromLatin1(key)).trimmed();
    if (t.isEmpty())
        throw RequestError(
            QStringLiteral("The list query needs the key %1.").arg(QLatin1String(key)));
    const QDate d = parseDateText(t);
    if (!d.isValid())
        throw RequestError(
            QStringLiteral("%1 \"%2\" is not a valid date.").arg(QLatin1String(key), t));
    return d;
}

qint64 keyOfficer(const QString &text, const char *key)
{
    bool ok = false;
    const qint64 id = text.trimmed().toLongLong(&ok);
    if (!ok || id <= 0)
        throw RequestError(QStringLiteral("%1 \"%2\" is not a valid officer number.")
                               .arg(QLatin1String(key), text.trimmed()));
    return id;
}

BrokerReply history(HandlerContext &ctx, const BrokerRequest &request)
{
    const QString t = request.keyValue(u"ASGNMT_NBR").trimmed();
    bool ok = false;
    const qint64 number = t.toLongLong(&ok);
    if (!ok)
        throw RequestError(
            QStringLiteral("ASGNMT_NBR \"%1\" is not a valid assignment number.").arg(t));
    const auto assignment = loadAssignment(ctx.db, number);
    if (!assignment)
        throw RequestError(QStringLiteral("Assignment %1 is not known.").arg(number));
    const qint64 me = ctx.session.officerId;
    if (!isParty(*assignment, me) && !hasRight(ctx.db, me, QLatin1String(kGroupClosers), 'G'))
        throw RequestError(QStringLiteral("Only the sender, the addressee or the creator of "
                                          "assignment %1, or a member of %2, can see its history.")
                               .arg(number)
                               .arg(QLatin1String(kGroupClosers)));
    QSqlQuery &q = ctx.db.run(QLatin1String(kHistorySelect), {number, number});
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("ASSIGNMENT"),
                            readRecordSet(q, QStringLiteral("ASSIGNMENT"), kHistoryColumns));
    return reply;
}

QString composeListQuery(ListQuery::Direction direction, ListQuery::Status status)
{
    QString sql = QLatin1String(kListSelect);
    sql += QLatin1String(direction == ListQuery::Received ? kWhereReceived : kWhereSent);
    if (status == ListQuery::Open)
        sql += QLatin1String(kStatusOpen);
    else if (status == ListQuery::Closed)
        sql += QLatin1String(kStatusClosed);
    sql += QLatin1String(kListOrder);
    return sql;
}

QString limitedListText(ListQuery::Direction direction, ListQuery::Status status);

} // namespace

QString listQueryText(ListQuery::Direction direction, ListQuery::Status status)
{
    // Built once per variant: the list is the busiest request there is.
    static const QString texts[2][3] = {{composeListQuery(ListQuery::Received, ListQuery::Any),
                                         composeListQuery(ListQuery::Received, ListQuery::Open),
                                         composeListQuery(ListQuery::Received, ListQuery::Closed)},
                                        {composeListQuery(ListQuery::Sent, ListQuery::Any),
                                         composeListQuery(ListQuery::Sent, ListQuery::Open),
                                         composeListQuery(ListQuery::Sent, ListQuery::Closed)}};
    return texts[direction][status];
}

namespace {

QString limitedListText(ListQuery::Direction direction, ListQuery::Status status)
{
    static const QString texts[2][3] = {
        {listQueryText(ListQuery::Received, ListQuery::Any) + QStringLiteral(" LIMIT ?"),
         listQueryText(ListQuery::Received, ListQuery::Open) + QStringLiteral(" LIMIT ?"),
         listQueryText(ListQuery::Received, ListQuery::Closed) + QStringLiteral(" LIMIT ?")},
        {listQueryText(ListQuery::Sent, ListQuery::Any) + QStringLiteral(" LIMIT ?"),
         listQueryText(ListQuery::Sent, ListQuery::Open) + QStringLiteral(" LIMIT ?"),
         listQueryText(ListQuery::Sent, ListQuery::Closed) + QStringLiteral(" LIMIT ?")}};
    return texts[direction][status];
}

} // namespace

std::span<const Column> listColumns()
{
    return kListColumns;
}

ListQuery ListQuery::fromRequest(const BrokerRequest &request)
{
    ListQuery q;
    q.from = keyDate(request, "ASGNMT_FRM_DT");
    q.to = keyDate(request, "ASGNMT_TO_DT");
    if (q.from > q.to)
        throw RequestError(QStringLiteral("The 'Assigned From' effective date must be on, or "
                                          "before, the 'Assigned To' date."));
    const QString toOfficer = request.keyValue(u"OFCR_TO_ID");
    const QString fromOfficer = request.keyValue(u"OFCR_FRM_ID");
    if (toOfficer.isNull() == fromOfficer.isNull())
        throw RequestError(QStringLiteral(
            "The list query needs exactly one of the keys OFCR_TO_ID and OFCR_FRM_ID."));
    q.direction = toOfficer.isNull() ? Sent : Received;
    q.officer = toOfficer.isNull() ? keyOfficer(fromOfficer, "OFCR_FRM_ID")
                                   : keyOfficer(toOfficer, "OFCR_TO_ID");
    const QString status = request.keyValue(u"ASGNMT_STTS_CD").trimmed().toUpper();
    if (request.hasKey(u"ASGNMT_STTS_CD")) {
        if (status == u"O")
            q.status = Open;
        else if (status == u"C")
            q.status = Closed;
        else
            throw RequestError(QStringLiteral("ASGNMT_STTS_CD \"%1\" is not a status the list "
                                              "can search for (O open, C closed).")
                                   .arg(status));
    }
    return q;
}

BrokerReply handleQuery(HandlerContext &ctx, const BrokerRequest &request)
{
    if (request.keyValue(u"HISTORY").trimmed().compare(u"YES", Qt::CaseInsensitive) == 0)
        return history(ctx, request);
    const ListQuery q = ListQuery::fromRequest(request);
    if (q.officer != ctx.session.officerId) {
        if (!hasRight(ctx.db, ctx.session.officerId, QLatin1String(kRightListAll), 'R'))
            throw RequestError(QStringLiteral("You may list only the assignments you sent or "
                                              "received; listing officer %1's needs the \"%2\" "
                                              "right.")
                                   .arg(q.officer)
                                   .arg(QLatin1String(kRightListAll)));
        if (!findOfficer(ctx.db, q.officer))
            throw RequestError(QStringLiteral("Officer %1 is not known.").arg(q.officer));
    }
    // One row past the cap tells a result that fits from one that was cut short.
    const int cap = ctx.db.settings().maxListRows;
    QSqlQuery &sql = ctx.db.run(limitedListText(q.direction, q.status),
                                {q.officer, dbDate(q.from), dbDate(q.to), cap + 1});
    static const QList<Field> fields = fieldsOf(kListColumns);
    RecordSetPtr rows = readRecordSet(sql, QStringLiteral("ASSIGNMENT"), kListColumns, fields);
    if (rows->storageCount() > cap)
        throw RequestError(QStringLiteral("More than %1 assignments match; please narrow your "
                                          "search (a shorter date range or a status).")
                               .arg(cap));
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("ASSIGNMENT"), rows);
    return reply;
}

} // namespace korva::server
