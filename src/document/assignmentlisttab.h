#pragma once

#include "platform/broker.h"
#include "platform/recordset.h"

#include <QDate>
#include <QList>
#include <QWidget>

#include <array>

class QCheckBox;
class QPushButton;
class QComboBox;
class QRadioButton;
class QSettings;

namespace korva {

class AssignmentListTools;
class DataControl;
class DataGrid;
class GridRow;
class KORVA_DTP;

// The assignment list tab (index 0) of KORVA_AssignMaint: the search inputs, the list and
// the row commands' buttons. The tab decorates and narrows the rows it shows; the document
// sends the searches and runs the commands. Its procedures report under the document's
// source texts ("KORVA_AssignMaint.RefreshGrid", ...), since to the user they are the
// document's.
class AssignmentListTab : public QWidget {
    Q_OBJECT
public:
    explicit AssignmentListTab(QWidget *parent = nullptr);
    ~AssignmentListTab() override;

    // Officer whose assignments are listed (the signed-on officer, 16-bit).
    void setOfficerId(qint16 id);

    // Start-up, at the document's first show.
    void setUpGrid();                         // style sets, widths and bolding of the list
    void initialiseDates(const QDate &today); // "from" empty, "to" today
    void setClosersIndicator(bool closer);    // chkBox(2): enabled for ASSIGNMENTCLOSERS
    void SetGridBolding();                    // bold text, the "UNBOLD" set on every column
    void chainTabOrder();

    // The search: whether the range is usable, and the keys of the list query.
    bool datesInOrder() const;
    QList<RequestParameter> searchKeys() const;
    bool receivedChosen() const;

    // Shows the rows of a list reply, narrowed to the officer when that option is chosen.
    void showRows(const RecordSetPtr &rows);
    // The row commands' buttons (1 to 5): all on or off, or as the selected row allows.
    void enableRowCommands(bool enable);
    void enableForSelection(const QString &status, bool systemGenerated, int historyCount);

    // For a holder of "AssignmentListAll": whose list to search, chosen beside "All Officers"
    // (the signed-on officer first, then every officer in service by name).
    void enableOfficerChoice(bool allowed);
    qint64 listedOfficer() const;

    // What the officer chose last (received or sent, open, closed, all officers) and the
    // list's columns, kept between sessions; the dates start from today each time.
    void saveRemembered(QSettings &settings) const;
    void restoreRemembered(const QSettings &settings);

    // The list, for the row commands that read the selected row.
    DataGrid *grid() const { return grdAssignment; }
    // The quick filter, the counts and the export above the list.
    AssignmentListTools *tools() const { return listTools; }
    // cmdButton(index); the row commands' buttons are 1 to 5.
    QPushButton *button(int index) const { return cmdButton.at(index); }

    // cmdButton's elements on this tab.
    static constexpr int kSearch = 0;
    static constexpr int kForward = 1;
    static constexpr int kReply = 2;
    static constexpr int kClose = 3;
    static constexpr int kReopen = 4;
    static constexpr int kHistory = 5;

signals:
    // cmdButton(index) was clicked.
    void commandClicked(int index);

private:
    void createControls();
    void connectHandlers();
    void grdAssignment_RowLoaded(GridRow &row);
    void ProcessOptCurrentOfficer();
    void ProcessOptAllOfficers();
    QString officerFilter() const;

    // optButton's and dtpFTDate's elements on this tab.
    static constexpr int kOpen = 1;
    static constexpr int kClosed = 2;
    static constexpr int kReceived = 3;
    static constexpr int kFrom = 0;
    static constexpr int kTo = 1;
    // chkBox(2) alone: the read-only indicator "Can close any assignment".
    static constexpr int kClosesAny = 2;

    // Control arrays by the indexes the whole document uses; other elements are null.
    std::array<QPushButton *, 12> cmdButton{};  // 0 to 5 here
    std::array<QRadioButton *, 10> optButton{}; // 1, 2, 3 here
    std::array<KORVA_DTP *, 5> dtpFTDate{};     // 0, 1 here
    QRadioButton *optSent = nullptr;            // partner of optButton(3): the sent list
    QRadioButton *optCurrentOfficer = nullptr;  // narrow the shown rows to the officer
    QRadioButton *optAllOfficers = nullptr;
    QComboBox *cboListOfficer = nullptr; // whose list, for those who may see anyone's
    std::array<QCheckBox *, 3> chkBox{};
    DataControl *adoAssignment = nullptr;
    DataGrid *grdAssignment = nullptr;
    AssignmentListTools *listTools = nullptr;
    qint16 m_officerId = 0;
};

} // namespace korva
