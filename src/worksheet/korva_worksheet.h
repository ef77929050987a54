#pragma once

#include "platform/broker.h"

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

class KORVA_DTP;
struct RefundFormValues;

// The refund worksheet: one refund of a customer's excess funds, moved one step along its
// status chain per save ("0" prepared → "1" verified → "2" approved → "3" issued as "4"
// refunded or "T" transferred → "5" mailed), voided ("V") or printed.
class KORVA_WorkSheet : public QDialog {
    Q_OBJECT
public:
    explicit KORVA_WorkSheet(QWidget *parent = nullptr);
    ~KORVA_WorkSheet() override;

    // customer id, status (STTS_CD), refund number, open mode ("O": may be edited and saved)
    void LoadMe(const QString &customerId, const QString &status, const QString &refundNumber,
                const QString &openMode);
    QString CustomerID() const;
    void setCustomerID(const QString &id); // ignores an empty value
    void SetLoadedFromOutSide(bool flag);
    bool GetSavedVoidedFlag() const;
    void SetSavedVoidedFlag(bool flag);
    bool SaveData();
    bool DataChanged(); // always false
    QString GetWorkSheetforPrint();
    void PrintWorksheet();

    // Broker events of mZelbMessage, public as the host may forward them.
    void mZelbMessage_DataReady(const QString &identity);
    void mZelbMessage_MsgTimeout();

    // Control events, public so that the buttons' wiring and tests share one entry.
    void mCmdButton_Click(int index);
    void mTxt_LostFocus(int index);
    void CheckEdit();

    // What the last CheckEdit gathered; one message per failed rule, each ending in CRLF.
    const QString &errorText() const { return m_errorText; }
    bool errorFlag() const { return m_errorFlag; }
    // The status code as the form holds it now (advanced while a save is in flight).
    const QString &statusCode() const { return m_status; }
    const QString &action() const { return m_action; }
    const QString &pendingMessageId() const { return m_pendingMessageId; }
    bool numberPending() const { return m_numberPending; }
    bool savePending() const { return m_savePending; }

public:
    BrokerMessage *mZelbMessage = nullptr;

protected:
    void showEvent(QShowEvent *event) override;
    void done(int result) override;

private:
    // Layout (worksheet_layout.cpp).
    void buildControls();
    void wireEvents();
    void SetTabs();

    // Opening, details and reply (worksheet_load.cpp).
    void Form_Load();
    void Form_Unload();
    void applyStatusControls();
    void SendInProgressRefundPI();
    void FillRefundWorkSheetInfo(const RecordSetPtr &refund);
    void GetFormNumber(const QString &text);
    void GetFormNumber();
    void stepStatusBack();

    // Checks (worksheet_checks.cpp).
    void DefaultFieldColor();

    // Save and void (worksheet_save.cpp).
    RefundFormValues formValues() const;
    void LoadRefundDTD(const RecordSetPtr &rs);
    void LoadVoidRefundDTD(const RecordSetPtr &rs);
    void UpdateTimeout();
    void PendingSave(bool flag);

    QString signedOnOfficer() const;
    QString messageIdentity() const;
    QString numberService() const;
    void setOfficer(int label, const QString &id);
    void setComment(int index, const QString &text);
    QString comment(int index) const;

    // Control arrays by index, as the form's handlers address them; others reach them by
    // their objectNames ("mLblData(6)").
    std::array<QLabel *, 13> mLblData{};
    std::array<QRadioButton *, 5> mRdo{};
    std::array<QPlainTextEdit *, 2> mTxtRefund{};
    std::array<QLineEdit *, 1> mTxt{};
    std::array<KORVA_DTP *, 2> KORVA_DTP1{};
    std::array<QPushButton *, 4> mCmdButton{};
    std::array<QGroupBox *, 3> mFraRefund{}; // receiver, officers, the issue frame
    std::array<QGroupBox *, 2> mFra{};       // element 1 alone: Transferred / Refunded

    // The name beside each officer id (mLblData(7) to mLblData(10)), for reading only.
    std::array<QLabel *, 4> mLblOfficerName{};

    // mLblData's elements, by what they show.
    static constexpr int kRefundNumber = 0;
    static constexpr int kCustomerName = 1;
    static constexpr int kAddress = 2;
    static constexpr int kCity = 3;
    static constexpr int kState = 4;
    static constexpr int kZip = 5;
    static constexpr int kAmount = 6;
    static constexpr int kPreparer = 7; // 7 to 10: the officer of each step
    static constexpr int kVerifier = 8;
    static constexpr int kApprover = 9;
    static constexpr int kRefunder = 10;
    static constexpr int kStatusBanner = 11;
    static constexpr int kReceiptNumber = 12;

    QString m_status = QStringLiteral("0"); // a new refund is being prepared
    QString m_customerId;
    QString m_refundNumber;
    QString m_pendingMessageId;
    QString m_action;
    QString m_openMode;
    QString m_errorText;
    bool m_errorFlag = false;
    bool m_numberPending = false;
    bool m_savedVoided = false;
    bool m_timedOut = false;
    bool m_loadedFromOutside = false;
    bool m_savePending = false;
    bool m_formLoaded = false;
    bool m_unloaded = false;
    std::array<bool, 3> m_enabledBeforeSave{};
    QLabel *m_lblMailDate = nullptr; // hidden and shown with the mail date picker
};

} // namespace korva
