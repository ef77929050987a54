#include "platform/controls/officerselect.h"
#include "test_main.h"
#include "testkit.h"

#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QRandomGenerator>
#include <QSignalSpy>

using namespace korva;

namespace {

const QDate kToday(2026, 11, 22);

OfficerInfo officer(int id, const char *last, const char *first, const char *middle, QDate to = {})
{
    OfficerInfo o;
    o.id = id;
    o.lastName = QLatin1String(last);
    o.firstName = QLatin1String(first);
    o.middleName = QLatin1String(middle);
    o.activeFrom = QDate(2000, 1, 1);
    o.activeTo = to;
    return o;
}

QList<OfficerInfo> sampleOfficers()
{
    return {officer(1002, "smith,jr", "john", "q"),
            officer(1001, "Doe", "Jane", "Q"),
            officer(2001, "Johnson", "Mary", ""),
            officer(1003, "Roe", "", "Ann"),
            officer(1004, "Brown,SR", "Al", "", QDate(2020, 12, 31)),
            officer(3010, "Smithers", "Wayne", "B"),
            officer(4000, "Adams", "John", "")};
}

QList<int> idsOf(const OfficerIndex &index, const QList<int> &positions)
{
    QList<int> ids;
    for (int p : positions)
        ids.append(index.officer(p).id);
    return ids;
}

// What a match must return, found the slow way: every word typed starts a word of the
// officer's name, the whole name or the officer number.
QList<int> bruteForce(const OfficerIndex &index, const QString &text)
{
    static const QRegularExpression breaks(QStringLiteral("[\\s,.\\-]+"));
    const QStringList typed = text.toUpper().split(breaks, Qt::SkipEmptyParts);
    QList<int> ids;
    for (int p = 0; p < index.size(); ++p) {
        const OfficerInfo &o = index.officer(p);
        QStringList words{index.displayName(p), QString::number(o.id), o.lastName.toUpper()};
        for (const QString &part : {o.lastName, o.firstName, o.middleName})
            words += part.toUpper().split(breaks, Qt::SkipEmptyParts);
        const bool all = std::all_of(typed.cbegin(), typed.cend(), [&](const QString &t) {
            return std::any_of(words.cbegin(), words.cend(),
                               [&](const QString &w) { return w.startsWith(t); });
        });
        if (all)
            ids.append(o.id);
    }
    return ids;
}

} // namespace

