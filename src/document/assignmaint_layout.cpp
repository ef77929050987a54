// The document's controls: the list and the entry tab, each its own widget.
#include "assignmententrytab.h"
#include "assignmentlisttab.h"
#include "korva_assignmaint.h"
#include "workloadcommand.h"

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
    installWorkloadCommand(this, tabTab);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(tabTab);
}

} // namespace korva
