// The list query, its replies and the selected row.
#include "assignmententrytab.h"
#include "assignmentlisttab.h"
#include "korva_assignmaint.h"

#include "common/modassignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QTabWidget>

namespace korva {

void KORVA_AssignMaint::LoadMyAssignments()
{
    guard(u"KORVA_AssignMaint.LoadMyAssignments", [&] {
        if (!listTab->datesInOrder()) {
            platform().messages->msgBox(QStringLiteral("The 'Assigned From' effective date must "
                                                       "be on, or before, the 'Assigned To' date."),
                                        MsgStyle::Critical, modMessageTitle::MessageTitle());
            return;
        }
        const QList<RequestParameter> keys = listTab->searchKeys();
        platform().status->StatusText(
            listTab->receivedChosen()
                ? QStringLiteral("Requesting for assignments due that you received")
                : QStringLiteral("Requesting for assignments due that you sent"));
        if (!mZelbMessage)
            raiseError(kComponentError, QStringLiteral("The document has been unloaded."));
        const BrokerRequest request = composeQuery(MessageID, RequestKind::Query, keys);
        m_readBack = request.readBack();
        mZelbMessage->send(request);
    });
}

void KORVA_AssignMaint::RefreshGrid()
{
    guard(u"KORVA_AssignMaint.RefreshGrid", [&] {
        const RecordSetPtr rows = mZelbMessage->recordSet(MessageID, QStringLiteral("ASSIGNMENT"));
        if (!rows) {
            platform().status->emptyResult(QStringLiteral("ASSIGNMENT"));
            return;
        }
        m_assignmentClosers = platform().user->inGroup(QStringLiteral("ASSIGNMENTCLOSERS"));
        listTab->showRows(rows);
        platform().status->StatusText(rows->count() > 0 ? QStringLiteral("Displaying Assignments")
                                                        : QStringLiteral("No Assignments found"));
    });
}

void KORVA_AssignMaint::grdAssignment_Click()
{
    guard(u"KORVA_AssignMaint.grdAssignment_Click", [&] {
        if (listTab->grid()->currentRow() < 0)
            return;
        m_selectedNumber = listTab->grid()->currentText(QStringLiteral("ASGNMT_NBR"));
        // Both as the grid holds them: a padded status is not "O".
        QString type = listTab->grid()->currentText(QStringLiteral("ASGNMT_TYP_CD"));
        entry->FormatTypeCode(type);
        m_selectedType = type;
        m_selectedStatus = listTab->grid()->currentText(QStringLiteral("ASGNMT_STTS_CD"));
        const QString creator = listTab->grid()->currentText(QStringLiteral("OFCR_CRTR_ID"));
        m_selectedCreator = IsNumeric(creator) ? toInteger16(creator) : qint16(0);
        const QString history = listTab->grid()->currentText(QStringLiteral("HIST_CNT"));
        m_selectedHistoryCount = IsNumeric(history) ? toInteger32(history) : 0;
        listTab->enableForSelection(m_selectedStatus, entry->systemGenerated(),
                                    m_selectedHistoryCount);
    });
}

void KORVA_AssignMaint::grdAssignment_RowChange()
{
    // A list bound again has no current row: the row commands wait for one.
    if (listTab->grid()->currentRow() < 0)
        EnableCmdButtons(false);
    else
        grdAssignment_Click();
}

void KORVA_AssignMaint::mZelbMessage_DataReady(const QString &identity)
{
    ReplyRoutes routes;
    routes.enableTabs = [this](bool on) {
        tabTab->setEnabled(on);
    };
    routes.goodQuery = [this] {
        if (HistoryPending) {
            // The history reply belongs to the history dialog; the list keeps its rows.
            LoadHistory();
            tabTab->setEnabled(true);
            return;
        }
        RefreshGrid();
        platform().status->StatusText(QLatin1String(StatusTexts::Ready));
    };
    routes.goodUpdate = [this] {
        entry->ClearNewAssignment();
        platform().status->StatusText(QLatin1String(StatusTexts::Ready));
        LoadMyAssignments();
    };
    const bool historyAsked = HistoryPending && isOwnReply(identity, MessageID);
    handleDataReady(u"KORVA_AssignMaint.mZelbMessage_DataReady", identity, MessageID, *mZelbMessage,
                    m_flags, routes);
    if (historyAsked && HistoryPending) {
        // A history query that failed must neither leave the list disabled nor take the next
        // list reply for a history.
        HistoryPending = false;
        listTab->grid()->setEnabled(true);
    }
}

void KORVA_AssignMaint::mZelbMessage_MsgTimeout(const QString &identity)
{
    Q_UNUSED(identity)
    guard(u"KORVA_AssignMaint.mZelbMessage_MsgTimeout", [&] { m_flags.TimedOut = true; });
}

} // namespace korva
