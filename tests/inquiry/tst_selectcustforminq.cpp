// The customer form inquiry over the test kit's broker: what it loads, asks and shows, and
// what it hands back.
#include "inquiryfixture.h"
#include "test_main.h"
#include "testkit.h"

#include <QSignalSpy>

using namespace korva;
using namespace korva::inqtest;

namespace {

const QString kStatusQuery = QStringLiteral(
    "Select CD_TBL_ID, CD_TBL_CD, CD_TBL_DES From ZTB_CODE Where REGION='NE' And (CD_TBL_ID = "
    "'CSTATUS' And ((EFCTV_DT <= #D# And (END_DT)Is Null) Or (EFCTV_DT <= #D# And END_DT >= "
    "#D#)))");
const QString kAcme = QStringLiteral("ACME HARDWARE LLC #0");

RecordSetPtr codeListFor(const QString &query)
{
    using T = FieldType;
    if (query.contains(u"'CSTATUS'"))
        return testkit::makeRecordSet(
            QStringLiteral("CODELIST"),
            {{QStringLiteral("CD_TBL_ID"), T::Text},
             {QStringLiteral("CD_TBL_CD"), T::Text},
             {QStringLiteral("CD_TBL_DES"), T::Text}},
            {{QStringLiteral("CSTATUS"), QStringLiteral("A"), QStringLiteral("ACTIVE")},
             {QStringLiteral("CSTATUS"), QStringLiteral("P "), QStringLiteral("PAID IN FULL")}});
    return testkit::makeRecordSet(
        QStringLiteral("CODELIST"),
        {{QStringLiteral("CD_TBL_CD"), T::Text}, {QStringLiteral("CD_TBL_DES"), T::Text}},
        {{QStringLiteral("CIT"), QStringLiteral("TRAFFIC CITATION")},
         {QStringLiteral("PKG"), QStringLiteral("PARKING CITATION")}});
}

// Rows as the server sends them, out of stop-date order; the last one listed has no assessed
// amount, the grid's first bound column.
RecordSetPtr forms(const QList<QList<QVariant>> &rows)
{
    using T = FieldType;
    return testkit::makeRecordSet(QStringLiteral("CUSTOMERFORM"),
                                  {{QStringLiteral("FORM_NBR"), T::Integer},
                                   {QStringLiteral("FORM_CK_DGT_NBR"), T::Integer},
                                   {QStringLiteral("ASSMT_DUE_AMT"), T::Decimal},
                                   {QStringLiteral("BAL_DUE"), T::Decimal},
                                   {QStringLiteral("LST_PYMT_DT"), T::Date},
                                   {QStringLiteral("CTTN_STTS_CD"), T::Text},
                                   {QStringLiteral("STP_DT"), T::Date}},
                                  rows);
}

RecordSetPtr threeForms()
{
    const QVariant null;
    return forms(
        {{2000077, 3, null, 80.0, null, QStringLiteral("A"), QDate(2027, 3, 1)},
         {12345, 6, 1500.0, 1234.5, QDate(2026, 10, 2), QStringLiteral("P"), QDate(2025, 1, 31)},
         {54321, 0, 99.0, null, null, QStringLiteral("Z"), QDate(2026, 5, 5)}});
}

struct Fixture {
    Fixture() { inq.dlg->show(); }
    // Types into the picker, answers its search and clicks the customer.
    void chooseCustomer(const QString &id = QStringLiteral("400000001"),
                        const QString &name = kAcme)
    {
        const qsizetype before = sent().size();
        inq.typeCustomer(name.left(3));
        QVERIFY(QTest::qWaitFor([&] { return sent().size() > before; }));
        QCOMPARE(sent().last().request.kind(), 93);
        tp.fakeBroker.replyGood(
            {testkit::makeRecordSet(QStringLiteral("CUSTOMER"),
                                    {{QStringLiteral("CUST_ID"), FieldType::Text},
                                     {QStringLiteral("CUST_NM"), FieldType::Text}},
                                    {{id, name}})});
        QVERIFY(inq.clickCustomer(id));
    }
    QList<testkit::FakeBroker::Sent> &sent() { return tp.fakeBroker.sent; }
    QList<BrokerRequest> formRequests()
    {
        QList<BrokerRequest> out;
        for (const auto &s : sent()) {
            if (s.request.kind() == RequestKind::CustomerForms)
                out.append(s.request);
        }
        return out;
    }
    // Sends the form request for CIT and answers it with the three forms.
    void showThreeForms()
    {
        inq.dlg->setDocumentType(QStringLiteral("CIT"));
        chooseCustomer();
        QCOMPARE(formRequests().size(), 1);
        tp.fakeBroker.replyGood({threeForms()});
    }
    QStringList column(const char *name) const
    {
        QStringList out;
        for (int r = 0; r < inq.grid()->rowCount(); ++r)
            out.append(inq.grid()->text(r, QLatin1String(name)));
        return out;
    }

