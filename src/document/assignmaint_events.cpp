// What the document does when a dialog reports back through its event object.
#include "assignmententrytab.h"
#include "assignmentlisttab.h"
#include "korva_assignmaint.h"

#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QLineEdit>

namespace korva {

void KORVA_AssignMaint::mEventReply_SendOK()
{
    guard(u"KORVA_AssignMaint.mEventReply_SendOK", [&] {
        LoadMyAssignments();
        unloadAssignROC();
    });
}

void KORVA_AssignMaint::mEventReply_SendCancel()
{
    // Reports under the forward sink's name: the texts users and support know, kept as is.
    guard(u"KORVA_AssignMaint.mEventForward_SendCancel", [&] { unloadAssignROC(); });
}

void KORVA_AssignMaint::mEventOpen_SendOK()
{
    guard(u"KORVA_AssignMaint.mEventOpen_SendOK", [&] {
        LoadMyAssignments();
        unloadAssignROC();
    });
}

void KORVA_AssignMaint::mEventOpen_SendCancel()
{
    guard(u"KORVA_AssignMaint.mEventOpen_SendCancel", [&] { unloadAssignROC(); });
}

void KORVA_AssignMaint::mEventClose_SendOK()
{
    guard(u"KORVA_AssignMaint.mEventClose_SendOK", [&] {
        LoadMyAssignments();
        unloadAssignROC();
    });
}

void KORVA_AssignMaint::mEventClose_SendCancel()
{
    guard(u"KORVA_AssignMaint.mEventClose_SendCancel", [&] { unloadAssignROC(); });
}

void KORVA_AssignMaint::mEventForward_SendOK()
{
    guard(u"KORVA_AssignMaint.mEventForward_SendOK", [&] {
        LoadMyAssignments();
        unloadForward();
    });
}

void KORVA_AssignMaint::mEventForward_SendCancel()
{
    guard(u"KORVA_AssignMaint.mEventForward_SendCancel", [&] { unloadForward(); });
}

void KORVA_AssignMaint::mEventAddOfficer_SendOK(const RecordSetPtr &officers)
{
    guard(
        u"KORVA_AssignMaint.mEventAddOfficer_SendOK",
        [&] {
            if (!officers || officers->count() == 0)
                return;
            if (!entry->adoOfficers->recordSet())
                entry->clearOfficers();
            // A copy, so that rebinding the data control hands the grid a new list.
            const RecordSetPtr list = entry->adoOfficers->recordSet()->clone();
            const int id = officers->fieldIndex(u"INSP_ID");
            const int last = officers->fieldIndex(u"INSP_NME_LST");
            const int first = officers->fieldIndex(u"INSP_NME_FRST");
            const int middle = officers->fieldIndex(u"INSP_NME_MDL_INT");
            if (id < 0)
                raiseError(kErrRecordSet, QStringLiteral("The chosen officers carry no INSP_ID."));
            for (int row = 0; row < officers->count(); ++row) {
                const QString officer = officers->textAt(row, id).trimmed();
                if (!IsNumeric(officer))
                    continue;
                if (list->count() > 0 && list->findFirst(QStringLiteral("INSP_ID = ") + officer))
                    continue;
                list->addNew();
                list->setValue(u"INSP_ID", officer);
                list->setValue(u"INSP_NME_LST", last < 0 ? QString() : officers->textAt(row, last));
                list->setValue(u"INSP_NME_FRST",
                               first < 0 ? QString() : officers->textAt(row, first));
                list->setValue(u"INSP_NME_MDL_INT",
                               middle < 0 ? QString() : officers->textAt(row, middle));
                list->update();
            }
            list->setSort(QStringLiteral("INSP_NME_LST"));

            entry->grdOfficers->setRedraw(false);
            entry->adoOfficers->setRecordSet(list);
            entry->grdOfficers->setRedraw(true);
            if (list->count() > 0) {
                // The list takes the place of the single officer number.
                platform().marks->ClearFieldError(entry->txtBox[1]);
                entry->txtBox[1]->clear();
            }
        },
        Quiet::Swallow, [&] { unloadAddOfficer(); });
}

void KORVA_AssignMaint::mEventAddOfficer_SendCancel()
{
    guard(u"KORVA_AssignMaint.mEventAddOfficer_SendCancel", [&] { unloadAddOfficer(); });
}

} // namespace korva
