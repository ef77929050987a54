// The list tab's rows: the search keys, the decoration of the loaded rows and their
// narrowing to the officer.
#include "assignmentlisttab.h"

#include "common/modassignmaint.h"
#include "dialogs/assignmentinfo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QComboBox>
#include <QRadioButton>

namespace korva {

namespace {

// An empty "from" date searches from the day the assignment records begin.
const QDate kEarliestAssignment(1997, 1, 27);

// The Status column's text; a null string leaves the cell as it is.
QString statusText(const QString &code)
{
    if (code == u"O")
        return QStringLiteral("Open");
    if (code == u"C")
        return QStringLiteral("Closed");
    if (code == u"F")
        return QStringLiteral("Forward");
    if (code == u"R")
        return QStringLiteral("Reply");
    return QString();
}

} // namespace

bool AssignmentListTab::receivedChosen() const
{
    return optButton[kReceived]->isChecked();
}

bool AssignmentListTab::datesInOrder() const
{
    const QDate from =
        dtpFTDate[kFrom]->hasValue() ? dtpFTDate[kFrom]->date() : kEarliestAssignment;
    const QDate to = dtpFTDate[kTo]->date();
    return to.isValid() && from <= to;
}

QList<RequestParameter> AssignmentListTab::searchKeys() const
{
    const QDate from =
        dtpFTDate[kFrom]->hasValue() ? dtpFTDate[kFrom]->date() : kEarliestAssignment;
    const QDate to = dtpFTDate[kTo]->date();
    QList<RequestParameter> keys{
        RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), modAssignMaint::DB2Date(from)),
        RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"), modAssignMaint::DB2Date(to)),
        RequestParameter::key(receivedChosen() ? QStringLiteral("OFCR_TO_ID")
                                               : QStringLiteral("OFCR_FRM_ID"),
                              QString::number(listedOfficer())),
    };
    if (optButton[kOpen]->isChecked())
        keys.append(RequestParameter::key(QStringLiteral("ASGNMT_STTS_CD"), QStringLiteral("O")));
    else if (optButton[kClosed]->isChecked())
        keys.append(RequestParameter::key(QStringLiteral("ASGNMT_STTS_CD"), QStringLiteral("C")));
    return keys;
}

QString AssignmentListTab::officerFilter() const
{
    const QString field =
        receivedChosen() ? QStringLiteral("OFCR_TO_ID") : QStringLiteral("OFCR_FRM_ID");
    return field + QStringLiteral(" = ") + QString::number(listedOfficer());
}

void AssignmentListTab::enableOfficerChoice(bool allowed)
{
    cboListOfficer->clear();
    cboListOfficer->setVisible(allowed);
    if (!allowed)
        return;
    cboListOfficer->addItem(modAssignMaint::OfficerDisplayName(QString::number(m_officerId)),
                            qint64(m_officerId));
    const QDate today = platform().clock->today();
    for (const OfficerInfo &o : platform().lookups->searchOfficers(QString(), 0)) {
        if (o.id == m_officerId || (o.activeTo.isValid() && o.activeTo < today))
            continue;
        cboListOfficer->addItem(modAssignMaint::OfficerDisplayName(QString::number(o.id)),
                                qint64(o.id));
    }
}

qint64 AssignmentListTab::listedOfficer() const
{
    // The choice is filled only for those who may make it; the server holds them to it.
    return cboListOfficer->currentIndex() >= 0 ? cboListOfficer->currentData().toLongLong()
                                               : qint64(m_officerId);
}

void AssignmentListTab::showRows(const RecordSetPtr &rows)
{
    const auto bind = [&] {
        adoAssignment->setRecordSet(rows);
        grdAssignment->setCaption(QStringLiteral("Assignments"));
    };
    // Filtered before it is bound, so that a long list is laid out in the grid once; rows
    // the filter cannot be applied to are still shown before that is reported.
    if (optCurrentOfficer->isChecked()) {
        try {
            rows->setFilter(officerFilter());
        } catch (...) {
            bind();
            throw;
        }
    }
    bind();
}

void AssignmentListTab::ProcessOptCurrentOfficer()
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

void AssignmentListTab::ProcessOptAllOfficers()
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

void AssignmentListTab::grdAssignment_RowLoaded(GridRow &row)
{
    guard(u"KORVA_AssignMaint.grdAssignment_RowLoaded", [&] {
        if (row.isEmpty())
            return;
        row.setText(QStringLiteral("ASSIGNED_FROM"),
                    modAssignMaint::OfficerDisplayName(row.text(QStringLiteral("OFCR_FRM_ID"))));
        row.setText(QStringLiteral("ASSIGNED_TO"),
                    modAssignMaint::AddresseeDisplayName(row.text(QStringLiteral("OFCR_TO_ID")),
                                                         row.text(QStringLiteral("AGNCY_CD")),
                                                         row.text(QStringLiteral("TRP_ID")),
                                                         row.text(QStringLiteral("TRP_DIST_ID"))));

        const QString rawType = row.text(QStringLiteral("ASGNMT_TYP_CD"));
        const QString type = rawType.trimmed();
        if (!type.isEmpty() && type != u"DEF")
            row.setText(QStringLiteral("ASSIGNMENT_TYPE"),
                        platform().lookups->assignmentTypeDescription(type));

        row.setText(QStringLiteral("CITATION_NUMBER"), row.text(QStringLiteral("FORM_NBR")));
        row.setText(QStringLiteral("CITATION_TYPE"),
                    platform().lookups->codeDescription(QStringLiteral("REFDOCTYP"),
                                                        row.text(QStringLiteral("FORM_TYP_CD"))));

        const QString state = statusText(row.text(QStringLiteral("ASGNMT_STTS_CD")));
        if (!state.isNull())
            row.setText(QStringLiteral("Status"), state);

        // Deliberately exact: only the upper-case codes mark a payment correction.
        if (adoAssignment->recordSet() && (rawType == u"PCE" || rawType == u"PCX")) {
            for (int c = 0; c < row.columnCount(); ++c)
                row.setCellStyleSet(c, QStringLiteral("RowRed"));
        }
    });
}

void AssignmentListTab::SetGridBolding()
{
    guard(u"KORVA_AssignMaint.SetGridBolding", [&] { applyGridBolding(grdAssignment); });
}

} // namespace korva
