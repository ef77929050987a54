#include "korva_worksheet.h"
#include "refundrecord.h"

#include "common/conventions.h"
#include "common/modassignmaint.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>

namespace korva {

bool KORVA_WorkSheet::SaveData()
{
    bool sent = false;
    guard(u"KORVA_WorkSheet.SaveData", [&] {
        CheckEdit();
        if (!m_errorText.isEmpty()) {
            platform().status->StatusText(QStringLiteral("Error(s) found"));
            platform().messages->msgBox(m_errorText, MsgStyle::Exclamation,
                                        modMessageTitle::MessageTitle());
            return;
        }
        platform().pointer->setBusy();
        const QString customer = mLblData[kCustomerName]->text().trimmed();
        platform().status->StatusText(QStringLiteral("Saving Refund Worksheet for ") +
                                      (customer.isEmpty() ? m_customerId : customer));
        const RecordSetPtr rs = RecordSet::create(QStringLiteral("REFUND"));
        if (m_action != u"VOID") {
            if (m_status == u"0")
                m_action = QStringLiteral("ISSUE");
            LoadRefundDTD(rs);
        } else {
            LoadVoidRefundDTD(rs);
        }
        // A record that could not be built is never sent half filled.
        if (rs->count() != 1)
            raiseQuiet();
        const BrokerRequest request = composeUpdate(messageIdentity(), RequestKind::WorksheetSave,
                                                    QStringLiteral("REFUND"), rs);
        m_pendingMessageId = mZelbMessage->send(request);
        m_timedOut = false;
        PendingSave(true);
        sent = true;
    });
    return sent;
}

RefundFormValues KORVA_WorkSheet::formValues() const
{
    RefundFormValues form;
    form.status = m_status;
    form.customerId = m_customerId;
    form.refundNumber = mLblData[kRefundNumber]->text();
    for (int i = 2; i <= 4 && form.receiver < 0; ++i) {
        if (mRdo[i]->isChecked())
            form.receiver = i;
    }
    if (mRdo[0]->isChecked())
        form.refundKind = 0;
    else if (mRdo[1]->isChecked())
        form.refundKind = 1;
    form.mailedOn = KORVA_DTP1[1]->date();
    form.refundedOn = KORVA_DTP1[0]->date();
    form.today = platform().clock->today();
    form.officer = signedOnOfficer();
    form.quarterComment = comment(0);
    if (mTxtRefund[1]->isEnabled())
        form.fiscalComment = comment(1);
    form.warrantNumber = mTxt[0]->text();
    form.amount = mLblData[kAmount]->text();
    form.receiptNumber = mLblData[kReceiptNumber]->text();
    return form;
}

void KORVA_WorkSheet::LoadRefundDTD(const RecordSetPtr &rs)
{
    const bool built = guard(u"KORVA_WorkSheet.LoadRefundDTD", [&] {
        const RefundFormValues form = formValues();
        addRefundRow(*rs, form);
        // The form moves with the record; a refused save steps it back.
        m_status = nextRefundStatus(form.status, form.refundKind == 0);
    });
    if (!built)
        rs->clear();
}

void KORVA_WorkSheet::LoadVoidRefundDTD(const RecordSetPtr &rs)
{
    const bool built =
        guard(u"KORVA_WorkSheet.LoadVoidRefundDTD", [&] { addVoidRow(*rs, formValues()); });
    if (!built)
        rs->clear();
}

void KORVA_WorkSheet::UpdateTimeout()
{
    guard(u"KORVA_WorkSheet.UpdateTimeout", [&] {
        if (m_action == u"ISSUE")
            m_refundNumber.clear();
        m_action.clear();
        PendingSave(false);
        mCmdButton[0]->setEnabled(false);
        mCmdButton[1]->setEnabled(true);
        mCmdButton[3]->setEnabled(true);
    });
}

} // namespace korva
