// The document's controls: the list and the entry tab, each its own widget.
#include "assignmententrytab.h"
#include "assignmentlisttab.h"
#include "korva_assignmaint.h"

#include <QTabWidget>
#include <QVBoxLayout>

namespace korva {

void KORVA_AssignMaint::buildControls()
{
    setObjectName(documentIdentity());
    mZelbMessage = new BrokerMessage(this);
    mZelbMessage->setObjectName(QStringLiteral("mZelbMessage"));

    tabTab = new QTabWidget(this);
    tabTab->setObjectName(QStringLiteral("tabTab"));
    listTab = new AssignmentListTab(tabTab);
    tabTab->addTab(listTab, QStringLiteral("Assignments"));

    entry = new AssignmentEntryTab(tabTab);
    entry->setObjectName(QStringLiteral("entry"));
    tabTab->addTab(entry, QStringLiteral("New Assignment"));
    // One array view over both tabs: each element is its tab's own control.
    for (int i = 0; i < 6; ++i)
        cmdButton[i] = listTab->cmdButton[i];
    for (int i = 6; i < 12; ++i)
        cmdButton[i] = entry->cmdButton[i];
    for (int i = 1; i < 4; ++i)
        optButton[i] = listTab->optButton[i];
    for (int i = 7; i < 10; ++i)
        optButton[i] = entry->optButton[i];
    for (int i = 0; i < 2; ++i)
        dtpFTDate[i] = listTab->dtpFTDate[i];
    for (int i = 2; i < 5; ++i)
        dtpFTDate[i] = entry->dtpFTDate[i];
    optSent = listTab->optSent;
    optCurrentOfficer = listTab->optCurrentOfficer;
    optAllOfficers = listTab->optAllOfficers;
    chkBox[2] = listTab->chkBox[2];
    adoAssignment = listTab->adoAssignment;
    grdAssignment = listTab->grdAssignment;

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(tabTab);
}

} // namespace korva
