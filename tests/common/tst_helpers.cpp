#include "common/modassignmaint.h"
#include "common/records.h"
#include "platform/checkdigit.h"
#include "test_main.h"
#include "testkit.h"

using namespace korva;
using namespace korva::modAssignMaint;

class TestHelpers : public QObject {
    Q_OBJECT
private slots:
    void publishedRecordsAreHollow()
    {
        testkit::TestPlatform tp;
        AssignMaint a;
        a.setAssignedFrom(QStringLiteral("X"));
        QCOMPARE(a.AssignedFrom(), QString());
        a.setDueDate(QDateTime(QDate(2024, 1, 2), QTime(3, 4)));
        QCOMPARE(a.DueDate(), QDateTime(QDate(1899, 12, 30), QTime(0, 0)));
        a.setSelectedOpt(3);
        QCOMPARE(a.SelectedOpt(), qint16(0));
        a.setNoErrors(true);
        QVERIFY(!a.NoErrors());
        QVERIFY(!a.AssignmentTarget());
        // The published method judges nothing, unlike the module function.
        const QString good = QStringLiteral("1234567-%1").arg(CitationCheckDigit(u"1234567"));
        QVERIFY(IsCitationNumberValid(good));
        QVERIFY(!a.IsCitationNumberValid(good));
        QString troop = QStringLiteral("3");
        QString district = QStringLiteral("A");
        a.TroopAndDistrictGet(troop, district);
        QCOMPARE(troop, QStringLiteral("3"));
        QCOMPARE(district, QStringLiteral("A"));
        CodesTable c;
        c.setCode(QStringLiteral("X"));
        QCOMPARE(c.Description(), QString());
        QVERIFY(tp.reporter.reports.isEmpty());
    }

    void citationNumbers_data()
    {
        QTest::addColumn<QString>("number");
        QTest::addColumn<bool>("valid");
        // 1234567 has the check digit 4.
        QTest::newRow("dash") << QStringLiteral("1234567-4") << true;
        QTest::newRow("blanks around") << QStringLiteral("  1234567-4  ") << true;
        QTest::newRow("dash anywhere") << QStringLiteral("1234-5674") << true;
        QTest::newRow("one digit short before the dash") << QStringLiteral("123456-74") << true;
        QTest::newRow("no dash") << QStringLiteral("12345674") << true;
        QTest::newRow("wrong digit") << QStringLiteral("1234567-5") << false;
        QTest::newRow("seven digits") << QStringLiteral("1234567") << false;
        QTest::newRow("nine digits") << QStringLiteral("123456789") << false;
        QTest::newRow("letters") << QStringLiteral("12345A7-4") << false;
        QTest::newRow("empty") << QString() << false;
    }
    void citationNumbers()
    {
        QFETCH(QString, number);
        QFETCH(bool, valid);
        testkit::TestPlatform tp;
        QCOMPARE(IsCitationNumberValid(number), valid);
        QVERIFY(tp.reporter.reports.isEmpty());
    }

    void signedTextPassesTheNumberTestButFailsTheCheckDigit()
    {
        testkit::TestPlatform tp;
        QVERIFY(!IsCitationNumberValid(QStringLiteral("+1234567")));
        // The check-digit operation refused it: that is an error of the procedure.
        QCOMPARE(tp.reporter.reports.size(), 1);
        QCOMPARE(tp.reporter.reports.first().source,
                 QStringLiteral("KORVA_AssignMaint.IsCitationNumberValid"));
    }

    void properNames_data()
    {
        QTest::addColumn<QString>("last");
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("middle");
        QTest::addColumn<QString>("expected");
        QTest::newRow("jr suffix") << "smith,jr"
                                   << "john"
                                   << "q"
                                   << "SMITH, JR, JOHN Q.";
        QTest::newRow("one-letter first") << "Doe"
                                          << "J"
                                          << ""
                                          << "DOE, J.";
        QTest::newRow("middle only") << "Roe"
                                     << ""
                                     << "Ann"
                                     << "ROE, ANN";
        QTest::newRow("sr suffix") << "Brown,SR"
                                   << ""
                                   << ""
                                   << "BROWN, SR";
        QTest::newRow("two-letter middle") << "Lee"
                                           << "Ann"
                                           << "Jo"
                                           << "LEE, ANN JO";
        QTest::newRow("blanks trimmed") << "  Kim "
                                        << " Al "
                                        << " B "
                                        << "KIM, AL B.";
        QTest::newRow("jr wins over sr") << "a,jr,sr"
                                         << ""
                                         << ""
                                         << "A, JR,SR";
        QTest::newRow("nothing") << ""
                                 << ""
                                 << ""
                                 << "";
    }
    void properNames()
    {
        QFETCH(QString, last);
        QFETCH(QString, first);
        QFETCH(QString, middle);
        QFETCH(QString, expected);
        QCOMPARE(ProperName(last, first, middle, QString()), expected);
    }

    void properNameSuffixFollowsTheBlankOfAnEmptyMiddle()
    {
        // The empty middle part leaves its blank, which only the final trim removes; with a
        // suffix after it the blank stays inside.
        QCOMPARE(ProperName(QStringLiteral("Doe"), QStringLiteral("Jane"), QString(),
                            QStringLiteral("III")),
                 QStringLiteral("DOE, JANE  III"));
    }

    void dates()
    {
        testkit::TestPlatform tp;
        QCOMPARE(DB2Date(QDate(1997, 1, 27)), QStringLiteral("1997-01-27"));
        QCOMPARE(DB2Date(QDate(2024, 12, 5)), QStringLiteral("2024-12-05"));
        QCOMPARE(DB2Date(QDate()), QString());
        QCOMPARE(tp.reporter.reports.size(), 1);
        QCOMPARE(tp.reporter.reports.first().source, QStringLiteral("KORVA_AssignMaint.DB2Date"));
    }
};

KORVA_TEST_MAIN(TestHelpers)
#include "tst_helpers.moc"
