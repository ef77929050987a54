#include "assignmentstore.h"

#include "database.h"
#include "lookups.h"
#include "rows.h"

#include <algorithm>

namespace korva::server {

namespace {

constexpr char kSelectAssignment[] = R"sql(
SELECT ASGNMT_NBR, ASGNMT_TYP_CD, ASGNMT_STTS_CD, OFCR_FRM_ID, OFCR_TO_ID, OFCR_CRTR_ID,
       AGNCY_CD, TRP_ID, TRP_DIST_ID, ASGNMT_DT, EFCTV_DT, DUE_DT, EXPRTN_DT, CLSE_DT,
       ASGNMT_CMMT_TXT, ASGNMT_SBJCT_TXT, FORM_NBR, FORM_TYP_CD, STATION_ID, NTFY_IND,
       HIST_CNT, ORIG_ASGNMT_NBR
FROM ASGNMT WHERE ASGNMT_NBR = ?)sql";

constexpr char kInsertAssignment[] = R"sql(
INSERT INTO ASGNMT (ASGNMT_NBR, ASGNMT_TYP_CD, ASGNMT_STTS_CD, OFCR_FRM_ID, OFCR_TO_ID,
    OFCR_CRTR_ID, AGNCY_CD, TRP_ID, TRP_DIST_ID, ASGNMT_DT, EFCTV_DT, DUE_DT, EXPRTN_DT,
    CLSE_DT, ASGNMT_CMMT_TXT, ASGNMT_SBJCT_TXT, FORM_NBR, FORM_TYP_CD, STATION_ID, NTFY_IND,
    HIST_CNT, ORIG_ASGNMT_NBR, LST_UPDT_TS)
VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?))sql";

constexpr char kUpdateAssignment[] = R"sql(
UPDATE ASGNMT SET ASGNMT_STTS_CD = ?, OFCR_FRM_ID = ?, OFCR_TO_ID = ?, AGNCY_CD = ?,
    TRP_ID = ?, TRP_DIST_ID = ?, EFCTV_DT = ?, DUE_DT = ?, EXPRTN_DT = ?, CLSE_DT = ?,
    ASGNMT_CMMT_TXT = ?, NTFY_IND = ?, HIST_CNT = ?, LST_UPDT_TS = ?
WHERE ASGNMT_NBR = ? AND HIST_CNT = ?)sql";

constexpr char kLockCounterPg[] =
    R"sql(SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'ASGNMT_NBR' FOR UPDATE)sql";
constexpr char kLockAssignmentPg[] =
    R"sql(SELECT ASGNMT_NBR FROM ASGNMT WHERE ASGNMT_NBR = ? FOR UPDATE)sql";

constexpr char kInsertHistory[] = R"sql(
INSERT INTO ASGNMT_HIST (HIST_ID, ASGNMT_NBR, ACTION, LST_UPDT_TS, UPDT_BY_ID, ASGNMT_TYP_CD,
    ASGNMT_STTS_CD, OFCR_FRM_ID, OFCR_TO_ID, OFCR_CRTR_ID, AGNCY_CD, TRP_ID, TRP_DIST_ID,
    ASGNMT_DT, EFCTV_DT, DUE_DT, EXPRTN_DT, CLSE_DT, ASGNMT_CMMT_TXT, ASGNMT_SBJCT_TXT,
    FORM_NBR, FORM_TYP_CD, STATION_ID)
VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?))sql";

QVariant text(const QString &s)
{
    return s.isNull() ? QVariant() : QVariant(s);
}

QVariant id(const std::optional<qint64> &v)
{
    return v ? QVariant(*v) : QVariant();
}

std::optional<qint64> optionalId(const QVariant &v)
{
    if (v.isNull())
        return std::nullopt;
    return v.toLongLong();
}

QDate date(const QVariant &v)
{
    return fromDb(v, FieldType::Date).toDate();
}

QString str(const QVariant &v)
{
    return v.isNull() ? QString() : v.toString();
}

} // namespace

