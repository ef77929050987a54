// A refund-request assignment opens its refund worksheet when its row is activated.
#include "assignmentlisttab.h"
#include "korva_assignmaint.h"

#include "common/modassignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/platform.h"
#include "worksheet/korva_worksheet.h"

#include <QPointer>

namespace korva {

void KORVA_AssignMaint::grdAssignment_Activated()
{
    LoadRefundWorkSheetForm();
}

void KORVA_AssignMaint::LoadRefundWorkSheetForm()
{
    guard(u"KORVA_AssignMaint.LoadRefundWorkSheetForm", [&] {
        const int hit = listTab->grid()->lastHitTest();
        if (hit != DataGrid::HitData && hit != DataGrid::HitDataSelected)
            return;
        if (listTab->grid()->currentRow() < 0)
            return;
        const auto cell = [grid = listTab->grid()](const char *column) {
            return grid->currentText(QLatin1String(column));
        };
        const QString type =
            platform()
                .lookups->assignmentTypeDescription(cell("ASGNMT_TYP_CD").trimmed())
                .trimmed()
                .toUpper();
        if (type != u"REFUND REQUEST")
            return;

        // The customer's name, the prepared date and the amount (CUST_NM, PRPRD_DT, RFND_AMT)
        // are not handed over: the worksheet's own details request brings them current.
        const QString assignmentStatus = cell("ASGNMT_STTS_CD").trimmed().toUpper();
        const QString customerId = cell("CUST_ID").trimmed();
        const QString refundNumber = cell("RFND_NBR").trimmed();
        const QString refundStatus = cell("STTS_CD").trimmed().toUpper();
        if (refundNumber.isEmpty()) {
            platform().messages->msgBox(QStringLiteral("Refund Worksheet is available only for "
                                                       "system generated Assignments."),
                                        MsgStyle::Exclamation, modMessageTitle::MessageTitle());
            return;
        }

        // A closed assignment's refund is settled: its worksheet opens read only ("R").
        const QString openMode =
            assignmentStatus == u"C" ? QStringLiteral("R") : QStringLiteral("O");
        QPointer<KORVA_WorkSheet> worksheet = new KORVA_WorkSheet(this);
        worksheet->LoadMe(customerId, refundStatus, refundNumber, openMode);
        platform().pointer->setDefault();
        worksheet->exec();
        if (!worksheet)
            return;
        const bool changed = worksheet->GetSavedVoidedFlag();
        worksheet->hide();
        worksheet->deleteLater();
        if (changed)
            LoadMyAssignments();
    });
}

} // namespace korva
