#pragma once

#include "hostservices.h"
#include "startoptions.h"

#include "platform/platform.h"
#include "platform/qtservices.h"

#include <functional>
#include <memory>

namespace korva {

class AsyncBroker;
class Broker;
class NatsBroker;
class BrokerCodeList;
class BrokerFormServices;
class HunspellSpellChecking;
class QtTemplatePrinting;
class ReferenceData;
class SessionUser;
class ShellWindow;

// One signed-on officer's application: the embedded broker over the chosen database, the
// officer's rights and reference data, and the platform's real services. While signed on,
// the session's Platform is the current one; the previous one comes back when it ends.
class ShellSession {
public:
    // stage, done, total
    using Progress = std::function<void(const QString &, qint64, qint64)>;

    explicit ShellSession(StartOptions options);
    ~ShellSession();
    ShellSession(const ShellSession &) = delete;
    ShellSession &operator=(const ShellSession &) = delete;

    // Seams, set before signing on: message boxes that a test answers (not owned), and where
    // the progress of a demo database being made goes.
    void setMessageBoxes(MessageBoxes *boxes);
    void setDemoProgress(Progress progress) { m_progress = std::move(progress); }
    // The folder of the desk's own files (print templates); the user's data folder unless set.
    void setDataFolder(const QString &folder) { m_dataFolder = folder; }
    QString dataFolder() const;

    // Makes the demo database when the SQLite file does not exist yet, or when asked to.
    bool prepareDatabase();
    bool createdDemo() const { return m_createdDemo; }
    // Networked only, before signOn(): proves the officer's password to the service and keeps
    // the session it gives. The refusal in the user's words, or an empty text when signed on.
    QString signOnWithPassword(int officer, const QString &password);
    // Starts the broker, reads the officer and the reference data, installs the platform.
    bool signOn();
    bool isSignedOn() const { return m_signedOn; }
    // The main window for the signed-on officer, wired to the session's status bar and host
    // services. The caller owns it and ends it before the session.
    std::unique_ptr<ShellWindow> openWindow();
    // Why preparing or signing on failed, in words for the user.
    const QString &errorText() const { return m_error; }

    const StartOptions &options() const { return m_options; }
    Platform &platform() { return m_platform; }
    MessageBoxes &messageBoxes() { return *m_boxes; }
    CallbackStatusBar &statusBar() { return m_status; }
    ShellHostServices &hostServices() { return m_host; }
    const SessionUser *user() const { return m_user.get(); }
    QString officerName() const;  // by the grid's name rule (modAssignMaint::ProperName)
    QString databaseText() const; // the connection without its password
    QString sessionText() const;  // officer, region and database, for the status bar

    static QString applicationTitle(); // "Korva Assignments"

private:
    bool fail(const QString &text);
    QString signOnFailure(const QString &reason) const;
    void installServices();

    StartOptions m_options;
    Progress m_progress;
    QString m_error;
    bool m_createdDemo = false;
    bool m_signedOn = false;

    QtMessageBoxes m_qtBoxes;
    MessageBoxes *m_boxes = &m_qtBoxes;
    std::unique_ptr<DialogErrorReporter> m_reporter;
    CallbackStatusBar m_status;
    OverrideCursorPointer m_pointer;
    SystemClock m_clock;
    QtClipboard m_clipboard;
    QtBeeper m_beeper;
    WidgetFieldMarks m_marks;
    StandardKeyFilters m_keys;
    ShellHostServices m_host;
    // Declared in the order they must be made; they end in reverse (the broker last).
    std::unique_ptr<AsyncBroker> m_broker;
    std::unique_ptr<NatsBroker> m_bus;
    Broker *m_active = nullptr; // whichever of the two serves this session
    std::unique_ptr<SessionUser> m_user;
    std::unique_ptr<ReferenceData> m_reference;
    std::unique_ptr<CodeListService> m_codes;
    std::unique_ptr<BrokerFormServices> m_forms;
    std::unique_ptr<HunspellSpellChecking> m_spelling;
    std::unique_ptr<QtTemplatePrinting> m_printing;
    QString m_dataFolder;

    Platform m_platform;
    Platform *m_previous = nullptr;
};

} // namespace korva
