#include "korva_worksheet.h"

#include "platform/errors.h"
#include "platform/platform.h"

#include <QCloseEvent>
#include <QShowEvent>

namespace korva {

KORVA_WorkSheet::KORVA_WorkSheet(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("KORVA_WorkSheet"));
    mZelbMessage = new BrokerMessage(this);
    buildControls();
    wireEvents();
}

KORVA_WorkSheet::~KORVA_WorkSheet() = default;

QString KORVA_WorkSheet::CustomerID() const
{
    return m_customerId;
}

void KORVA_WorkSheet::setCustomerID(const QString &id)
{
    if (!id.isEmpty())
        m_customerId = id;
}

void KORVA_WorkSheet::SetLoadedFromOutSide(bool flag)
{
    m_loadedFromOutside = flag;
}

bool KORVA_WorkSheet::GetSavedVoidedFlag() const
{
    return m_savedVoided;
}

void KORVA_WorkSheet::SetSavedVoidedFlag(bool flag)
{
    m_savedVoided = flag;
}

bool KORVA_WorkSheet::DataChanged()
{
    guard(u"KORVA_WorkSheet.DataChanged",
          [&] { platform().status->StatusText(QStringLiteral("Checking for data changes")); });
    // The worksheet saves step by step through its own buttons; the host never has to ask.
    return false;
}

// The first show loads the form unless LoadMe has done so already.
void KORVA_WorkSheet::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (!m_formLoaded)
        Form_Load();
}

void KORVA_WorkSheet::closeEvent(QCloseEvent *event)
{
    Form_Unload();
    QDialog::closeEvent(event);
}

QString KORVA_WorkSheet::messageIdentity() const
{
    return platform().user->applicationPrefix() + QStringLiteral("WorkSheet");
}

} // namespace korva
