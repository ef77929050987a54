#pragma once

#include "platform/services.h"

#include <QPointer>

namespace korva {

class ShellWindow;

// What a hosted document may tell its host through a host notification.
namespace HostNote {
inline constexpr int SaveAllowed = 7; // the entry is acceptable: the save action may be on
} // namespace HostNote

// The shell's end of a hosted document's calls (host notifications, toolbar, leave step),
// handed on to the main window while it lives; calls after it is gone are dropped.
class ShellHostServices : public HostNotify, public ShellServices {
public:
    void setWindow(ShellWindow *window) { m_window = window; }
    ShellWindow *window() const { return m_window; }

    void notifyHost(int what, bool value) override;
    void setToolbarButton(int button, bool flag, const QString &documentId) override;
    void leave(bool flag) override;

private:
    QPointer<ShellWindow> m_window;
};

} // namespace korva
