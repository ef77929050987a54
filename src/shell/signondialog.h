#pragma once

#include <QDialog>

#include <functional>

class QLabel;
class QLineEdit;
class QPushButton;

namespace korva {

// Officer number and password for the networked service. The attempt runs while the dialog
// stays open, so that a refusal is read beside the fields and the officer tries again.
class SignOnDialog : public QDialog {
    Q_OBJECT
public:
    // Signs on; the refusal in the user's words, or an empty text when signed on.
    using Attempt = std::function<QString(int officer, const QString &password)>;

    SignOnDialog(int officer, const QString &where, Attempt attempt, QWidget *parent = nullptr);

    int officer() const;

protected:
    void reject() override;

signals:
    void SendOK();
    void SendCancel();

private:
    void cmdOK_Click();
    void updateButtons();
    void showProblem(const QString &problem);

public:
    QLineEdit *txtOfficer = nullptr;
    QLineEdit *txtPassword = nullptr;
    QLabel *lblProblem = nullptr;
    QPushButton *cmdOK = nullptr;
    QPushButton *cmdCancel = nullptr;

private:
    Attempt m_attempt;
};

} // namespace korva
