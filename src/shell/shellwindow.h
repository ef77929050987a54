#pragma once

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QStyle>

class QLabel;

namespace korva {

class KORVA_AssignMaint;

// The shell's toolbar buttons, numbered as hosted documents address them.
namespace ToolbarButton {
inline constexpr int New = 7;
inline constexpr int Save = 8;
inline constexpr int Close = 9;
inline constexpr int Copy = 12;
inline constexpr int About = 14;
} // namespace ToolbarButton

// The application's main window: hosts the assignment document as its central widget, with
// a menu, the numbered toolbar and a status bar, and asks the document before it goes.
class ShellWindow : public QMainWindow {
    Q_OBJECT
public:
    // `officerText` names the signed-on officer in the title; `sessionText` goes to the
    // status bar's right-hand side.
    ShellWindow(const QString &officerText, const QString &sessionText, QWidget *parent = nullptr);
    ~ShellWindow() override;

    static QString containerTag();     // the document container's Tag
    static QString containerCaption(); // and its Caption

    KORVA_AssignMaint *document() const;
    QAction *toolbarAction(int button) const { return m_buttons.value(button); }

    // From the hosted document, through the shell's host services.
    void setToolbarButton(int button, bool enabled, const QString &documentId);
    void setSaveAllowed(bool allowed);
    void documentLeaving(bool leaving);
    bool saveAllowed() const { return m_saveAllowed; }
    bool documentHasLeft() const { return m_documentLeft; }
    const QString &lastToolbarCaller() const { return m_lastCaller; }

    void showStatus(const QString &text);
    // A new assignment was sent to the officer: counted beside the session until the next
    // search shows it.
    void noteNewAssignment();
    int newSinceSearch() const { return m_newSinceSearch; }

    // Asks the document whether it may go; when it may, unloads and destroys it.
    bool closeDocument();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void createDocument();
    // Window size and place, the list's columns and sort, as the officer left them.
    void restoreRemembered();
    void saveRemembered() const;
    void createActions();
    void createStatusBar(const QString &sessionText);
    QAction *addButton(int button, QStyle::StandardPixmap icon, const QString &text,
                       const QString &tip, void (ShellWindow::*slot)());
    void updateSaveAction();

    void fileNew();
    void fileSave();
    void fileClose();
    void copyAssignment();
    void about();

    QPointer<KORVA_AssignMaint> m_document;
    QHash<int, QAction *> m_buttons;
    QHash<int, bool> m_buttonEnabled; // as the document last set them
    QLabel *m_sessionLabel = nullptr;
    QLabel *m_newLabel = nullptr;
    int m_newSinceSearch = 0;
    QString m_lastCaller;
    bool m_saveAllowed = false; // the document's entry is acceptable (host note 7)
    bool m_documentLeft = false;
    bool m_closing = false;
};

} // namespace korva
