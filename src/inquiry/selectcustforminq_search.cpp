// The checks before a search, the customer form request and its reply.
#include "inquiry/korva_selectcustforminq.h"

#include "common/conventions.h"
#include "common/modassignmaint.h"
#include "platform/broker.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/custselect.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/platform.h"

namespace korva {

void KORVA_SelectCustFormInq::DefaultFieldColor()
{
    platform().marks->ClearFieldError(mFtcboDocType[0]);
}

void KORVA_SelectCustFormInq::CheckEdit()
{
    guard(u"KORVA_SelectCustFormInq.CheckEdit", [&] {
        mErrorText.clear();
        DefaultFieldColor();
        if (mFtcboDocType[0]->code().isEmpty()) {
            mErrorText += QStringLiteral("Account Type is required") + QStringLiteral("\r\n");
            platform().marks->MarkFieldError(mFtcboDocType[0]);
        }
    });
}

QString KORVA_SelectCustFormInq::documentTypeText() const
{
    return mFtcboDocType[0]->text().trimmed();
}

void KORVA_SelectCustFormInq::searchIfComplete()
{
    CheckEdit();
    if (!mErrorText.isEmpty()) {
        platform().messages->msgBox(QStringLiteral("Errors Found ... ") + QStringLiteral("\r\n") +
                                        mErrorText,
                                    MsgStyle::Critical, modMessageTitle::MessageTitle());
        return;
    }
    if (KORVA_CustSelect1->CustomerID().isEmpty())
        return;
    m_replyName = QStringLiteral("CUSTOMERFORM");
    SendPI();
}

void KORVA_SelectCustFormInq::mFtcboDocType_Change()
{
    if (m_busy)
        return;
    guard(u"KORVA_SelectCustFormInq.mFtcboDocType_Change", [&] { searchIfComplete(); });
}

void KORVA_SelectCustFormInq::KORVA_CustSelect1_SelectionChanged()
{
    if (m_busy)
        return;
    guard(u"KORVA_SelectCustFormInq.KORVA_CustSelect1_SelectionChanged",
          [&] { searchIfComplete(); });
}

void KORVA_SelectCustFormInq::KORVA_CustSelect1_HasAlerts(bool alerts)
{
    // The picker shows the alert itself; the dialog only passes the word on.
    guard(u"KORVA_SelectCustFormInq.KORVA_CustSelect1_HasAlerts", [&] {
        if (alerts)
            emit UpdateStatusMsg(tr("%1 has alerts.").arg(KORVA_CustSelect1->CustomerName()));
    });
}

void KORVA_SelectCustFormInq::SendPI()
{
    guard(u"KORVA_SelectCustFormInq.SendPI", [&] {
        const QList<RequestParameter> keys{
            RequestParameter::key(QStringLiteral("CUST_ID"), KORVA_CustSelect1->CustomerID()),
            RequestParameter::key(QStringLiteral("REF_TYP_CD"), mFtcboDocType[0]->code()),
        };
        m_timedOut = false;
        m_readBack = mZelbMessage->send(composeQuery(MessageID, RequestKind::CustomerForms, keys));
        status(QStringLiteral("Requesting ") + documentTypeText() + QStringLiteral(" for ") +
               KORVA_CustSelect1->CustomerName());
    });
}

void KORVA_SelectCustFormInq::mZelbMessage_MsgTimeout(const QString &identity)
{
    Q_UNUSED(identity)
    m_timedOut = true;
}

void KORVA_SelectCustFormInq::mZelbMessage_DataReady(const QString &identity)
{
    const bool own = isOwnReply(identity, MessageID);
    guard(
        u"SelectCustFormInq.mZelbMessage_DataReady",
        [&] {
            platform().pointer->setBusy();
            if (!own)
                raiseQuiet();
            // The answer to a question asked before the latest one (another type, another
            // customer) would list the wrong forms under the latest status text.
            const BrokerReply *reply = mZelbMessage->reply(MessageID);
            if (reply && !m_readBack.isEmpty() && reply->tag != m_readBack)
                raiseQuiet();
            const QString error = ReplyCheck(
                MessageID, QStringLiteral("KORVA_SelectCustFormInq.mZelbMessage_DataReady"),
                *mZelbMessage);
            if (!error.isEmpty()) {
                platform().messages->msgBox(error, MsgStyle::Critical,
                                            modMessageTitle::MessageTitle());
                emit UpdateStatusMsg(error);
                status(m_timedOut ? QStringLiteral("Search timed out")
                                  : QStringLiteral("Search was not successful"));
                return;
            }
            const QString name =
                m_replyName.isEmpty() ? QStringLiteral("CUSTOMERFORM") : m_replyName;
            const RecordSetPtr rows = mZelbMessage->recordSet(MessageID, name);
            const QString type = documentTypeText();
            const QString customer = KORVA_CustSelect1->CustomerName();
            if (!rows) {
                status(QStringLiteral("No ") + type + QStringLiteral("s returned for ") + customer);
                return;
            }
            bindForms(rows);
            status(QStringLiteral("Displaying ") + type + QStringLiteral("s for ") + customer);
        },
        Quiet::Swallow,
        [&] {
            if (own && mZelbMessage)
                mZelbMessage->release(MessageID);
        });
}

// A reply the grid cannot take (no stop date to sort by, say) is reported under the dialog's
// full name; the rest of the handler keeps its shorter one.
void KORVA_SelectCustFormInq::bindForms(const RecordSetPtr &rows)
{
    const bool bound = guard(u"KORVA_SelectCustFormInq.mZelbMessage_DataReady", [&] {
        rows->setSort(QStringLiteral("STP_DT ASC"));
        adoForms->setRecordSet(rows);
    });
    if (!bound)
        raiseQuiet();
}

} // namespace korva
