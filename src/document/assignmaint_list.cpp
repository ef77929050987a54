// The list query, its replies and the narrowing of the shown rows.
#include "assignmententrytab.h"
#include "korva_assignmaint.h"

#include "common/modassignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QRadioButton>
#include <QTabWidget>

namespace korva {

namespace {

// An empty "from" date searches from the day the assignment records begin.
const QDate kEarliestAssignment(1997, 1, 27);

} // namespace

void KORVA_AssignMaint::LoadMyAssignments()
{
    guard(u"KORVA_AssignMaint.LoadMyAssignments", [&] {
        const QDate from = dtpFTDate[0]->hasValue() ? dtpFTDate[0]->date() : kEarliestAssignment;
        const QDate to = dtpFTDate[1]->date();
        if (!to.isValid() || from > to) {
            platform().messages->msgBox(QStringLiteral("The 'Assigned From' effective date must "
                                                       "be on, or before, the 'Assigned To' date."),
                                        MsgStyle::Critical, modMessageTitle::MessageTitle());
            return;
        }

        const bool received = optButton[3]->isChecked();
        QList<RequestParameter> keys{
            RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), modAssignMaint::DB2Date(from)),
            RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"), modAssignMaint::DB2Date(to)),
            RequestParameter::key(received ? QStringLiteral("OFCR_TO_ID")
                                           : QStringLiteral("OFCR_FRM_ID"),
                                  QString::number(m_officerId)),
        };
        if (optButton[1]->isChecked())
            keys.append(
                RequestParameter::key(QStringLiteral("ASGNMT_STTS_CD"), QStringLiteral("O")));
        else if (optButton[2]->isChecked())
            keys.append(
                RequestParameter::key(QStringLiteral("ASGNMT_STTS_CD"), QStringLiteral("C")));

        status(received ? QStringLiteral("Requesting for assignments due that you received")
                        : QStringLiteral("Requesting for assignments due that you sent"));
        if (!mZelbMessage)
            raiseError(kComponentError, QStringLiteral("The document has been unloaded."));
        const BrokerRequest request = composeQuery(MessageID, RequestKind::Query, keys);
        m_readBack = request.readBack();
        mZelbMessage->send(request);
    });
}

QString KORVA_AssignMaint::officerFilter() const
{
    const QString field =
        optButton[3]->isChecked() ? QStringLiteral("OFCR_TO_ID") : QStringLiteral("OFCR_FRM_ID");
    return field + QStringLiteral(" = ") + QString::number(m_officerId);
}

void KORVA_AssignMaint::RefreshGrid()
{
    guard(u"KORVA_AssignMaint.RefreshGrid", [&] {
        const RecordSetPtr rows = mZelbMessage->recordSet(MessageID, QStringLiteral("ASSIGNMENT"));
        if (!rows) {
            if (platform().status)
                platform().status->emptyResult(QStringLiteral("ASSIGNMENT"));
            return;
        }
        m_assignmentClosers = platform().user->inGroup(QStringLiteral("ASSIGNMENTCLOSERS"));

        adoAssignment->setRecordSet(rows);
        grdAssignment->setCaption(QStringLiteral("Assignments"));
        if (optCurrentOfficer->isChecked())
            rows->setFilter(officerFilter());

        status(rows->count() > 0 ? QStringLiteral("Displaying Assignments")
                                 : QStringLiteral("No Assignments found"));
    });
}

void KORVA_AssignMaint::ProcessOptCurrentOfficer()
{
    guard(u"KORVA_AssignMaint.ProcessOptCurrentOfficer", [&] {
        const RecordSetPtr &rows = adoAssignment->recordSet();
        if (!rows)
            return;
        grdAssignment->setRedraw(false);
        rows->setFilter(officerFilter());
        grdAssignment->setRedraw(true);
    });
}

void KORVA_AssignMaint::ProcessOptAllOfficers()
{
    guard(u"KORVA_AssignMaint.ProcessOptAllOfficers", [&] {
        const RecordSetPtr &rows = adoAssignment->recordSet();
        if (!rows)
            return;
        grdAssignment->setRedraw(false);
        rows->setFilter(QString());
        grdAssignment->setRedraw(true);
    });
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
        status(QLatin1String(StatusTexts::Ready));
    };
    routes.goodUpdate = [this] {
        entry->ClearNewAssignment();
        status(QLatin1String(StatusTexts::Ready));
        LoadMyAssignments();
    };
    const bool historyAsked = HistoryPending && isOwnReply(identity, MessageID);
    handleDataReady(u"KORVA_AssignMaint.mZelbMessage_DataReady", identity, MessageID, *mZelbMessage,
                    m_flags, routes);
    if (historyAsked && HistoryPending) {
        // A history query that failed must neither leave the list disabled nor take the next
        // list reply for a history.
        HistoryPending = false;
        grdAssignment->setEnabled(true);
    }
}

void KORVA_AssignMaint::mZelbMessage_MsgTimeout(const QString &identity)
{
    Q_UNUSED(identity)
    guard(u"KORVA_AssignMaint.mZelbMessage_MsgTimeout", [&] { m_flags.TimedOut = true; });
}

} // namespace korva
