// A customer's forms (kind 50) and the customer search (kind 93) over the demo store.
#include "serverfixture.h"

#include <platform/checkdigit.h>
#include <server/handlers.h>

#include <QSqlQuery>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kOfficer = DemoOfficer::Demo;
const QString kHeavyCustomer = QStringLiteral("400000002"); // the demo's customer of many forms
const QString kCustomer = QStringLiteral("CUSTOMER");

BrokerReply forms(Store &store, const QString &customer, const QString &type)
{
    return store.send(RequestKind::CustomerForms, kOfficer,
                      {{"CUST_ID", customer}, {"REF_TYP_CD", type}});
}

BrokerReply search(Store &store, const QString &text, int limit = 50)
{
    return store.send(kCustomerSearchKind, kOfficer,
                      {{"TEXT", text}, {"LIMIT", QString::number(limit)}});
}

QStringList column(const RecordSetPtr &rs, const char *field)
{
    QStringList out;
    for (int r = 0; rs && r < rs->count(); ++r)
        out.append(rs->textAt(r, rs->fieldIndex(QString::fromLatin1(field))));
    return out;
}

} // namespace

class TestServerForms : public QObject {
    Q_OBJECT
private slots:
    void demoGivesEveryTypeAndEverySpread()
    {
        Store store;
        for (const char *type : {"CIT", "PKG", "WRN", "ACC", "OTH"})
            QVERIFY2(store.count(QStringLiteral("SELECT COUNT(*) FROM CUST_FORM WHERE "
                                                "REF_TYP_CD = ?"),
                                 {QLatin1String(type)}) > 0,
                     type);
        const QString perCustomer = QStringLiteral(
            "SELECT COUNT(*) FROM CUSTOMER C WHERE (SELECT COUNT(*) FROM CUST_FORM F "
            "WHERE F.CUST_ID = C.CUST_ID) %1");
        QVERIFY(store.count(perCustomer.arg(QStringLiteral("= 0"))) > 0);
        QVERIFY(store.count(perCustomer.arg(QStringLiteral("= 1"))) > 0);
        QVERIFY(store.count(perCustomer.arg(QStringLiteral(">= 200"))) > 0);
        // Every form's check digit is the real one, whatever its type.
        QSqlQuery q(store.db().handle());
        QVERIFY(q.exec(QStringLiteral("SELECT FORM_NBR, FORM_CK_DGT_NBR FROM CUST_FORM")));
        int checked = 0;
        while (q.next()) {
            const QString digits =
                QStringLiteral("%1").arg(q.value(0).toLongLong(), 7, 10, QLatin1Char('0'));
            QCOMPARE(q.value(1).toInt(), CitationCheckDigit(digits));
            ++checked;
        }
        QVERIFY(checked > 300);
        // Paid and dismissed forms owe nothing.
        QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM CUST_FORM WHERE CTTN_STTS_CD "
                                            "IN ('P', 'D') AND BAL_DUE > 0 AND FORM_NBR >= ?"),
                             {2000000}),
                 0);
    }

    void aCustomersFormsOfOneTypeInStopDateOrder()
    {
        Store store;
        const BrokerReply r = forms(store, kHeavyCustomer, QStringLiteral("CIT"));
        QCOMPARE(r.error, QString());
        const RecordSetPtr rs = r.recordSet(QStringLiteral("CUSTOMERFORM"));
        QVERIFY(rs);
        QCOMPARE(qint64(rs->count()),
                 store.count(QStringLiteral("SELECT COUNT(*) FROM CUST_FORM WHERE CUST_ID = ? "
                                            "AND REF_TYP_CD = 'CIT'"),
                             {kHeavyCustomer}));
        QVERIFY(rs->count() >= 180);
        for (const char *field : {"FORM_NBR", "FORM_CK_DGT_NBR", "ASSMT_DUE_AMT", "BAL_DUE",
                                  "LST_PYMT_DT", "CTTN_STTS_CD", "CTTN_STTS_TXT", "STP_DT"})
            QVERIFY2(rs->hasField(QString::fromLatin1(field)), field);
        QDate previous;
        for (rs->moveFirst(); !rs->isEOF(); rs->moveNext()) {
            QCOMPARE(rs->text(u"REF_TYP_CD"), QStringLiteral("CIT"));
            const QDate stop = rs->value(u"STP_DT").toDate();
            QVERIFY(!previous.isValid() || previous <= stop);
            previous = stop;
        }
        // The status text is the region's description of the code.
        QVERIFY(rs->findFirst(QStringLiteral("CTTN_STTS_CD = 'P'")));
        QCOMPARE(rs->text(u"CTTN_STTS_TXT"), QStringLiteral("PAID IN FULL"));

        // A customer without forms of a type gets a good reply without the record set.
        const QString none =
            store
                .value(QStringLiteral("SELECT MIN(CUST_ID) FROM CUSTOMER C WHERE NOT EXISTS "
                                      "(SELECT 1 FROM CUST_FORM F WHERE F.CUST_ID = C.CUST_ID)"))
                .toString();
        const BrokerReply empty = forms(store, none, QStringLiteral("WRN"));
        QCOMPARE(empty.error, QString());
        QVERIFY(empty.recordSets.isEmpty());
    }

    void unknownCustomersAndTypesAreRefused_data()
    {
        QTest::addColumn<QString>("customer");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("error");
        QTest::newRow("unknown customer") << QStringLiteral("999999999") << QStringLiteral("CIT")
                                          << QStringLiteral("Customer 999999999 is not known.");
        QTest::newRow("retired type")
            << kHeavyCustomer << QStringLiteral("OLD")
            << QStringLiteral("The reference account type OLD could not be found.");
    }
    void unknownCustomersAndTypesAreRefused()
    {
        QFETCH(QString, customer);
        QFETCH(QString, type);
        QFETCH(QString, error);
        Store store;
        const BrokerReply r = forms(store, customer, type);
        QCOMPARE(r.error, error);
        QVERIFY(r.recordSets.isEmpty());
    }

    void theInquirysStatusQueryFindsTheCodesInForce()
    {
        Store store;
        const QString date = QDate::currentDate().toString(QStringLiteral("M/d/yyyy"));
        QString query = QStringLiteral(
            "Select CD_TBL_ID, CD_TBL_CD, CD_TBL_DES From ZTB_CODE Where REGION='NE' And "
            "(CD_TBL_ID = 'CSTATUS' And ((EFCTV_DT <= %Date% And (END_DT)Is Null) Or (EFCTV_DT "
            "<= %Date% And END_DT >= %Date%)))");
        query.replace(QStringLiteral("%Date%"), u'#' + date + u'#');
        const BrokerReply r = store.send(RequestKind::CodeList, kOfficer, {{"QUERY", query}});
        QCOMPARE(r.error, QString());
        QStringList codes = column(r.recordSet(QStringLiteral("CODELIST")), "CD_TBL_CD");
        codes.sort();
        // Z has ended and X is not yet in force.
        QCOMPARE(codes, (QStringList{QStringLiteral("A"), QStringLiteral("D"), QStringLiteral("P"),
                                     QStringLiteral("S"), QStringLiteral("W")}));
    }

    void searchFindsNamesAndNumbersByTheirStart()
    {
        Store store;
        store.exec(QStringLiteral("INSERT INTO CUSTOMER (CUST_ID, CUST_NM) VALUES (?, ?)"),
                   {QStringLiteral("500000001"), QStringLiteral("o'brian 100% Organic")});
        store.exec(QStringLiteral("INSERT INTO CUSTOMER (CUST_ID, CUST_NM) VALUES (?, ?)"),
                   {QStringLiteral("500000002"), QStringLiteral("OBRIAN_FARMS")});

        // Any letter case; quote, per cent and underscore are plain characters.
        QCOMPARE(column(search(store, QStringLiteral("O'BRIAN")).recordSet(kCustomer), "CUST_ID"),
                 QStringList{QStringLiteral("500000001")});
        QCOMPARE(
            column(search(store, QStringLiteral("o'brian 100%")).recordSet(kCustomer), "CUST_NM"),
            QStringList{QStringLiteral("o'brian 100% Organic")});
        QCOMPARE(column(search(store, QStringLiteral("obrian_")).recordSet(kCustomer), "CUST_ID"),
                 QStringList{QStringLiteral("500000002")});
        QVERIFY(column(search(store, QStringLiteral("brian")).recordSet(kCustomer),
                       "CUST_ID")
                    .isEmpty()); // the start of a name, not any part

        // Numbers by their start, in number order, within the limit.
        const QStringList ids =
            column(search(store, QStringLiteral("4000000"), 5).recordSet(kCustomer), "CUST_ID");
        QCOMPARE(ids, (QStringList{QStringLiteral("400000001"), QStringLiteral("400000002"),
                                   QStringLiteral("400000003"), QStringLiteral("400000004"),
                                   QStringLiteral("400000005")}));

        // Names come in name order; nothing typed finds nothing.
        const QStringList names =
            column(search(store, QStringLiteral("a"), 500).recordSet(kCustomer), "CUST_NM");
        QVERIFY(names.size() > 1);
        for (qsizetype i = 1; i < names.size(); ++i)
            QVERIFY(names.at(i - 1).toUpper() <= names.at(i).toUpper());
        QCOMPARE(search(store, QStringLiteral("  ")).recordSet(kCustomer)->count(), 0);
    }

    void searchFlagsCustomersWithUnpaidActiveForms()
    {
        Store store;
        const RecordSetPtr found =
            search(store, QStringLiteral("4000000"), 500).recordSet(kCustomer);
        QVERIFY(found && found->count() > 5);
        int flagged = 0;
        for (found->moveFirst(); !found->isEOF(); found->moveNext()) {
            const bool owes =
                store.count(QStringLiteral("SELECT COUNT(*) FROM CUST_FORM WHERE CUST_ID = ? AND "
                                           "CTTN_STTS_CD = 'A' AND BAL_DUE > 0"),
                            {found->text(u"CUST_ID")}) > 0;
            QCOMPARE(found->text(u"HAS_ALRT"), owes ? QStringLiteral("Y") : QStringLiteral("N"));
            flagged += owes;
        }
        QVERIFY(flagged > 0 && flagged < found->count());
    }

    // The picker must stay quick on a million customers: both searches must be index range
    // scans in the index's own order, never a scan of the table or a sort.
    void searchReadsOnlyAnIndexRange()
    {
        if (currentBackendName() != u"sqlite")
            QSKIP("The plan is checked on SQLite; PostgreSQL's planner decides by statistics.");
        Store store;
        QSqlQuery q(store.db().handle());
        QVERIFY(q.exec(QStringLiteral(
            "EXPLAIN QUERY PLAN SELECT C.CUST_ID FROM CUSTOMER C WHERE UPPER(C.CUST_NM) >= 'AB' "
            "AND UPPER(C.CUST_NM) < 'AC' AND UPPER(C.CUST_NM) LIKE 'AB%' ESCAPE '!' ORDER BY "
            "UPPER(C.CUST_NM), C.CUST_ID LIMIT 50")));
        QString plan;
        while (q.next())
            plan += q.value(3).toString() + u'\n';
        QVERIFY2(plan.contains(u"USING INDEX CUSTOMER_UNM_IX") ||
                     plan.contains(u"USING COVERING INDEX CUSTOMER_UNM_IX"),
                 qPrintable(plan));
        QVERIFY2(!plan.contains(u"TEMP B-TREE"), qPrintable(plan));
    }
};

KORVA_SERVER_TEST_MAIN(TestServerForms)
#include "tst_server_forms.moc"