std::optional<AssignmentRecord> loadAssignment(Database &db, qint64 number)
{
    QSqlQuery &q = db.run(QLatin1String(kSelectAssignment), {number});
    if (!q.next()) {
        q.finish();
        return std::nullopt;
    }
    AssignmentRecord a;
    a.number = q.value(0).toLongLong();
    a.type = str(q.value(1));
    a.status = str(q.value(2));
    a.fromOfficer = optionalId(q.value(3));
    a.toOfficer = optionalId(q.value(4));
    a.creator = q.value(5).toLongLong();
    a.agency = str(q.value(6));
    a.troop = str(q.value(7));
    a.district = str(q.value(8));
    a.assigned = date(q.value(9));
    a.effective = date(q.value(10));
    a.due = date(q.value(11));
    a.expiration = date(q.value(12));
    a.closed = date(q.value(13));
    a.comment = str(q.value(14));
    a.subject = str(q.value(15));
    a.formNumber = str(q.value(16));
    a.formType = str(q.value(17));
    a.station = str(q.value(18));
    a.notify = str(q.value(19));
    a.historyCount = q.value(20).toInt();
    a.original = optionalId(q.value(21));
    q.finish();
    return a;
}

bool isParty(const AssignmentRecord &a, qint64 officer)
{
    return a.creator == officer || a.fromOfficer == officer || a.toOfficer == officer;
}

QString assignmentRegion(Database &db, const AssignmentRecord &a, qint64 officer)
{
    if (const auto creator = findOfficer(db, a.creator))
        return creator->region;
    const auto self = findOfficer(db, officer);
    return self ? self->region : QString();
}

namespace {

// The columns an assignment and each of its history rows share, in the order both
// statements list them (from ASGNMT_TYP_CD to STATION_ID).
QVariantList snapshot(const AssignmentRecord &a)
{
    return {a.type,
            a.status,
            id(a.fromOfficer),
            id(a.toOfficer),
            a.creator,
            text(a.agency),
            text(a.troop),
            text(a.district),
            dbDate(a.assigned),
            dbDate(a.effective),
            dbDate(a.due),
            dbDate(a.expiration),
            dbDate(a.closed),
            text(a.comment),
            text(a.subject),
            text(a.formNumber),
            text(a.formType),
            text(a.station)};
}

} // namespace

void insertAssignment(Database &db, const AssignmentRecord &a, const QDateTime &now)
{
    const QVariantList values =
        QVariantList{a.number} + snapshot(a) +
        QVariantList{text(a.notify), a.historyCount, id(a.original), dbTimestamp(now)};
    db.run(QLatin1String(kInsertAssignment), values).finish();
}

bool updateAssignment(Database &db, const AssignmentRecord &a, int seenHistoryCount,
                      const QDateTime &now)
{
    QSqlQuery &q = db.run(QLatin1String(kUpdateAssignment),
                          {a.status, id(a.fromOfficer), id(a.toOfficer), text(a.agency),
                           text(a.troop), text(a.district), dbDate(a.effective), dbDate(a.due),
                           dbDate(a.expiration), dbDate(a.closed), text(a.comment), text(a.notify),
                           a.historyCount, dbTimestamp(now), a.number, seenHistoryCount});
    const int affected = q.numRowsAffected();
    q.finish();
    return affected == 1;
}

void lockForUpdate(Database &db, bool takesNewNumbers, QList<qint64> numbers)
{
    if (db.dialect() != Dialect::Postgres)
        return;
    if (takesNewNumbers)
        db.run(QLatin1String(kLockCounterPg)).finish();
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    for (const qint64 n : std::as_const(numbers))
        db.run(QLatin1String(kLockAssignmentPg), {n}).finish();
}

void insertHistory(Database &db, const AssignmentRecord &a, const QString &action, qint64 byOfficer,
                   const QDateTime &now)
{
    const qint64 hist = nextHistoryId(db);
    const QVariantList values =
        QVariantList{hist, a.number, action, dbTimestamp(now), byOfficer} + snapshot(a);
    db.run(QLatin1String(kInsertHistory), values).finish();
}

} // namespace korva::server
