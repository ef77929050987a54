#pragma once

#include "platform/recordset.h"

#include <QDialog>

class QPushButton;

namespace korva {

class DataControl;
class DataGrid;
class GridRow;
class KORVA_OfficerSelect;

// Collects officers picked one after another, without duplicates, and hands the list over.
class frmAddOfficer : public QDialog {
    Q_OBJECT
public:
    explicit frmAddOfficer(QWidget *parent = nullptr);
    ~frmAddOfficer() override;

    void SetOfficerList(const korva::RecordSetPtr &list); // the caller's list, searched only

signals:
    // "OFFICER": INSP_ID, INSP_NME_LST, INSP_NME_FRST, INSP_NME_MDL_INT
    void SendOK(const korva::RecordSetPtr &officers);
    void SendCancel();

private:
    void buildControls();
    void Form_Load();
    void Form_Unload();
    void RefreshAddOfficersGrid();
    void SetGridBolding(DataGrid *grid);
    bool NewOfficer();
    void ftOfficerSelect_OfficerSelected();
    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdClear_Click();

    KORVA_OfficerSelect *ftOfficerSelect = nullptr;
    DataControl *adoAddOfficers = nullptr;
    DataGrid *grdAddOfficers = nullptr;
    QPushButton *cmdClear = nullptr;
    QPushButton *cmdOK = nullptr;
    QPushButton *cmdCancel = nullptr;

    RecordSetPtr m_officers;   // the added officers, "OFFICER"
    RecordSetPtr m_callerList; // officers chosen elsewhere, only searched
};

} // namespace korva
