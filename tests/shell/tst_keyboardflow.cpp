// An officer's day with the keyboard alone, in the started application on a demo store:
// search, move through the rows, open the reply dialog, a new assignment. Only key
// events reach the windows; the checks read what the screen then shows.
#include "../document/modaldialog.h"
#include "dialogs/frmassignroc.h"
#include "document/korva_assignmaint.h"
#include "platform/controls/datagrid.h"
#include "shell/shell.h"
#include "shell/shellsession.h"
#include "shell/shellwindow.h"
#include "test_main.h"
#include "testkit.h"
#include "worksheet/korva_worksheet.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTemporaryDir>

using namespace korva;
using doctest::duringModal;

namespace {

constexpr int kWaitMs = 20000;

QWidget *g_main = nullptr;

// Where the keys go: the focus, else the active window (after a dialog the window manager
// gives the main window back; offscreen nobody does, so it is activated as one would).
QWidget *focused()
{
    QWidget *top = QApplication::activeModalWidget() ? QApplication::activeModalWidget() : g_main;
    QWidget *focus = QApplication::focusWidget();
    if (top && (!focus || focus->window() != top)) {
        top->activateWindow();
        QTest::qWaitForWindowActive(top);
        focus = QApplication::focusWidget();
    }
    return focus && (!top || focus->window() == top) ? focus : top;
}

void key(int k, Qt::KeyboardModifiers mods = {})
{
    QTest::keyClick(focused(), Qt::Key(k), mods);
}

QWidget *child(QWidget *window, const char *name)
{
    return window->findChild<QWidget *>(QLatin1String(name));
}

// Tab on until `target` has the focus; false when the chain never reaches it.
bool tabTo(const QWidget *target)
{
    for (int i = 0; i < 60 && focused() != target; ++i) {
        key(Qt::Key_Tab);
    }
    return focused() == target;
}

// A button reached with Tab and pressed with Space.
void press(QWidget *button)
{
    if (tabTo(button))
        key(Qt::Key_Space);
    else
        qWarning("the focus never reaches %s", qPrintable(button->objectName()));
}

} // namespace

class TestKeyboardFlow : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    testkit::ScriptedMessageBoxes m_boxes;
    std::unique_ptr<ShellSession> m_session;
    std::unique_ptr<ShellWindow> m_window;
    std::unique_ptr<QSignalSpy> m_lists;

    KORVA_AssignMaint *doc() const { return m_window->document(); }
    DataGrid *grid() const { return doc()->findChild<DataGrid *>(QStringLiteral("grdAssignment")); }
    QPushButton *button(int i) const
    {
        return doc()->findChild<QPushButton *>(QStringLiteral("cmdButton(%1)").arg(i));
    }
    QTabWidget *tabs() const { return doc()->findChild<QTabWidget *>(QStringLiteral("tabTab")); }
    bool listAgain(qsizetype before)
    {
        return QTest::qWaitFor([&] { return m_lists->count() > before; }, kWaitMs);
    }
    // Down the list from its top until `wanted` holds for the current row.
    bool selectRow(const std::function<bool()> &wanted)
    {
        if (!tabTo(grid()))
            return false;
        // After a command the row commands wait for a row to become current again.
        key(Qt::Key_End, Qt::ControlModifier);
        key(Qt::Key_Home, Qt::ControlModifier);
        for (int i = 0; i < grid()->rowCount(); ++i) {
            if (grid()->currentRow() >= 0 && wanted())
                return true;
            key(Qt::Key_Down);
        }
        return false;
    }
    QString current(const char *column) const { return grid()->currentText(QLatin1String(column)); }
    bool openReceived() const
    {
        return current("ASGNMT_STTS_CD") == u"O" && button(2)->isEnabled() &&
               current("OFCR_FRM_ID") != u"1001";
    }
    // Types a comment into a reply/close dialog and saves with Tab and Space.
    void commentAndSave(frmAssignROC *d, const QString &comment)
    {
        QTRY_COMPARE(focused(), child(d, "txtBox"));
        QTest::keyClicks(focused(), comment);
        QVERIFY(tabTo(child(d, "cmdButton(0)")));
        key(Qt::Key_Space);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        StartOptions options;
        options.officerId = 1001;
        options.connection = QStringLiteral("sqlite:") + m_dir.filePath(QStringLiteral("k.db"));
        options.demoAssignments = 400;
        options.brokerTimeoutMs = kWaitMs;
        m_session = std::make_unique<ShellSession>(options);
        m_session->setMessageBoxes(&m_boxes);
        QCOMPARE(startShell(*m_session, m_window), ExitCode::Ok);
        m_lists =
            std::make_unique<QSignalSpy>(grid()->dataControl(), &DataControl::recordSetChanged);
        QTRY_VERIFY_WITH_TIMEOUT(grid()->rowCount() > 0, kWaitMs);
        g_main = m_window.get();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }
    void cleanupTestCase()
    {
        m_window.reset();
        m_session.reset();
    }

    void searchSelectAndOpenTheCommands()
    {
        const qsizetype before = m_lists->count();
        press(button(0)); // Search
        QVERIFY(listAgain(before));

        // Down the rows with the arrow keys: the row commands follow the current row.
        QVERIFY(selectRow([&] { return openReceived(); }));
        QVERIFY(button(3)->isEnabled()); // Close

        // Reply opens from the keys, with the focus where typing begins.
        QVERIFY(selectRow([&] { return openReceived(); }));
        QCOMPARE(duringModal<frmAssignROC>([&] { press(button(2)); },
                                           [&](frmAssignROC *d) {
                                               QTRY_COMPARE(focused(), child(d, "txtBox"));
                                               QTest::keyClicks(focused(), QStringLiteral("x"));
                                               key(Qt::Key_Escape);
                                           }),
                 1);
        // Ctrl+N opens the new-assignment entry.
        key(Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(tabs()->currentIndex(), 1);
        QVERIFY(m_boxes.shown.isEmpty());
    }
};

KORVA_TEST_MAIN(TestKeyboardFlow)
#include "tst_keyboardflow.moc"
