#include "korva_worksheet.h"

#include "common/conventions.h"
#include "common/modassignmaint.h"
#include "platform/controls/dtp.h"
#include "platform/datetext.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>

namespace korva {

namespace {

bool isOneOf(const QString &s, std::initializer_list<const char16_t *> codes)
{
    for (const char16_t *c : codes) {
        if (s == QStringView(c))
            return true;
    }
    return false;
}

QDate dateValue(const QVariant &v)
{
    if (v.typeId() == QMetaType::QDate)
        return v.toDate();
    if (v.typeId() == QMetaType::QDateTime)
        return v.toDateTime().date();
    return parseDateText(v.toString().trimmed());
}

QString currency(double amount)
{
    static const QLocale us(QLocale::English, QLocale::UnitedStates);
    return us.toCurrencyString(amount, QStringLiteral("$"), 2);
}

// Every "\r\n" to "\n", then every "\n" to "\r\n": stray bare line feeds become CRLF too.
QString normalisedLineEnds(QString text)
{
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(u'\n', QStringLiteral("\r\n"));
    return text;
}

} // namespace

void KORVA_WorkSheet::LoadMe(const QString &customerId, const QString &status,
                             const QString &refundNumber, const QString &openMode)
{
    guard(u"KORVA_WorkSheet.LoadMe", [&] {
        m_customerId = customerId;
        m_status = status.trimmed().toUpper();
        m_refundNumber = refundNumber;
        m_openMode = openMode;
        platform().pointer->setBusy();
        applyStatusControls();
        SendInProgressRefundPI();
        m_loadedFromOutside = true;
        // Loaded after the details request went out, so that no new number is asked for a
        // refund that already has one.
        if (!m_formLoaded)
            Form_Load();
    });
}

// Which controls each status shows and opens; only the fields of the next step are open.
void KORVA_WorkSheet::applyStatusControls()
{
    const bool modeO = m_openMode == u"O";
    const QString &s = m_status;
    const bool final = isOneOf(s, {u"5", u"T", u"V"});
    const bool issued = s == u"4" || final;
    const bool working = isOneOf(s, {u"1", u"2", u"3"});
    const bool preparing = !working && !issued;

    const bool mailShown = issued;
    KORVA_DTP1[1]->setVisible(mailShown);
    m_lblMailDate->setVisible(mailShown);
    KORVA_DTP1[1]->setEnabled(s == u"4");

    const bool issueShown = issued || (s == u"3" && modeO);
    mFraRefund[2]->setVisible(issueShown);
    mFra[1]->setVisible(issueShown);
    mFraRefund[2]->setEnabled(s == u"3" && modeO);
    mFra[1]->setEnabled(s == u"3" && modeO);

    if (working)
        mCmdButton[2]->setEnabled(true);
    else if (issued)
        mCmdButton[2]->setEnabled(false);
    mCmdButton[3]->setEnabled(final);
    if (s == u"5" || s == u"V")
        mCmdButton[0]->setEnabled(false);
    else if (!preparing)
        mCmdButton[0]->setEnabled(modeO);

    const bool receiverOpen = modeO && (preparing || s == u"1" || s == u"2");
    for (int i = 2; i <= 4; ++i)
        mRdo[i]->setEnabled(receiverOpen);
    mTxtRefund[0]->setEnabled(receiverOpen);

    // The officer of the next step is whoever is signed on now.
    if (preparing)
        setOfficer(kPreparer, signedOnOfficer());
    else if (s == u"1")
        setOfficer(kVerifier, signedOnOfficer());
    else if (s == u"2")
        setOfficer(kApprover, signedOnOfficer());
    else if (s == u"3")
        setOfficer(kRefunder, signedOnOfficer());
}

void KORVA_WorkSheet::Form_Load()
{
    guard(u"KORVA_WorkSheet.Form_Load", [&] {
        m_formLoaded = true;
        SetTabs();
        const QDate today = platform().clock->today();
        for (KORVA_DTP *picker : KORVA_DTP1) {
            picker->setMinDate(QDate(1993, 1, 1));
            picker->setValue(today);
        }
        // A form instance used before keeps its last action; a finished one stays closed.
        if (isOneOf(m_action, {u"4", u"T", u"V"})) {
            mCmdButton[2]->setEnabled(false);
            mCmdButton[0]->setEnabled(false);
            mLblData[kStatusBanner]->setText(m_action == u"V"   ? QStringLiteral("VOIDED")
                                             : m_action == u"T" ? QStringLiteral("TRANSFERRED")
                                                                : QStringLiteral("REFUNDED"));
        }
        if (isOneOf(m_status, {u"V", u"5", u"T"}))
            mCmdButton[3]->setEnabled(true);
        if (!m_loadedFromOutside && numericValue(m_refundNumber) == 0) {
            mLblData[kRefundNumber]->setText(QStringLiteral("0000000"));
            // A refund opened to be prepared here is open for editing, at its first step.
            if (m_openMode.isEmpty())
                m_openMode = QStringLiteral("O");
            applyStatusControls();
            mLblData[kStatusBanner]->setText(
                platform().lookups->codeDescription(QStringLiteral("REFUNDTYP"), m_status));
            m_numberPending = true;
            m_timedOut = false;
            QStringList atHand;
            m_pendingMessageId = platform().forms->RequestNumber(
                QStringLiteral("U"), numberService(), *mZelbMessage, atHand);
            QString last;
            for (const QString &n : std::as_const(atHand))
                last = n;
            if (!atHand.isEmpty())
                GetFormNumber(last);
        }
    });
}

void KORVA_WorkSheet::Form_Unload()
{
    guard(u"KORVA_WorkSheet.Form_Unload", [&] {
        platform().status->StatusText(QStringLiteral("Ready"));
        mZelbMessage->release(messageIdentity());
    });
}

void KORVA_WorkSheet::SendInProgressRefundPI()
{
    guard(u"KORVA_WorkSheet.SendInProgressRefundPI", [&] {
        const BrokerRequest request =
            composeQuery(messageIdentity(), RequestKind::WorksheetDetails,
                         {RequestParameter::key(QStringLiteral("CUST_ID"), m_customerId),
                          RequestParameter::key(QStringLiteral("REFUND_NBR"), m_refundNumber)});
        m_pendingMessageId = mZelbMessage->send(request);
        m_timedOut = false;
        platform().status->StatusText(
            QStringLiteral("Requesting Worksheet Details for Refund number ") + m_refundNumber);
        platform().pointer->setBusy();
    });
}

void KORVA_WorkSheet::FillRefundWorkSheetInfo(const RecordSetPtr &refund)
{
    guard(u"KORVA_WorkSheet.FillRefundWorkSheetInfo", [&] {
        if (!refund) {
            platform().status->emptyResult(QStringLiteral("REFUND"));
            return;
        }
        auto has = [&](const char16_t *f) {
            return refund->hasField(f) && !refund->isNull(f);
        };
        auto text = [&](const char16_t *f) {
            return refund->text(f);
        };
        auto option = [&](const char16_t *f) {
            const qint32 n = toInteger32(text(f).trimmed());
            if (n < 0 || n >= qint32(mRdo.size()))
                raiseSubscript();
            mRdo[n]->setChecked(true);
        };
        for (refund->moveFirst(); !refund->isEOF(); refund->moveNext()) {
            if (has(u"RCPT_NBR"))
                mLblData[kReceiptNumber]->setText(text(u"RCPT_NBR").trimmed());
            if (has(u"CUST_ID"))
                m_customerId = text(u"CUST_ID").trimmed();
            if (has(u"RFND_NBR"))
                mLblData[kRefundNumber]->setText(text(u"RFND_NBR").trimmed());
            if (has(u"RFND_AMT"))
                mLblData[kAmount]->setText(currency(numericValue(text(u"RFND_AMT"))));
            if (has(u"TO"))
                option(u"TO");
            if (has(u"DT_MLD"))
                KORVA_DTP1[1]->setValue(dateValue(refund->value(u"DT_MLD")));
            if (has(u"CREATOR_ID"))
                setOfficer(kPreparer, text(u"CREATOR_ID"));
            if (has(u"VERIFY_ID"))
                setOfficer(kVerifier, text(u"VERIFY_ID"));
            if (has(u"APPROVE_ID"))
                setOfficer(kApprover, text(u"APPROVE_ID"));
            if (has(u"RFND_BY_ID"))
                setOfficer(kRefunder, text(u"RFND_BY_ID"));
            if (has(u"QRT_CMMT_TXT"))
                setComment(0, normalisedLineEnds(text(u"QRT_CMMT_TXT")));
            if (has(u"FISCAL_CMMT_TXT"))
                setComment(1, normalisedLineEnds(text(u"FISCAL_CMMT_TXT")));
            if (has(u"RFND_CD"))
                option(u"RFND_CD");
            if (has(u"WRNT_NBR"))
                mTxt[0]->setText(text(u"WRNT_NBR"));
            if (has(u"RFND_DT"))
                KORVA_DTP1[0]->setValue(dateValue(refund->value(u"RFND_DT")));
            if (has(u"STTS_CD")) {
                const QString code = text(u"STTS_CD").trimmed();
                mLblData[kStatusBanner]->setText(
                    platform().lookups->codeDescription(QStringLiteral("REFUNDTYP"), code));
                m_status = code;
            }
            if (has(u"CUST_NM"))
                mLblData[kCustomerName]->setText(text(u"CUST_NM").trimmed());
            if (has(u"ADDR_1") || has(u"ADDR_2")) {
                const QString a1 = has(u"ADDR_1") ? text(u"ADDR_1").trimmed() : QString();
                const QString a2 = has(u"ADDR_2") ? text(u"ADDR_2").trimmed() : QString();
                mLblData[kAddress]->setText(
                    a1.isEmpty() || a2.isEmpty() ? a1 + a2 : a1 + QStringLiteral(" ") + a2);
            }
            if (has(u"CITY"))
                mLblData[kCity]->setText(text(u"CITY").trimmed());
            if (has(u"STATE"))
                mLblData[kState]->setText(text(u"STATE").trimmed());
            if (has(u"ZIP"))
                mLblData[kZip]->setText(text(u"ZIP").trimmed());
        }
        platform().status->StatusText(
            QStringLiteral("Display Refund Worksheet Details for Refund number ") +
            mLblData[kRefundNumber]->text());
    });
}

void KORVA_WorkSheet::GetFormNumber(const QString &text)
{
    guard(u"KORVA_WorkSheet.GetFormNumber", [&] {
        const QString t = text.trimmed();
        mLblData[kRefundNumber]->setText(
            IsNumeric(t)
                ? QStringLiteral("%1").arg(qint64(numericValue(t)), 7, 10, QLatin1Char('0'))
                : t);
        m_numberPending = false;
    });
}

void KORVA_WorkSheet::GetFormNumber()
{
    guard(u"KORVA_WorkSheet.GetFormNumber", [&] {
        qint32 number = 0;
        const BrokerReply *reply = mZelbMessage->replyByTag(m_pendingMessageId);
        const RecordSetPtr req = reply && normalisedIdentity(reply->identity) == numberService()
                                     ? reply->recordSet(QStringLiteral("REQ"))
                                     : RecordSetPtr();
        if (req && req->count() > 0) {
            req->moveFirst();
            number = toInteger32(req->text(u"U").trimmed());
        }
        GetFormNumber(QString::number(number));
    });
}

// A failed save leaves the form at the step it was about to take.
void KORVA_WorkSheet::stepStatusBack()
{
    static const QHash<QString, QString> back{
        {QStringLiteral("1"), QStringLiteral("0")}, {QStringLiteral("2"), QStringLiteral("1")},
        {QStringLiteral("3"), QStringLiteral("2")}, {QStringLiteral("4"), QStringLiteral("3")},
        {QStringLiteral("T"), QStringLiteral("3")}, {QStringLiteral("5"), QStringLiteral("4")}};
    m_status = back.value(m_status, m_status);
}

void KORVA_WorkSheet::mZelbMessage_MsgTimeout()
{
    guard(u"KORVA_WorkSheet.mZelbMessage_MsgTimeout", [&] { m_timedOut = true; });
}

void KORVA_WorkSheet::mZelbMessage_DataReady(const QString &identity)
{
    guard(u"KORVA_WorkSheet.mZelbMessage_DataReady", [&] {
        platform().pointer->setBusy();
        requireOwnReply(identity, messageIdentity());
        const BrokerReply *reply = mZelbMessage->reply(identity);
        // Only the answer to the request sent last counts; an older one is stale.
        if (!reply || reply->tag != m_pendingMessageId)
            raiseQuiet();
        const bool answersSave = m_savePending;
        PendingSave(false);
        const QString error =
            ReplyCheck(identity, QStringLiteral("KORVA_WorkSheet.DataReady"), *mZelbMessage);
        // A timed-out save may have been applied: its key is kept for the next try.
        if (answersSave && !m_timedOut)
            updateAnswered(messageIdentity());
        if (!error.isEmpty()) {
            if (!m_loadedFromOutside) {
                if (m_action != u"VOID")
                    stepStatusBack();
            } else {
                m_savedVoided = false;
            }
            platform().messages->msgBox(error, MsgStyle::Critical, modMessageTitle::MessageTitle());
            if (m_timedOut) {
                if (m_numberPending) {
                    platform().messages->msgBox(
                        QStringLiteral("System could not generate refund number right now.") +
                            QStringLiteral("\r\n") + QStringLiteral("Please try again later."),
                        MsgStyle::Exclamation, modMessageTitle::MessageTitle());
                    m_numberPending = false;
                } else {
                    UpdateTimeout();
                }
                platform().status->StatusText(QStringLiteral("Search timed out"));
            } else {
                platform().status->StatusText(QStringLiteral("Search was not successful"));
                m_action.clear();
            }
        }
        if (!m_numberPending) {
            if (m_loadedFromOutside && error.isEmpty())
                FillRefundWorkSheetInfo(reply->recordSet(QStringLiteral("REFUND")));
            if (m_action == u"ISSUE")
                m_refundNumber.clear();
            if (m_action == u"VOID") {
                mCmdButton[2]->setEnabled(false);
                mCmdButton[3]->setEnabled(true);
                mLblData[kStatusBanner]->setText(QStringLiteral("VOIDED"));
            }
            m_action.clear();
            if (!m_timedOut)
                platform().status->StatusText(QStringLiteral("Ready"));
            if (m_savedVoided) {
                mCmdButton[0]->setEnabled(false);
                mCmdButton[3]->setEnabled(true);
            }
            if (m_openMode != u"O" && m_loadedFromOutside)
                mCmdButton[0]->setEnabled(false);
            mCmdButton[1]->setEnabled(true);
        } else {
            GetFormNumber();
        }
    });
}

} // namespace korva
