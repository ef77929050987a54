#pragma once

#include "platform/recordset.h"

#include <QDate>
#include <QString>

namespace korva {

// What the worksheet's form holds when it is saved, read off its controls: the values the
// "REFUND" update row is built from, so that the row can be built and checked without a
// window.
struct RefundFormValues {
    QString status;       // the status code the form is at: "0" a new refund ... "4" mailed
    QString customerId;   // the customer the refund is for
    QString refundNumber; // mLblData(0)
    int receiver = -1;    // which of mRdo(2) to mRdo(4) is chosen; -1: none
    int refundKind = -1;  // 0 transferred (mRdo(0)), 1 refunded (mRdo(1)); -1: neither
    QDate mailedOn;       // KORVA_DTP1(1)
    QDate refundedOn;     // KORVA_DTP1(0)
    QDate today;
    QString officer;        // the signed-on officer's number
    QString quarterComment; // mTxtRefund(0), lines ending in CRLF
    QString fiscalComment;  // mTxtRefund(1) while its box is enabled, else empty
    QString warrantNumber;  // mTxt(0)
    QString amount;         // mLblData(6) as shown, "$1,234.50"
    QString receiptNumber;  // mLblData(12)
};

// The status a save moves the refund to from `status`; a refund that is issued is either
// transferred ("T") or waits to be mailed ("4").
QString nextRefundStatus(const QString &status, bool transferred);

// Adds the one row of a save at the form's status to `rs` ("REFUND", open layout), with
// STTS_CD the status it moves to. Throws ProcError when a value is refused.
void addRefundRow(RecordSet &rs, const RefundFormValues &form);

// Adds the one row that voids the refund.
void addVoidRow(RecordSet &rs, const RefundFormValues &form);

} // namespace korva
