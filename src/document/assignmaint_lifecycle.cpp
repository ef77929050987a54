// First show, start-up rights and settings.
#include "assignmententrytab.h"
#include "assignmentlisttab.h"
#include "korva_assignmaint.h"
#include "workloadcommand.h"

#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QTabWidget>

namespace korva {

namespace {

const QString kAssignmentRight = QStringLiteral("Assignment");
const QString kClosersGroup = QStringLiteral("ASSIGNMENTCLOSERS");

} // namespace

void KORVA_AssignMaint::UserDocument_Show()
{
    guard(u"KORVA_AssignMaint.UserDocument_Show", [&] {
        // The platform's shared services exist before any document; nothing to create here.
        if (m_containerCaption.isEmpty() && parentWidget()) {
            m_containerTag = parentWidget()->objectName();
            m_containerCaption = parentWidget()->windowTitle();
        }

        listTab->setUpGrid();

        m_officerId = toInteger16(double(platform().user->officerId()));
        listTab->setOfficerId(m_officerId);
        entry->setOfficerId(m_officerId);

        MessageID = documentIdentity().trimmed().toUpper();

        InitializeSettings();
        LoadMyAssignments();
        SetTabOrder();
    });
}

void KORVA_AssignMaint::ApplyStartupRights()
{
    m_assignmentRight = platform().user->hasRight(kAssignmentRight);
    tabTab->setTabEnabled(1, m_assignmentRight);

    m_assignmentClosers = platform().user->inGroup(kClosersGroup);
    listTab->setClosersIndicator(m_assignmentClosers);
    listTab->enableOfficerChoice(platform().user->hasRight(QLatin1String(kRightListAll)));
}

void KORVA_AssignMaint::InitializeSettings()
{
    guard(u"KORVA_AssignMaint.InitializeSettings", [&] {
        ApplyStartupRights();
        entry->loadCodeLists();

        const QDate today = platform().clock->today();
        listTab->initialiseDates(today);
        entry->initialiseDates(today);
        tabTab->setCurrentIndex(0);
        EnableCmdButtons(false);
        entry->clearOfficers();
        listTab->SetGridBolding();
    });
}

void KORVA_AssignMaint::SetTabOrder()
{
    guard(u"KORVA_AssignMaint.SetTabOrder", [&] { listTab->chainTabOrder(); });
}

void KORVA_AssignMaint::ConfigureToolbar(bool flag)
{
    for (int button : {9, 8, 7, 12, 14})
        platform().shell->setToolbarButton(button, flag, documentIdentity());
}

} // namespace korva
