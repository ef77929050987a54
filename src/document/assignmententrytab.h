#pragma once

#include "platform/recordset.h"
#include "platform/textboxevents.h"

#include <QDate>
#include <QString>
#include <QWidget>

#include <array>
#include <functional>

class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;

namespace korva {

class DataControl;
class DataGrid;
class KORVA_CodesCombo;
class GridRow;
class KORVA_DTP;

// The new-assignment tab (index 1) of KORVA_AssignMaint: its controls and the procedures
// that run while the user fills it. The document owns it and reaches it only through the
// operations below; its procedures report under the document's source texts
// ("KORVA_AssignMaint.CheckEdits", ...), since to the user they are the document's.
class AssignmentEntryTab : public QWidget, private TextBoxEventSink {
    Q_OBJECT
public:
    explicit AssignmentEntryTab(QWidget *parent = nullptr);
    ~AssignmentEntryTab() override;

    // Wiring by the document.
    void setForwardButton(QPushButton *button);          // cmdButton(1), see cboFTBox_Change(1)
    void setDataChangedTest(std::function<bool()> test); // the document's DataChanged
    // Officer whose assignments are being composed (the signed-on officer, 16-bit).
    void setOfficerId(qint16 id);

    // Whether anything was entered, compared with the cleared state.
    bool isChanged() const;
    // Runs every check, rebuilds the error text, marks controls, notifies the host (7).
    void CheckEdits();
    const QString &errorText() const { return m_errorText; }
    void ClearNewAssignment();
    // Start-up: the type combo from the type table, the reference types and agencies from
    // their code tables; read at the document's first show, not at construction.
    void loadCodeLists();
    void initialiseDates(const QDate &today); // start-up: dates to today, today as lower bound
    void clearOfficers();                     // empty "OFFICER" list on adoOfficers
    // The "ASSIGNMENT" update rows of SaveNewAssignment (one per listed officer). A failure
    // throws ProcError, to be reported by the calling procedure.
    RecordSetPtr buildAssignmentRows();
    // The type-code formatter and type lookup, shared with the forward command.
    void FormatTypeCode(QString &code);
    void GetAdditionalInfoTxt(const QString &code);
    // The day counts of the type looked up last: the component-wide ones, which the forward
    // dialog's date rules read as well.
    qint16 dueDayCount() const;
    qint16 expirationDayCount() const;
    bool creatorClosesOnly() const { return CreatorClosesOnly; }
    bool systemGenerated() const { return SystemGenerated; }

    // Control arrays of this tab (elements of the document's arrays; others are null).
    std::array<KORVA_CodesCombo *, 3> cboFTBox{};
    std::array<QLineEdit *, 5> txtBox{};        // txtBox(3) is the comment box below
    QPlainTextEdit *txtComment = nullptr;       // objectName "txtBox(3)"
    std::array<KORVA_DTP *, 5> dtpFTDate{};     // 2, 3, 4 here
    std::array<QRadioButton *, 10> optButton{}; // 7, 8, 9 here
    std::array<QPushButton *, 12> cmdButton{};  // 6 to 11 here
    DataControl *adoOfficers = nullptr;
    DataGrid *grdOfficers = nullptr;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // Construction and layout (assignmententrytab.cpp).
    void createControls();
    void layoutControls();
    void connectHandlers();
    void setCaptionsAndLimits();
    void UpdateAssignToInputs(); // enables the inputs of the chosen "assign to" option
    QDate today() const;

    // Assignment types (assignmententrytab_types.cpp).
    RecordSetPtr assignmentTypes(); // the cached rows, opened on first use
    void LoadTypeCombo();
    void cboFTBox_Change(int index);
    void cboFTBox_LostFocus(int index);
    void cboFTBox_Validate(int index);
    void setForwardButtonState();

    // Dates (assignmententrytab_dates.cpp).
    void CheckDates(int index);
    void setAllDatesToToday();

    // Text boxes (assignmententrytab_input.cpp).
    int textBoxIndex(const QObject *object) const; // -1 when not a text box of this tab
    int comboIndex(const QObject *object) const;
    void txtBox_MouseDown(int index, Qt::MouseButton button) override;
    void txtBox_MouseUp(int index) override;
    void txtBox_KeyDown(int index, int keyCode, int shift) override;
    void txtBox_KeyUp(int index) override;
    bool txtBox_KeyPress(int index, int &keyAscii) override; // false: the key is dropped
    void txtBox_Change(int index);
    void txtBox_LostFocus(int index) override;
    QString boxText(int index) const;

    // Checks (assignmententrytab_checks.cpp).
    void SplitTroopDistrict();
    bool CheckTroopAndDistrict();
    bool officersListed() const;

    bool m_mousePaste = false;
    bool m_keyPaste = false;
    QString m_textBeforePaste;
    QString m_officerTag; // txtBox(1)'s tag: the officer identifier that was accepted
    QString m_errorText;
    bool CreatorClosesOnly = false;
    bool SystemGenerated = false;
    QString Troop;
    QString District;
    RecordSetPtr m_types; // cached assignment-type rows, loaded once
    QPushButton *m_forwardButton = nullptr;
    std::function<bool()> m_dataChanged;
    qint16 m_officerId = 0;
};

} // namespace korva
