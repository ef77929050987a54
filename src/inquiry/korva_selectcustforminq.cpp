#include "inquiry/korva_selectcustforminq.h"

namespace korva {

KORVA_SelectCustFormInq::KORVA_SelectCustFormInq(QWidget *parent)
    : QDialog(parent)
{}

KORVA_SelectCustFormInq::~KORVA_SelectCustFormInq() = default;

void KORVA_SelectCustFormInq::setDocumentType(const QString &) {}
QString KORVA_SelectCustFormInq::DocumentNumber() const
{
    return {};
}
QString KORVA_SelectCustFormInq::DueAmount() const
{
    return {};
}
QDate KORVA_SelectCustFormInq::LastPaymentDate() const
{
    return {};
}
QString KORVA_SelectCustFormInq::Status() const
{
    return {};
}
QDate KORVA_SelectCustFormInq::StopDate() const
{
    return {};
}
bool KORVA_SelectCustFormInq::isCancelled() const
{
    return false;
}

} // namespace korva
