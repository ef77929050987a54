#include "hostservices.h"

#include "shellwindow.h"

namespace korva {

void ShellHostServices::notifyHost(int what, bool value)
{
    if (m_window && what == HostNote::SaveAllowed)
        m_window->setSaveAllowed(value);
}

void ShellHostServices::setToolbarButton(int button, bool flag, const QString &documentId)
{
    if (m_window)
        m_window->setToolbarButton(button, flag, documentId);
}

void ShellHostServices::leave(bool flag)
{
    if (m_window)
        m_window->documentLeaving(flag);
}

} // namespace korva
