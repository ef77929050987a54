#pragma once

#include "platform/recordset.h"
#include "platform/textboxevents.h"

#include <QDialog>
#include <QString>

#include <array>

class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;

namespace korva {

class AssignmentInfoFrame;
class BrokerMessage;
class DataControl;
class DataGrid;
class GridRow;
class KORVA_CodesCombo;
class KORVA_DTP;

// What Save says of each addressee box; a marked box tells the same as its tooltip.
namespace ForwardTexts {
inline constexpr auto Officer = "Please enter a valid Officer Id";
inline constexpr auto Agency = "Please enter a valid Agency Code";
inline constexpr auto Troop = "Please enter a valid Troop/District";
} // namespace ForwardTexts

// Passes the assignment selected in the document's list on to officers, an agency or a
// troop/district: one "ASSIGNMENT" update, the outcome told only by SendOK / SendCancel.
class frmAssignForward : public QDialog, private TextBoxEventSink {
    Q_OBJECT
public:
    explicit frmAssignForward(QWidget *parent = nullptr);
    ~frmAssignForward() override;

    // Offsets only; they are read when the dialog loads, so they come before PassParameters.
    void AdjustDueDate(qint16 days);
    void AdjustExpirationDate(qint16 days);
    void PassParameters(const QString &parameters);
    void mEventAddOfficer_SendOK(const korva::RecordSetPtr &officers);

    void mZelbMessage_DataReady(const QString &identity);
    void mZelbMessage_MsgTimeout(const QString &identity);

signals:
    void SendOK();
    void SendCancel();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // frmassignforward.cpp: loading, the target and the officer list.
    void ensureLoaded(); // the first touch loads the dialog
    void buildControls();
    void layoutControls();
    void connectHandlers();
    void Form_Load();
    void SetTabOrder();
    void optButton_Click(int index);
    void cmdButton_Click(int index);
    void bindOfficers(RecordSetPtr list);
    void clearOfficers();
    int selectedOption() const; // -1 when none

    // frmassignforward_input.cpp: typing, pasting and the dates.
    int textBoxIndex(const QObject *object) const;
    void txtBox_MouseDown(int index, Qt::MouseButton button) override;
    void txtBox_MouseUp(int index) override;
    void txtBox_KeyDown(int index, int keyCode, int shift) override;
    void txtBox_KeyUp(int index) override;
    bool txtBox_KeyPress(int index, int &keyAscii) override; // false: the key is dropped
    void txtBox_Change(int index);
    void txtBox_LostFocus(int index) override;
    void SplitTroopDistrict();
    bool CheckTroopAndDistrict();
    void CheckDates(int index);
    QDate today() const;

    // frmassignforward_save.cpp: the check, the request and its reply.
    bool CheckEdits();
    void SaveDataForward();

    AssignmentInfoFrame *fraFrame0 = nullptr; // "fraFrame(0)"
    std::array<QGroupBox *, 4> fraFrame{};    // 1 to 3 here
    std::array<QRadioButton *, 3> optButton{};
    std::array<QLineEdit *, 2> txtBox{}; // txtBox(2), the comment, is txtComment
    QPlainTextEdit *txtComment = nullptr;
    std::array<QPushButton *, 4> cmdButton{};
    KORVA_CodesCombo *cboFTBox0 = nullptr; // "cboFTBox(0)"
    std::array<KORVA_DTP *, 3> dtpFTDate{};
    std::array<QLabel *, 3> dateCaptions{}; // lblLabel(20) to (22)
    DataControl *adoOfficers = nullptr;
    DataGrid *grdOfficers = nullptr;
    BrokerMessage *mZelbMessage = nullptr;

    bool m_loaded = false;
    qint16 m_dueOffset = 0;
    qint16 m_expirationOffset = 0;
    QString m_assignmentNumber;
    QString m_typeCode;
    QString m_formTypeCode;
    QString Troop;
    QString District;
    QString m_formIdentity;
    QString m_messageId;
    bool m_timedOut = false;
    bool m_mousePaste = false;
    bool m_keyPaste = false;
    QString m_textBeforePaste;
};

} // namespace korva
