// The assignment-type lookup and the date rules it feeds.
#include "test_main.h"
#include "tst_entryfixture.h"

#include <QPushButton>

using namespace korva;
using namespace korva::entrytest;

namespace {

QList<QDate> datesOf(EntryFixture &f) {
    return {f.date(2)->date(), f.date(3)->date(), f.date(4)->date()};
}

int typeQueries(const EntryFixture &f) {
    return int(f.tp.codeList.queries.filter(QStringLiteral("ZTB_ASGNMT_TYPE")).size());
}

} // namespace

class TestEntryDates : public QObject {
    Q_OBJECT
private slots:
    void typesAreReadOnceForTheUsersRegion() {
        EntryFixture f;
        f.tp.fakeUser.regionCode = QStringLiteral(" ne ");
        f.tab();
        QCOMPARE(f.tp.codeList.queries.filter(QStringLiteral("ZTB_ASGNMT_TYPE")),
                 QStringList{QStringLiteral(
                     "Select REGION, ASGNMT_CD, ASGNMT_DES, CRTR_CLS_IND, DUE_DY_CNT, "
                     "EXPRTN_DY_CNT, RSN_FOR_CHNG_TXT, SYS_IND From ZTB_ASGNMT_TYPE Where "
                     "REGION='NE' Order By ASGNMT_DES")});
        // The type combo shows the same rows: code and description.
        QCOMPARE(f.combo(0)->count(), 6);
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("007")));
        QCOMPARE(f.combo(0)->text(), QStringLiteral("Follow-up Citation"));
        QString code = QStringLiteral("1");
        f.tab().FormatTypeCode(code);
        f.tab().GetAdditionalInfoTxt(QStringLiteral("900"));
        QCOMPARE(typeQueries(f), 1);
        // The reference types and agencies come from their code tables.
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("CIT")));
        QVERIFY(f.combo(2)->selectCode(QStringLiteral("DOR")));
        QVERIFY(!f.combo(1)->selectCode(QStringLiteral("DOR")));
    }

    void typeCodeFormatterAndTypeFlags_data() {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("formatted");
        QTest::addColumn<int>("due");
        QTest::addColumn<int>("expiration");
        QTest::addColumn<bool>("creatorCloses");
        QTest::addColumn<bool>("system");
        QTest::newRow("1") << QStringLiteral("1") << QStringLiteral("001") << 10 << 30 << false
                           << false;
        QTest::newRow("7, counts with blanks")
            << QStringLiteral("7") << QStringLiteral("007") << 5 << 15 << true << false;
        QTest::newRow("900, no counts")
            << QStringLiteral("900") << QStringLiteral("900") << 0 << 0 << false << true;
        QTest::newRow("letters stay")
            << QStringLiteral("PCE") << QStringLiteral("PCE") << 0 << 0 << false << false;
        QTest::newRow("not a type")
            << QStringLiteral("42") << QStringLiteral("042") << 0 << 0 << false << false;
        QTest::newRow("four digits")
            << QStringLiteral("1234") << QStringLiteral("1234") << 0 << 0 << false << false;
    }
    void typeCodeFormatterAndTypeFlags() {
        QFETCH(QString, code);
        QFETCH(QString, formatted);
        QFETCH(int, due);
        QFETCH(int, expiration);
        QFETCH(bool, creatorCloses);
        QFETCH(bool, system);
        EntryFixture f;
        // Another type first, one that creator-closes and one system-generated, so that
        // every flag has to be reset or set.
        for (const char *before : {"900", "7"}) {
            QString other = QLatin1String(before);
            f.tab().FormatTypeCode(other);
            QString formattedCode = code;
            f.tab().FormatTypeCode(formattedCode);
            QCOMPARE(formattedCode, formatted);
            QCOMPARE(int(f.tab().dueDayCount()), due);
            QCOMPARE(int(f.tab().expirationDayCount()), expiration);
            QCOMPARE(f.tab().creatorClosesOnly(), creatorCloses);
            QCOMPARE(f.tab().systemGenerated(), system);
        }
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports());
    }

    void choosingATypeSetsTheDates() {
        EntryFixture f;
        const QDate t = f.today();
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("001")));
        QCOMPARE(datesOf(f), (QList<QDate>{t, t.addDays(10), t.addDays(30)}));
        // A type without counts puts every date back to today.
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("PCE")));
        QCOMPARE(datesOf(f), (QList<QDate>{t, t, t}));
    }

    void effectiveDateRules() {
        EntryFixture f;
        const QDate t = f.today();
        f.tab().initialiseDates(t.addDays(-30)); // lets the test pick days before today
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("001")));

        // A future effective date goes back to today; due and expiration follow the dates as
        // they were: due from the chosen effective date, expiration from the earlier due date.
        f.pick(2, t.addDays(5));
        QCOMPARE(datesOf(f), (QList<QDate>{t, t.addDays(15), t.addDays(30)}));

        // A past effective date is kept.
        f.pick(2, t.addDays(-2));
        QCOMPARE(datesOf(f), (QList<QDate>{t.addDays(-2), t.addDays(8), t.addDays(35)}));
    }

    void dueAndExpirationRules() {
        EntryFixture f;
        const QDate t = f.today();
        f.tab().initialiseDates(t.addDays(-30));
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("001")));
        f.pick(2, t.addDays(-2)); // effective -2, due +8, expiration +30

        // Due before effective: due becomes the effective date, expiration comes from the
        // due date as it was picked.
        f.pick(3, t.addDays(-5));
        QCOMPARE(datesOf(f), (QList<QDate>{t.addDays(-2), t.addDays(-2), t.addDays(15)}));
        f.pick(3, t.addDays(4));
        QCOMPARE(datesOf(f), (QList<QDate>{t.addDays(-2), t.addDays(4), t.addDays(24)}));

        // Expiration before due is pulled up to the due date; later is kept.
        f.pick(4, t.addDays(1));
        QCOMPARE(datesOf(f), (QList<QDate>{t.addDays(-2), t.addDays(4), t.addDays(4)}));
        f.pick(4, t.addDays(9));
        QCOMPARE(datesOf(f), (QList<QDate>{t.addDays(-2), t.addDays(4), t.addDays(9)}));
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports());
    }

    void dayCountGapOutOfRangeIsReported() {
        EntryFixture f;
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("050"))); // due -20000, expiration 20000
        QCOMPARE(int(f.tab().dueDayCount()), -20000);
        QVERIFY(f.tp.reporter.reports.isEmpty());
        const QDate dueBefore = f.date(3)->date();
        f.pick(3, f.today().addDays(1));
        QCOMPARE(f.tp.reporter.reports.size(), 1);
        QCOMPARE(f.tp.reporter.reports[0].source, QStringLiteral("KORVA_AssignMaint.CheckDates"));
        QVERIFY(dueBefore.isValid());
        // The gap is never reached for an expiration date.
        f.pick(4, f.today().addDays(2));
        QCOMPARE(f.tp.reporter.reports.size(), 1);
    }

    void leavingACodeComboEmptyPutsTheDatesBackToToday() {
        EntryFixture f;
        const QDate t = f.today();
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("001")));
        f.leave(f.combo(0));
        QCOMPARE(datesOf(f), (QList<QDate>{t, t.addDays(10), t.addDays(30)}));
        // Passing through the empty reference type does reset them: the screen has always
        // behaved so.
        f.leave(f.combo(1));
        QCOMPARE(datesOf(f), (QList<QDate>{t, t, t}));
    }

    void referenceTypeSwitchesTheForwardButton() {
        EntryFixture f;
        QPushButton forward;
        forward.setEnabled(false);
        f.tab().setForwardButton(&forward);
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("ACC")));
        QVERIFY(forward.isEnabled());
        f.combo(1)->clearSelection();
        QVERIFY(!forward.isEnabled());
        // Leaving the combo sets it the same way.
        forward.setEnabled(true);
        f.leave(f.combo(1));
        QVERIFY(!forward.isEnabled());
    }
};

KORVA_TEST_MAIN(TestEntryDates)
#include "tst_entrydates.moc"
