#include "korva_worksheet.h"

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

using modAssignMaint::DB2Date;

bool KORVA_WorkSheet::SaveData()
{
    bool sent = false;
    guard(u"KORVA_WorkSheet.SaveData", [&] {
        CheckEdit();
        if (!m_errorText.isEmpty()) {
            status(QStringLiteral("Error(s) found"));
            platform().messages->msgBox(m_errorText, MsgStyle::Exclamation,
                                        modMessageTitle::MessageTitle());
            return;
        }
        if (platform().pointer)
            platform().pointer->setBusy();
        const QString customer = mLblData[1]->text().trimmed();
        status(QStringLiteral("Saving Refund Worksheet for ") +
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

void KORVA_WorkSheet::LoadRefundDTD(const RecordSetPtr &rs)
{
    const bool built = guard(u"KORVA_WorkSheet.LoadRefundDTD", [&] {
        const QString s = m_status;
        const bool early = s == u"0" || s == u"1" || s == u"2";
        auto set = [&](const char16_t *field, const QString &value) {
            rs->setValue(field, value);
        };
        rs->addNew();
        set(u"ACTION", s == u"0" ? QStringLiteral("ADD") : QStringLiteral("UPD"));
        set(u"CUST_ID", m_customerId);
        set(u"RFND_NBR", mLblData[0]->text());
        if (early) {
            for (int i = 2; i <= 4; ++i) {
                if (mRdo[i]->isChecked()) {
                    set(u"TO", QString::number(i));
                    break;
                }
            }
        }
        if (s == u"4")
            set(u"DT_MLD", DB2Date(KORVA_DTP1[1]->date()));
        if (s == u"0") {
            set(u"CREATED_DT", DB2Date(platform().clock->today()));
            set(u"CREATOR_ID", signedOnOfficer());
        }
        if (s == u"1")
            set(u"VERIFY_ID", signedOnOfficer());
        if (s == u"2")
            set(u"APPROVE_ID", signedOnOfficer());
        if (s == u"3")
            set(u"RFND_BY_ID", signedOnOfficer());
        if (early && !comment(0).isEmpty())
            set(u"QRT_CMMT_TXT", comment(0));
        if (s == u"3" && mTxtRefund[1]->isEnabled() && !comment(1).isEmpty())
            set(u"FISCAL_CMMT_TXT", comment(1));
        if (s == u"3" && (mRdo[0]->isChecked() || mRdo[1]->isChecked()))
            set(u"RFND_CD", mRdo[0]->isChecked() ? QStringLiteral("0") : QStringLiteral("1"));
        if (s == u"3") {
            set(u"WRNT_NBR", mTxt[0]->text());
            set(u"RFND_DT", DB2Date(KORVA_DTP1[0]->date()));
        }
        if (s == u"0") {
            QString amount = mLblData[6]->text();
            amount.remove(u'$');
            amount.remove(u',');
            set(u"RFND_AMT", amount);
        }
        set(u"RCPT_NBR", mLblData[12]->text());

        // The form moves with the record; a refused save steps it back.
        if (s == u"0")
            m_status = QStringLiteral("1");
        else if (s == u"1")
            m_status = QStringLiteral("2");
        else if (s == u"2")
            m_status = QStringLiteral("3");
        else if (s == u"3")
            m_status = mRdo[0]->isChecked() ? QStringLiteral("T") : QStringLiteral("4");
        else if (s == u"4")
            m_status = QStringLiteral("5");
        set(u"STTS_CD", m_status);
        rs->update();
    });
    if (!built)
        rs->clear();
}

void KORVA_WorkSheet::LoadVoidRefundDTD(const RecordSetPtr &rs)
{
    const bool built = guard(u"KORVA_WorkSheet.LoadVoidRefundDTD", [&] {
        rs->addNew();
        rs->setValue(u"ACTION", QStringLiteral("UPD"));
        rs->setValue(u"CUST_ID", m_customerId);
        rs->setValue(u"RFND_NBR", mLblData[0]->text());
        rs->setValue(u"STTS_CD", QStringLiteral("V"));
        rs->setValue(u"VOID_ID", signedOnOfficer());
        rs->setValue(u"RCPT_NBR", mLblData[12]->text());
        rs->update();
    });
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
