// The row commands of the list tab and the entry tab's look-ups: each opens its dialog with
// the selected assignment and leaves the outcome to the sinks (assignmaint_events.cpp).
#include "assignmententrytab.h"
#include "assignmentlisttab.h"
#include "korva_assignmaint.h"

#include "common/modassignmaint.h"
#include "dialogs/frmaddofficer.h"
#include "dialogs/frmassignforward.h"
#include "dialogs/frmassignhistory.h"
#include "dialogs/frmassignroc.h"
#include "inquiry/korva_selectcustforminq.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QLineEdit>
#include <QTabWidget>

namespace korva {

namespace {

int showMessage(const QString &prompt, int style)
{
    return platform().messages->msgBox(prompt, style, modMessageTitle::MessageTitle());
}

// A modal run starts from an idle pointer: the user must be able to work in the dialog.
void idlePointer()
{
    platform().pointer->setDefault();
}

template <class Dialog> void release(QPointer<Dialog> &reference)
{
    Dialog *dialog = reference;
    reference = nullptr;
    if (dialog) {
        dialog->hide();
        dialog->deleteLater();
    }
}

} // namespace

bool KORVA_AssignMaint::mayCloseSelected() const
{
    if (platform().user->inGroup(QStringLiteral("ASSIGNMENTCLOSERS")))
        return true;
    return !entry->creatorClosesOnly() || m_selectedCreator == m_officerId;
}

void KORVA_AssignMaint::showAssignROC(const QString &mode, QPointer<frmAssignROC> &eventObject,
                                      Sink ok, Sink cancel)
{
    const QString parameters = AssembleParameters();
    auto *dialog = new frmAssignROC(this);
    m_frmAssignROC = dialog;
    eventObject = dialog;
    connect(dialog, &frmAssignROC::SendOK, this, ok);
    connect(dialog, &frmAssignROC::SendCancel, this, cancel);
    // Button is published but inert; InitializeSettings is what sets the mode, and it must
    // come before the parameters, which are read according to the mode.
    dialog->Button(mode);
    dialog->InitializeSettings(mode);
    dialog->PassParameters(parameters);
    idlePointer();
    dialog->exec();
    if (m_frmAssignROC == dialog)
        unloadAssignROC();
}

void KORVA_AssignMaint::ProcessCmdReplyClick()
{
    guard(u"KORVA_AssignMaint.ProcessCmdReplyClick", [&] {
        showAssignROC(QStringLiteral("REPLY"), mEventReply, &KORVA_AssignMaint::mEventReply_SendOK,
                      &KORVA_AssignMaint::mEventReply_SendCancel);
    });
}

void KORVA_AssignMaint::ProcessCmdOpenClick()
{
    guard(u"KORVA_AssignMaint.ProcessCmdOpenClick", [&] {
        showAssignROC(QStringLiteral("OPEN"), mEventOpen, &KORVA_AssignMaint::mEventOpen_SendOK,
                      &KORVA_AssignMaint::mEventOpen_SendCancel);
    });
}

void KORVA_AssignMaint::ProcessCmdCloseClick()
{
    guard(u"KORVA_AssignMaint.ProcessCmdCloseClick", [&] {
        if (!mayCloseSelected()) {
            // OK/Cancel with no icon is the screen's established look; both only dismiss.
            showMessage(QStringLiteral("You are not authorized to close this assignment.\r\n"
                                       "It can only be closed by the assignment creator."),
                        MsgStyle::OkCancel);
            return;
        }
        showAssignROC(QStringLiteral("CLOSE"), mEventClose, &KORVA_AssignMaint::mEventClose_SendOK,
                      &KORVA_AssignMaint::mEventClose_SendCancel);
    });
}

void KORVA_AssignMaint::ProcessCmdForwardClick()
{
    guard(u"KORVA_AssignMaint.ProcessCmdForwardClick", [&] {
        // As the grid holds it, the way the row click reads it.
        QString type = listTab->grid()->currentText(QStringLiteral("ASGNMT_TYP_CD"));
        entry->FormatTypeCode(type);
        // The forward dialog's date rules read the component's counts, not only its arguments.
        modAssignMaint::TypeDayCounts &counts = modAssignMaint::componentDayCounts();
        counts.DueDayCount = entry->dueDayCount();
        counts.ExpirationDayCount = entry->expirationDayCount();

        const QString parameters = AssembleParameters();
        auto *dialog = new frmAssignForward(this);
        m_frmAssignForward = dialog;
        mEventForward = dialog;
        connect(dialog, &frmAssignForward::SendOK, this, &KORVA_AssignMaint::mEventForward_SendOK);
        connect(dialog, &frmAssignForward::SendCancel, this,
                &KORVA_AssignMaint::mEventForward_SendCancel);
        dialog->AdjustDueDate(counts.DueDayCount);
        dialog->AdjustExpirationDate(counts.ExpirationDayCount);
        dialog->PassParameters(parameters);
        idlePointer();
        dialog->exec();
        if (m_frmAssignForward == dialog)
            unloadForward();
    });
}

void KORVA_AssignMaint::ProcessCmdHistoryClick()
{
    guard(u"KORVA_AssignMaint.ProcessCmdHistoryClick", [&] {
        if (!mZelbMessage)
            raiseError(kComponentError, QStringLiteral("The document has been unloaded."));
        const BrokerRequest request =
            composeQuery(MessageID, RequestKind::Query,
                         {RequestParameter::key(QStringLiteral("ASGNMT_NBR"), m_selectedNumber),
                          RequestParameter::key(QStringLiteral("HISTORY"), QStringLiteral("YES"))});
        m_readBack = request.readBack();
        platform().status->StatusText(QStringLiteral("Loading information"));
        HistoryPending = true;
        listTab->grid()->setEnabled(false);
        m_flags.TimedOut = false;
        mZelbMessage->send(request);
    });
}

void KORVA_AssignMaint::LoadHistory()
{
    guard(u"KORVA_AssignMaint.LoadHistory", [&] {
        const QString parameters = AssembleParameters();
        RecordSetPtr history = mZelbMessage->recordSet(MessageID, QStringLiteral("ASSIGNMENT"));
        auto *dialog = new frmAssignHistory(this);
        m_frmAssignHistory = dialog;
        dialog->PassParameters(parameters);
        dialog->LoadAssignmentHistory(history);
        HistoryPending = false;
        listTab->grid()->setEnabled(true);
        tabTab->setEnabled(true);
        idlePointer();
        dialog->exec();
        release(m_frmAssignHistory);
    });
}

void KORVA_AssignMaint::ProcessCmdSelectDocClick()
{
    guard(u"KORVA_AssignMaint.ProcessCmdSelectDocClick", [&] {
        const QString code = entry->cboFTBox[1]->code();
        if (code.trimmed().isEmpty()) {
            showMessage(QStringLiteral("Reference Account Type must be selected to search."),
                        MsgStyle::Exclamation);
            return;
        }
        auto *dialog = new KORVA_SelectCustFormInq(this);
        m_frmSelectCustForm = dialog;
        dialog->setDocumentType(code);
        idlePointer();
        dialog->exec();
        // A cancelled search has emptied the dialog's number, and so empties the box.
        if (m_frmSelectCustForm == dialog)
            entry->txtBox[0]->setText(dialog->DocumentNumber());
        release(m_frmSelectCustForm);
    });
}

void KORVA_AssignMaint::ProcessCmdSelectOfficersClick()
{
    guard(u"KORVA_AssignMaint.ProcessCmdSelectOfficersClick", [&] {
        auto *dialog = new frmAddOfficer(this);
        m_frmAddOfficer = dialog;
        mEventAddOfficer = dialog;
        connect(dialog, &frmAddOfficer::SendOK, this, &KORVA_AssignMaint::mEventAddOfficer_SendOK);
        connect(dialog, &frmAddOfficer::SendCancel, this,
                &KORVA_AssignMaint::mEventAddOfficer_SendCancel);
        // No list of the tab's is handed over: an officer picked again is merged away by
        // mEventAddOfficer_SendOK, without the dialog's beep.
        idlePointer();
        dialog->exec();
        if (m_frmAddOfficer == dialog)
            unloadAddOfficer();
    });
}

void KORVA_AssignMaint::ProcessCmdClearClick()
{
    guard(u"KORVA_AssignMaint.ProcessCmdClearClick", [&] { entry->clearOfficers(); });
}

void KORVA_AssignMaint::unloadAssignROC()
{
    if (m_frmAssignROC)
        m_frmAssignROC->disconnect(this);
    mEventReply = nullptr;
    mEventOpen = nullptr;
    mEventClose = nullptr;
    release(m_frmAssignROC);
}

void KORVA_AssignMaint::unloadForward()
{
    if (m_frmAssignForward)
        m_frmAssignForward->disconnect(this);
    mEventForward = nullptr;
    release(m_frmAssignForward);
}

void KORVA_AssignMaint::unloadAddOfficer()
{
    if (m_frmAddOfficer)
        m_frmAddOfficer->disconnect(this);
    mEventAddOfficer = nullptr;
    release(m_frmAddOfficer);
}

} // namespace korva
