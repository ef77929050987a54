#include "signondialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <limits>

namespace korva {

SignOnDialog::SignOnDialog(int officer, const QString &where, Attempt attempt, QWidget *parent)
    : QDialog(parent)
    , m_attempt(std::move(attempt))
{
    setWindowTitle(QStringLiteral("Korva Assignments - Sign On"));
    setObjectName(QStringLiteral("SignOnDialog"));
    txtOfficer = new QLineEdit(QString::number(officer), this);
    txtOfficer->setObjectName(QStringLiteral("txtOfficer"));
    txtOfficer->setValidator(new QIntValidator(1, std::numeric_limits<qint16>::max(), txtOfficer));
    txtPassword = new QLineEdit(this);
    txtPassword->setObjectName(QStringLiteral("txtPassword"));
    txtPassword->setEchoMode(QLineEdit::Password);
    lblProblem = new QLabel(this);
    lblProblem->setObjectName(QStringLiteral("lblProblem"));
    lblProblem->setWordWrap(true);
    lblProblem->setTextInteractionFlags(Qt::TextSelectableByMouse);
    lblProblem->setStyleSheet(QStringLiteral("color: #a00000"));

    auto *buttons = new QDialogButtonBox(this);
    cmdOK = buttons->addButton(QStringLiteral("Sign On"), QDialogButtonBox::AcceptRole);
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdOK->setDefault(true);
    cmdCancel = buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    connect(cmdOK, &QPushButton::clicked, this, &SignOnDialog::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &SignOnDialog::reject);
    connect(txtOfficer, &QLineEdit::textChanged, this, &SignOnDialog::updateButtons);
    connect(txtPassword, &QLineEdit::textChanged, this, &SignOnDialog::updateButtons);

    auto *form = new QFormLayout;
    form->addRow(QStringLiteral("Officer:"), txtOfficer);
    form->addRow(QStringLiteral("Password:"), txtPassword);
    auto *layout = new QVBoxLayout(this);
    auto *whereLabel = new QLabel(QStringLiteral("Service: %1").arg(where), this);
    whereLabel->setObjectName(QStringLiteral("lblService"));
    layout->addWidget(whereLabel);
    layout->addLayout(form);
    layout->addWidget(lblProblem);
    layout->addWidget(buttons);
    setMinimumWidth(380);
    txtPassword->setFocus();
    updateButtons();
}

int SignOnDialog::officer() const
{
    return txtOfficer->text().toInt();
}

void SignOnDialog::updateButtons()
{
    cmdOK->setEnabled(officer() > 0 && !txtPassword->text().isEmpty());
}

void SignOnDialog::cmdOK_Click()
{
    if (!cmdOK->isEnabled())
        return;
    cmdOK->setEnabled(false);
    setCursor(Qt::WaitCursor);
    const QString problem = m_attempt ? m_attempt(officer(), txtPassword->text()) : QString();
    unsetCursor();
    // A password is never left in a field once it has been tried.
    txtPassword->clear();
    if (!problem.isEmpty()) {
        showProblem(problem);
        txtPassword->setFocus();
        updateButtons();
        return;
    }
    emit SendOK();
    accept();
}

// Word wrap breaks only at blanks: a long address or file path would widen the dialog past
// the screen, so it may break after its slashes too. A top-level window does not grow for a
// label's height on its own, so the dialog is made tall enough to show the whole text.
void SignOnDialog::showProblem(const QString &problem)
{
    QString shown = problem;
    shown.replace(u'/', QStringLiteral("/\u200B"));
    lblProblem->setText(shown);
    lblProblem->setAccessibleDescription(problem);
    layout()->activate();
    const int needed = layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(width())
                                                     : layout()->totalSizeHint().height();
    if (height() < needed)
        resize(width(), needed);
}

void SignOnDialog::reject()
{
    emit SendCancel();
    QDialog::reject();
}

} // namespace korva
