// First show, start-up rights and settings.
#include "assignmententrytab.h"
#include "korva_assignmaint.h"

#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>

namespace korva {

namespace {

const QString kAssignmentRight = QStringLiteral("Assignment");
const QString kClosersGroup = QStringLiteral("ASSIGNMENTCLOSERS");

// The grids set up their selection and record selectors themselves; what is left is how
// the assignment list uses its width.
void setUpAssignmentGrid(DataGrid *grid)
{
    grid->horizontalHeader()->setStretchLastSection(true);
    grid->setAlternatingRowColors(true);
}

} // namespace

void KORVA_AssignMaint::UserDocument_Show()
{
    guard(u"KORVA_AssignMaint.UserDocument_Show", [&] {
        // The platform's shared services exist before any document; nothing to create here.
        grdAssignment->styleSet(QStringLiteral("RowRed")).setForeColorValue(255);

        if (m_containerCaption.isEmpty() && parentWidget()) {
            m_containerTag = parentWidget()->objectName();
            m_containerCaption = parentWidget()->windowTitle();
        }

        setUpAssignmentGrid(grdAssignment);

        if (!platform().user)
            raiseError(kComponentError, QStringLiteral("No user context is available."));
        m_officerId = toInteger16(double(platform().user->officerId()));
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
    chkBox[2]->setEnabled(m_assignmentClosers);
}

void KORVA_AssignMaint::InitializeSettings()
{
    guard(u"KORVA_AssignMaint.InitializeSettings", [&] {
        ApplyStartupRights();
        entry->loadCodeLists();

        const QDate today = platform().clock->today();
        const QDate floor(1993, 1, 1);
        // Emptied after being set, so that a fresh search starts at the earliest date.
        dtpFTDate[0]->setValue(today);
        dtpFTDate[0]->clear();
        dtpFTDate[1]->setValue(today);
        dtpFTDate[0]->setMinDate(floor);
        dtpFTDate[1]->setMinDate(floor);

        entry->initialiseDates(today);
        tabTab->setCurrentIndex(0);
        EnableCmdButtons(false);
        entry->clearOfficers();
        SetGridBolding(grdAssignment);
    });
}

void KORVA_AssignMaint::SetTabOrder()
{
    guard(u"KORVA_AssignMaint.SetTabOrder", [&] {
        QList<QWidget *> chain{dtpFTDate[0], dtpFTDate[1], optButton[3],      optSent,
                               optButton[1], optButton[2], optCurrentOfficer, optAllOfficers,
                               cmdButton[0], grdAssignment};
        for (int i : {1, 2, 3, 4, 5})
            chain.append(cmdButton[i]);
        for (int i = 1; i < chain.size(); ++i)
            QWidget::setTabOrder(chain.at(i - 1), chain.at(i));
    });
}

void KORVA_AssignMaint::ConfigureToolbar(bool flag)
{
    if (!platform().shell)
        return;
    for (int button : {9, 8, 7, 12, 14})
        platform().shell->setToolbarButton(button, flag, documentIdentity());
}

} // namespace korva
