// Filling the new-assignment tab: the assignment types and the dates they give, the date
// rules, citation completion, key filters and the paste guard.
#include "documentfixture.h"
#include "test_main.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QMenu>

using namespace korva;
using namespace korva::doctest;

namespace {

// A right click on the box, then its context menu as the window system raises it: Paste is
// chosen from it when `paste` is set, else it is dismissed.
void contextMenu(QLineEdit *box, bool paste)
{
    const QPoint at = box->rect().center();
    QTest::mousePress(box, Qt::RightButton, {}, at);
    QContextMenuEvent request(QContextMenuEvent::Mouse, at, box->mapToGlobal(at));
    QApplication::sendEvent(box, &request);
    auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
    QVERIFY(menu);
    for (QAction *action : menu->actions()) {
        if (paste && action->text().remove(u'&').startsWith(u"Paste"))
            action->trigger();
    }
    menu->close();
    // The window system gives the button's release to the menu, not to the box.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QList<int> numbers(const QString &text)
{
    QList<int> out;
    for (const QString &n : text.split(u',', Qt::SkipEmptyParts))
        out.append(n.toInt());
    return out;
}

} // namespace

class TestEntryInput : public QObject {
    Q_OBJECT
private slots:
    void typesAreReadOnceForTheUsersRegion()
    {
        Fixture f;
        f.tp.fakeUser.regionCode = QStringLiteral(" ne ");
        QString code = QStringLiteral("1");
        f.entry().FormatTypeCode(code);
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("007")));
        QCOMPARE(f.combo(0)->text(), QStringLiteral("Follow-up Citation"));
        QCOMPARE(f.combo(0)->count(), 7); // the types and the empty choice
        QCOMPARE(f.tp.codeList.queries.filter(QStringLiteral("ZTB_ASGNMT_TYPE")),
                 QStringList{QStringLiteral(
                     "Select REGION, ASGNMT_CD, ASGNMT_DES, CRTR_CLS_IND, DUE_DY_CNT, "
                     "EXPRTN_DY_CNT, RSN_FOR_CHNG_TXT, SYS_IND From ZTB_ASGNMT_TYPE Where "
                     "REGION='NE' Order By ASGNMT_DES")});
        // The reference types and agencies come from their code tables.
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("CIT")));
        QVERIFY(!f.combo(1)->selectCode(QStringLiteral("DOR")));
        QVERIFY(f.combo(2)->selectCode(QStringLiteral("DOR")));
    }

    void typeCodeFormatterAndTypeFlags_data()
    {
        // code; as formatted; due days, expiration days, creator closes, system generated
        addRows({{"1", "1;001;10,30,0,0"},
                 {"7, counts with blanks", "7;007;5,15,1,0"},
                 {"90, no counts", "90;090;0,0,0,1"},
                 {"letters", "PCE;PCE;0,0,0,0"},
                 {"not a type", "42;042;0,0,0,0"},
                 {"four digits", "1234;1234;0,0,0,0"}});
    }
    void typeCodeFormatterAndTypeFlags()
    {
        const QStringList v = rowFields();
        Fixture f;
        AssignmentEntryTab &e = *f.doc().entry;
        // After a system-generated type and after one that creator-closes: every flag has to
        // be reset or set.
        for (const char *before : {"90", "7"}) {
            QString other = QLatin1String(before), code = v[0];
            e.FormatTypeCode(other);
            e.FormatTypeCode(code);
            QCOMPARE(code, v[1]);
            QCOMPARE((QList<int>{e.dueDayCount(), e.expirationDayCount(), e.creatorClosesOnly(),
                                 e.systemGenerated()}),
                     numbers(v[2]));
            // The forward dialog reads the component's counts: they follow every lookup.
            const modAssignMaint::TypeDayCounts &shared = modAssignMaint::componentDayCounts();
            QCOMPARE((QList<int>{shared.DueDayCount, shared.ExpirationDayCount}),
                     numbers(v[2]).mid(0, 2));
        }
        QCOMPARE(f.reports(), QString());
    }

    void dateRules_data()
    {
        // type; dates picked (picker, days from today, ...); effective, due, expiration
        addRows({{"type", "001;;0,10,30"},
                 {"type without counts", "PCE;;0,0,0"},
                 // Due from the chosen effective date, expiration from the due date as it was.
                 {"future effective goes back to today", "001;2,5;0,15,30"},
                 {"past effective is kept", "001;2,5,2,-2;-2,8,35"},
                 // Due before effective becomes the effective date; expiration from the
                 // due date as it was picked.
                 {"due before effective", "001;2,-2,3,-5;-2,-2,15"},
                 {"later due", "001;2,-2,3,4;-2,4,24"},
                 {"expiration before due", "001;2,-2,3,4,4,1;-2,4,4"},
                 {"later expiration", "001;2,-2,3,4,4,9;-2,4,9"}});
    }
    void dateRules()
    {
        const QStringList v = rowFields();
        Fixture f;
        f.entry().initialiseDates(f.today().addDays(-30)); // lets the test pick past days
        QVERIFY(f.combo(0)->selectCode(v[0]));
        const QList<int> picks = numbers(v[1]);
        for (qsizetype i = 0; i + 1 < picks.size(); i += 2)
            f.pick(picks[i], f.today().addDays(picks[i + 1]));
        QList<int> days;
        for (const QDate &d : f.dates())
            days.append(int(f.today().daysTo(d)));
        QCOMPARE(days, numbers(v[2]));
        QCOMPARE(f.reports(), QString());
    }

    void dayCountGapOutOfRangeIsReported()
    {
        Fixture f;
        f.entry();
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("050"))); // due -20000, expiration 20000
        QCOMPARE(f.reports(), QString());
        f.pick(3, f.today().addDays(1));
        QCOMPARE(f.tp.reporter.reports.value(0).source,
                 QStringLiteral("KORVA_AssignMaint.CheckDates"));
        f.pick(4, f.today().addDays(2)); // the gap is never needed for an expiration date
        QCOMPARE(f.tp.reporter.reports.size(), 1);
    }

    void leavingTheCodeCombos()
    {
        Fixture f;
        f.entry();
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("001")));
        f.leave(f.combo(0));
        QCOMPARE(f.dates()[2], f.today().addDays(30));
        // Passing through the empty reference type resets the dates: it always has.
        f.leave(f.combo(1));
        QCOMPARE(f.dates(), QList<QDate>(3, f.today()));
        // The reference type decides cmdButton(1), on a change and on leaving.
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("ACC")));
        QVERIFY(f.button(1)->isEnabled());
        f.combo(1)->clearSelection();
        QVERIFY(!f.button(1)->isEnabled());
        f.button(1)->setEnabled(true);
        f.leave(f.combo(1));
        QVERIFY(!f.button(1)->isEnabled());
    }

    void citationNumberIsCompletedOnLeaving_data()
    {
        // 0000042: doubling from the right gives 4 + 4 = 8, so the check digit is 2.
        addRows({{"two digits", "42;0000042-2"},
                 {"seven digits", "1234567;1234567-4"},
                 {"eight digits stay", "12345678;12345678"},
                 {"with a dash stays", "123-4;123-4"}});
    }
    void citationNumberIsCompletedOnLeaving()
    {
        const QStringList v = rowFields();
        Fixture f;
        f.entry();
        f.type(0, v[0]);
        QCOMPARE(f.box(0)->text(), v[0]);
        f.leave(f.box(0));
        QCOMPARE(f.box(0)->text(), v[1]);
        QCOMPARE(f.reports(), QString());
    }

    // Only all-digit text has a check digit; anything else the lookup refuses, and the box
    // keeps what was pasted.
    void citationOfOtherNumericTextIsNotCompleted()
    {
        Fixture f;
        f.entry();
        QGuiApplication::clipboard()->setText(QStringLiteral("4.2"));
        f.box(0)->setFocus();
        QTest::keyClick(f.box(0), Qt::Key_V, Qt::ControlModifier);
        f.leave(f.box(0));
        QCOMPARE(f.box(0)->text(), QStringLiteral("4.2"));
        QCOMPARE(f.tp.reporter.reports.size(), 1);
        QCOMPARE(f.tp.reporter.reports[0].source,
                 QStringLiteral("KORVA_AssignMaint.txtBox_LostFocus"));
    }

    void keyFiltersDropRefusedKeysWithABeep()
    {
        Fixture f;
        f.entry();
        f.type(1, QStringLiteral("10a.2"));
        QCOMPARE(f.box(1)->text(), QStringLiteral("102"));
        QCOMPARE(f.beeps(), 2);
        f.type(0, QStringLiteral("12-3-x4"));
        QTest::keyClick(f.box(0), Qt::Key_Backspace); // typing too, and let through
        QCOMPARE(f.box(0)->text(), QStringLiteral("12-3"));
        QCOMPARE(f.beeps(), 4);
        f.type(4, QStringLiteral("a.$-x")); // the subject has no filter
        QCOMPARE(f.box(4)->text(), QStringLiteral("a.$-x"));
        f.option(9)->click();
        f.type(2, QStringLiteral("3ab#"));
        QCOMPARE(f.box(2)->text(), QStringLiteral("3AB"));
        QCOMPARE(f.beeps(), 5);
    }

    void pasteGuard_data()
    {
        // box; how; clipboard; the box's text afterwards ("10" was typed); beeps
        addRows({{"menu, decimal officer", "1;menu;12.5;10;1"},
                 {"menu, officer", "1;menu;1002;1002;0"},
                 {"shift+insert, decimal officer", "1;shift+insert;1.5;10;1"},
                 // Deliberately unguarded: Ctrl+V pastes whatever the clipboard holds.
                 {"ctrl+v, decimal officer", "1;ctrl+v;1.5;1.5;0"},
                 {"menu, wrong citation", "0;menu;1234567-5;10;1"},
                 {"menu, citation", "0;menu;1234567-4;1234567-4;0"},
                 // The guard ends with the menu: typing on is not judged as a paste.
                 {"menu dismissed, then typed", "0;dismissed;1234567-4;1234567-4;0"},
                 // Qt numbers this key 45, as the procedures number Insert: it is typing.
                 {"shift+keypad minus", "0;shift+keypad-;1.5;1234567-;0"}});
    }
    void pasteGuard()
    {
        const QStringList v = rowFields();
        Fixture f;
        f.fill(QStringLiteral("ref=CIT"));
        f.type(v[0].toInt(), QStringLiteral("10"));
        QLineEdit *box = f.box(v[0].toInt());
        QGuiApplication::clipboard()->setText(v[2]);
        box->selectAll();
        if (v[1] == u"menu" || v[1] == u"dismissed")
            contextMenu(box, v[1] == u"menu");
        if (v[1] == u"dismissed") {
            QTest::keyClicks(box, v[2]);
        } else if (v[1] == u"shift+keypad-") {
            QTest::keyClicks(box, QStringLiteral("1234567"));
            QTest::keyClick(box, Qt::Key_Minus, Qt::ShiftModifier | Qt::KeypadModifier);
        } else if (v[1] != u"menu") {
            QTest::keyClick(box, v[1] == u"ctrl+v" ? Qt::Key_V : Qt::Key_Insert,
                            v[1] == u"ctrl+v" ? Qt::ControlModifier : Qt::ShiftModifier);
        }
        QCOMPARE(box->text(), v[3]);
        QCOMPARE(QString::number(f.beeps()), v[4]);
    }

    // The comment box is not guarded, but a click or a key in it ends a paste begun in another
    // box whose button or key went up elsewhere.
    void commentBoxEndsAPasteBegunElsewhere_data()
    {
        addRows({{"mouse", "mouse"}, {"keys", "keys"}});
    }
    void commentBoxEndsAPasteBegunElsewhere()
    {
        const bool mouse = rowFields().first() == u"mouse";
        Fixture f;
        f.entry();
        QGuiApplication::clipboard()->clear(); // Shift+Insert then pastes nothing
        f.type(1, QStringLiteral("10"));
        if (mouse)
            QTest::mousePress(f.box(1), Qt::RightButton, {}, f.box(1)->rect().center());
        else
            QTest::keyPress(f.box(1), Qt::Key_Insert, Qt::ShiftModifier);
        if (mouse)
            QTest::mouseClick(f.comment()->viewport(), Qt::LeftButton);
        else
            QTest::keyClick(f.comment(), Qt::Key_A);
        f.box(1)->setText(QStringLiteral("1.5"));
        QCOMPARE(f.box(1)->text(), QStringLiteral("1.5"));
        QCOMPARE(f.beeps(), 0);
    }
};

KORVA_TEST_MAIN(TestEntryInput)
#include "tst_entryinput.moc"