    testkit::TestPlatform tp;
    bool codesReady = (tp.codeList.handler = codeListFor, true); // before the dialog loads
    Inquiry inq;
};

} // namespace

class TestSelectCustFormInq : public QObject {
    Q_OBJECT
private slots:
    void loadReadsTheStatusCodesInForceOnTheWorkingDate_data()
    {
        QTest::addColumn<QString>("working");
        QTest::addColumn<QString>("date");
        QTest::newRow("today") << QString() << QStringLiteral("11/22/2026");
        QTest::newRow("working date, trimmed")
            << QStringLiteral(" 12/31/2026 ") << QStringLiteral("12/31/2026");
    }
    void loadReadsTheStatusCodesInForceOnTheWorkingDate()
    {
        QFETCH(QString, working);
        QFETCH(QString, date);
        testkit::TestPlatform tp;
        tp.codeList.handler = codeListFor;
        tp.fakeUser.regionCode = QStringLiteral(" ne ");
        tp.fakeUser.working = working;
        Inquiry inq;
        QCOMPARE(tp.codeList.queries.value(0),
                 QString(kStatusQuery).replace(QStringLiteral("#D#"), u'#' + date + u'#'));
        // The document types, behind the blank item.
        QCOMPARE(inq.docType()->count(), 3);
        QCOMPARE(inq.docType()->itemCode(2), QStringLiteral("PKG"));
        QVERIFY(tp.codeList.queries.value(1).contains(u"REFDOCTYP"));

        // The caller's type is set quietly: no check, no message, no request.
        inq.dlg->setDocumentType(QStringLiteral("PKG"));
        QCOMPARE(inq.docType()->code(), QStringLiteral("PKG"));
        QVERIFY(tp.boxes.shown.isEmpty());
        QVERIFY(tp.fakeBroker.sent.isEmpty());
    }

    void aCustomerAndATypeSendTheFormRequest()
    {
        Fixture f;
        QSignalSpy statuses(f.inq.dlg.data(), &KORVA_SelectCustFormInq::UpdateStatus);
        f.inq.dlg->setDocumentType(QStringLiteral("CIT"));
        f.chooseCustomer();
        QCOMPARE(f.formRequests().size(), 1);
        const BrokerRequest r = f.formRequests().last();
        QCOMPARE(r.messageId(), QStringLiteral("KORVA.CustFormInq"));
        QCOMPARE(r.version(), QStringLiteral("1.0"));
        QCOMPARE(r.parameters(),
                 (QList<RequestParameter>{
                     RequestParameter::key(QStringLiteral("CUST_ID"), QStringLiteral("400000001")),
                     RequestParameter::key(QStringLiteral("REF_TYP_CD"), QStringLiteral("CIT"))}));
        QCOMPARE(r.parameters().first().application, QStringLiteral("PAXHOLME"));
        const QString requesting = QStringLiteral("Requesting TRAFFIC CITATION for ") + kAcme;
        QCOMPARE(f.tp.statusBar.last(), requesting);
        QCOMPARE(statuses.last().at(0).toString(), requesting);

        // Another type asks again for the same customer.
        f.inq.pickType(QStringLiteral("PKG"));
        QCOMPARE(f.formRequests().size(), 2);
        QCOMPARE(f.formRequests().last().keyValue(u"REF_TYP_CD"), QStringLiteral("PKG"));
        QVERIFY(f.tp.boxes.shown.isEmpty());

        // The citations' late answer is not listed as parking citations; the latest one is.
        const int citations = int(f.sent().size()) - 2;
        f.tp.fakeBroker.replyGood({threeForms()}, citations);
        QCOMPARE(f.inq.grid()->rowCount(), 0);
        QVERIFY(f.tp.statusBar.last().startsWith(u"Requesting PARKING CITATION"));
        f.tp.fakeBroker.replyGood({threeForms()});
        QCOMPARE(f.inq.grid()->rowCount(), 3);
        QCOMPARE(f.tp.statusBar.last(),
                 QStringLiteral("Displaying PARKING CITATIONs for ") + kAcme);
    }

