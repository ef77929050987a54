// The first show and the operations the shell calls.
#include "documentfixture.h"
#include "platform/errors.h"
#include "test_main.h"

#include <QTimer>

using namespace korva;
using namespace korva::doctest;

namespace {

const QString kSaveQuestion = QStringLiteral("Would you like to save this new assignment?");
constexpr int kQuestionStyle = 35; // Yes/No/Cancel with the question icon
const QList<int> kToolbar{9, 8, 7, 12, 14};

// The toolbar buttons the document set, in order; {-1} when a call had another flag or id.
QList<int> toolbar(const testkit::RecordingShellServices &shell)
{
    QList<int> buttons;
    for (const auto &b : shell.buttons)
        buttons.append(b.flag && b.documentId == u"KORVA_AssignMaint" ? b.button : -1);
    return buttons;
}

int answer(const QString &text)
{
    return text == u"yes" ? MsgAnswer::Yes : text == u"no" ? MsgAnswer::No : MsgAnswer::Cancel;
}

} // namespace

class TestDocumentHost : public QObject {
    Q_OBJECT
private slots:
    void firstShow_data()
    {
        addRows({{"both", "1;1"}, {"no Assignment right", "0;1"}, {"not a closer", "1;0"}});
    }
    void firstShow()
    {
        const QStringList v = rowFields();
        Fixture f;
        if (v[0] == u"0")
            f.tp.fakeUser.rights.clear();
        if (v[1] == u"0")
            f.tp.fakeUser.groups.clear();
        KORVA_AssignMaint &doc = f.doc();
        // Nothing happens before the shell shows it, not even a read of the code lists.
        QCOMPARE(f.sentCount(), 0);
        QCOMPARE(f.tp.codeList.queries.size(), 0);
        doc.show();
        doc.hide();
        doc.show();
        QCOMPARE(f.sentCount(), 1); // the list is offered to everyone, once
        QCOMPARE(doc.tabTab->isTabEnabled(1), v[0] == u"1");
        QCOMPARE(f.find<QCheckBox>(QStringLiteral("chkBox(2)"))->isEnabled(), v[1] == u"1");
        QVERIFY(!f.find<QCheckBox>(QStringLiteral("chkBox(2)"))->isChecked());
        QCOMPARE(f.tp.codeList.queries.size(), 3); // the types, the reference types, agencies

        QVERIFY(!f.date(0)->hasValue());
        QCOMPARE(f.date(1)->date(), f.today());
        QCOMPARE(f.dates(), QList<QDate>(3, f.today()));
        for (int i = 0; i <= 4; ++i)
            QCOMPARE(f.date(i)->minDate(), i < 2 ? QDate(1993, 1, 1) : f.today());
        QCOMPARE(doc.tabTab->currentIndex(), 0);
        for (int i = 1; i <= 5; ++i)
            QVERIFY(!f.button(i)->isEnabled());
        QCOMPARE(doc.entry->adoOfficers->recordSet()->name(), QStringLiteral("OFFICER"));
        QCOMPARE(doc.entry->adoOfficers->recordSet()->count(), 0);
        DataGrid *g = f.grid();
        QVERIFY(g->font().bold());
        QVERIFY(!g->styleSet(QStringLiteral("UNBOLD")).font.bold());
        for (int c = 0; c < g->columnCount(); ++c)
            QCOMPARE(g->columnStyleSet(c) + g->columnHeadStyleSet(c),
                     QStringLiteral("UNBOLDUNBOLD"));
        QCOMPARE(f.reports(), QString());
        QVERIFY(!f.tp.mouse.busy);
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("001")));
        QVERIFY(f.combo(2)->selectCode(QStringLiteral("SP")));
    }

    // The code lists fail at the first show: reported under the procedures that read them,
    // and the list is asked for all the same.
    void codeListsThatCannotBeReadAreReported()
    {
        Fixture f;
        f.tp.codeList.handler = [](const QString &) {
            return RecordSetPtr();
        };
        f.shown();
        QStringList sources;
        for (const auto &r : f.tp.reporter.reports)
            sources.append(r.source);
        QCOMPARE(sources, (QStringList{QStringLiteral("KORVA_AssignMaint.GetAdditionalInfoTxt"),
                                       QStringLiteral("KORVA_AssignMaint.UserDocument_Show")}));
        QCOMPARE(f.sentCount(), 1);
    }

    // A save that fails before anything is sent is not waited for.
    void closeDocumentWithASaveThatCannotBeSent()
    {
        Fixture f;
        f.shown();
        f.enterValidAssignment();
        f.doc().BeforeUnload(); // the message object is gone
        f.tp.boxes.answer(MsgAnswer::Yes);
        QVERIFY(!f.doc().CloseDocument());
        QCOMPARE(f.tp.reporter.reports.size(), 1);
        QCOMPARE(f.tp.reporter.reports[0].source,
                 QStringLiteral("KORVA_AssignMaint.SaveNewAssignment"));
        QVERIFY(f.doc().tabTab->isEnabled());
        QVERIFY(!f.doc().requestFlags().UpdatePending);
        QCOMPARE(f.sentCount(), 1);
    }

    void assembleParameters()
    {
        Fixture f;
        f.showWith({{.number = 77,
                     .formNumber = QStringLiteral("0000042-2"),
                     .formType = QStringLiteral("CIT"),
                     .subject = QStringLiteral(" Late filing "),
                     .comment = QStringLiteral("a~b")}});
        QCOMPARE(f.doc().AssembleParameters(), QString(15, u'~')); // no row chosen
        f.clickRow(0);
        // Values go in as they are: a "~" inside the comment is not protected.
        QCOMPARE(
            f.doc().AssembleParameters(),
            QStringLiteral("77~Referral~SMITH, JR, JOHN Q.~DOE, JANE Q.~11/01/2026~11/02/2026~"
                           "12/02/2026~a~b~0000042-2~Citation~1002~1001~~ Late filing ~001~CIT"));
    }

    void leavingAnUntouchedEntry()
    {
        Fixture f;
        f.shown();
        QVERIFY(!f.doc().NeedSave());
        QVERIFY(f.doc().CloseDocument());
        const QStringList &status = f.tp.statusBar.texts;
        QCOMPARE(status.mid(status.size() - 2),
                 (QStringList{QStringLiteral("Checking Document Data ..."),
                              QStringLiteral("Ready ...")}));
        QCOMPARE(toolbar(f.tp.shellServices), kToolbar);
        f.doc().BeforeUnload();
        QCOMPARE(toolbar(f.tp.shellServices), kToolbar + kToolbar);
        QCOMPARE(f.tp.shellServices.leaves, (QList<bool>{true, true}));
        QCOMPARE(f.boxes().size(), 0); // nothing to ask
        // Released: a late reply finds no handler.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        f.tp.fakeBroker.replyGood({assignments({{}})});
        QCOMPARE(f.grid()->rowCount(), 0);
        QCOMPARE(f.reports(), QString());
    }

    void closeDocument_data()
    {
        // answer; officer typed; reply to the save; closes
        addRows({{"no", "no;1002;;1"},
                 {"cancel", "cancel;1002;;0"},
                 {"yes, saved", "yes;1002;good;1"},
                 {"yes, refused", "yes;1002;bad;0"},
                 {"yes, entry in error", "yes;9999;;0"}});
    }
    void closeDocument()
    {
        const QStringList v = rowFields();
        const QString reply = v[2];
        Fixture f;
        f.shown();
        // An earlier reply of the other kind must not decide the wait or its result.
        if (reply == u"good")
            f.tp.fakeBroker.replyBad(QStringLiteral("The list failed."));
        else
            f.tp.fakeBroker.replyGood({assignments({})});
        const qsizetype before = f.boxes().size();
        f.enterValidAssignment();
        f.box(1)->setText(v[1]);
        f.tp.boxes.answer(answer(v[0]));
        // The reply arrives while the document waits, as the broker's event would.
        QString during; // the request, the status and the tab at that moment
        QTimer::singleShot(0, [&f, &during, reply] {
            if (reply.isEmpty())
                return;
            during = QStringLiteral("%1 %2 %3")
                         .arg(f.lastRequest().kind())
                         .arg(f.tp.statusBar.last())
                         .arg(f.doc().tabTab->isEnabled());
            if (reply == u"good")
                f.tp.fakeBroker.replyGood();
            else
                f.tp.fakeBroker.replyBad(QStringLiteral("The assignment was refused."));
        });
        QCOMPARE(f.doc().CloseDocument(), v[3] == u"1");
        // It paused between its looks (the reply came during the first).
        QCOMPARE(f.tp.fixedClock.pauses, reply.isEmpty() ? QList<int>{} : QList<int>{500});
        QCOMPARE(during,
                 reply.isEmpty() ? QString() : QStringLiteral("15 Saving Assignment ...  0"));

        QCOMPARE(f.boxes().at(before).prompt, kSaveQuestion);
        QCOMPARE(f.boxes().at(before).style, kQuestionStyle);
        QCOMPARE(f.doc().tabTab->currentIndex(), 1);
        QVERIFY(f.doc().tabTab->isEnabled());
        // The quiet exit of a cancel or a refused entry skips the leave step: the document stays.
        const bool leaves = v[0] != u"cancel" && v[1] == u"1002";
        QCOMPARE(toolbar(f.tp.shellServices), leaves ? kToolbar : QList<int>{});
        QCOMPARE(f.tp.shellServices.leaves, leaves ? QList<bool>{true} : QList<bool>{});
        QCOMPARE(f.sentCount(), reply == u"good" ? 3 : reply == u"bad" ? 2 : 1);
        QCOMPARE(f.comment()->toPlainText().isEmpty(), reply == u"good");
        QCOMPARE(f.reports(), QString());
        if (reply == u"good")
            QCOMPARE(f.lastRequest().kind(), 62); // the list again
        if (v[1] != u"1002") {
            QCOMPARE(f.boxes().at(before + 1).prompt,
                     QStringLiteral("Invalid officer number.\r\n"));
            QCOMPARE(f.boxes().at(before + 1).style, 16);
        }
        if (reply == u"bad") {
            QCOMPARE(f.boxes().last().prompt, QStringLiteral("The assignment was refused."));
            QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Update Not Successful."));
            QVERIFY(f.doc().SaveData()); // a second try may start at once
            QCOMPARE(f.sentCount(), 3);
        }
    }

    void questions_data()
    {
        // operation; officer typed; answer; result ("raised": the refusal reaches the caller);
        // tab shown afterwards; entry cleared; requests sent
        addRows({{"NeedSave, untouched", "NeedSave;;;false;0;0;1"},
                 {"NeedSave, no", "NeedSave;1002;no;false;0;0;1"},
                 {"NeedSave, cancel", "NeedSave;1002;cancel;true;0;0;1"},
                 {"NeedSave, yes", "NeedSave;1002;yes;true;1;0;2"},
                 {"FileNew, untouched", "FileNew;;;;1;1;1"},
                 {"FileNew, no", "FileNew;1002;no;;1;1;1"},
                 {"FileNew, yes", "FileNew;1002;yes;;1;1;2"},
                 {"FileNew, cancel", "FileNew;1002;cancel;;1;0;1"},
                 {"FileNew, yes, refused", "FileNew;9999;yes;;1;0;1"},
                 {"SaveAssignment, untouched", "SaveAssignment;;;;0;0;1"},
                 {"SaveAssignment, no", "SaveAssignment;1002;no;;1;0;1"},
                 {"SaveAssignment, yes", "SaveAssignment;1002;yes;;1;0;2"},
                 {"SaveAssignment, cancel", "SaveAssignment;1002;cancel;raised;1;0;1"},
                 {"SaveAssignment, yes, refused", "SaveAssignment;9999;yes;raised;1;0;1"}});
    }
    void questions()
    {
        const QStringList v = rowFields();
        Fixture f;
        f.shown();
        f.box(1)->setText(v[1]);
        f.tp.boxes.answer(answer(v[2]));
        f.tp.mouse.setBusy();
        QString result;
        try {
            if (v[0] == u"NeedSave")
                result = QVariant(f.doc().NeedSave()).toString();
            else if (v[0] == u"FileNew")
                f.doc().FileNew();
            else
                f.doc().SaveAssignment();
        } catch (const ProcError &e) {
            result = e.number() == -2147220504 ? QStringLiteral("raised") : e.description();
        }
        QCOMPARE(result, v[3]);
        const QString question =
            v[0] == u"NeedSave"
                ? QStringLiteral("Data has changed. Do you wish to save the changes?")
                : kSaveQuestion;
        QCOMPARE(f.boxes().value(0).prompt, v[2].isEmpty() ? QString() : question);
        QCOMPARE(f.boxes().value(0).style, v[2].isEmpty() ? 0 : kQuestionStyle);
        QCOMPARE(f.doc().tabTab->currentIndex(), v[4].toInt());
        QCOMPARE(f.box(1)->text(), v[5] == u"1" ? QString() : v[1]);
        QCOMPARE(QString::number(f.sentCount()), v[6]);
        // Kept from whichever was sent last: the list query or the save.
        QVERIFY(!f.doc().readBack().isEmpty());
        QCOMPARE(f.doc().readBack(), f.lastRequest().readBack());
        QVERIFY(!f.tp.mouse.busy);
        QCOMPARE(f.reports(), QString());
    }
};

KORVA_TEST_MAIN(TestDocumentHost)
#include "tst_documenthost.moc"
