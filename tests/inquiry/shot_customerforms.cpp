// Renders the customer form inquiry for a look at the screen (run under xvfb-run, or
// offscreen):   shot_customerforms [customer-forms.png]
// A demo store behind the real broker; a customer found by the start of the name, its
// citations listed and one chosen, as a user leaves the dialog before pressing OK.
#include "embedded.h"
#include "inquiryfixture.h"

#include <QApplication>

using namespace korva;
using namespace korva::inqtest;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = QApplication::arguments();
    testkit::TestPlatform tp;
    testkit::EmbeddedStore store;
    testkit::EmbeddedSignOn signOn(tp, store, 1001);
    const QString customer = QStringLiteral("400000002"); // the demo's customer of many forms
    const QString name =
        store.value(QStringLiteral("SELECT CUST_NM FROM CUSTOMER WHERE CUST_ID = ?"), {customer})
            .toString();

    Inquiry inq;
    inq.dlg->resize(820, 620);
    inq.dlg->setDocumentType(QStringLiteral("CIT"));
    inq.dlg->show();
    inq.typeCustomer(name.left(4));
    if (!QTest::qWaitFor([&] { return inq.clickCustomer(customer); }, 20000))
        return 1;
    if (!QTest::qWaitFor([&] { return inq.grid()->rowCount() > 0; }, 20000))
        return 2;
    inq.clickRow(3);
    QTest::qWait(100);
    return inq.dlg->grab().save(args.value(1, QStringLiteral("customer-forms.png"))) ? 0 : 3;
}
