// The checks of the new-assignment entry, what the host is told, the changed test and the
// clearing of the entry.
#include "test_main.h"
#include "tst_entryfixture.h"

#include <QPushButton>

using namespace korva;
using namespace korva::entrytest;

namespace {

const QString kNeedsType =
    QStringLiteral("Reference Account Type must be selected from the list.\r\n");
const QString kNeedsNumber = QStringLiteral("Reference Account Number is required\r\n");
const QString kInvalidAccount = QStringLiteral("Account Number is Invalid");
const QString kBadCitation = QStringLiteral(
    "The citation number entered is invalid. Correct format is nnnnnnn-c (7 digits plus a "
    "check digit).");
const QString kBadOfficer = QStringLiteral("Invalid officer number.\r\n");
const QString kBadTroop = QStringLiteral("Assign to Troop/District is not valid.\r\n");
const QString kBadAgency = QStringLiteral("Assign to agency is not valid.\r\n");

} // namespace

class TestEntryChecks : public QObject {
    Q_OBJECT
private slots:
    void referenceAccountRules() {
        EntryFixture f;
        f.box(1)->setText(QStringLiteral("1002"));
        f.box(0)->setText(QStringLiteral("1234567"));
        QCOMPARE(f.checked(), kNeedsType);
        QVERIFY(f.marked(f.combo(1)));

        f.box(0)->clear();
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("CIT")));
        QCOMPARE(f.checked(), kNeedsNumber);
        QVERIFY(f.marked(f.box(0)));
        QVERIFY(!f.marked(f.combo(1)));

        // A plain number of up to seven digits is not judged here; it is completed on leaving.
        f.box(0)->setText(QStringLiteral("42"));
        QCOMPARE(f.checked(), QString());
        QVERIFY(f.spy.startingWith(QStringLiteral("account")).isEmpty());
        QVERIFY(!f.marked(f.box(0)));
    }

    void accountMessagesRunOnWithoutALineBreak() {
        EntryFixture f;
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("CIT")));
        f.box(0)->setText(QStringLiteral("12345678"));
        QCOMPARE(f.checked(), kInvalidAccount + kBadOfficer);
        QVERIFY(f.marked(f.box(0)));
        QVERIFY(f.marked(f.box(1)));

        f.box(0)->setText(QStringLiteral("1234567-5"));
        QCOMPARE(f.checked(), kBadCitation + kBadOfficer);
        f.box(1)->setText(QStringLiteral("1002"));
        QCOMPARE(f.checked(), kBadCitation);
        f.box(0)->setText(QStringLiteral("1234567-4"));
        QCOMPARE(f.checked(), QString());
    }

    void dashedNumberIsPaddedAndCheckedOnlyWithAType() {
        EntryFixture f;
        f.box(1)->setText(QStringLiteral("1002"));
        f.box(0)->setText(QStringLiteral("123-4"));
        f.spy.calls.clear();
        QCOMPARE(f.checked(), kNeedsType);
        QVERIFY(f.spy.startingWith(QStringLiteral("account")).isEmpty());

        QVERIFY(f.combo(1)->selectCode(QStringLiteral("ACC")));
        f.spy.calls.clear();
        QCOMPARE(f.checked(), QString());
        QCOMPARE(f.spy.startingWith(QStringLiteral("account")),
                 QStringList{QStringLiteral("account ACC 0000123-4")});
    }

    void officerListTakesThePlaceOfTheOfficerNumber() {
        EntryFixture f;
        QCOMPARE(f.checked(), kBadOfficer);
        QVERIFY(f.marked(f.box(1)));

        f.listOfficers({1002, 1003});
        QCOMPARE(f.checked(), QString());
        QVERIFY(!f.marked(f.box(1)));
        QVERIFY(!f.box(1)->isEnabled());
    }

    void singleOfficerMustBeActive_data() {
        QTest::addColumn<QString>("number");
        QTest::addColumn<bool>("valid");
        QTest::newRow("active") << QStringLiteral("1002") << true;
        QTest::newRow("left in 2020") << QStringLiteral("1004") << false;
        QTest::newRow("unknown") << QStringLiteral("77") << false;
        QTest::newRow("blank") << QStringLiteral("   ") << false;
    }
    void singleOfficerMustBeActive() {
        QFETCH(QString, number);
        QFETCH(bool, valid);
        EntryFixture f;
        f.box(1)->setText(number);
        QCOMPARE(f.checked(), valid ? QString() : kBadOfficer);
        QCOMPARE(f.marked(f.box(1)), !valid);
    }

    void troopAndDistrict_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("asked");
        QTest::newRow("troop alone")
            << QStringLiteral("3") << QString() << QStringLiteral("troop 3");
        QTest::newRow("troop and district")
            << QStringLiteral("3A") << QString() << QStringLiteral("district 3 A");
        QTest::newRow("unknown troop")
            << QStringLiteral("9") << kBadTroop << QStringLiteral("troop 9");
        QTest::newRow("unknown district")
            << QStringLiteral("4A") << kBadTroop << QStringLiteral("district 4 A");
        QTest::newRow("empty") << QString() << kBadTroop << QString();
    }
    void troopAndDistrict() {
        QFETCH(QString, typed);
        QFETCH(QString, error);
        QFETCH(QString, asked);
        EntryFixture f;
        f.option(9)->click();
        f.type(2, typed);
        f.spy.calls.clear();
        QCOMPARE(f.checked(), error);
        QStringList calls = f.spy.startingWith(QStringLiteral("troop")) +
                            f.spy.startingWith(QStringLiteral("district"));
        QCOMPARE(calls.value(0), asked);
        QVERIFY(calls.size() <= 1);
        QCOMPARE(f.marked(f.box(2)), !error.isEmpty());
        // The officer number is not asked for when the assignment goes to a troop.
        QVERIFY(!f.marked(f.box(1)));
    }

    void agencyMustBeChosenFromTheList() {
        EntryFixture f;
        f.option(8)->click();
        QCOMPARE(f.checked(), kBadAgency);
        QVERIFY(f.marked(f.combo(2)));
        f.combo(2)->setEditText(QStringLiteral("Nobody"));
        QCOMPARE(f.checked(), kBadAgency);
        QVERIFY(f.combo(2)->selectCode(QStringLiteral("SP")));
        QCOMPARE(f.checked(), QString());
        QVERIFY(!f.marked(f.combo(2)));
    }

    void hostIsToldWhetherTheEntryCanBeSaved() {
        EntryFixture f;
        auto &notes = f.tp.hostNotes.notes;
        f.tab();
        notes.clear();
        // Every edit runs the checks and tells the host.
        f.type(1, QStringLiteral("1002"));
        QCOMPARE(notes.size(), 4);
        QCOMPARE(notes.last(), qMakePair(7, true));
        f.box(1)->setText(QStringLiteral("1004"));
        QCOMPARE(notes.last(), qMakePair(7, false));
        f.box(1)->setText(QStringLiteral("1003"));
        QCOMPARE(notes.last(), qMakePair(7, true));

        // Nothing entered is nothing to save, even without an error.
        f.listOfficers({1002});
        f.box(1)->clear();
        QCOMPARE(f.checked(), QString());
        QCOMPARE(notes.last(), qMakePair(7, false));

        // The document's own changed test decides when it is given.
        int asked = 0;
        f.tab().setDataChangedTest([&asked] {
            ++asked;
            return true;
        });
        f.tab().CheckEdits();
        QCOMPARE(asked, 1);
        QCOMPARE(notes.last(), qMakePair(7, true));
    }

    void changedMeansDifferentFromTheClearedEntry() {
        EntryFixture f;
        QVERIFY(!f.tab().isChanged());
        auto edits = QList<std::function<void()>>{
            [&] { f.box(4)->setText(QStringLiteral("Subject")); },
            [&] { f.comment()->setPlainText(QStringLiteral("Note")); },
            [&] { f.box(1)->setText(QStringLiteral("1")); },
            [&] { f.box(0)->setText(QStringLiteral("1")); },
            [&] { f.combo(0)->selectCode(QStringLiteral("PCE")); },
            [&] { f.combo(1)->selectCode(QStringLiteral("ACC")); },
            [&] { f.option(8)->click(); },
            [&] { f.pick(3, f.today().addDays(3)); },
        };
        for (int i = 0; i < edits.size(); ++i) {
            edits[i]();
            QVERIFY2(f.tab().isChanged(), QByteArray::number(i));
            f.tab().ClearNewAssignment();
            QVERIFY2(!f.tab().isChanged(), QByteArray::number(i));
        }
        // Blanks are nothing entered; the officers list is kept apart from the entry.
        f.box(4)->setText(QStringLiteral("   "));
        f.comment()->setPlainText(QStringLiteral("\n "));
        f.listOfficers({1002});
        QVERIFY(!f.tab().isChanged());
    }

    void clearingEmptiesTheEntryButKeepsTheOfficers() {
        EntryFixture f;
        QPushButton forward;
        f.tab().setForwardButton(&forward);
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("001")));
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("CIT")));
        QVERIFY(forward.isEnabled());
        f.box(0)->setText(QStringLiteral("12345678"));
        f.box(4)->setText(QStringLiteral("Subject"));
        f.comment()->setPlainText(QStringLiteral("Comment"));
        f.option(9)->click();
        f.box(2)->setText(QStringLiteral("9"));
        f.listOfficers({1002});
        QVERIFY(!f.checked().isEmpty());
        QVERIFY(f.marked(f.box(0)));
        QVERIFY(f.marked(f.box(2)));

        f.tab().ClearNewAssignment();
        QCOMPARE(f.combo(0)->listIndex(), 0);
        QCOMPARE(f.combo(1)->listIndex(), 0);
        QCOMPARE(f.box(0)->text(), QString());
        QCOMPARE(f.box(2)->text(), QString());
        QCOMPARE(f.box(4)->text(), QString());
        QCOMPARE(f.comment()->toPlainText(), QString());
        QVERIFY(f.option(7)->isChecked());
        for (int i = 2; i <= 4; ++i)
            QCOMPARE(f.date(i)->date(), f.today());
        QVERIFY(f.tp.fieldMarks.marked.isEmpty());
        QVERIFY(!forward.isEnabled());
        QCOMPARE(f.tab().adoOfficers->recordSet()->count(), 1);
        QCOMPARE(f.tp.hostNotes.notes.last(), qMakePair(7, false));
        // The day counts of the last type stay for the forward command.
        QCOMPARE(f.tab().dueDayCount(), qint16(10));

        // An emptied entry is not an entry in error, even with no officer to send it to.
        f.tab().clearOfficers();
        f.type(1, QStringLiteral("1002"));
        f.tab().ClearNewAssignment();
        QVERIFY(!f.marked(f.box(1)));
        QCOMPARE(f.tab().errorText(), QString());
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports());
    }
};

KORVA_TEST_MAIN(TestEntryChecks)
#include "tst_entrychecks.moc"
