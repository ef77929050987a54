#pragma once

#include "platform/recordset.h"

#include <QDate>
#include <QDialog>
#include <QHash>
#include <QString>

#include <array>

class QPushButton;

namespace korva {

class BrokerMessage;
class DataControl;
class DataGrid;
class GridRow;
class KORVA_CodesCombo;
class KORVA_CustSelect;

// Finds one of a customer's forms to reference from an assignment. The caller reads the
// chosen form through the read-only properties after the modal run.
class KORVA_SelectCustFormInq : public QDialog {
    Q_OBJECT
public:
    explicit KORVA_SelectCustFormInq(QWidget *parent = nullptr);
    ~KORVA_SelectCustFormInq() override;

    void setDocumentType(const QString &code); // sets mFtcboDocType(0) to that code

    QString DocumentNumber() const;
    double DueAmount() const; // a currency amount, to four decimal places; 0 until one is taken
    QDate LastPaymentDate() const;
    QString Status() const;
    QDate StopDate() const;
    bool isCancelled() const;

    // Cancel goes the way of mCmdButton(0), whichever way the user leaves.
    void reject() override;

signals:
    // The status object's events: every status-bar text, and the error text of a search the
    // broker refused.
    void UpdateStatus(const QString &text);
    void UpdateStatusMsg(const QString &text);

private:
    // Layout and lifecycle (korva_selectcustforminq.cpp).
    void buildControls();
    void Form_Load();
    void Form_Unload();
    void mCmdButton_Click(int index);
    void takeChosenRow();
    void mSdgDBGrid_RowLoaded(GridRow &row);
    void status(const QString &text);

    // Checks, requests and replies (selectcustforminq_search.cpp).
    void CheckEdit();
    void DefaultFieldColor();
    void mFtcboDocType_Change();
    void KORVA_CustSelect1_SelectionChanged();
    void KORVA_CustSelect1_HasAlerts(bool alerts);
    void searchIfComplete();
    void SendPI();
    void mZelbMessage_DataReady(const QString &identity);
    void mZelbMessage_MsgTimeout(const QString &identity);
    void bindForms(const RecordSetPtr &rows);
    QString documentTypeText() const;

    KORVA_CustSelect *KORVA_CustSelect1 = nullptr;
    std::array<KORVA_CodesCombo *, 1> mFtcboDocType{};
    DataGrid *mSdgGrid = nullptr;
    DataControl *adoForms = nullptr;
    std::array<QPushButton *, 2> mCmdButton{};
    BrokerMessage *mZelbMessage = nullptr;

    QString MessageID;
    QString m_readBack;  // the text read back from the last request
    QString m_replyName; // the record set the reply is expected to carry
    QString mErrorText;
    QHash<QString, QString> m_statusTexts; // "CSTATUS" code -> description
    bool m_busy = false;
    bool m_timedOut = false;
    bool m_cancelled = false;

    QString m_documentNumber;
    QString m_assessmentDue; // read with the rest; no caller has asked for it
    double m_dueAmount = 0;
    QDate m_lastPaymentDate;
    QString m_status;
    QDate m_stopDate;
};

} // namespace korva
