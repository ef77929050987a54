#include "dialogs/frmaddofficer.h"

namespace korva {

frmAddOfficer::frmAddOfficer(QWidget *parent)
    : QDialog(parent)
{}
frmAddOfficer::~frmAddOfficer() = default;
void frmAddOfficer::SetOfficerList(const RecordSetPtr &) {}

} // namespace korva
