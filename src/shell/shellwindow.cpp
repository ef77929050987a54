#include "shellwindow.h"

#include "common/modassignmaint.h"
#include "document/assignmentlisttab.h"
#include "document/assignmentlisttools.h"
#include "document/korva_assignmaint.h"
#include "platform/platform.h"

#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QLabel>
#include <QMenuBar>
#include <QSettings>
#include <QStatusBar>
#include <QToolBar>

namespace korva {

namespace {

bool actsOnDocument(int button)
{
    return button == ToolbarButton::New || button == ToolbarButton::Copy;
}

} // namespace

ShellWindow::ShellWindow(const QString &officerText, const QString &sessionText, QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("ShellWindow"));
    setWindowTitle(QStringLiteral("%1 - %2").arg(modMessageTitle::MessageTitle(), officerText));
    createActions();
    createStatusBar(sessionText);
    createDocument();
    resize(1200, 750);
    restoreRemembered();
}

void ShellWindow::restoreRemembered()
{
    // Only the application remembers: a window made without its name (a test) starts plain.
    if (QCoreApplication::organizationName().isEmpty())
        return;
    const QSettings settings;
    restoreGeometry(settings.value(QStringLiteral("window/geometry")).toByteArray());
    if (m_document && m_document->listTab)
        m_document->listTab->restoreRemembered(settings);
}

void ShellWindow::saveRemembered() const
{
    if (QCoreApplication::organizationName().isEmpty())
        return;
    QSettings settings;
    settings.setValue(QStringLiteral("window/geometry"), saveGeometry());
    if (m_document && m_document->listTab)
        m_document->listTab->saveRemembered(settings);
}

ShellWindow::~ShellWindow() = default;

KORVA_AssignMaint *ShellWindow::document() const
{
    return m_document;
}

QString ShellWindow::containerTag()
{
    return QStringLiteral("ASSIGNMAINT");
}

QString ShellWindow::containerCaption()
{
    return QStringLiteral("Assignments");
}

void ShellWindow::createDocument()
{
    m_document = new KORVA_AssignMaint(this);
    m_document->setContainer(containerTag(), containerCaption());
    setCentralWidget(m_document);
    if (m_document->listTab)
        connect(m_document->listTab->tools(), &AssignmentListTools::listShown, this, [this] {
            m_newSinceSearch = 0;
            m_newLabel->hide();
        });
}

void ShellWindow::createStatusBar(const QString &sessionText)
{
    statusBar()->setObjectName(QStringLiteral("sbrStatus"));
    m_sessionLabel = new QLabel(sessionText, this);
    m_sessionLabel->setObjectName(QStringLiteral("lblSession"));
    m_newLabel = new QLabel(this);
    m_newLabel->setObjectName(QStringLiteral("lblNewAssignments"));
    m_newLabel->setAccessibleName(tr("New assignments since the last search"));
    m_newLabel->hide();
    statusBar()->addPermanentWidget(m_newLabel);
    statusBar()->addPermanentWidget(m_sessionLabel);
}

void ShellWindow::noteNewAssignment()
{
    ++m_newSinceSearch;
    m_newLabel->setText(m_newSinceSearch == 1
                            ? tr("1 new assignment since the last search")
                            : tr("%1 new assignments since the last search").arg(m_newSinceSearch));
    m_newLabel->show();
}

void ShellWindow::showStatus(const QString &text)
{
    statusBar()->showMessage(text);
}

void ShellWindow::setToolbarButton(int button, bool enabled, const QString &documentId)
{
    // The flag means enabled. The shell hosts one document, so whoever calls is that document;
    // the identity is kept only to show who set the toolbar last.
    QAction *action = m_buttons.value(button);
    if (!action)
        return;
    m_lastCaller = documentId;
    m_buttonEnabled.insert(button, enabled);
    if (button == ToolbarButton::Save)
        updateSaveAction();
    else
        action->setEnabled(enabled && (m_document || !actsOnDocument(button)));
}

void ShellWindow::setSaveAllowed(bool allowed)
{
    m_saveAllowed = allowed;
    updateSaveAction();
}

void ShellWindow::documentLeaving(bool leaving)
{
    // A document that leaves takes its entry with it: nothing of it is left to save. It may
    // still be kept (a refused close), and then its next check offers the save again.
    m_documentLeft = leaving;
    if (leaving)
        m_saveAllowed = false;
    updateSaveAction();
}

void ShellWindow::updateSaveAction()
{
    if (QAction *save = m_buttons.value(ToolbarButton::Save))
        save->setEnabled(m_document && m_saveAllowed &&
                         m_buttonEnabled.value(ToolbarButton::Save, true));
}

bool ShellWindow::closeDocument()
{
    if (!m_document)
        return true;
    // CloseDocument alone decides: it asks about an unsaved entry and waits for its save
    // itself, so asking NeedSave as well would put the same question twice.
    if (!m_document->CloseDocument()) {
        m_documentLeft = false;
        return false;
    }
    m_document->BeforeUnload();
    KORVA_AssignMaint *document = m_document;
    takeCentralWidget();
    delete document;
    for (int button : {ToolbarButton::New, ToolbarButton::Copy})
        m_buttons.value(button)->setEnabled(false);
    updateSaveAction();
    return true;
}

void ShellWindow::closeEvent(QCloseEvent *event)
{
    // CloseDocument lets events run while it waits for a save; a second close meanwhile
    // must not ask the document again.
    if (m_closing) {
        event->ignore();
        return;
    }
    m_closing = true;
    saveRemembered();
    const bool mayGo = closeDocument();
    m_closing = false;
    if (mayGo)
        event->accept();
    else
        event->ignore();
}

void ShellWindow::fileNew()
{
    if (m_document)
        m_document->FileNew();
}

void ShellWindow::fileSave()
{
    if (m_document)
        m_document->SaveData();
}

void ShellWindow::fileClose()
{
    close();
}

void ShellWindow::copyAssignment()
{
    if (!m_document)
        return;
    const QString parameters = m_document->AssembleParameters();
    Platform &p = platform();
    if (QString(parameters).remove(u'~').trimmed().isEmpty()) {
        p.beeper->beep();
        showStatus(QStringLiteral("Select an assignment to copy."));
        return;
    }
    p.clipboard->setText(parameters);
    showStatus(QStringLiteral("Assignment copied to the clipboard."));
}

void ShellWindow::about()
{
    Platform &p = platform();
    QString text = QStringLiteral("%1 %2\n\nList, create, forward, reply to, close and reopen "
                                  "assignments.")
                       .arg(modMessageTitle::MessageTitle(), p.user->versionText());
    if (m_sessionLabel)
        text += QStringLiteral("\n\n") + m_sessionLabel->text();
    p.messages->msgBox(text, MsgStyle::OkOnly | MsgStyle::Information,
                       modMessageTitle::MessageTitle());
}

} // namespace korva
