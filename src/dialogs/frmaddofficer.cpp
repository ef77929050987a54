#include "dialogs/frmaddofficer.h"

#include "common/modassignmaint.h"
#include "common/officergrid.h"
#include "dialogs/assignmentinfo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/officerselect.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QPushButton>
#include <QVBoxLayout>

namespace korva {

namespace {

RecordSetPtr newOfficerList()
{
    return RecordSet::create(QStringLiteral("OFFICER"),
                             {{QStringLiteral("INSP_ID"), FieldType::Integer},
                              {QStringLiteral("INSP_NME_LST"), FieldType::Text},
                              {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
                              {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text}});
}

} // namespace

frmAddOfficer::frmAddOfficer(QWidget *parent)
    : QDialog(parent)
{
    buildControls();
    Form_Load();
}

frmAddOfficer::~frmAddOfficer()
{
    Form_Unload();
}

void frmAddOfficer::buildControls()
{
    setObjectName(QStringLiteral("frmAddOfficer"));
    setWindowTitle(QStringLiteral("Select Officers to be Added"));

    ftOfficerSelect = new KORVA_OfficerSelect(this);
    ftOfficerSelect->setObjectName(QStringLiteral("ftOfficerSelect"));
    ftOfficerSelect->setNameFormatter(&modAssignMaint::ProperName);

    adoAddOfficers = new DataControl(this);
    adoAddOfficers->setObjectName(QStringLiteral("adoAddOfficers"));
    grdAddOfficers = new DataGrid(this);
    grdAddOfficers->setObjectName(QStringLiteral("grdAddOfficers"));
    grdAddOfficers->setAccessibleName(tr("Officers found"));
    grdAddOfficers->setCaption(QStringLiteral("Added Officers"));
    setUpOfficerGrid(grdAddOfficers, adoAddOfficers, QStringLiteral("Registry#"),
                     QStringLiteral("Propername"), u"frmAddOfficer.grdAddOfficers_RowLoaded");
    grdAddOfficers->addColumn(QStringLiteral("ACTION"), QStringLiteral("ACTION"), QString(), false);
    grdAddOfficers->setSelectionMode(QAbstractItemView::ExtendedSelection);

    cmdClear = new QPushButton(QStringLiteral("Clear Added Officers"), this);
    cmdClear->setObjectName(QStringLiteral("cmdClear"));
    cmdOK = new QPushButton(QStringLiteral("OK"), this);
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdCancel = new QPushButton(QStringLiteral("Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    // Enter belongs to the officer picker: it chooses an officer, it does not end the dialog.
    for (QPushButton *b : {cmdClear, cmdOK, cmdCancel})
        b->setAutoDefault(false);

    // Layouts keep the picker and the grid in proportion as the dialog is resized.
    auto *pick = new QGroupBox(tr("Find Officer"), this);
    auto *p = new QVBoxLayout(pick);
    p->addWidget(ftOfficerSelect);
    auto *lists = new QHBoxLayout;
    lists->addWidget(pick, 1);
    lists->addWidget(grdAddOfficers, 1); // its caption names it
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdClear);
    buttons->addStretch(1);
    buttons->addWidget(cmdOK);
    buttons->addWidget(cmdCancel);
    auto *page = new QVBoxLayout(this);
    page->addLayout(lists, 1);
    page->addLayout(buttons);
    resize(760, 420);

    connect(ftOfficerSelect, &KORVA_OfficerSelect::OfficerSelected, this,
            &frmAddOfficer::ftOfficerSelect_OfficerSelected);
    connect(cmdOK, &QPushButton::clicked, this, &frmAddOfficer::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmAddOfficer::cmdCancel_Click);
    connect(cmdClear, &QPushButton::clicked, this, &frmAddOfficer::cmdClear_Click);
}

void frmAddOfficer::Form_Load()
{
    guard(u"frmAddOfficer.Form_Load", [&] {
        m_officers = newOfficerList();
        RefreshAddOfficersGrid();
        SetGridBolding(grdAddOfficers);
    });
}

void frmAddOfficer::Form_Unload()
{
    guard(u"frmAddOfficer.Form_Unload", [&] {
        m_callerList.reset();
        if (adoAddOfficers)
            adoAddOfficers->setRecordSet(nullptr);
        m_officers.reset();
    });
}

void frmAddOfficer::SetOfficerList(const RecordSetPtr &list)
{
    guard(u"frmAddOfficer.SetOfficerList", [&] { m_callerList = list; });
}

void frmAddOfficer::SetGridBolding(DataGrid *grid)
{
    guard(u"frmAddOfficer.SetGridBolding", [&] { applyGridBolding(grid); });
}

void frmAddOfficer::RefreshAddOfficersGrid()
{
    guard(u"frmAddOfficer.RefreshAddOfficersGrid", [&] {
        grdAddOfficers->setRedraw(false);
        adoAddOfficers->setRecordSet(m_officers);
        grdAddOfficers->setRedraw(true);
        grdAddOfficers->viewport()->update();
    });
}

bool frmAddOfficer::NewOfficer()
{
    bool isNew = true;
    guard(u"frmAddOfficer.NewOfficer", [&] {
        const QString id = ftOfficerSelect->OfficerID();
        if (m_officers->count() > 0)
            isNew = !m_officers->findFirst(QStringLiteral("INSP_ID=") + id);
        // The caller's list keeps its ids as numbers, so the id is compared as one.
        if (isNew && m_callerList && m_callerList->count() > 0)
            isNew = !m_callerList->findFirst(QStringLiteral("INSP_ID=") +
                                             QString::number(toInteger32(id)));
    });
    return isNew;
}

void frmAddOfficer::ftOfficerSelect_OfficerSelected()
{
    guard(u"frmAddOfficer.ftOfficerSelect_OfficerSelected", [&] {
        if (!NewOfficer()) {
            platform().beeper->beep();
            raiseQuiet();
        }
        // Unbound while the row is added: the bound list's cursor follows the grid's current
        // row, which the new row would move.
        adoAddOfficers->setRecordSet(nullptr);
        m_officers->addNew();
        m_officers->setValue(u"INSP_ID", ftOfficerSelect->OfficerID());
        m_officers->setValue(u"INSP_NME_LST", ftOfficerSelect->LastName());
        m_officers->setValue(u"INSP_NME_FRST", ftOfficerSelect->FirstName());
        m_officers->setValue(u"INSP_NME_MDL_INT", ftOfficerSelect->MiddleInitial());
        m_officers->update();
        RefreshAddOfficersGrid();
    });
}

void frmAddOfficer::cmdClear_Click()
{
    guard(u"frmAddOfficer.cmdClear_Click", [&] {
        if (m_officers->count() == 0)
            return;
        QItemSelectionModel *selection = grdAddOfficers->selectionModel();
        if (!selection || selection->selectedRows().isEmpty()) {
            for (m_officers->moveFirst(); m_officers->count() > 0; m_officers->moveFirst())
                m_officers->deleteCurrent();
        } else {
            // One row goes, however many are selected: the row the list is on.
            const int current = grdAddOfficers->currentRow();
            m_officers->moveTo(current >= 0 ? current : selection->selectedRows().first().row());
            m_officers->deleteCurrent();
            selection->clearSelection();
        }
        RefreshAddOfficersGrid();
    });
}

void frmAddOfficer::cmdOK_Click()
{
    guard(u"frmAddOfficer.cmdOK_Click", [&] {
        emit SendOK(m_officers);
        hide();
    });
}

void frmAddOfficer::cmdCancel_Click()
{
    guard(u"frmAddOfficer.cmdCancel_Click", [&] {
        emit SendCancel();
        // Unloaded, not just hidden: what was collected is let go.
        Form_Unload();
        reject();
    });
}

} // namespace korva
