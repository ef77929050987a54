#include "common/modassignmaint.h"
#include "documentfixture.h"
#include "platform/errors.h"
#include "test_main.h"

#include <QElapsedTimer>
#include <QTimer>

using namespace korva;
using namespace korva::doctest;

namespace {

const QString kSaveQuestion = QStringLiteral("Would you like to save this new assignment?");
const QString kChangedQuestion =
    QStringLiteral("Data has changed. Do you wish to save the changes?");
constexpr int kQuestionStyle = 35; // Yes/No/Cancel with the question icon

QList<int> toolbarButtons(const testkit::RecordingShellServices &shell) {
    QList<int> buttons;
    for (const auto &b : shell.buttons) {
        if (!b.flag || b.documentId != QStringLiteral("KORVA_AssignMaint"))
            return {-1};
        buttons.append(b.button);
    }
    return buttons;
}

const QList<int> kToolbar{9, 8, 7, 12, 14};

} // namespace

class TestDocumentHost : public QObject {
    Q_OBJECT
private slots:
    void firstShowInitialisesOnce() {
        Fixture f;
        KORVA_AssignMaint &doc = f.doc();
        QCOMPARE(f.sentCount(), 0); // nothing happens before the shell shows it
        f.shown();
        QCOMPARE(f.sentCount(), 1);
        doc.hide();
        doc.show();
        QCOMPARE(f.sentCount(), 1);

        const QDate today(2026, 11, 22);
        QVERIFY(!doc.dtpFTDate[0]->hasValue());
        QCOMPARE(doc.dtpFTDate[1]->date(), today);
        QCOMPARE(doc.dtpFTDate[0]->minDate(), QDate(1993, 1, 1));
        QCOMPARE(doc.dtpFTDate[1]->minDate(), QDate(1993, 1, 1));
        for (int i = 2; i <= 4; ++i) {
            QCOMPARE(doc.dtpFTDate[i]->date(), today);
            QCOMPARE(doc.dtpFTDate[i]->minDate(), today);
        }
        QCOMPARE(doc.tabTab->currentIndex(), 0);
        for (int i = 1; i <= 5; ++i)
            QVERIFY2(!doc.cmdButton[i]->isEnabled(), qPrintable(doc.cmdButton[i]->objectName()));
        QVERIFY(doc.entry->adoOfficers->recordSet());
        QCOMPARE(doc.entry->adoOfficers->recordSet()->name(), QStringLiteral("OFFICER"));
        QCOMPARE(doc.entry->adoOfficers->recordSet()->count(), 0);

        DataGrid *g = f.grid();
        QVERIFY(g->font().bold());
        QVERIFY(g->hasStyleSet(QStringLiteral("UNBOLD")));
        QVERIFY(!g->styleSet(QStringLiteral("UNBOLD")).font.bold());
        for (int c = 0; c < g->columnCount(); ++c) {
            QCOMPARE(g->columnStyleSet(c), QStringLiteral("UNBOLD"));
            QCOMPARE(g->columnHeadStyleSet(c), QStringLiteral("UNBOLD"));
        }
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports().constData());
        QVERIFY(!f.tp.mouse.busy);
    }

    void startUpRights_data() {
        QTest::addColumn<bool>("right");
        QTest::addColumn<bool>("closer");
        QTest::newRow("both") << true << true;
        QTest::newRow("no right") << false << true;
        QTest::newRow("not a closer") << true << false;
    }
    void startUpRights() {
        QFETCH(bool, right);
        QFETCH(bool, closer);
        Fixture f;
        if (!right)
            f.tp.fakeUser.rights.clear();
        if (!closer)
            f.tp.fakeUser.groups.clear();
        KORVA_AssignMaint &doc = f.shown();
        QCOMPARE(doc.tabTab->isTabEnabled(1), right);
        QCOMPARE(f.find<QCheckBox>("chkBox(2)")->isEnabled(), closer);
        QCOMPARE(f.sentCount(), 1); // the list is offered to everyone
    }

    void assembleParameters() {
        Fixture f;
        f.shown();
        QCOMPARE(f.doc().AssembleParameters(), QStringLiteral("~~~~~~~~~~~~~~~"));

        f.tp.fakeBroker.replyGood({assignments({{.number = 77,
                                                 .type = QStringLiteral("001"),
                                                 .from = 1002,
                                                 .to = 1001,
                                                 .formNumber = QStringLiteral("0000042-2"),
                                                 .formType = QStringLiteral("CIT"),
                                                 .subject = QStringLiteral(" Late filing "),
                                                 .comment = QStringLiteral("a~b")}})});
        QCOMPARE(f.doc().AssembleParameters(), QStringLiteral("~~~~~~~~~~~~~~~")); // no row chosen
        f.clickRow(0);
        const QStringList expected{QStringLiteral("77"),
                                   QStringLiteral("Referral"),
                                   QStringLiteral("SMITH, JR, JOHN Q."),
                                   QStringLiteral("DOE, JANE Q."),
                                   QStringLiteral("11/01/2026"),
                                   QStringLiteral("11/02/2026"),
                                   QStringLiteral("12/02/2026"),
                                   QStringLiteral("a~b"),
                                   QStringLiteral("0000042-2"),
                                   QStringLiteral("Citation"),
                                   QStringLiteral("1002"),
                                   QStringLiteral("1001"),
                                   QString(),
                                   QStringLiteral(" Late filing "),
                                   QStringLiteral("001"),
                                   QStringLiteral("CIT")};
        // Values go in as they are: a "~" inside the comment is not protected.
        QCOMPARE(f.doc().AssembleParameters(), expected.join(u'~'));
    }

    void beforeUnloadReleasesTheBroker() {
        Fixture f;
        f.shown();
        f.doc().BeforeUnload();
        QCOMPARE(toolbarButtons(f.tp.shellServices), kToolbar);
        QCOMPARE(f.tp.shellServices.leaves, QList<bool>{true});
        QVERIFY(f.tp.boxes.shown.isEmpty());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        f.tp.fakeBroker.replyGood({assignments({{.number = 1}})});
        QCOMPARE(f.grid()->rowCount(), 0);
        f.doc().BeforeUnload_BackupForPersist();
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports().constData());
    }

    void dataChangedFollowsTheEntry() {
        Fixture f;
        f.shown();
        QVERIFY(!f.doc().DataChanged());
        QCOMPARE(f.tp.statusBar.texts.mid(f.tp.statusBar.texts.size() - 2),
                 (QStringList{QStringLiteral("Checking Document Data ..."),
                              QStringLiteral("Ready ...")}));
        f.entry()->txtComment->setPlainText(QStringLiteral("x"));
        QVERIFY(f.doc().DataChanged());
    }

    void closeUntouchedClosesWithoutAsking() {
        Fixture f;
        f.shown();
        QVERIFY(f.doc().CloseDocument());
        QVERIFY(f.tp.boxes.shown.isEmpty());
        QCOMPARE(toolbarButtons(f.tp.shellServices), kToolbar);
        QCOMPARE(f.tp.shellServices.leaves, QList<bool>{true});
    }

    void closeChangedNoOrCancel() {
        {
            Fixture f;
            f.shown();
            f.enterValidAssignment();
            f.tp.boxes.answer(MsgAnswer::No);
            QVERIFY(f.doc().CloseDocument());
            QCOMPARE(f.tp.boxes.shown.size(), 1);
            QCOMPARE(f.tp.boxes.shown.first().prompt, kSaveQuestion);
            QCOMPARE(f.tp.boxes.shown.first().style, kQuestionStyle);
            QCOMPARE(f.doc().tabTab->currentIndex(), 1);
            QCOMPARE(f.sentCount(), 1);
            QCOMPARE(toolbarButtons(f.tp.shellServices), kToolbar);
        }
        {
            Fixture f;
            f.shown();
            f.enterValidAssignment();
            f.tp.boxes.answer(MsgAnswer::Cancel);
            QVERIFY(!f.doc().CloseDocument());
            QCOMPARE(f.sentCount(), 1);
            // The quiet exit skips the leave step: the document stays.
            QVERIFY(f.tp.shellServices.buttons.isEmpty());
            QVERIFY(f.tp.shellServices.leaves.isEmpty());
            QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports().constData());
        }
    }

    void closeYesWaitsForTheSave_data() {
        QTest::addColumn<bool>("good");
        QTest::newRow("good reply") << true;
        QTest::newRow("bad reply") << false;
    }
    void closeYesWaitsForTheSave() {
        QFETCH(bool, good);
        Fixture f;
        // An earlier reply of the other kind must not decide the wait or its result.
        f.shown();
        if (good)
            f.tp.fakeBroker.replyBad(QStringLiteral("The list failed."));
        else
            f.tp.fakeBroker.replyGood({assignments({})});
        const qsizetype boxesBefore = f.tp.boxes.shown.size();
        f.enterValidAssignment();
        f.tp.boxes.answer(MsgAnswer::Yes);
        // The reply arrives while the document waits, as the broker's event would.
        QTimer::singleShot(0, [&f, good] {
            QCOMPARE(f.lastRequest().kind(), 15);
            QVERIFY(!f.doc().tabTab->isEnabled());
            if (good)
                f.tp.fakeBroker.replyGood();
            else
                f.tp.fakeBroker.replyBad(QStringLiteral("The assignment was refused."));
        });
        QElapsedTimer waited;
        waited.start();
        QCOMPARE(f.doc().CloseDocument(), good);
        QVERIFY(waited.elapsed() >= 450); // it paused between its looks

        QCOMPARE(f.tp.boxes.shown.at(boxesBefore).prompt, kSaveQuestion);
        QVERIFY(f.doc().tabTab->isEnabled());
        QVERIFY(!f.doc().requestFlags().UpdatePending);
        QCOMPARE(toolbarButtons(f.tp.shellServices), kToolbar);
        if (good) {
            QCOMPARE(f.sentCount(), 3); // the save, then the list again
            QCOMPARE(f.lastRequest().kind(), 62);
            QVERIFY(f.entry()->txtComment->toPlainText().isEmpty());
        } else {
            QCOMPARE(f.tp.boxes.shown.size(), boxesBefore + 2);
            QCOMPARE(f.tp.boxes.shown.last().prompt, QStringLiteral("The assignment was refused."));
            QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Update Not Successful."));
            QCOMPARE(f.sentCount(), 2);
            // The entry survives for a second try, which may start at once.
            QCOMPARE(f.entry()->txtComment->toPlainText(), QStringLiteral("Please follow up."));
            QVERIFY(f.doc().SaveData());
            QCOMPARE(f.sentCount(), 3);
        }
    }

    void closeYesWithEntryErrorsSendsNothing() {
        Fixture f;
        f.shown();
        f.entry()->txtBox[1]->setText(QStringLiteral("9999"));
        f.tp.boxes.answer(MsgAnswer::Yes);
        QVERIFY(!f.doc().CloseDocument());
        QCOMPARE(f.tp.boxes.shown.size(), 2);
        QCOMPARE(f.tp.boxes.shown.at(1).prompt, f.entry()->errorText());
        QVERIFY(f.entry()->errorText().contains(QStringLiteral("Invalid officer number.")));
        QCOMPARE(f.tp.boxes.shown.at(1).style, 16);
        QCOMPARE(f.sentCount(), 1);
        QVERIFY(f.tp.shellServices.leaves.isEmpty());
    }

    void saveDataSendsAndWaits() {
        Fixture f;
        f.shown();
        f.enterValidAssignment();
        QVERIFY(f.doc().SaveData());
        QCOMPARE(f.sentCount(), 2);
        const BrokerRequest &r = f.lastRequest();
        QCOMPARE(r.kind(), 15);
        QCOMPARE(r.messageId(), QStringLiteral("KORVA_ASSIGNMAINT"));
        const RecordSetPtr rows = r.recordSet(u"ASSIGNMENT");
        QVERIFY(rows);
        QCOMPARE(rows->count(), 1);
        rows->moveFirst();
        QCOMPARE(rows->text(u"ACTION"), QStringLiteral("ADD"));
        QCOMPARE(rows->text(u"OFCR_TO_ID"), QStringLiteral("1002"));
        QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Saving Assignment ... "));
        QVERIFY(f.doc().requestFlags().UpdatePending);
        QVERIFY(!f.doc().tabTab->isEnabled());
        QCOMPARE(f.doc().tabTab->currentIndex(), 1);

        // A time-out on the update reads as a time-out, not as a failed update.
        f.tp.fakeBroker.timeoutThenBad();
        QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Query timed out."));
        QVERIFY(f.doc().tabTab->isEnabled());
        QVERIFY(f.doc().requestFlags().TimedOut);
    }

    void needSave() {
        {
            Fixture f;
            f.shown();
            QVERIFY(!f.doc().NeedSave());
            QVERIFY(f.tp.boxes.shown.isEmpty());
        }
        const QList<QPair<int, bool>> answers{
            {MsgAnswer::No, false}, {MsgAnswer::Cancel, true}, {MsgAnswer::Yes, true}};
        for (const auto &[answer, result] : answers) {
            Fixture f;
            f.shown();
            f.enterValidAssignment();
            f.tp.boxes.answer(answer);
            f.tp.mouse.setBusy();
            QCOMPARE(f.doc().NeedSave(), result);
            QCOMPARE(f.tp.boxes.shown.first().prompt, kChangedQuestion);
            QCOMPARE(f.tp.boxes.shown.first().style, kQuestionStyle);
            QCOMPARE(f.sentCount(), answer == MsgAnswer::Yes ? 2 : 1);
            QVERIFY(!f.tp.mouse.busy);
        }
    }

    void fileNew() {
        {
            Fixture f;
            f.shown();
            f.doc().FileNew();
            QCOMPARE(f.doc().tabTab->currentIndex(), 1);
            QVERIFY(f.tp.boxes.shown.isEmpty());
            QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Ready ..."));
        }
        {
            Fixture f;
            f.shown();
            f.enterValidAssignment();
            f.tp.boxes.answer(MsgAnswer::Cancel);
            f.doc().FileNew();
            QCOMPARE(f.tp.boxes.shown.first().prompt, kSaveQuestion);
            QCOMPARE(f.doc().tabTab->currentIndex(), 1);
            QCOMPARE(f.entry()->txtComment->toPlainText(), QStringLiteral("Please follow up."));
            QCOMPARE(f.sentCount(), 1);
        }
        for (int answer : {MsgAnswer::No, MsgAnswer::Yes}) {
            Fixture f;
            f.shown();
            f.enterValidAssignment();
            f.tp.boxes.answer(answer);
            f.doc().FileNew();
            QVERIFY(f.entry()->txtComment->toPlainText().isEmpty());
            QVERIFY(f.entry()->txtBox[1]->text().isEmpty());
            QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Ready ..."));
            QCOMPARE(f.sentCount(), answer == MsgAnswer::Yes ? 2 : 1);
        }
        {
            // A refused save keeps the entry as it was.
            Fixture f;
            f.shown();
            f.entry()->txtBox[1]->setText(QStringLiteral("9999"));
            f.tp.boxes.answer(MsgAnswer::Yes);
            f.doc().FileNew();
            QCOMPARE(f.entry()->txtBox[1]->text(), QStringLiteral("9999"));
            QCOMPARE(f.sentCount(), 1);
        }
    }

    void saveAssignmentRaisesTheRefusal() {
        Fixture f;
        f.shown();
        f.doc().SaveAssignment(); // nothing entered: no question
        QVERIFY(f.tp.boxes.shown.isEmpty());

        f.enterValidAssignment();
        f.tp.boxes.answer(MsgAnswer::Cancel);
        bool quiet = false;
        try {
            f.doc().SaveAssignment();
        } catch (const ProcError &e) {
            quiet = e.number() == -2147220504;
        }
        QVERIFY(quiet);
        QCOMPARE(f.doc().tabTab->currentIndex(), 1);
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports().constData());

        f.tp.boxes.answer(MsgAnswer::No);
        f.doc().SaveAssignment();
        QCOMPARE(f.sentCount(), 1);
        f.tp.boxes.answer(MsgAnswer::Yes);
        f.doc().SaveAssignment();
        QCOMPARE(f.sentCount(), 2);
    }
};

KORVA_TEST_MAIN(TestDocumentHost)
#include "tst_documenthost.moc"
