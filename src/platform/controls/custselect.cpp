#include "platform/controls/custselect.h"

namespace korva {

KORVA_CustSelect::KORVA_CustSelect(QWidget *parent)
    : QWidget(parent)
{}

KORVA_CustSelect::~KORVA_CustSelect() = default;

QString KORVA_CustSelect::CustomerID() const
{
    return {};
}
QString KORVA_CustSelect::CustomerName() const
{
    return {};
}

} // namespace korva
