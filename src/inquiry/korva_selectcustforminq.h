#pragma once

#include <QDate>
#include <QDialog>
#include <QString>

namespace korva {

// Finds one of a customer's forms to reference from an assignment. The caller reads the
// chosen form through the read-only properties after the modal run.
class KORVA_SelectCustFormInq : public QDialog {
    Q_OBJECT
public:
    explicit KORVA_SelectCustFormInq(QWidget *parent = nullptr);
    ~KORVA_SelectCustFormInq() override;

    void setDocumentType(const QString &code); // sets mFtcboDocType(0) to that code

    QString DocumentNumber() const;
    QString DueAmount() const; // currency text as read, e.g. "1234.50"
    QDate LastPaymentDate() const;
    QString Status() const;
    QDate StopDate() const;
    bool isCancelled() const;

signals:
    // The status object's events: status-bar texts for the application.
    void UpdateStatus(const QString &text);
    void UpdateStatusMsg(const QString &text);
};

} // namespace korva
