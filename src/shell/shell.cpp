#include "shell.h"

#include "shellsession.h"
#include "shellwindow.h"
#include "signondialog.h"

#include "document/korva_assignmaint.h"
#include "platform/controls/datagrid.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProgressDialog>
#include <QTimer>

#include <cstdio>

namespace korva {

namespace {

constexpr int kScreenshotWaitMs = 20000;

// A progress window for the few seconds that a first run spends making the demo data.
class DemoProgressWindow {
public:
    void update(const QString &stage, qint64 done, qint64 total)
    {
        if (!m_dialog) {
            m_dialog = std::make_unique<QProgressDialog>();
            m_dialog->setWindowTitle(QStringLiteral("Korva Assignments"));
            m_dialog->setCancelButton(nullptr);
            m_dialog->setMinimumDuration(0);
            m_dialog->setMinimumWidth(420);
        }
        m_dialog->setLabelText(
            QStringLiteral("Creating the demo database on first run: %1 ...").arg(stage));
        m_dialog->setRange(0, total > 0 ? 1000 : 0);
        if (total > 0)
            m_dialog->setValue(int(qMin<qint64>(1000, done * 1000 / total)));
        QApplication::processEvents();
    }

private:
    std::unique_ptr<QProgressDialog> m_dialog;
};

// Saves a picture of the window once its list has rows (or the wait is over), then quits.
void grabWhenListed(ShellWindow *window, const QString &file)
{
    auto *timer = new QTimer(window);
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    QObject::connect(timer, &QTimer::timeout, window, [window, file, timer, clock] {
        KORVA_AssignMaint *document = window->document();
        const DataGrid *list =
            document ? document->findChild<DataGrid *>(QStringLiteral("grdAssignment")) : nullptr;
        const bool listed = list && list->rowCount() > 0;
        const bool late = clock->elapsed() > kScreenshotWaitMs;
        if (!listed && !late)
            return;
        timer->stop();
        const bool saved = window->grab().save(file);
        if (!saved)
            std::fprintf(stderr, "korva: could not save the picture to %s\n", qPrintable(file));
        else if (!listed)
            std::fprintf(stderr, "korva: the list did not load; the picture shows it empty\n");
        QApplication::exit(saved && listed ? ExitCode::Ok : ExitCode::NoScreenshot);
    });
    timer->start(200);
}

// The reason goes to the log as well: a box alone is lost when nobody watches the screen.
int refuse(ShellSession &session, int exitCode)
{
    std::fprintf(stderr, "korva: %s\n", qPrintable(session.errorText()));
    // A picture run is unattended: a box would wait for nobody.
    if (session.options().screenshot.isEmpty())
        session.messageBoxes().msgBox(session.errorText(), MsgStyle::Critical,
                                      ShellSession::applicationTitle());
    return exitCode;
}

// The networked service wants the officer's password. An unattended run (a picture) takes it
// from KORVA_PASSWORD, as nobody is there to type it.
bool askPassword(ShellSession &session)
{
    const QString given = qEnvironmentVariable("KORVA_PASSWORD");
    if (!given.isEmpty() || !session.options().screenshot.isEmpty()) {
        const QString problem = session.signOnWithPassword(session.options().officerId, given);
        if (!problem.isEmpty())
            std::fprintf(stderr, "korva: %s\n", qPrintable(problem));
        return problem.isEmpty();
    }
    SignOnDialog dialog(session.options().officerId, session.options().broker,
                        [&session](int officer, const QString &password) {
                            return session.signOnWithPassword(officer, password);
                        });
    return dialog.exec() == QDialog::Accepted;
}

} // namespace

int startShell(ShellSession &session, std::unique_ptr<ShellWindow> &window)
{
    DemoProgressWindow progress;
    session.setDemoProgress([&progress](const QString &stage, qint64 done, qint64 total) {
        progress.update(stage, done, total);
    });
    if (!session.prepareDatabase())
        return refuse(session, ExitCode::NoDatabase);
    session.setDemoProgress({});
    if (session.options().networked() && !askPassword(session))
        return ExitCode::SignOnFailed;
    if (!session.signOn())
        return refuse(session, ExitCode::SignOnFailed);
    window = session.openWindow();
    window->show();
    if (session.createdDemo())
        window->showStatus(QStringLiteral("A new demo database was created."));
    return ExitCode::Ok;
}

int runShell(const StartOptions &options)
{
    ShellSession session(options);
    std::unique_ptr<ShellWindow> window;
    if (const int failed = startShell(session, window))
        return failed;
    if (!options.screenshot.isEmpty())
        grabWhenListed(window.get(), options.screenshot);
    const int code = QApplication::exec();
    window.reset();
    return code;
}

} // namespace korva
