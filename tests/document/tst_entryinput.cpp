// Typing into the new-assignment tab: citation completion, key filters, the paste guard and
// the officer lookup when the officer number is left.
#include "test_main.h"
#include "tst_entryfixture.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QMenu>

using namespace korva;
using namespace korva::entrytest;

namespace {

// Pastes the clipboard through the box's own context menu, opened by a right click.
bool pasteFromContextMenu(QLineEdit *box) {
    // The press, then the context menu the window system raises for it, then the release.
    const QPoint at = box->rect().center();
    QTest::mousePress(box, Qt::RightButton, {}, at);
    QContextMenuEvent request(QContextMenuEvent::Mouse, at, box->mapToGlobal(at));
    QApplication::sendEvent(box, &request);
    bool pasted = false;
    if (auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget())) {
        for (QAction *action : menu->actions()) {
            if (action->text().remove(u'&').startsWith(u"Paste") && action->isEnabled()) {
                action->trigger();
                pasted = true;
            }
        }
        menu->close();
    }
    QTest::mouseRelease(box, Qt::RightButton, {}, at);
    return pasted;
}

} // namespace

class TestEntryInput : public QObject {
    Q_OBJECT
private slots:
    void citationNumberIsCompletedOnLeaving_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        // 0000042: doubling from the right gives 4 + 4 = 8, so the check digit is 2.
        QTest::newRow("two digits") << QStringLiteral("42") << QStringLiteral("0000042-2");
        QTest::newRow("seven digits") << QStringLiteral("1234567") << QStringLiteral("1234567-4");
        QTest::newRow("eight digits stay")
            << QStringLiteral("12345678") << QStringLiteral("12345678");
        QTest::newRow("with a dash stays") << QStringLiteral("123-4") << QStringLiteral("123-4");
    }
    void citationNumberIsCompletedOnLeaving() {
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        EntryFixture f;
        f.type(0, typed);
        QCOMPARE(f.box(0)->text(), typed);
        f.leave(f.box(0));
        QCOMPARE(f.box(0)->text(), shown);
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports());
    }

    void keyFiltersDropRefusedKeysWithABeep() {
        EntryFixture f;
        f.type(1, QStringLiteral("10a.2"));
        QCOMPARE(f.box(1)->text(), QStringLiteral("102"));
        QCOMPARE(f.beeps(), 2);
        f.type(0, QStringLiteral("12-3-x4"));
        QCOMPARE(f.box(0)->text(), QStringLiteral("12-34"));
        QCOMPARE(f.beeps(), 4);
        // Backspace is typing too and passes every filter.
        QTest::keyClick(f.box(0), Qt::Key_Backspace);
        QCOMPARE(f.box(0)->text(), QStringLiteral("12-3"));
        QCOMPARE(f.beeps(), 4);
        // The subject has no filter.
        f.type(4, QStringLiteral("a.$-x"));
        QCOMPARE(f.box(4)->text(), QStringLiteral("a.$-x"));
        QCOMPARE(f.beeps(), 4);
    }

    void troopLettersAreTypedInUpperCase() {
        EntryFixture f;
        f.option(9)->click();
        f.type(2, QStringLiteral("3a"));
        QCOMPARE(f.box(2)->text(), QStringLiteral("3A"));
        f.type(2, QStringLiteral("b#"));
        QCOMPARE(f.box(2)->text(), QStringLiteral("3AB"));
        QCOMPARE(f.beeps(), 1);
    }

    void rightClickPasteIntoOfficerIsGuarded() {
        EntryFixture f;
        f.type(1, QStringLiteral("10"));
        QGuiApplication::clipboard()->setText(QStringLiteral("12.5"));
        f.box(1)->selectAll();
        QVERIFY(pasteFromContextMenu(f.box(1)));
        QCOMPARE(f.box(1)->text(), QStringLiteral("10"));
        QCOMPARE(f.beeps(), 1);

        // A number is let through.
        QGuiApplication::clipboard()->setText(QStringLiteral("1002"));
        f.box(1)->selectAll();
        QVERIFY(pasteFromContextMenu(f.box(1)));
        QCOMPARE(f.box(1)->text(), QStringLiteral("1002"));
        QCOMPARE(f.beeps(), 1);

        // The guard ends with the click: a later Ctrl+V is not judged.
        QGuiApplication::clipboard()->setText(QStringLiteral("9.9"));
        f.box(1)->selectAll();
        QTest::keyClick(f.box(1), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(f.box(1)->text(), QStringLiteral("9.9"));
        QCOMPARE(f.beeps(), 1);
    }

    void dismissedContextMenuEndsTheGuard() {
        EntryFixture f;
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("CIT")));
        f.box(0)->setFocus();
        // The window system gives the button's release to the menu, not to the box.
        const QPoint at = f.box(0)->rect().center();
        QTest::mousePress(f.box(0), Qt::RightButton, {}, at);
        QContextMenuEvent request(QContextMenuEvent::Mouse, at, f.box(0)->mapToGlobal(at));
        QApplication::sendEvent(f.box(0), &request);
        QWidget *menu = QApplication::activePopupWidget();
        QVERIFY(menu);
        menu->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        // Typing a citation is not judged as a paste on the way.
        f.type(0, QStringLiteral("1234567-4"));
        QCOMPARE(f.box(0)->text(), QStringLiteral("1234567-4"));
        QCOMPARE(f.beeps(), 0);
    }

    void shiftInsertIsGuardedButCtrlVIsNot() {
        EntryFixture f;
        f.type(1, QStringLiteral("7"));
        QGuiApplication::clipboard()->setText(QStringLiteral("1.5"));
        QTest::keyClick(f.box(1), Qt::Key_Insert, Qt::ShiftModifier);
        QCOMPARE(f.box(1)->text(), QStringLiteral("7"));
        QCOMPARE(f.beeps(), 1);
        // Deliberately unguarded: Ctrl+V pastes whatever the clipboard holds.
        QTest::keyClick(f.box(1), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(f.box(1)->text(), QStringLiteral("71.5"));
        QCOMPARE(f.beeps(), 1);
    }

    void pasteIntoAccountNumberIsValidatedForItsType() {
        EntryFixture f;
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("CIT")));
        f.box(0)->setFocus();
        QGuiApplication::clipboard()->setText(QStringLiteral("1234567-5"));
        QVERIFY(pasteFromContextMenu(f.box(0)));
        QCOMPARE(f.box(0)->text(), QString());
        QCOMPARE(f.beeps(), 1);
        QGuiApplication::clipboard()->setText(QStringLiteral("1234567-4"));
        QVERIFY(pasteFromContextMenu(f.box(0)));
        QCOMPARE(f.box(0)->text(), QStringLiteral("1234567-4"));
        QCOMPARE(f.beeps(), 1);
        QVERIFY(f.spy.calls.contains(QStringLiteral("account CIT 1234567-5")));
    }

    void leavingTheOfficerNumberLooksTheOfficerUp() {
        EntryFixture f;
        f.type(1, QStringLiteral("9999"));
        f.leave(f.box(1));
        QVERIFY(f.marked(f.box(1)));

        f.box(1)->clear();
        f.type(1, QStringLiteral("1003"));
        f.leave(f.box(1));
        QVERIFY(!f.marked(f.box(1)));
        QCOMPARE(f.tab().buildAssignmentRows()->text(u"OFCR_TO_ID"), QStringLiteral("1003"));
    }
};

KORVA_TEST_MAIN(TestEntryInput)
#include "tst_entryinput.moc"
