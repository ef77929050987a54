// Decoration of the loaded rows, the grid's style sets and the selected row's commands.
#include "assignmententrytab.h"
#include "korva_assignmaint.h"

#include "common/modassignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QPushButton>

namespace korva {

namespace {

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

void KORVA_AssignMaint::grdAssignment_RowLoaded(GridRow &row)
{
    guard(u"KORVA_AssignMaint.grdAssignment_RowLoaded", [&] {
        if (row.isEmpty())
            return;
        row.setText(QStringLiteral("ASSIGNED_FROM"),
                    modAssignMaint::OfficerDisplayName(row.text(QStringLiteral("OFCR_FRM_ID"))));
        row.setText(QStringLiteral("ASSIGNED_TO"),
                    modAssignMaint::OfficerDisplayName(row.text(QStringLiteral("OFCR_TO_ID"))));

        const QString rawType = row.text(QStringLiteral("ASGNMT_TYP_CD"));
        const QString type = rawType.trimmed();
        if (!type.isEmpty() && type != u"DEF" && platform().lookups)
            row.setText(QStringLiteral("ASSIGNMENT_TYPE"),
                        platform().lookups->assignmentTypeDescription(type));

        row.setText(QStringLiteral("CITATION_NUMBER"), row.text(QStringLiteral("FORM_NBR")));
        if (platform().lookups)
            row.setText(QStringLiteral("CITATION_TYPE"),
                        platform().lookups->codeDescription(
                            QStringLiteral("REFDOCTYP"), row.text(QStringLiteral("FORM_TYP_CD"))));

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

void KORVA_AssignMaint::grdAssignment_Click()
{
    guard(u"KORVA_AssignMaint.grdAssignment_Click", [&] {
        if (grdAssignment->currentRow() < 0)
            return;
        m_selectedNumber = grdAssignment->currentText(QStringLiteral("ASGNMT_NBR"));
        // Both as the grid holds them: a padded status is not "O".
        QString type = grdAssignment->currentText(QStringLiteral("ASGNMT_TYP_CD"));
        entry->FormatTypeCode(type);
        m_selectedType = type;
        m_selectedStatus = grdAssignment->currentText(QStringLiteral("ASGNMT_STTS_CD"));
        const QString creator = grdAssignment->currentText(QStringLiteral("OFCR_CRTR_ID"));
        m_selectedCreator = IsNumeric(creator) ? toInteger16(creator) : qint16(0);
        const QString history = grdAssignment->currentText(QStringLiteral("HIST_CNT"));
        m_selectedHistoryCount = IsNumeric(history) ? toInteger32(history) : 0;

        cmdButton[1]->setEnabled(true);
        cmdButton[5]->setEnabled(true);
        const bool open = m_selectedStatus == u"O";
        cmdButton[4]->setEnabled(!open);
        cmdButton[3]->setEnabled(open);
        cmdButton[2]->setEnabled(!entry->systemGenerated());
        cmdButton[5]->setEnabled(m_selectedHistoryCount > 0);
    });
}

void KORVA_AssignMaint::SetGridBolding(DataGrid *grid)
{
    guard(u"KORVA_AssignMaint.SetGridBolding", [&] {
        grid->styleSet(QStringLiteral("UNBOLD")).setBold(false);
        QFont bold = grid->font();
        bold.setBold(true);
        grid->setFont(bold);
        for (int c = 0; c < grid->columnCount(); ++c) {
            grid->setColumnStyleSet(c, QStringLiteral("UNBOLD"));
            grid->setColumnHeadStyleSet(c, QStringLiteral("UNBOLD"));
        }
    });
}

} // namespace korva
