#include "platform/controls/officerselect.h"

namespace korva {

KORVA_OfficerSelect::KORVA_OfficerSelect(QWidget *parent)
    : QWidget(parent)
{}
KORVA_OfficerSelect::~KORVA_OfficerSelect() = default;
QString KORVA_OfficerSelect::OfficerID() const
{
    return {};
}
QString KORVA_OfficerSelect::LastName() const
{
    return {};
}
QString KORVA_OfficerSelect::FirstName() const
{
    return {};
}
QString KORVA_OfficerSelect::MiddleInitial() const
{
    return {};
}

} // namespace korva
