// The shell's menu and toolbar. The numbered buttons are the ones hosted documents address:
// 7 New, 8 Save, 9 Close, 12 Copy (the selected assignment as its parameter text), 14 About.
#include "shellwindow.h"

#include <QAction>
#include <QApplication>
#include <QIcon>
#include <QMenuBar>
#include <QToolBar>

namespace korva {

QAction *ShellWindow::addButton(int button, QStyle::StandardPixmap icon, const QString &text,
                                const QString &tip, void (ShellWindow::*slot)())
{
    auto *action = new QAction(style()->standardIcon(icon), text, this);
    action->setObjectName(QStringLiteral("tbrButton(%1)").arg(button));
    action->setToolTip(tip);
    action->setStatusTip(tip);
    connect(action, &QAction::triggered, this, slot);
    m_buttons.insert(button, action);
    return action;
}

void ShellWindow::createActions()
{
    QAction *newAction =
        addButton(ToolbarButton::New, QStyle::SP_FileIcon, QStringLiteral("&New Assignment"),
                  QStringLiteral("Start a new assignment"), &ShellWindow::fileNew);
    newAction->setShortcut(QKeySequence::New);
    QAction *save =
        addButton(ToolbarButton::Save, QStyle::SP_DialogSaveButton, QStringLiteral("&Save"),
                  QStringLiteral("Save the new assignment"), &ShellWindow::fileSave);
    save->setShortcut(QKeySequence::Save);
    save->setEnabled(false);
    QAction *closeAction =
        addButton(ToolbarButton::Close, QStyle::SP_DialogCloseButton, QStringLiteral("&Close"),
                  QStringLiteral("Close the assignments"), &ShellWindow::fileClose);
    closeAction->setShortcut(QKeySequence::Close);
    QAction *copy = addButton(ToolbarButton::Copy, QStyle::SP_FileDialogContentsView,
                              QStringLiteral("&Copy Assignment"),
                              QStringLiteral("Copy the selected assignment to the clipboard"),
                              &ShellWindow::copyAssignment);
    copy->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C));
    QAction *aboutAction =
        addButton(ToolbarButton::About, QStyle::SP_MessageBoxInformation, QStringLiteral("&About"),
                  QStringLiteral("About this application"), &ShellWindow::about);
    aboutAction->setShortcut(QKeySequence::HelpContents);

    auto *exitAction = new QAction(QStringLiteral("E&xit"), this);
    exitAction->setObjectName(QStringLiteral("actExit"));
    exitAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    connect(exitAction, &QAction::triggered, this, &ShellWindow::fileClose);

    QMenu *file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    file->addActions({newAction, save});
    file->addSeparator();
    file->addActions({closeAction, exitAction});
    QMenu *edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->setObjectName(QStringLiteral("mnuEdit"));
    edit->addAction(copy);
    QMenu *help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->setObjectName(QStringLiteral("mnuHelp"));
    help->addAction(aboutAction);

    QToolBar *bar = addToolBar(QStringLiteral("Standard"));
    bar->setObjectName(QStringLiteral("tbrShell"));
    bar->setMovable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    bar->addActions({newAction, save, closeAction});
    bar->addSeparator();
    bar->addAction(copy);
    bar->addSeparator();
    bar->addAction(aboutAction);
}

} // namespace korva
