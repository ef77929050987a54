#pragma once

#include <QDialog>
#include <QString>

#include <array>

class QGroupBox;
class QPlainTextEdit;
class QPushButton;

namespace korva {

class AssignmentInfoFrame;
class BrokerMessage;

// Reply to, close or reopen the assignment selected in the document's list: one comment,
// one assignment update, the outcome told only by SendOK / SendCancel.
class frmAssignROC : public QDialog {
    Q_OBJECT
public:
    explicit frmAssignROC(QWidget *parent = nullptr);

    void InitializeSettings(const QString &mode); // "REPLY", "CLOSE", "OPEN"
    void PassParameters(const QString &parameters);
    void Button(const QString &text); // published, does nothing on purpose

    void mZelbMessage_DataReady(const QString &identity);
    void mZelbMessage_MsgTimeout(const QString &identity);

    QString mode() const { return m_mode; }

protected:
    void reject() override;

signals:
    void SendOK();
    void SendCancel();

private:
    void Form_Load();
    void buildControls();
    void cmdButton_Click(int index);
    void SaveData();

public:
    QGroupBox *fraFrame0 = nullptr; // "fraFrame(0)", the assignment information
    AssignmentInfoFrame *info = nullptr;
    QGroupBox *fraFrame1 = nullptr; // "fraFrame(1)", around the comment
    QPlainTextEdit *txtBox = nullptr;
    std::array<QPushButton *, 2> cmdButton{};
    BrokerMessage *mZelbMessage = nullptr;

private:
    QString m_mode;
    QString m_assignmentNumber;
    QString m_senderId;
    QString m_addresseeId;
    QString m_formIdentity;
    QString m_messageId;
    bool m_timedOut = false;
};

} // namespace korva
