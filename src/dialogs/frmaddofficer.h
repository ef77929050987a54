#pragma once

#include "platform/recordset.h"

#include <QDialog>

namespace korva {

class frmAddOfficer : public QDialog {
    Q_OBJECT
public:
    explicit frmAddOfficer(QWidget *parent = nullptr);
    ~frmAddOfficer() override;

    void SetOfficerList(const korva::RecordSetPtr &list); // the caller's list, searched only

signals:
    // "OFFICER": INSP_ID, INSP_NME_LST, INSP_NME_FRST, INSP_NME_MDL_INT
    void SendOK(const korva::RecordSetPtr &officers);
    void SendCancel();
};

} // namespace korva
