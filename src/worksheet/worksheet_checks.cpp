#include "korva_worksheet.h"

#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>

#include <initializer_list>

namespace korva {

namespace {

// The date rules compare these texts character by character, not the dates: month first and
// a two-digit year, so December of one year sorts after January of the next. The refund
// chain's users rely on the rule as it has always answered, so it stays a text comparison.
QString dateText(const QDate &date)
{
    return date.toString(QStringLiteral("MM-dd-yy"));
}

} // namespace

void KORVA_WorkSheet::CheckEdit()
{
    guard(u"KORVA_WorkSheet.CheckEdit", [&] {
        m_errorText.clear();
        m_errorFlag = false;
        DefaultFieldColor();
        auto fail = [&](const char *message, std::initializer_list<QWidget *> marks = {}) {
            m_errorText += QLatin1String(message) + QStringLiteral("\r\n");
            m_errorFlag = true;
            for (QWidget *w : marks)
                platform().marks->MarkFieldError(w, QLatin1String(message));
        };
        const bool voiding = m_action == u"VOID";
        const QString preparer = mLblData[kPreparer]->text().trimmed();
        const QString verifier = mLblData[kVerifier]->text().trimmed();
        const QString approver = mLblData[kApprover]->text().trimmed();

        // Only neighbouring steps are compared: the preparer may approve.
        if (!voiding) {
            if (!preparer.isEmpty() && !verifier.isEmpty() && preparer == verifier)
                fail("The person preparing and verifying the Refund Worksheet can not be the "
                     "same.");
            if (!verifier.isEmpty() && !approver.isEmpty() && verifier == approver)
                fail("The person verifying and approving the Refund Worksheet can not be the "
                     "same.");
        }
        if (m_customerId.isEmpty())
            fail("The Customer ID can not be found");
        const QString number = mLblData[kRefundNumber]->text().trimmed();
        if (number.isEmpty())
            fail("The Refund Number can not be found");
        else if (IsNumeric(number) && numericValue(number) == 0)
            fail("The Refund Number has not been generated");

        const QString shown = mLblData[kStatusBanner]->text().trimmed();
        if (shown == u"4" || shown == u"T" || shown == u"V") {
            fail("The following transaction can not be voided or saved: a "
                 "Voided/Transferred/Refunded Worksheet");
            return;
        }
        if (!mRdo[2]->isChecked() && !mRdo[3]->isChecked() && !mRdo[4]->isChecked())
            fail("Please select who receives the refund when issued", {mRdo[2], mRdo[3], mRdo[4]});
        // A comment of blanks is a comment here.
        if (mTxtRefund[0]->toPlainText().isEmpty())
            fail("The comment field is required by QRT HQ personnel", {mTxtRefund[0]});
        if (voiding)
            return;

        const QString &s = m_status;
        if (s == u"0" && preparer.isEmpty())
            fail("When preparing a refund, the officer preparing the refund must be displayed.",
                 {mLblData[kPreparer]});
        else if (s == u"1" && verifier.isEmpty())
            fail("When verifying a refund, the officer verifying the refund must be displayed.",
                 {mLblData[kVerifier]});
        else if (s == u"2" && approver.isEmpty())
            fail("When approving a refund, the officer approving the refund must be displayed.",
                 {mLblData[kApprover]});
        else if (s == u"3" && mLblData[kRefunder]->text().trimmed().isEmpty())
            fail("When refunding an excess fund, the officer refunding the excess fund must be "
                 "displayed.",
                 {mLblData[kRefunder]});

        const bool transferred = mRdo[0]->isChecked();
        const bool refunded = mRdo[1]->isChecked();
        if (s == u"3") {
            if (!transferred && !refunded)
                fail("Please select Transferred or Refunded", {mRdo[0], mRdo[1]});
            // These two rules, and the date rules below, mark nothing: the message is all.
            if (transferred && mTxtRefund[1]->toPlainText().isEmpty())
                fail("Please enter the Refund Description, when Tranferring the excess funds");
            if (refunded && mTxt[0]->text().isEmpty())
                fail("Please enter the Warrant Number, when Refunding the worksheet");
        }
        const QString today = dateText(platform().clock->today());
        if (s == u"4") {
            const QString mailed = dateText(KORVA_DTP1[1]->date());
            if (mailed > today)
                fail("Mail Date must be current or before");
            if (mailed < dateText(KORVA_DTP1[0]->date()))
                fail("Mail Date must be greater than or equal to the Refund Date");
        }
        if (s == u"3" && refunded && dateText(KORVA_DTP1[0]->date()) > today)
            fail("Refund Date must be current or before");
    });
}

void KORVA_WorkSheet::DefaultFieldColor()
{
    guard(u"KORVA_WorkSheet.DefaultFieldColor", [&] {
        FieldMarks *marks = platform().marks;
        for (QWidget *w : std::initializer_list<QWidget *>{mRdo[2], mRdo[3], mRdo[4], KORVA_DTP1[1],
                                                           mTxtRefund[0], mRdo[0], mRdo[1], mTxt[0],
                                                           KORVA_DTP1[0], mTxtRefund[1]})
            marks->ClearFieldError(w);
    });
}

void KORVA_WorkSheet::mTxt_LostFocus(int index)
{
    guard(u"KORVA_WorkSheet.mTxt_LostFocus", [&] {
        if (index < 0 || index >= int(mTxt.size()))
            raiseSubscript();
        // The marks are the feedback; the message waits for the save.
        CheckEdit();
    });
}

} // namespace korva
