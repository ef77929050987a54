// The customer form inquiry end to end: the real asynchronous broker, the back end and a demo
// store; a customer found by number, its citations listed, one taken.
#include "common/modassignmaint.h"
#include "embedded.h"
#include "inquiryfixture.h"
#include "test_main.h"

#include <QTimer>

using namespace korva;
using namespace korva::inqtest;

class TestSelectCustFormInqStore : public QObject {
    Q_OBJECT
private slots:
    void aCitationIsTakenFromTheStore()
    {
        testkit::TestPlatform tp;
        testkit::EmbeddedStore store;
        testkit::EmbeddedSignOn signOn(tp, store, 1001);
        // The demo's customer of hundreds of forms.
        const QString customer = QStringLiteral("400000002");
        const QString name =
            store
                .value(QStringLiteral("SELECT CUST_NM FROM CUSTOMER WHERE CUST_ID = ?"), {customer})
                .toString();
        const qint64 citations = store.count(QStringLiteral("SELECT COUNT(*) FROM CUST_FORM WHERE "
                                                            "CUST_ID = ? AND REF_TYP_CD = 'CIT'"),
                                             {customer});
        QVERIFY(citations > 100);
        const QString first = QStringLiteral("SELECT %1 FROM CUST_FORM WHERE CUST_ID = ? AND "
                                             "REF_TYP_CD = 'CIT' ORDER BY STP_DT, FORM_NBR");
        const qint64 number = store.value(first.arg(u"FORM_NBR"), {customer}).toLongLong();
        const QString status = store.value(first.arg(u"CTTN_STTS_CD"), {customer}).toString();

        // A customer without forms: the dialog says there are none.
        const QString formless =
            store
                .value(QStringLiteral("SELECT MIN(CUST_ID) FROM CUSTOMER C WHERE NOT EXISTS "
                                      "(SELECT 1 FROM CUST_FORM F WHERE F.CUST_ID = C.CUST_ID)"))
                .toString();
        QVERIFY(!formless.isEmpty());
        const QString formlessName =
            store
                .value(QStringLiteral("SELECT CUST_NM FROM CUSTOMER WHERE CUST_ID = ?"), {formless})
                .toString();

        Inquiry inq;
        inq.dlg->setDocumentType(QStringLiteral("CIT"));
        bool done = false;
        auto drive = [&] {
            QTRY_VERIFY(inq.dlg->isVisible());
            inq.typeCustomer(formless);
            QTRY_VERIFY_WITH_TIMEOUT(inq.found()->topLevelItemCount() > 0, 20000);
            QVERIFY(inq.clickCustomer(formless));
            QTRY_COMPARE_WITH_TIMEOUT(
                tp.statusBar.last(),
                QStringLiteral("No TRAFFIC CITATIONs returned for ") + formlessName, 20000);
            QCOMPARE(inq.grid()->rowCount(), 0);

            inq.pickerText()->clear();
            inq.typeCustomer(customer);
            QTRY_VERIFY_WITH_TIMEOUT(inq.clickCustomer(customer), 20000);
            QTRY_COMPARE_WITH_TIMEOUT(qint64(inq.grid()->rowCount()), citations, 20000);
            QCOMPARE(tp.statusBar.last(),
                     QStringLiteral("Displaying TRAFFIC CITATIONs for ") + name);
            inq.clickRow(0);
            QTest::mouseClick(inq.button(1), Qt::LeftButton);
            done = true;
        };
        QTimer::singleShot(0, inq.dlg.data(), [&] {
            drive();
            if (!done)
                inq.dlg->reject(); // a failed step must not leave the modal run waiting
        });
        QCOMPARE(inq.dlg->exec(), int(QDialog::Accepted));
        QVERIFY(done);

        const QString expected = QStringLiteral("%1").arg(number, 7, 10, QLatin1Char('0'));
        QVERIFY(inq.dlg->DocumentNumber().startsWith(expected + u'-'));
        QVERIFY(modAssignMaint::IsCitationNumberValid(inq.dlg->DocumentNumber()));
        QCOMPARE(inq.dlg->Status(),
                 store
                     .value(QStringLiteral("SELECT CD_TBL_DES FROM ZTB_CODE WHERE REGION = 'NE' "
                                           "AND CD_TBL_ID = 'CSTATUS' AND CD_TBL_CD = ?"),
                            {status})
                     .toString());
        QVERIFY(inq.dlg->StopDate().isValid());
        QVERIFY(tp.boxes.shown.isEmpty());
        QVERIFY(tp.reporter.reports.isEmpty());
    }
};

KORVA_TEST_MAIN(TestSelectCustFormInqStore)
#include "tst_selectcustforminq_store.moc"
