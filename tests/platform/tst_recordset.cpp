#include "platform/errors.h"
#include "platform/recordset.h"
#include "test_main.h"
#include "testkit.h"

using namespace korva;
using korva::testkit::makeRecordSet;

namespace {

RecordSetPtr assignments()
{
    using T = FieldType;
    return makeRecordSet(QStringLiteral("ASSIGNMENT"),
                         {{QStringLiteral("ASGNMT_NBR"), T::Integer},
                          {QStringLiteral("OFCR_TO_ID"), T::Integer},
                          {QStringLiteral("ASGNMT_CD"), T::Text},
                          {QStringLiteral("STP_DT"), T::Date},
                          {QStringLiteral("LST_UPDT_TS"), T::Timestamp},
                          {QStringLiteral("RFND_AMT"), T::Decimal}},
                         {{1, 1234, QStringLiteral("007"), QStringLiteral("2024-03-01"),
                           QStringLiteral("2024-03-01T09:00:00"), QStringLiteral("10.5")},
                          {2, 99, QStringLiteral("001"), QStringLiteral("2023-12-31"),
                           QStringLiteral("2024-03-01T11:00:00"), QStringLiteral("2")},
                          {3, 1234, QStringLiteral("pce"), QVariant(),
                           QStringLiteral("2024-03-01T10:00:00"), QStringLiteral("1,000.25")}});
}

QList<qlonglong> numbers(const RecordSet &rs)
{
    QList<qlonglong> out;
    for (int r = 0; r < rs.count(); ++r)
        out.append(rs.valueAt(r, 0).toLongLong());
    return out;
}

} // namespace

class TestRecordSet : public QObject {
    Q_OBJECT
private slots:
    void filtersInTheFormsTheScreensWrite()
    {
        auto rs = assignments();
        rs->setFilter(QStringLiteral("OFCR_TO_ID = 1234"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{1, 3}));
        rs->setFilter(QStringLiteral("ASGNMT_CD='007'"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{1}));
        // Text compares without regard to case, as the record sets always have.
        rs->setFilter(QStringLiteral("ASGNMT_CD='PCE'"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{3}));
        rs->setFilter(QStringLiteral("(OFCR_TO_ID = 99 OR ASGNMT_CD = '007') AND ASGNMT_NBR <> 2"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{1}));
        rs->setFilter(QStringLiteral("STP_DT >= #1/1/2024#"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{1}));
        rs->setFilter(QString());
        QCOMPARE(rs->count(), 3);
        QCOMPARE(rs->storageCount(), 3);
    }

