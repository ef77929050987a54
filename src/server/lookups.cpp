#include "lookups.h"

#include "database.h"
#include "servererror.h"

namespace korva::server {

namespace {

constexpr char kSelectOfficer[] =
    R"sql(SELECT INSP_ID, REGION, EFCTV_DT, END_DT FROM OFFICER WHERE INSP_ID = ?)sql";
constexpr char kSelectRight[] =
    R"sql(SELECT 1 FROM USR_RGHT WHERE INSP_ID = ? AND KIND = ? AND UPPER(NAME) = UPPER(?))sql";
constexpr char kSelectType[] = R"sql(
SELECT ASGNMT_CD, ASGNMT_DES, CRTR_CLS_IND, SYS_IND FROM ZTB_ASGNMT_TYPE
WHERE REGION = ? AND ASGNMT_CD = ?)sql";
constexpr char kSelectCode[] = R"sql(
SELECT ADDL_INFO FROM ZTB_CODE
WHERE REGION = ? AND CD_TBL_ID = ? AND CD_TBL_CD = ? AND EFCTV_DT <= ?
  AND (END_DT IS NULL OR END_DT >= ?))sql";
constexpr char kSelectTroop[] = R"sql(SELECT 1 FROM TROOP WHERE TRP_ID = ? AND TRP_DIST_ID = ?)sql";
constexpr char kSelectCustomer[] = R"sql(SELECT 1 FROM CUSTOMER WHERE CUST_ID = ?)sql";
constexpr char kBumpSequence[] =
    R"sql(UPDATE KORVA_SEQ SET NEXT_VAL = NEXT_VAL + 1 WHERE SEQ_NM = ?)sql";
constexpr char kReadSequence[] = R"sql(SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = ?)sql";
constexpr char kNextHistoryPg[] = R"sql(SELECT nextval('korva_hist_seq'))sql";

QDate toDate(const QVariant &v)
{
    if (v.isNull())
        return {};
    if (v.typeId() == QMetaType::QDate)
        return v.toDate();
    return QDate::fromString(v.toString().left(10), Qt::ISODate);
}

std::optional<QVariant> codeRow(Database &db, const QString &region, const char *table,
                                const QString &code, const QDate &on)
{
    QSqlQuery &q = db.run(QLatin1String(kSelectCode),
                          {region, QLatin1String(table), code, dbDate(on), dbDate(on)});
    std::optional<QVariant> found;
    if (q.next())
        found = q.value(0);
    q.finish();
    return found;
}

} // namespace

std::optional<OfficerRow> findOfficer(Database &db, qint64 id)
{
    QSqlQuery &q = db.run(QLatin1String(kSelectOfficer), {id});
    std::optional<OfficerRow> row;
    if (q.next())
        row = OfficerRow{q.value(0).toLongLong(), q.value(1).toString(), toDate(q.value(2)),
                         toDate(q.value(3))};
    q.finish();
    return row;
}

bool hasRight(Database &db, qint64 officer, const QString &name, char kind)
{
    return !db.scalar(QLatin1String(kSelectRight), {officer, QString(QLatin1Char(kind)), name})
                .isNull();
}

std::optional<AssignmentType> findAssignmentType(Database &db, const QString &region,
                                                 const QString &code)
{
    QSqlQuery &q = db.run(QLatin1String(kSelectType), {region, code});
    std::optional<AssignmentType> t;
    if (q.next())
        t = AssignmentType{q.value(0).toString(), q.value(1).toString(),
                           q.value(2).toString().trimmed() == u"Y",
                           q.value(3).toString().trimmed() == u"Y"};
    q.finish();
    return t;
}

bool agencyExists(Database &db, const QString &region, const QString &code, const QDate &on)
{
    return codeRow(db, region, "AGENCY", code, on).has_value();
}

bool troopExists(Database &db, const QString &troop, const QString &district)
{
    // A troop on its own is stored with an empty district, never a null one.
    const QString d = district.isNull() ? QStringLiteral("") : district;
    return !db.scalar(QLatin1String(kSelectTroop), {troop, d}).isNull();
}

bool customerExists(Database &db, const QString &customer)
{
    return !db.scalar(QLatin1String(kSelectCustomer), {customer}).isNull();
}

std::optional<QString> referenceTypeForm(Database &db, const QString &region, const QString &code,
                                         const QDate &on)
{
    const auto v = codeRow(db, region, "REFDOCTYP", code, on);
    if (!v)
        return std::nullopt;
    return v->toString();
}

qint64 nextNumber(Database &db, const char *sequence)
{
    const QString name = QLatin1String(sequence);
    QSqlQuery &bump = db.run(QLatin1String(kBumpSequence), {name});
    const int affected = bump.numRowsAffected();
    bump.finish();
    if (affected != 1)
        throw DatabaseError(QStringLiteral("The number sequence %1 is missing.").arg(name));
    // The counter holds the next free value; after the bump the one handed out is one less.
    return db.scalar(QLatin1String(kReadSequence), {name}).toLongLong() - 1;
}

qint64 nextHistoryId(Database &db)
{
    if (db.dialect() != Dialect::Postgres)
        return nextNumber(db, "HIST_ID");
    return db.scalar(QLatin1String(kNextHistoryPg)).toLongLong();
}

} // namespace korva::server
