#include "korva_assignmaint.h"

#include "assignmententrytab.h"
#include "assignmentlisttab.h"

#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QPushButton>
#include <QShowEvent>
#include <QTabWidget>

namespace korva {

KORVA_AssignMaint::KORVA_AssignMaint(QWidget *parent)
    : QWidget(parent)
{
    buildControls();
    wireEvents();
}

KORVA_AssignMaint::~KORVA_AssignMaint() = default;

QString KORVA_AssignMaint::documentIdentity()
{
    return QStringLiteral("KORVA_AssignMaint");
}

void KORVA_AssignMaint::setContainer(const QString &tag, const QString &caption)
{
    m_containerTag = tag;
    m_containerCaption = caption;
}

void KORVA_AssignMaint::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_shown)
        return;
    m_shown = true;
    UserDocument_Show();
}

void KORVA_AssignMaint::wireEvents()
{
    connect(mZelbMessage, &BrokerMessage::DataReady, this,
            &KORVA_AssignMaint::mZelbMessage_DataReady);
    connect(mZelbMessage, &BrokerMessage::MsgTimeout, this,
            &KORVA_AssignMaint::mZelbMessage_MsgTimeout);

    connect(listTab, &AssignmentListTab::commandClicked, this, &KORVA_AssignMaint::cmdButton_Click);
    for (int i = 6; i < 12; ++i)
        connect(entry->cmdButton[i], &QPushButton::clicked, this,
                [this, i] { cmdButton_Click(i); });
    DataGrid *grdAssignment = listTab->grid();
    connect(grdAssignment, &DataGrid::Click, this, &KORVA_AssignMaint::grdAssignment_Click);
    // The keys move the current row as much as the mouse does.
    connect(grdAssignment, &DataGrid::RowChange, this, &KORVA_AssignMaint::grdAssignment_RowChange);
    // Double-click and Enter both activate a row: the refund worksheet of a refund request.
    connect(grdAssignment, &DataGrid::activated, this, &KORVA_AssignMaint::grdAssignment_Activated);

    entry->setForwardButton(listTab->button(AssignmentListTab::kForward));
    entry->setDataChangedTest([this] { return DataChanged(); });
}

void KORVA_AssignMaint::EnableCmdButtons(bool enable)
{
    guard(u"KORVA_AssignMaint.EnableCmdButtons", [&] { listTab->enableRowCommands(enable); });
}

void KORVA_AssignMaint::cmdButton_Click(int index)
{
    guard(u"KORVA_AssignMaint.cmdButton_Click", [&] {
        switch (index) {
        case 0:
            LoadMyAssignments();
            break;
        case 1:
            ProcessCmdForwardClick();
            break;
        case 2:
            ProcessCmdReplyClick();
            break;
        case 3:
            ProcessCmdCloseClick();
            break;
        case 4:
            ProcessCmdOpenClick();
            break;
        case 5:
            ProcessCmdHistoryClick();
            break;
        case 6:
            ProcessCmdSelectDocClick();
            break;
        case 7:
            ProcessCmdSelectOfficersClick();
            break;
        case 8:
            ProcessCmdClearClick();
            break;
        case 9:
            ProcessCmdCopyComments();
            break;
        case 10:
            ProcessCmdPasteComments();
            break;
        case 11:
            ProcessCmdSpellCheck();
            break;
        default:
            break;
        }
        // The row commands wait for a row to be selected again.
        listTab->enableRowCommands(false);
    });
}

} // namespace korva
