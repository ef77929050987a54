#pragma once

#include "platform/recordset.h"

#include <QDialog>

namespace korva {

class frmAssignForward : public QDialog {
    Q_OBJECT
public:
    explicit frmAssignForward(QWidget *parent = nullptr);
    ~frmAssignForward() override;

    void AdjustDueDate(qint16 days);
    void AdjustExpirationDate(qint16 days);
    void PassParameters(const QString &parameters);
    void mEventAddOfficer_SendOK(const korva::RecordSetPtr &officers);

signals:
    void SendOK();
    void SendCancel();
};

} // namespace korva
