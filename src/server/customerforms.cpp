// Kind 50: a customer's forms of one reference type, for the customer form inquiry.
#include "database.h"
#include "handlers.h"
#include "lookups.h"
#include "rows.h"
#include "servererror.h"

namespace korva::server {

namespace {

constexpr Column kFormColumns[] = {
    {"CUST_ID", FieldType::Text},          {"REF_TYP_CD", FieldType::Text},
    {"FORM_NBR", FieldType::Integer},      {"FORM_CK_DGT_NBR", FieldType::Integer},
    {"ASSMT_DUE_AMT", FieldType::Decimal}, {"BAL_DUE", FieldType::Decimal},
    {"LST_PYMT_DT", FieldType::Date},      {"CTTN_STTS_CD", FieldType::Text},
    {"CTTN_STTS_TXT", FieldType::Text},    {"STP_DT", FieldType::Date},
};

// The status text is the description in force today in the asking officer's region.
constexpr char kSelectForms[] = R"sql(
SELECT F.CUST_ID, F.REF_TYP_CD, F.FORM_NBR, F.FORM_CK_DGT_NBR, F.ASSMT_DUE_AMT, F.BAL_DUE,
       F.LST_PYMT_DT, F.CTTN_STTS_CD,
       (SELECT MAX(Z.CD_TBL_DES) FROM ZTB_CODE Z
        WHERE Z.REGION = ? AND Z.CD_TBL_ID = 'CSTATUS' AND Z.CD_TBL_CD = F.CTTN_STTS_CD
          AND Z.EFCTV_DT <= ? AND (Z.END_DT IS NULL OR Z.END_DT >= ?)),
       F.STP_DT
FROM CUST_FORM F
WHERE F.CUST_ID = ? AND F.REF_TYP_CD = ?
ORDER BY F.STP_DT, F.FORM_NBR)sql";

} // namespace

BrokerReply handleCustomerForms(HandlerContext &ctx, const BrokerRequest &request)
{
    const QString customer = request.keyValue(u"CUST_ID").trimmed();
    const QString type = request.keyValue(u"REF_TYP_CD").trimmed();
    if (customer.isEmpty())
        throw RequestError(QStringLiteral("The customer form inquiry needs the key CUST_ID."));
    if (type.isEmpty())
        throw RequestError(QStringLiteral("Account Type is required"));
    if (!customerExists(ctx.db, customer))
        throw RequestError(QStringLiteral("Customer %1 is not known.").arg(customer));
    if (!referenceTypeForm(ctx.db, ctx.session.region, type, ctx.today))
        throw RequestError(
            QStringLiteral("The reference account type %1 could not be found.").arg(type));
    const QVariant today = dbDate(ctx.today);
    QSqlQuery &q =
        ctx.db.run(QLatin1String(kSelectForms), {ctx.session.region, today, today, customer, type});
    const RecordSetPtr forms = readRecordSet(q, QStringLiteral("CUSTOMERFORM"), kFormColumns);
    BrokerReply reply = BrokerReply::success(request);
    // No record set at all when nothing matches: that is how the inquiry tells "none" from a list.
    if (forms->count() > 0)
        reply.recordSets.insert(QStringLiteral("CUSTOMERFORM"), forms);
    return reply;
}

} // namespace korva::server
