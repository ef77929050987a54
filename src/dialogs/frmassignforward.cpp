#include "dialogs/frmassignforward.h"

namespace korva {

frmAssignForward::frmAssignForward(QWidget *parent)
    : QDialog(parent)
{}
frmAssignForward::~frmAssignForward() = default;
void frmAssignForward::AdjustDueDate(qint16) {}
void frmAssignForward::AdjustExpirationDate(qint16) {}
void frmAssignForward::PassParameters(const QString &) {}
void frmAssignForward::mEventAddOfficer_SendOK(const RecordSetPtr &) {}

} // namespace korva
