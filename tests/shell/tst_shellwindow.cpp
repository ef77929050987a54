#include "common/modassignmaint.h"
#include "document/korva_assignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/session.h"
#include "shell/shell.h"
#include "shell/shellsession.h"
#include "shell/shellwindow.h"
#include "test_main.h"
#include "testkit.h"

#include <QAction>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTabWidget>
#include <QTemporaryDir>

using namespace korva;
using testkit::ScriptedMessageBoxes;

namespace {

constexpr int kListWaitMs = 20000;

// One started application: the window ends before its session.
struct Started {
    std::unique_ptr<ShellSession> session;
    std::unique_ptr<ShellWindow> window;
    int exitCode = -1;
};

} // namespace

class TestShellWindow : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString m_connection;
    std::unique_ptr<ScriptedMessageBoxes> m_boxes;

    Started start(int officer = 1001, const QString &connection = {})
    {
        StartOptions options;
        options.officerId = officer;
        options.connection = connection.isEmpty() ? m_connection : connection;
        options.brokerTimeoutMs = kListWaitMs;
        Started s;
        s.session = std::make_unique<ShellSession>(options);
        s.session->setMessageBoxes(m_boxes.get());
        s.exitCode = startShell(*s.session, s.window);
        return s;
    }

    static DataGrid *grid(const Started &s)
    {
        return s.window->document()->findChild<DataGrid *>(QStringLiteral("grdAssignment"));
    }

    Started startListed()
    {
        Started s = start();
        [&] {
            QCOMPARE(s.exitCode, ExitCode::Ok);
            QTRY_VERIFY_WITH_TIMEOUT(grid(s)->rowCount() > 0, kListWaitMs);
        }();
        return s;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_connection = QStringLiteral("sqlite:") + m_dir.filePath(QStringLiteral("sub/demo.db"));
        StartOptions options;
        options.connection = m_connection;
        options.demoAssignments = 300;
        int progressCalls = 0;
        {
            ShellSession first(options);
            first.setDemoProgress([&](const QString &, qint64, qint64) { ++progressCalls; });
            QVERIFY2(first.prepareDatabase(), qPrintable(first.errorText()));
            QVERIFY(first.createdDemo());
        }
        QVERIFY(progressCalls > 0);
        QVERIFY(QFileInfo::exists(m_dir.filePath(QStringLiteral("sub/demo.db"))));
        // The next start finds the file and leaves its data alone.
        ShellSession second(options);
        QVERIFY(second.prepareDatabase());
        QVERIFY(!second.createdDemo());
    }

    void init() { m_boxes = std::make_unique<ScriptedMessageBoxes>(); }

    void opensWithTheOfficersReceivedAssignmentsListed()
    {
        Started s = startListed();
        QVERIFY(s.window->isVisible());
        QCOMPARE(&Platform::current(), &s.session->platform());
        for (int row = 0; row < grid(s)->rowCount(); ++row)
            QCOMPARE(grid(s)->text(row, QStringLiteral("OFCR_TO_ID")), QStringLiteral("1001"));
        QTRY_COMPARE(s.window->statusBar()->currentMessage(), QStringLiteral("Ready ..."));

        const QString name = s.session->officerName();
        QVERIFY(!name.isEmpty());
        // The title names the officer as the grid's rows do.
        QCOMPARE(name, modAssignMaint::OfficerDisplayName(QStringLiteral("1001")));
        QVERIFY2(s.window->windowTitle().startsWith(QStringLiteral("Korva Assignments - ") + name),
                 qPrintable(s.window->windowTitle()));
        QCOMPARE(modMessageTitle::MessageTitle(), QStringLiteral("Korva Assignments"));
        const UserContext *user = platform().user;
        QCOMPARE(user->officerId(), 1001);
        QVERIFY(!user->region().isEmpty());
        QVERIFY(user->hasRight(QStringLiteral("Assignment")));
        QVERIFY(user->inGroup(QStringLiteral("ASSIGNMENTCLOSERS")));
        QVERIFY(platform().lookups->officer(1002).has_value());
        QVERIFY(m_boxes->shown.isEmpty());
        QVERIFY(!s.window->toolbarAction(ToolbarButton::Save)->isEnabled());

        // Notices of new assignments are counted until a search shows them.
        auto *newLabel = s.window->findChild<QLabel *>(QStringLiteral("lblNewAssignments"));
        s.window->noteNewAssignment();
        s.window->noteNewAssignment();
        QCOMPARE(newLabel->text(), QStringLiteral("2 new assignments since the last search"));
        QVERIFY(newLabel->isVisible());
        s.window->document()->findChild<QPushButton *>(QStringLiteral("cmdButton(0)"))->click();
        QTRY_COMPARE_WITH_TIMEOUT(s.window->newSinceSearch(), 0, kListWaitMs);
        QVERIFY(!newLabel->isVisible());

        s.window->toolbarAction(ToolbarButton::New)->trigger();
        QCOMPARE(s.window->document()->tabTab->currentIndex(), 1);
        QVERIFY(m_boxes->shown.isEmpty()); // nothing entered, nothing to ask
    }

    void untouchedEntryClosesWithoutAQuestion()
    {
        Started s = startListed();
        QPointer<KORVA_AssignMaint> document = s.window->document();
        QVERIFY(s.window->close());
        QVERIFY(!s.window->isVisible());
        QVERIFY(document.isNull());
        QVERIFY(m_boxes->shown.isEmpty());
        // The document gave the toolbar back and said it leaves before it went.
        QVERIFY(!s.window->lastToolbarCaller().isEmpty());
        QVERIFY(s.window->documentHasLeft());
        QVERIFY(!s.window->toolbarAction(ToolbarButton::New)->isEnabled());
        QVERIFY(!s.window->toolbarAction(ToolbarButton::Save)->isEnabled());
        QVERIFY(s.window->close()); // nothing left to ask
    }

    void refusalKeepsTheWindowOpenUntilTheUserLetsGo()
    {
        Started s = startListed();
        s.window->document()->tabTab->setCurrentIndex(1);
        auto *comment = s.window->findChild<QPlainTextEdit *>(QStringLiteral("txtBox(3)"));
        QVERIFY(comment);
        QTest::keyClicks(comment, QStringLiteral("Call the customer"));

        // Yes with an entry that cannot be saved: the document tells why and stays.
        m_boxes->answer(MsgAnswer::Yes);
        QVERIFY(!s.window->close());
        QVERIFY(s.window->isVisible());
        QCOMPARE(m_boxes->shown.size(), 2);
        QCOMPARE(m_boxes->shown.last().style, MsgStyle::Critical);
        m_boxes->shown.clear();

        m_boxes->answer(MsgAnswer::Cancel);
        QVERIFY(!s.window->close());
        QVERIFY(s.window->isVisible());
        QVERIFY(s.window->document());
        // One box, the save question (its words are the document's tests' to hold).
        QCOMPARE(m_boxes->shown.size(), 1);
        QCOMPARE(comment->toPlainText(), QStringLiteral("Call the customer"));
        QVERIFY(!s.window->documentHasLeft());

        m_boxes->answer(MsgAnswer::No);
        QVERIFY(s.window->close());
        QVERIFY(!s.window->document());
        QCOMPARE(m_boxes->shown.size(), 2);
    }

    void yesSavesThroughTheBrokerBeforeTheWindowCloses()
    {
        Started s = startListed();
        QAction *save = s.window->toolbarAction(ToolbarButton::Save);
        auto *officer = s.window->findChild<QLineEdit *>(QStringLiteral("txtBox(1)"));
        auto *comment = s.window->findChild<QPlainTextEdit *>(QStringLiteral("txtBox(3)"));
        QVERIFY(officer && comment);
        s.window->document()->tabTab->setCurrentIndex(1);
        QTest::keyClicks(comment, QStringLiteral("Saved on the way out"));
        QTest::keyClicks(officer, QStringLiteral("1002"));
        QTRY_VERIFY(save->isEnabled()); // the document found the entry acceptable

        m_boxes->answer(MsgAnswer::Yes);
        QVERIFY(s.window->close());
        QVERIFY(!s.window->document());
        QCOMPARE(m_boxes->shown.size(), 1);

        // The addressee finds it in their list.
        s.window.reset();
        s.session.reset();
        Started addressee = start(1002);
        QCOMPARE(addressee.exitCode, ExitCode::Ok);
        auto hasIt = [&] {
            for (int row = 0; row < grid(addressee)->rowCount(); ++row) {
                if (grid(addressee)->text(row, QStringLiteral("ASGNMT_CMMT_TXT")) ==
                    u"Saved on the way out")
                    return true;
            }
            return false;
        };
        QTRY_VERIFY_WITH_TIMEOUT(hasIt(), kListWaitMs);
    }

    void documentCallsDriveTheToolbar()
    {
        Started s = startListed();
        QAction *save = s.window->toolbarAction(ToolbarButton::Save);
        QAction *newAction = s.window->toolbarAction(ToolbarButton::New);
        const QString id = KORVA_AssignMaint::documentIdentity();

        platform().host->notifyHost(7, true);
        QVERIFY(save->isEnabled());
        platform().host->notifyHost(3, false); // not one the shell knows
        QVERIFY(save->isEnabled());
        platform().shell->setToolbarButton(ToolbarButton::Save, false, id);
        QVERIFY(!save->isEnabled());
        platform().shell->setToolbarButton(ToolbarButton::Save, true, id);
        QVERIFY(save->isEnabled());
        platform().host->notifyHost(7, false);
        QVERIFY(!save->isEnabled());

        platform().shell->setToolbarButton(ToolbarButton::New, false, id);
        QVERIFY(!newAction->isEnabled());
        platform().shell->setToolbarButton(ToolbarButton::New, true, id);
        QVERIFY(newAction->isEnabled());
        platform().shell->setToolbarButton(99, false, QStringLiteral("other"));
        QCOMPARE(s.window->lastToolbarCaller(), id);

        platform().host->notifyHost(7, true);
        platform().shell->leave(true);
        QVERIFY(!save->isEnabled());
        QVERIFY(s.window->documentHasLeft());

        // Calls that come after the window is gone are dropped.
        s.window.reset();
        platform().host->notifyHost(7, true);
        platform().shell->setToolbarButton(ToolbarButton::New, true, id);
        platform().status->StatusText(QStringLiteral("nobody listens"));
    }

    void copyTakesTheSelectedAssignmentsParameters()
    {
        Started s = startListed();
        testkit::MemoryClipboard clipboard;
        s.session->platform().clipboard = &clipboard;
        grid(s)->setCurrentRow(0);
        s.window->toolbarAction(ToolbarButton::Copy)->trigger();
        QCOMPARE(clipboard.content, s.window->document()->AssembleParameters());
        QCOMPARE(clipboard.content.count(u'~'), 15);
        QVERIFY(
            clipboard.content.startsWith(grid(s)->text(0, QStringLiteral("ASGNMT_NBR")) + u'~'));
        QCOMPARE(s.window->statusBar()->currentMessage(),
                 QStringLiteral("Assignment copied to the clipboard."));
    }

    void aboutAnswersThroughTheMessageBoxes()
    {
        Started s = startListed();
        s.window->toolbarAction(ToolbarButton::About)->trigger();
        QCOMPARE(m_boxes->shown.size(), 1);
        QVERIFY(m_boxes->shown.last().prompt.contains(u"Officer 1001"));
        QCOMPARE(m_boxes->shown.last().style & MsgStyle::Information, MsgStyle::Information);
    }

    void unknownOfficerIsToldAndRefused()
    {
        Started s = start(4242);
        QCOMPARE(s.exitCode, ExitCode::SignOnFailed);
        QVERIFY(!s.window);
        QVERIFY(!s.session->isSignedOn());
        QVERIFY(&Platform::current() != &s.session->platform());
        QCOMPARE(m_boxes->shown.size(), 1);
        const auto &box = m_boxes->shown.first();
        QCOMPARE(box.style, MsgStyle::Critical);
        QVERIFY2(box.prompt.contains(u"Officer 4242 could not sign on"), qPrintable(box.prompt));
        QVERIFY2(box.prompt.contains(u"not known"), qPrintable(box.prompt));
        QVERIFY2(box.prompt.contains(u"demo.db"), qPrintable(box.prompt));
    }

    void unusableDatabaseIsToldAndRefused_data()
    {
        QTest::addColumn<QString>("connection");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("mentions");
        QTest::newRow("nobody listens")
            << QStringLiteral("postgres://korva@127.0.0.1:1/korva") << ExitCode::SignOnFailed
            << QStringLiteral("postgres://korva@127.0.0.1:1/korva");
        QTest::newRow("malformed") << QStringLiteral("postgres://") << ExitCode::NoDatabase
                                   << QStringLiteral("postgres://");
        QTest::newRow("folder for a file")
            << m_dir.path() << ExitCode::SignOnFailed << m_dir.path();
    }
    void unusableDatabaseIsToldAndRefused()
    {
        QFETCH(QString, connection);
        QFETCH(int, exitCode);
        QFETCH(QString, mentions);
        Started s = start(1001, connection);
        QCOMPARE(s.exitCode, exitCode);
        QVERIFY(!s.window);
        QCOMPARE(m_boxes->shown.size(), 1);
        QCOMPARE(m_boxes->shown.first().style, MsgStyle::Critical);
        QVERIFY2(m_boxes->shown.first().prompt.contains(mentions),
                 qPrintable(m_boxes->shown.first().prompt));
    }
};

KORVA_TEST_MAIN(TestShellWindow)
#include "tst_shellwindow.moc"
