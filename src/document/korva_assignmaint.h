#pragma once

#include "common/conventions.h"
#include "platform/broker.h"

#include <QPointer>
#include <QWidget>

#include <array>

class QCheckBox;
class QLabel;
class QPushButton;
class QRadioButton;
class QTabWidget;

namespace korva {

class AssignmentEntryTab;
class AssignmentListTab;
class DataControl;
class DataGrid;
class KORVA_DTP;
class KORVA_SelectCustFormInq;
class KORVA_WorkSheet;
class frmAddOfficer;
class frmAssignForward;
class frmAssignHistory;
class frmAssignROC;

// The assignment-maintenance document hosted by the shell.
class KORVA_AssignMaint : public QWidget {
    Q_OBJECT
public:
    explicit KORVA_AssignMaint(QWidget *parent = nullptr);
    ~KORVA_AssignMaint() override;

    // The host contract, in interface order.
    bool DataChanged();
    void BeforeUnload();
    bool SaveData();
    bool CloseDocument();
    bool NeedSave();
    void FileNew();
    void BeforeUnload_BackupForPersist();
    QString AssembleParameters();

    // The question before leaving unsaved work; a refusal leaves as the quiet error
    // (kQuietError) thrown to the caller.
    void SaveAssignment();

    // The hosting container's Tag and Caption, read at the first show.
    void setContainer(const QString &tag, const QString &caption);
    static QString documentIdentity(); // "KORVA_AssignMaint"
    const RequestFlags &requestFlags() const { return m_flags; }

protected:
    void showEvent(QShowEvent *event) override;

private:
    // Layout (assignmaint_layout.cpp).
    void buildControls();
    void wireEvents();

    // Lifecycle and host contract (assignmaint_lifecycle.cpp, assignmaint_host.cpp).
    void UserDocument_Show();
    void InitializeSettings();
    void ApplyStartupRights();
    void SetTabOrder();
    void ConfigureToolbar(bool flag);
    void SaveNewAssignment();
    bool askToSave(); // true when the answer was Yes and the save was sent
    void EnableCmdButtons(bool enable);
    void cmdButton_Click(int index);

    // Search and list (assignmaint_list.cpp); the list's own rows are the list tab's.
    void LoadMyAssignments();
    void RefreshGrid();
    void grdAssignment_Click();
    void grdAssignment_RowChange();
    void mZelbMessage_DataReady(const QString &identity);
    void mZelbMessage_MsgTimeout(const QString &identity);

    // ---- Row commands, the dialogs they open and the dialogs' outcomes ----------------------
    // (assignmaint_commands.cpp, assignmaint_comments.cpp, assignmaint_events.cpp,
    // assignmaint_worksheet.cpp)
public:
    bool historyPending() const { return HistoryPending; }
    // The text read back from the last request sent.
    const QString &readBack() const { return m_readBack; }

private:
    void ProcessCmdForwardClick();
    void ProcessCmdReplyClick();
    void ProcessCmdCloseClick();
    void ProcessCmdOpenClick();
    void ProcessCmdHistoryClick();
    void ProcessCmdSelectDocClick();
    void ProcessCmdSelectOfficersClick();
    void ProcessCmdClearClick();
    void ProcessCmdCopyComments();
    void ProcessCmdPasteComments();
    void ProcessCmdSpellCheck();
    bool mayCloseSelected() const;
    // Opens frmAssignROC in `mode`; `eventObject` and the two sinks hear its outcome.
    using Sink = void (KORVA_AssignMaint::*)();
    void showAssignROC(const QString &mode, QPointer<frmAssignROC> &eventObject, Sink ok,
                       Sink cancel);
    void LoadHistory();
    void grdAssignment_Activated();
    void LoadRefundWorkSheetForm();

    void mEventReply_SendOK();
    void mEventReply_SendCancel();
    void mEventOpen_SendOK();
    void mEventOpen_SendCancel();
    void mEventClose_SendOK();
    void mEventClose_SendCancel();
    void mEventForward_SendOK();
    void mEventForward_SendCancel();
    void mEventAddOfficer_SendOK(const RecordSetPtr &officers);
    void mEventAddOfficer_SendCancel();
    void unloadAssignROC();
    void unloadForward();
    void unloadAddOfficer();

    // One reference per open dialog; the event objects are the dialogs that report back.
    QPointer<frmAssignROC> m_frmAssignROC;
    QPointer<frmAssignForward> m_frmAssignForward;
    QPointer<frmAssignHistory> m_frmAssignHistory;
    QPointer<frmAddOfficer> m_frmAddOfficer;
    QPointer<KORVA_SelectCustFormInq> m_frmSelectCustForm;
    QPointer<frmAssignROC> mEventReply;
    QPointer<frmAssignROC> mEventOpen;
    QPointer<frmAssignROC> mEventClose;
    QPointer<frmAssignForward> mEventForward;
    QPointer<frmAddOfficer> mEventAddOfficer;
    QString m_readBack;
    // ---- end of the row commands ------------------------------------------------------------

public:
    // The two tabs; each owns its controls (cmdButton(0) to (5) the list's, (6) to (11) the
    // entry's), found by their objectNames.
    QTabWidget *tabTab = nullptr;
    AssignmentListTab *listTab = nullptr;
    AssignmentEntryTab *entry = nullptr;
    BrokerMessage *mZelbMessage = nullptr;

private:
    RequestFlags m_flags;
    bool HistoryPending = false;
    QString MessageID;
    qint16 m_officerId = 0;
    QString m_containerTag;
    QString m_containerCaption;
    bool m_shown = false;
    bool m_assignmentRight = false;
    bool m_assignmentClosers = false;

    // The selected row, remembered for the row commands.
    QString m_selectedNumber;
    QString m_selectedType;
    QString m_selectedStatus;
    qint16 m_selectedCreator = 0;
    int m_selectedHistoryCount = 0;
};

} // namespace korva
