// Kind 90: the reference data that the platform caches at sign-on, so that the screens'
// synchronous lookups (officer names and searches, code descriptions, troop and agency
// checks, account number forms) never wait on a round trip.
#include "database.h"
#include "handlers.h"
#include "rows.h"

namespace korva::server {

namespace {

constexpr Column kOfficerColumns[] = {
    {"INSP_ID", FieldType::Integer},    {"INSP_NME_LST", FieldType::Text},
    {"INSP_NME_FRST", FieldType::Text}, {"INSP_NME_MDL_INT", FieldType::Text},
    {"REGION", FieldType::Text},        {"EFCTV_DT", FieldType::Date},
    {"END_DT", FieldType::Date},
};
constexpr char kSelectOfficers[] = R"sql(
SELECT INSP_ID, INSP_NME_LST, INSP_NME_FRST, INSP_NME_MDL_INT, REGION, EFCTV_DT, END_DT
FROM OFFICER ORDER BY INSP_ID)sql";

constexpr Column kRightColumns[] = {{"NAME", FieldType::Text}, {"KIND", FieldType::Text}};
constexpr char kSelectRights[] =
    R"sql(SELECT NAME, KIND FROM USR_RGHT WHERE INSP_ID = ? ORDER BY KIND, NAME)sql";

constexpr Column kTroopColumns[] = {{"TRP_ID", FieldType::Text}, {"TRP_DIST_ID", FieldType::Text}};
constexpr char kSelectTroops[] =
    R"sql(SELECT TRP_ID, TRP_DIST_ID FROM TROOP ORDER BY TRP_ID, TRP_DIST_ID)sql";

constexpr Column kCodeColumns[] = {
    {"REGION", FieldType::Text},     {"CD_TBL_ID", FieldType::Text}, {"CD_TBL_CD", FieldType::Text},
    {"CD_TBL_DES", FieldType::Text}, {"ADDL_INFO", FieldType::Text}, {"EFCTV_DT", FieldType::Date},
    {"END_DT", FieldType::Date},
};
constexpr char kSelectCodes[] = R"sql(
SELECT REGION, CD_TBL_ID, CD_TBL_CD, CD_TBL_DES, ADDL_INFO, EFCTV_DT, END_DT
FROM ZTB_CODE WHERE REGION = ? ORDER BY CD_TBL_ID, CD_TBL_CD, EFCTV_DT)sql";

constexpr Column kTypeColumns[] = {
    {"REGION", FieldType::Text},           {"ASGNMT_CD", FieldType::Text},
    {"ASGNMT_DES", FieldType::Text},       {"CRTR_CLS_IND", FieldType::Text},
    {"DUE_DY_CNT", FieldType::Text},       {"EXPRTN_DY_CNT", FieldType::Text},
    {"RSN_FOR_CHNG_TXT", FieldType::Text}, {"SYS_IND", FieldType::Text},
};
constexpr char kSelectTypes[] = R"sql(
SELECT REGION, ASGNMT_CD, ASGNMT_DES, CRTR_CLS_IND, DUE_DY_CNT, EXPRTN_DY_CNT,
       RSN_FOR_CHNG_TXT, SYS_IND
FROM ZTB_ASGNMT_TYPE WHERE REGION = ? ORDER BY ASGNMT_DES)sql";

constexpr Column kTemplateColumns[] = {{"TMPLT_ID", FieldType::Integer},
                                       {"TMPLT_NM", FieldType::Text},
                                       {"TMPLT_PATH", FieldType::Text}};
constexpr char kSelectTemplates[] =
    R"sql(SELECT TMPLT_ID, TMPLT_NM, TMPLT_PATH FROM PRNT_TMPLT ORDER BY TMPLT_ID)sql";

void add(BrokerReply &reply, Database &db, const char *name, const char *sql,
         std::span<const Column> columns, std::initializer_list<QVariant> values = {})
{
    const QString n = QLatin1String(name);
    reply.recordSets.insert(n, readRecordSet(db.run(QLatin1String(sql), values), n, columns));
}

} // namespace

BrokerReply handleReferenceData(HandlerContext &ctx, const BrokerRequest &request)
{
    BrokerReply reply = BrokerReply::success(request);
    add(reply, ctx.db, "OFFICER", kSelectOfficers, kOfficerColumns);
    add(reply, ctx.db, "USERRIGHT", kSelectRights, kRightColumns, {ctx.session.officerId});
    add(reply, ctx.db, "TROOP", kSelectTroops, kTroopColumns);
    add(reply, ctx.db, "ZTB_CODE", kSelectCodes, kCodeColumns, {ctx.session.region});
    add(reply, ctx.db, "ZTB_ASGNMT_TYPE", kSelectTypes, kTypeColumns, {ctx.session.region});
    add(reply, ctx.db, "TEMPLATE", kSelectTemplates, kTemplateColumns);
    return reply;
}

} // namespace korva::server
