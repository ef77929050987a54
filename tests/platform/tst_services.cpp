#include "platform/checkdigit.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/qtservices.h"
#include "platform/referencedata.h"
#include "test_main.h"
#include "testkit.h"

#include <QLineEdit>

using namespace korva;

class TestServices : public QObject {
    Q_OBJECT
private slots:
    void checkDigitVectors_data()
    {
        QTest::addColumn<QString>("digits");
        QTest::addColumn<int>("check");
        QTest::newRow("textbook") << QStringLiteral("7992739") << 8;
        QTest::newRow("zeros") << QStringLiteral("0000000") << 0;
        QTest::newRow("42 padded") << QStringLiteral("0000042") << 2;
        QTest::newRow("ascending") << QStringLiteral("1234567") << 4;
        QTest::newRow("nines") << QStringLiteral("9999999") << 7;
    }
    void checkDigitVectors()
    {
        QFETCH(QString, digits);
        QFETCH(int, check);
        QCOMPARE(CitationCheckDigit(digits), check);
    }

    void checkDigitCatchesSingleDigitErrorsAndRefusesBadInput()
    {
        const int good = CitationCheckDigit(u"1234567");
        for (int pos = 0; pos < 7; ++pos) {
            QString typo = QStringLiteral("1234567");
            typo[pos] = QChar(u'0' + (typo.at(pos).digitValue() + 3) % 10);
            QVERIFY2(CitationCheckDigit(typo) != good, qPrintable(typo));
        }
        QVERIFY_THROWS_EXCEPTION(ProcError, CitationCheckDigit(u"123456"));
        QVERIFY_THROWS_EXCEPTION(ProcError, CitationCheckDigit(u"+123456"));
    }

    void numericTestIsTheGeneralOne()
    {
        for (const char *yes : {"42", " 42 ", "+1234567", "-5", "5-", "1,234", "1.5", "$12", "1e3"})
            QVERIFY2(IsNumeric(QString::fromLatin1(yes)), yes);
        for (const char *no : {"", " ", "12a", "1.2.3", ",12", "-", "$", "1e", "4 2"})
            QVERIFY2(!IsNumeric(QString::fromLatin1(no)), no);
        QCOMPARE(toInteger16(u"32767"), qint16(32767));
        QCOMPARE(toInteger16(2.5), qint16(2)); // half to even
        QCOMPARE(toInteger16(3.5), qint16(4));
        QVERIFY_THROWS_EXCEPTION(ProcError, toInteger16(u"32768"));
        QVERIFY_THROWS_EXCEPTION(ProcError, toInteger32(u"abc"));
        QCOMPARE(toInteger32(u"-123456"), -123456);
    }

    void guardReportsUnderItsSourceAndAlwaysRestoresThePointer()
    {
        testkit::TestPlatform tp;
        bool exitRan = false;
        const bool finished = guard(
            u"KORVA_AssignMaint.RefreshGrid",
            [&] {
                tp.mouse.setBusy();
                raiseError(kErrRecordSet, QStringLiteral("boom"));
            },
            Quiet::Swallow, [&] { exitRan = true; });
        QVERIFY(!finished);
        QVERIFY(exitRan);
        QVERIFY(!tp.mouse.busy);
        QCOMPARE(tp.reporter.reports.size(), 1);
        QCOMPARE(tp.reporter.reports.first().source,
                 QStringLiteral("KORVA_AssignMaint.RefreshGrid"));
        QCOMPARE(tp.reporter.reports.first().text, QStringLiteral("boom"));
        QCOMPARE(tp.reporter.reports.first().appName, QStringLiteral("KORVA"));

        // A foreign exception is reported too; nothing escapes.
        QVERIFY(!guard(u"X.Y", [] { throw std::runtime_error("disk full"); }));
        QCOMPARE(tp.reporter.reports.last().text, QStringLiteral("disk full"));
    }

    void quietErrorIsSilentOrHandedToTheCaller()
    {
        testkit::TestPlatform tp;
        tp.mouse.setBusy();
        QVERIFY(!guard(u"X.Quiet", [] { raiseQuiet(); }));
        QVERIFY(tp.reporter.reports.isEmpty());
        QVERIFY(!tp.mouse.busy);

        bool callerSawIt = false;
        guard(u"Caller.Proc", [&] {
            try {
                guard(
                    u"Inner.SaveAssignment", [] { raiseQuiet(); }, Quiet::Propagate);
            } catch (const ProcError &e) {
                callerSawIt = e.number() == -2147220504;
                throw;
            }
        });
        QVERIFY(callerSawIt);
        QVERIFY(tp.reporter.reports.isEmpty());
    }

