#include "platform/controls/dtp.h"
#include "test_main.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QSignalSpy>

using namespace korva;

class TestDtp : public QObject {
    Q_OBJECT
private slots:
    void holdsADateOrNone()
    {
        KORVA_DTP dtp;
        QVERIFY(dtp.hasValue());
        dtp.setValue(QDate(2026, 11, 22));
        QCOMPARE(dtp.date(), QDate(2026, 11, 22));
        QCOMPARE(dtp.value(), std::optional<QDate>(QDate(2026, 11, 22)));
        dtp.clear();
        QVERIFY(!dtp.hasValue());
        QVERIFY(!dtp.date().isValid());
        QVERIFY(!dtp.editor()->isEnabled());
        dtp.setValue(QDate(2025, 1, 2));
        QCOMPARE(dtp.date(), QDate(2025, 1, 2));
        dtp.setValue(QDate()); // no date is the same as clearing
        QVERIFY(!dtp.hasValue());
        dtp.setAllowEmpty(false); // a picker that must hold a date takes its date back
        QCOMPARE(dtp.date(), QDate(2025, 1, 2));
    }

    void theLowerBoundClampsDates()
    {
        KORVA_DTP dtp;
        dtp.setMinDate(QDate(1993, 1, 1));
        QCOMPARE(dtp.minDate(), QDate(1993, 1, 1));
        dtp.setValue(QDate(1990, 6, 1));
        QCOMPARE(dtp.date(), QDate(1993, 1, 1));
        dtp.setValue(QDate(2026, 11, 22));
        dtp.setMinDate(QDate(2026, 12, 1)); // a later bound pulls the date up
        QCOMPARE(dtp.date(), QDate(2026, 12, 1));
    }

    void changeIsRaisedForTheUsersEditsOnly()
    {
        KORVA_DTP dtp;
        dtp.setAllowEmpty(true);
        dtp.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dtp));
        QSignalSpy changes(&dtp, &KORVA_DTP::Change);
        dtp.setValue(QDate(2026, 11, 22));
        dtp.setMinDate(QDate(2026, 11, 23));
        dtp.clear();
        dtp.setValue(QDate(2026, 11, 25));
        QCOMPARE(changes.size(), 0);

        // Up on the day section: the user moved the date one day.
        dtp.editor()->setFocus();
        dtp.editor()->setCurrentSection(QDateTimeEdit::DaySection);
        QTest::keyClick(dtp.editor(), Qt::Key_Up);
        QCOMPARE(dtp.date(), QDate(2026, 11, 26));
        QCOMPARE(changes.size(), 1);

        auto *check = dtp.findChild<QCheckBox *>(QStringLiteral("hasDate"));
        QVERIFY(check && check->isVisible());
        QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(4, check->height() / 2));
        QVERIFY(!dtp.hasValue());
        QCOMPARE(changes.size(), 2);
        QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(4, check->height() / 2));
        QCOMPARE(dtp.date(), QDate(2026, 11, 26));
        QCOMPARE(changes.size(), 3);
    }
};

KORVA_TEST_MAIN(TestDtp)
#include "tst_dtp.moc"