    void withoutATypeOrACustomerNothingIsSent()
    {
        Fixture f;
        // A type without a customer: checked, but nothing to ask for.
        f.inq.pickType(QStringLiteral("CIT"));
        QVERIFY(f.tp.boxes.shown.isEmpty());
        QVERIFY(f.formRequests().isEmpty());

        // Back to no type: the check speaks and marks the combo.
        f.inq.pickType(QString());
        QCOMPARE(f.tp.boxes.shown.size(), 1);
        QCOMPARE(f.tp.boxes.shown.last().prompt,
                 QStringLiteral("Errors Found ... \r\nAccount Type is required\r\n"));
        QCOMPARE(f.tp.boxes.shown.last().style, MsgStyle::Critical);
        QVERIFY(f.tp.fieldMarks.isMarked(f.inq.docType()));

        // A customer without a type: the same message, and no request.
        f.chooseCustomer();
        QCOMPARE(f.tp.boxes.shown.size(), 2);
        QVERIFY(f.formRequests().isEmpty());

        // Choosing the type then asks, and the mark is gone.
        f.inq.pickType(QStringLiteral("CIT"));
        QCOMPARE(f.formRequests().size(), 1);
        QVERIFY(!f.tp.fieldMarks.isMarked(f.inq.docType()));
    }

    void aGoodReplyIsListedByStopDate()
    {
        Fixture f;
        f.showThreeForms();
        QCOMPARE(f.tp.statusBar.last(),
                 QStringLiteral("Displaying TRAFFIC CITATIONs for ") + kAcme);
        QCOMPARE(f.column("STP_DT"),
                 (QStringList{QStringLiteral("01/31/2025"), QStringLiteral("05/05/2026"),
                              QStringLiteral("03/01/2027")}));
        QCOMPARE(f.column("FORM_NUMBER"),
                 (QStringList{QStringLiteral("0012345-6"), QStringLiteral("0054321-0"),
                              QStringLiteral("2000077-3")}));
        // A code the list does not hold (ended, say) shows no text.
        QCOMPARE(f.column("CTTN_STTS_TXT"), (QStringList{QStringLiteral("PAID IN FULL"), QString(),
                                                         QStringLiteral("ACTIVE")}));
    }