    void referenceDataAnswersLookupsAndValidations()
    {
        testkit::TestPlatform tp;
        Validators &v = *tp.validators;
        QVERIFY(v.LookupOfficer(1004));
        QVERIFY(!v.ValidateOfficer(1004, QDate(2026, 11, 22))); // left in 2020
        QVERIFY(v.ValidateOfficer(1001, QDate(2026, 11, 22)));
        QVERIFY(!v.LookupOfficer(-123456));
        QVERIFY(v.ValidateTroop(QStringLiteral("3")));
        QVERIFY(v.ValidateTroopDistrict(QStringLiteral("3"), QStringLiteral("a")));
        QVERIFY(!v.ValidateTroopDistrict(QStringLiteral("4"), QStringLiteral("A")));
        QVERIFY(v.agencyExists(QStringLiteral("DOR")));
        QVERIFY(!v.agencyExists(QStringLiteral("XYZ")));

        QVERIFY(v.ValidateAccountNumber(QStringLiteral("CIT"), QStringLiteral("0000042-2")).valid);
        const AccountCheck bad =
            v.ValidateAccountNumber(QStringLiteral("CIT"), QStringLiteral("0000042-3"));
        QVERIFY(!bad.valid);
        QVERIFY(bad.message.contains(QStringLiteral("nnnnnnn-c")));
        QVERIFY(v.ValidateAccountNumber(QStringLiteral("ACC"), QStringLiteral("123456789")).valid);
        QVERIFY(
            !v.ValidateAccountNumber(QStringLiteral("ACC"), QStringLiteral("1234567890")).valid);

        Lookups &l = *tp.lookups;
        QCOMPARE(l.codeDescription(QStringLiteral("REFDOCTYP"), QStringLiteral("CIT")),
                 QStringLiteral("Citation"));
        QCOMPARE(l.assignmentTypeDescription(QStringLiteral("007")),
                 QStringLiteral("Follow-up Citation"));
        QCOMPARE(l.officerName(1001), QStringLiteral("DOE, JANE Q"));
        QVERIFY(l.officerName(999).isEmpty());
        QCOMPARE(l.searchOfficers(QStringLiteral("ro"), 10).size(), 1);
    }

    void keyFiltersAndFieldMarks()
    {
        StandardKeyFilters keys;
        QVERIFY(keys.FilterOfficerKey('7'));
        QVERIFY(!keys.FilterOfficerKey('.'));
        QVERIFY(keys.FilterOfficerKey(8));
        QVERIFY(keys.FilterTroopKey('a'));
        QVERIFY(!keys.FilterTroopKey('-'));
        QVERIFY(keys.FilterAccountKey(QStringLiteral("CIT"), QStringLiteral("1234567"), '-'));
        QVERIFY(!keys.FilterAccountKey(QStringLiteral("CIT"), QStringLiteral("12-3"), '-'));

        WidgetFieldMarks marks;
        QLineEdit edit;
        const QColor before = edit.palette().color(QPalette::Base);
        marks.MarkFieldError(&edit);
        marks.MarkFieldError(&edit); // twice must not lose the original look
        QVERIFY(marks.isMarked(&edit));
        QVERIFY(edit.palette().color(QPalette::Base) != before);
        marks.ClearFieldError(&edit);
        QVERIFY(!marks.isMarked(&edit));
        QCOMPARE(edit.palette().color(QPalette::Base), before);

        // The reason is told while the mark lasts, each once, and the control's own tip returns.
        edit.setToolTip(QStringLiteral("Officer number"));
        marks.MarkFieldError(&edit, QStringLiteral("Invalid officer number."));
        marks.MarkFieldError(&edit, QStringLiteral("Invalid officer number."));
        marks.MarkFieldError(&edit, QStringLiteral("Not active."));
        QCOMPARE(edit.toolTip(), QStringLiteral("Invalid officer number.\nNot active."));
        QCOMPARE(edit.accessibleDescription(), QStringLiteral("Invalid officer number. Not active."));
        marks.ClearFieldError(&edit);
        QCOMPARE(edit.toolTip(), QStringLiteral("Officer number"));
        QCOMPARE(edit.accessibleDescription(), QString());
        marks.MarkFieldError(&edit, QStringLiteral("Invalid officer number."));
        QCOMPARE(edit.toolTip(), QStringLiteral("Invalid officer number."));
    }
};

KORVA_TEST_MAIN(TestServices)
#include "tst_services.moc"
