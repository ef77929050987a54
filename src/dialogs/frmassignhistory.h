#pragma once

#include "platform/recordset.h"

#include <QDialog>

class QPushButton;

namespace korva {

class AssignmentInfoFrame;
class DataControl;
class DataGrid;
class GridRow;

// The recorded steps of one assignment, newest first, under the assignment itself. It sends
// nothing: the document asks for the history and hands the record over.
class frmAssignHistory : public QDialog {
    Q_OBJECT
public:
    explicit frmAssignHistory(QWidget *parent = nullptr);
    ~frmAssignHistory() override;

    void PassParameters(const QString &parameters);
    // A null `history` is replaced by a new empty "ASSIGNMENT" record set, handed back.
    void LoadAssignmentHistory(korva::RecordSetPtr &history);

protected:
    void resizeEvent(QResizeEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void buildControls();
    void Form_Load();
    void Form_Resize();
    void Form_Unload();
    void SetGridBolding(DataGrid *grid);
    void grdHistory_RowLoaded(GridRow &row);
    void cmdOK_Click();

public:
    AssignmentInfoFrame *fraFrame = nullptr;
    DataControl *adoHistory = nullptr;
    DataGrid *grdHistory = nullptr;
    QPushButton *cmdOK = nullptr;
};

} // namespace korva