    void badAndEmptyRepliesSaySo_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("status");
        QTest::newRow("bad") << 0 << QStringLiteral("Search was not successful");
        QTest::newRow("time-out") << 1 << QStringLiteral("Search timed out");
        QTest::newRow("no record set")
            << 2 << QStringLiteral("No PARKING CITATIONs returned for ") + kAcme;
        QTest::newRow("someone else's") << 3 << QString();
    }
    void badAndEmptyRepliesSaySo()
    {
        QFETCH(int, kind);
        QFETCH(QString, status);
        Fixture f;
        f.showThreeForms();
        f.inq.pickType(QStringLiteral("PKG"));
        QCOMPARE(f.formRequests().size(), 2);
        const QString error = QStringLiteral("The customer store is not available.");
        if (kind == 0)
            f.tp.fakeBroker.replyBad(error);
        else if (kind == 1)
            f.tp.fakeBroker.timeoutThenBad(error);
        else if (kind == 2)
            f.tp.fakeBroker.replyGood({});
        else
            f.tp.fakeBroker.replyForeign(QStringLiteral("KORVA.SomebodyElse"));
        if (kind < 2) {
            QCOMPARE(f.tp.boxes.shown.size(), 1);
            QCOMPARE(f.tp.boxes.shown.last().prompt, error);
            QCOMPARE(f.tp.boxes.shown.last().style, MsgStyle::Critical);
        } else {
            QVERIFY(f.tp.boxes.shown.isEmpty());
        }
        if (kind == 3)
            QVERIFY(f.tp.statusBar.last().startsWith(u"Requesting PARKING CITATION"));
        else
            QCOMPARE(f.tp.statusBar.last(), status);
        // The grid keeps what it showed.
        QCOMPARE(f.inq.grid()->rowCount(), 3);
        QVERIFY(!f.tp.mouse.busy);
        QVERIFY(f.tp.reporter.reports.isEmpty());
    }

    void aReplyTheGridCannotTakeIsReported()
    {
        Fixture f;
        f.inq.dlg->setDocumentType(QStringLiteral("CIT"));
        f.chooseCustomer();
        f.tp.fakeBroker.replyGood(
            {testkit::makeRecordSet(QStringLiteral("CUSTOMERFORM"),
                                    {{QStringLiteral("FORM_NBR"), FieldType::Integer}}, {{1}})});
        QCOMPARE(f.tp.reporter.reports.size(), 1);
        QCOMPARE(f.tp.reporter.reports.last().source,
                 QStringLiteral("KORVA_SelectCustFormInq.mZelbMessage_DataReady"));
        QVERIFY(!f.tp.statusBar.last().startsWith(u"Displaying"));
    }

    void okHandsTheChosenFormBackAndCancelEmptiesTheNumber()
    {
        Fixture f;
        f.showThreeForms();
        f.inq.clickRow(0);
        QTest::mouseClick(f.inq.button(1), Qt::LeftButton);
        QCOMPARE(f.inq.dlg->result(), int(QDialog::Accepted));
        QVERIFY(!f.inq.dlg->isVisible());
        QCOMPARE(f.inq.dlg->DocumentNumber(), QStringLiteral("0012345-6"));
        QCOMPARE(f.inq.dlg->DueAmount(), 1234.5);
        QCOMPARE(f.inq.dlg->LastPaymentDate(), QDate(2026, 10, 2));
        QCOMPARE(f.inq.dlg->Status(), QStringLiteral("PAID IN FULL"));
        QCOMPARE(f.inq.dlg->StopDate(), QDate(2025, 1, 31));
        QVERIFY(!f.inq.dlg->isCancelled());

        // Taken again from a row of empty cells, only the filled ones change.
        f.inq.dlg->show();
        f.inq.clickRow(1);
        QTest::mouseClick(f.inq.button(1), Qt::LeftButton);
        QCOMPARE(f.inq.dlg->DocumentNumber(), QStringLiteral("0054321-0"));
        QCOMPARE(f.inq.dlg->DueAmount(), 1234.5);
        QCOMPARE(f.inq.dlg->LastPaymentDate(), QDate(2026, 10, 2));
        QCOMPARE(f.inq.dlg->Status(), QStringLiteral("PAID IN FULL"));
        QCOMPARE(f.inq.dlg->StopDate(), QDate(2026, 5, 5));

        // A form without an assessed amount still has its status text.
        f.inq.dlg->show();
        f.inq.clickRow(2);
        QTest::mouseClick(f.inq.button(1), Qt::LeftButton);
        QCOMPARE(f.inq.dlg->DocumentNumber(), QStringLiteral("2000077-3"));
        QCOMPARE(f.inq.dlg->Status(), QStringLiteral("ACTIVE"));
        QCOMPARE(f.inq.dlg->DueAmount(), 80.0);

        // OK without a type stays open; Cancel then empties the number alone.
        f.inq.dlg->show();
        f.inq.pickType(QString()); // the change's own check speaks first
        QCOMPARE(f.tp.boxes.shown.size(), 1);
        QTest::mouseClick(f.inq.button(1), Qt::LeftButton);
        QVERIFY(f.inq.dlg->isVisible());
        QCOMPARE(f.tp.boxes.shown.size(), 2);
        QCOMPARE(f.tp.boxes.shown.last().prompt,
                 QStringLiteral("Errors Found ... \r\nAccount Type is required\r\n"));

        QTest::mouseClick(f.inq.button(0), Qt::LeftButton);
        QVERIFY(!f.inq.dlg->isVisible());
        QCOMPARE(f.inq.dlg->result(), int(QDialog::Rejected));
        QVERIFY(f.inq.dlg->isCancelled());
        QCOMPARE(f.inq.dlg->DocumentNumber(), QString());
        QCOMPARE(f.inq.dlg->DueAmount(), 80.0);
        QCOMPARE(f.inq.dlg->StopDate(), QDate(2027, 3, 1));
    }

    // A check digit held as text (a fixed-width column): the grid shows it as it stands, the
    // caller gets it trimmed; the balance is an amount, whatever way it is written.
    void theCheckDigitIsTrimmedOnlyForTheCaller()
    {
        Fixture f;
        f.inq.dlg->setDocumentType(QStringLiteral("CIT"));
        f.chooseCustomer();
        using T = FieldType;
        f.tp.fakeBroker.replyGood({testkit::makeRecordSet(
            QStringLiteral("CUSTOMERFORM"),
            {{QStringLiteral("FORM_NBR"), T::Integer},
             {QStringLiteral("FORM_CK_DGT_NBR"), T::Text},
             {QStringLiteral("BAL_DUE"), T::Text},
             {QStringLiteral("STP_DT"), T::Date}},
            {{12345, QStringLiteral("6 "), QStringLiteral(" $1,234.5 "), QDate(2025, 1, 31)}})});
        QCOMPARE(f.column("FORM_NUMBER"), QStringList{QStringLiteral("0012345-6 ")});
        f.inq.clickRow(0);
        QTest::mouseClick(f.inq.button(1), Qt::LeftButton);
        QCOMPARE(f.inq.dlg->DocumentNumber(), QStringLiteral("0012345-6"));
        QCOMPARE(f.inq.dlg->DueAmount(), 1234.5);
        QVERIFY(f.tp.reporter.reports.isEmpty());
    }
};

KORVA_TEST_MAIN(TestSelectCustFormInq)
#include "tst_selectcustforminq.moc"