class TestOfficerSelect : public QObject {
    Q_OBJECT
private slots:
    void matchesWordStartsAndNumbers_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QList<int>>("ids");
        QTest::addColumn<bool>("more");
        // Sorted by display name; the officer who left in 2020 is never offered.
        QTest::newRow("nothing typed lists by name")
            << QString() << 50 << QList<int>{4000, 1001, 2001, 1003, 1002, 3010} << false;
        QTest::newRow("nothing typed, limited") << QString() << 2 << QList<int>{4000, 1001} << true;
        QTest::newRow("last name prefix, any case")
            << QStringLiteral("smi") << 50 << QList<int>{1002, 3010} << false;
        QTest::newRow("first and last names alike")
            << QStringLiteral("JOHN") << 50 << QList<int>{4000, 2001, 1002} << false;
        QTest::newRow("a word inside the last name")
            << QStringLiteral("jr") << 50 << QList<int>{1002} << false;
        QTest::newRow("two words narrow")
            << QStringLiteral("smith j") << 50 << QList<int>{1002} << false;
        QTest::newRow("as the name is written")
            << QStringLiteral("DOE, JA") << 50 << QList<int>{1001} << false;
        QTest::newRow("officer number prefix")
            << QStringLiteral("100") << 50 << QList<int>{1001, 1003, 1002} << false;
        QTest::newRow("inactive officer by number")
            << QStringLiteral("1004") << 50 << QList<int>{} << false;
        QTest::newRow("no such officer") << QStringLiteral("zz") << 50 << QList<int>{} << false;
    }

    void matchesWordStartsAndNumbers()
    {
        QFETCH(QString, typed);
        QFETCH(int, limit);
        QFETCH(QList<int>, ids);
        QFETCH(bool, more);
        const OfficerIndex index(sampleOfficers(), kToday);
        QCOMPARE(index.size(), 6);
        const OfficerIndex::Matches found = index.match(typed, limit);
        QCOMPARE(found.more, more);
        QCOMPARE(idsOf(index, found.positions), ids);
    }

    // Over many generated officers the index finds exactly what a full scan finds, and a limit
    // cuts that list and says so.
    void agreesWithAFullScan()
    {
        const char *lasts[] = {"Smith", "Smythe",  "O'Brien", "Nguyen", "Li",
                               "Lind",  "Doe-Roe", "Abbott",  "Zimmer", "van Dyke"};
        const char *firsts[] = {"Ann", "Anna", "John", "Jon", "Li", "", "Mary Kay", "Al"};
        QRandomGenerator random(7);
        QList<OfficerInfo> officers;
        for (int i = 0; i < 2000; ++i) {
            OfficerInfo o = officer(10000 + i, lasts[random.bounded(10)], firsts[random.bounded(8)],
                                    random.bounded(2) ? "Q" : "");
            if (random.bounded(10) == 0)
                o.activeTo = kToday.addDays(-1);
            officers.append(o);
        }
        const OfficerIndex index(officers, kToday);
        for (const char *typed : {"s", "sm", "smith a", "o'b", "li", "10", "1015", "kay", "an j",
                                  "van", "doe-r", "q li", "zz"}) {
            QList<int> expected = bruteForce(index, QLatin1String(typed));
            const OfficerIndex::Matches found = index.match(QString::fromLatin1(typed), 5000);
            QCOMPARE(idsOf(index, found.positions), expected);
            QVERIFY(!found.more);
            const OfficerIndex::Matches few = index.match(QString::fromLatin1(typed), 10);
            QCOMPARE(few.more, expected.size() > 10);
            QCOMPARE(few.positions.size(), std::min(qsizetype(10), expected.size()));
        }
    }

    void typingShowsMatchesAndTheKeyboardPicks()
    {
        testkit::TestPlatform platform;
        KORVA_OfficerSelect picker;
        picker.show();
        auto *text = picker.findChild<QLineEdit *>(QStringLiteral("txtOfficer"));
        auto *list = picker.findChild<QListView *>(QStringLiteral("lstOfficers"));
        QVERIFY(text && list);
        QSignalSpy picked(&picker, &KORVA_OfficerSelect::OfficerSelected);

        QTest::keyClicks(text, QStringLiteral("o"));
        QCOMPARE(picker.shownCount(), 0); // names are matched from the start of a word
        QTest::keyClick(text, Qt::Key_Backspace);
        QCOMPARE(picker.shownCount(), 3); // the sample's three active officers
        QTest::keyClicks(text, QStringLiteral("10"));
        QCOMPARE(picker.shownCount(), 3);
        QTest::keyClick(text, Qt::Key_Down);
        QTest::keyClick(text, Qt::Key_Down);
        QTest::keyClick(text, Qt::Key_Up);
        QCOMPARE(list->currentIndex().row(), 1);
        QTest::keyClick(text, Qt::Key_Return);
        QCOMPARE(picked.size(), 1);
        // Rows are in name order: DOE, ROE, SMITH; the second is Roe.
        QCOMPARE(picker.OfficerID(), QStringLiteral("1003"));
        QCOMPARE(picker.LastName(), QStringLiteral("Roe"));
        QCOMPARE(picker.FirstName(), QString());
        QCOMPARE(picker.MiddleInitial(), QStringLiteral("Ann"));
        QCOMPARE(text->text(), QStringLiteral("ROE, ANN"));

        // Enter with nothing current takes the first match.
        text->clear();
        QTest::keyClicks(text, QStringLiteral("smith"));
        list->setCurrentIndex({});
        QTest::keyClick(text, Qt::Key_Enter);
        QCOMPARE(picked.size(), 2);
        QCOMPARE(picker.OfficerID(), QStringLiteral("1002"));
        QCOMPARE(picker.LastName(), QStringLiteral("smith,jr"));
        QCOMPARE(picker.FirstName(), QStringLiteral("john"));
        QCOMPARE(picker.MiddleInitial(), QStringLiteral("q"));
    }

    void theMousePicksOnceForADoubleClick()
    {
        testkit::TestPlatform platform;
        KORVA_OfficerSelect picker;
        picker.resize(300, 200);
        picker.show();
        QVERIFY(QTest::qWaitForWindowExposed(&picker));
        QVERIFY(picker.OfficerID().isEmpty());
        auto *text = picker.findChild<QLineEdit *>(QStringLiteral("txtOfficer"));
        auto *list = picker.findChild<QListView *>(QStringLiteral("lstOfficers"));
        QSignalSpy picked(&picker, &KORVA_OfficerSelect::OfficerSelected);
        QTest::keyClicks(text, QStringLiteral("d"));
        QCOMPARE(picker.shownCount(), 1);
        const QPoint row = list->visualRect(list->model()->index(0, 0)).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, row);
        QCOMPARE(picked.size(), 1);
        QCOMPARE(picker.OfficerID(), QStringLiteral("1001"));
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, row);
        QCOMPARE(picked.size(), 1);
        // A later, separate click is a new pick (the dialogs beep at it as a duplicate).
        platform.fixedClock.fixed =
            platform.fixedClock.fixed.addMSecs(QApplication::doubleClickInterval() + 1);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, row);
        QCOMPARE(picked.size(), 2);
    }

    void namesFollowTheScreensRuleAndLongListsSayThereIsMore()
    {
        testkit::TestPlatform platform;
        KORVA_OfficerSelect picker;
        picker.setNameFormatter(
            [](QString last, QString first, QString, QString) { return first + u' ' + last; });
        picker.setRowLimit(2);
        picker.show();
        auto *text = picker.findChild<QLineEdit *>(QStringLiteral("txtOfficer"));
        auto *more = picker.findChild<QLabel *>(QStringLiteral("lblMore"));
        QTest::keyClicks(text, QStringLiteral("1"));
        QCOMPARE(picker.shownCount(), 2);
        QVERIFY(more->isVisible());
        QTest::keyClicks(text, QStringLiteral("002"));
        QCOMPARE(picker.shownCount(), 1);
        QVERIFY(!more->isVisible());
        QTest::keyClick(text, Qt::Key_Return);
        QCOMPARE(text->text(), QStringLiteral("john smith,jr"));
    }
};

KORVA_TEST_MAIN(TestOfficerSelect)
#include "tst_officerselect.moc"
