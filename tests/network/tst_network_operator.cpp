// Refund requests are the operator's to submit: a desk signed on over the bus, even as the
// system officer who sends them, is refused and nothing is written.
#include "natsfixture.h"

#include <server/admin.h>
#include <server/auth.h>
#include <server/demodata.h>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;
using namespace korva::network::test;

class TestNetworkOperator : public QObject {
    Q_OBJECT
private slots:
    void aDeskCannotSubmitRefundRequests();
};

void TestNetworkOperator::aDeskCannotSubmitRefundRequests()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    ServiceOptions options;
    options.server = ServerSettings(currentConnection());
    options.bus = bus.service();
    BrokerService service(options);
    const qint64 refunds = store.count(QStringLiteral("SELECT COUNT(*) FROM REFUND"));
    for (const qint64 officer : {DemoOfficer::System, DemoOfficer::Demo}) {
        setPassword(store.db(), officer, QLatin1String(kPassword), QDateTime::currentDateTime());
        NatsBroker desk(bus.desk());
        QCOMPARE(signOn(desk, officer, QLatin1String(kPassword)), QString());
        BrokerRequest r = request(kRefundRequestsKind, officer);
        r.addRecordSet(QStringLiteral("REFUND"),
                       updateRows("REFUND", {{{"CUST_ID", store.customer()},
                                              {"RCPT_NBR", QStringLiteral("BUS-1")},
                                              {"RFND_AMT", QStringLiteral("10.00")},
                                              {"OFCR_TO_ID", QString::number(officer)}}}));
        const BrokerReply reply = desk.call(r);
        QVERIFY2(reply.error.contains(u"only through the operator"), qPrintable(reply.error));
        QVERIFY(!reply.recordSet(QStringLiteral("REQ")));
    }
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM REFUND")), refunds);
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM REFUND WHERE RCPT_NBR = 'BUS-1'")),
             0);
}

KORVA_SERVER_TEST_MAIN(TestNetworkOperator)
#include "tst_network_operator.moc"
