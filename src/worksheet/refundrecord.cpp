#include "refundrecord.h"

#include "common/modassignmaint.h"

namespace korva {

using modAssignMaint::DB2Date;

QString nextRefundStatus(const QString &status, bool transferred)
{
    if (status == u"0")
        return QStringLiteral("1");
    if (status == u"1")
        return QStringLiteral("2");
    if (status == u"2")
        return QStringLiteral("3");
    if (status == u"3")
        return transferred ? QStringLiteral("T") : QStringLiteral("4");
    if (status == u"4")
        return QStringLiteral("5");
    return status;
}

void addRefundRow(RecordSet &rs, const RefundFormValues &form)
{
    const QString &s = form.status;
    // Until the refund is issued the receiver and the quarter's comment may still change.
    const bool early = s == u"0" || s == u"1" || s == u"2";
    const auto set = [&](const char16_t *field, const QString &value) {
        rs.setValue(field, value);
    };
    rs.addNew();
    set(u"ACTION", s == u"0" ? QStringLiteral("ADD") : QStringLiteral("UPD"));
    set(u"CUST_ID", form.customerId);
    set(u"RFND_NBR", form.refundNumber);
    if (early && form.receiver >= 2 && form.receiver <= 4)
        set(u"TO", QString::number(form.receiver));
    if (s == u"4")
        set(u"DT_MLD", DB2Date(form.mailedOn));
    if (s == u"0") {
        set(u"CREATED_DT", DB2Date(form.today));
        set(u"CREATOR_ID", form.officer);
    }
    if (s == u"1")
        set(u"VERIFY_ID", form.officer);
    if (s == u"2")
        set(u"APPROVE_ID", form.officer);
    if (s == u"3")
        set(u"RFND_BY_ID", form.officer);
    if (early && !form.quarterComment.isEmpty())
        set(u"QRT_CMMT_TXT", form.quarterComment);
    if (s == u"3" && !form.fiscalComment.isEmpty())
        set(u"FISCAL_CMMT_TXT", form.fiscalComment);
    if (s == u"3" && form.refundKind >= 0)
        set(u"RFND_CD", form.refundKind == 0 ? QStringLiteral("0") : QStringLiteral("1"));
    if (s == u"3") {
        set(u"WRNT_NBR", form.warrantNumber);
        set(u"RFND_DT", DB2Date(form.refundedOn));
    }
    if (s == u"0") {
        QString amount = form.amount;
        amount.remove(u'$');
        amount.remove(u',');
        set(u"RFND_AMT", amount);
    }
    set(u"RCPT_NBR", form.receiptNumber);
    set(u"STTS_CD", nextRefundStatus(s, form.refundKind == 0));
    rs.update();
}

void addVoidRow(RecordSet &rs, const RefundFormValues &form)
{
    rs.addNew();
    rs.setValue(u"ACTION", QStringLiteral("UPD"));
    rs.setValue(u"CUST_ID", form.customerId);
    rs.setValue(u"RFND_NBR", form.refundNumber);
    rs.setValue(u"STTS_CD", QStringLiteral("V"));
    rs.setValue(u"VOID_ID", form.officer);
    rs.setValue(u"RCPT_NBR", form.receiptNumber);
    rs.update();
}

} // namespace korva