    void malformedFilterOrSortIsAClearErrorAndChangesNothing_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::newRow("unknown field") << QStringLiteral("NOPE = 1");
        QTest::newRow("unclosed quote") << QStringLiteral("ASGNMT_CD = '007");
        QTest::newRow("no value") << QStringLiteral("ASGNMT_CD =");
        QTest::newRow("dangling and") << QStringLiteral("ASGNMT_NBR = 1 AND");
        QTest::newRow("bad character") << QStringLiteral("ASGNMT_NBR ! 1");
    }
    void malformedFilterOrSortIsAClearErrorAndChangesNothing()
    {
        QFETCH(QString, filter);
        auto rs = assignments();
        rs->setFilter(QStringLiteral("OFCR_TO_ID = 1234"));
        try {
            rs->setFilter(filter);
            QFAIL("a malformed filter was accepted");
        } catch (const ProcError &e) {
            QVERIFY(e.description().contains(filter));
        }
        QCOMPARE(rs->filter(), QStringLiteral("OFCR_TO_ID = 1234"));
        QCOMPARE(rs->count(), 2);
        QVERIFY_THROWS_EXCEPTION(ProcError, rs->setSort(QStringLiteral("ASGNMT_NBR SIDEWAYS")));
        QVERIFY_THROWS_EXCEPTION(ProcError, rs->setSort(QStringLiteral("MISSING DESC")));
    }

    void sortsByTheColumnsType()
    {
        auto rs = assignments();
        rs->setSort(QStringLiteral("LST_UPDT_TS DESC"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{2, 3, 1}));
        rs->setSort(QStringLiteral("STP_DT ASC"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{3, 2, 1})); // null first
        rs->setSort(QStringLiteral("RFND_AMT"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{2, 1, 3})); // 2 < 10.5 < 1000.25, not as text
        rs->setFilter(QStringLiteral("OFCR_TO_ID = 1234"));
        QCOMPARE(numbers(*rs), (QList<qlonglong>{1, 3})); // the sort survives a filter
    }

    void findLandsOnTheMatchOrAfterTheLastRow()
    {
        auto rs = assignments();
        QVERIFY(rs->findFirst(QStringLiteral("ASGNMT_NBR=3")));
        QCOMPARE(rs->value(u"OFCR_TO_ID").toInt(), 1234);
        QVERIFY(!rs->findFirst(QStringLiteral("ASGNMT_NBR=42")));
        QVERIFY(rs->isEOF());
        QVERIFY_THROWS_EXCEPTION(ProcError, rs->value(u"ASGNMT_NBR"));
    }

    void nullIsDistinctFromEmptyText()
    {
        auto rs = RecordSet::create(QStringLiteral("ASSIGNMENT"));
        rs->addNew();
        rs->setValue(u"ASGNMT_CMMT_TXT", QStringLiteral(""));
        rs->setValue(u"ACTION", QStringLiteral("ADD"));
        rs->update();
        QVERIFY(!rs->isNull(u"ASGNMT_CMMT_TXT"));
        QCOMPARE(rs->text(u"ASGNMT_CMMT_TXT"), QString());
        rs->addNew();
        rs->setValue(u"ACTION", QStringLiteral("ADD"));
        QVERIFY(rs->isNull(u"ASGNMT_CMMT_TXT")); // added by the first row, absent in this one
        QCOMPARE(rs->count(), 2);
    }

    void fixedLayoutRefusesUnknownFieldsAndBadValues()
    {
        auto rs = assignments();
        rs->moveFirst();
        QVERIFY_THROWS_EXCEPTION(ProcError, rs->setValue(u"NOT_A_FIELD", 1));
        QVERIFY_THROWS_EXCEPTION(ProcError, rs->setValue(u"ASGNMT_NBR", QStringLiteral("abc")));
        QVERIFY_THROWS_EXCEPTION(ProcError, rs->setValue(u"STP_DT", QStringLiteral("32/1/2024")));
        rs->setValue(u"RFND_AMT", QStringLiteral("$1,234.50"));
        QCOMPARE(rs->text(u"RFND_AMT"), QStringLiteral("1234.50"));
    }

    void cloneIsIndependent()
    {
        auto rs = assignments();
        auto copy = rs->clone();
        copy->setFilter(QStringLiteral("ASGNMT_NBR = 2"));
        copy->moveFirst();
        copy->setValue(u"ASGNMT_CD", QStringLiteral("999"));
        QCOMPARE(rs->count(), 3);
        QCOMPARE(rs->textAt(1, 2), QStringLiteral("001"));
    }

    void deleteAndObserversFollowTheView()
    {
        auto rs = assignments();
        int notes = 0;
        const int id = rs->addObserver([&] { ++notes; });
        rs->setFilter(QStringLiteral("OFCR_TO_ID = 1234"));
        rs->moveFirst();
        rs->deleteCurrent();
        QCOMPARE(numbers(*rs), (QList<qlonglong>{3}));
        QCOMPARE(rs->storageCount(), 2);
        rs->setFilter(QString());
        QCOMPARE(numbers(*rs), (QList<qlonglong>{2, 3}));
        QCOMPARE(notes, 3);
        rs->removeObserver(id);
        rs->clear();
        QCOMPARE(notes, 3);
        QVERIFY(rs->isBOF() && rs->isEOF());
    }
};

KORVA_TEST_MAIN(TestRecordSet)
#include "tst_recordset.moc"
