// What only the operator may send over the bus: refund requests and the services' status. A
// desk signed on as the system officer, a desk key that signs as an operator would, and an
// operator key asking for a desk's work are each refused, and nothing is written.
#include "natsfixture.h"

#include <server/admin.h>
#include <server/auth.h>
#include <server/demodata.h>
#include <server/schema.h>

#include <QTemporaryDir>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;
using namespace korva::network::test;

namespace {

BrokerRequest refundRequest(const QString &customer, const QString &receipt)
{
    BrokerRequest r;
    r.setKind(kRefundRequestsKind);
    r.addRecordSet(QStringLiteral("REFUND"),
                   updateRows("REFUND", {{{"CUST_ID", customer},
                                          {"RCPT_NBR", receipt},
                                          {"RFND_AMT", QStringLiteral("10.00")},
                                          {"OFCR_TO_ID", QString::number(DemoOfficer::Demo)}}}));
    return r;
}

QStringList operatorArgs(const NatsServer &bus, const QString &desk)
{
    return {QStringLiteral("--nats"), bus.url(),
            QStringLiteral("--desk"), desk,
            QStringLiteral("--seed"), bus.desk(desk).seedFile};
}

} // namespace

class TestNetworkOperator : public QObject {
    Q_OBJECT
private slots:
    void onlyTheOperatorKeySubmitsOrAsks();
    void statusAndSubmitFromTheCommand();
};

void TestNetworkOperator::onlyTheOperatorKeySubmitsOrAsks()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    ServiceOptions options;
    options.server = ServerSettings(currentConnection());
    options.bus = bus.service();
    BrokerService service(options);
    const auto written = [&store] {
        return store.count(
            QStringLiteral("SELECT COUNT(*) FROM REFUND WHERE RCPT_NBR LIKE 'BUS-%'"));
    };

    // A signed-on desk, even the system officer's, is told no and gets no figures.
    setPassword(store.db(), DemoOfficer::System, QLatin1String(kPassword),
                QDateTime::currentDateTime());
    NatsBroker desk(bus.desk());
    QCOMPARE(signOn(desk, DemoOfficer::System, QLatin1String(kPassword)), QString());
    BrokerRequest asDesk = refundRequest(store.customer(), QStringLiteral("BUS-1"));
    asDesk.setContext(Session::contextText(DemoOfficer::System, QStringLiteral("NE")));
    QVERIFY(desk.call(asDesk).error.contains(u"only through the operator"));
    const BrokerReply deskStatus = desk.call(request(kServiceStatusKind, DemoOfficer::System));
    QVERIFY(!deskStatus.error.isEmpty());
    QVERIFY(!deskStatus.recordSet(QStringLiteral("STATUS")));
    // The desk's own kinds next to the operator's are still the desk's: a supervisor's workload.
    setPassword(store.db(), DemoOfficer::Demo, QLatin1String(kPassword),
                QDateTime::currentDateTime());
    NatsBroker supervisor(bus.desk());
    QCOMPARE(signOn(supervisor, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    const BrokerReply workload = supervisor.call(request(RequestKind::Workload, DemoOfficer::Demo));
    QVERIFY2(workload.recordSet(QStringLiteral("WORKLOAD")), qPrintable(workload.error));

    // An ordinary desk's key signing without a session, as an operator's does, is not heard;
    // nor is the operator's key asking for what a desk asks.
    {
        RawDesk attacker(bus, QStringLiteral("desk-b"));
        const QByteArray inbox = attacker.inbox();
        natsSubscription *sub = attacker.listen(inbox);
        attacker.publish(refundRequest(store.customer(), QStringLiteral("BUS-2")), inbox,
                         attacker.deskKey, attacker.desk);
        attacker.publish(request(kServiceStatusKind, 0), inbox, attacker.deskKey, attacker.desk);
        QCOMPARE(RawDesk::received(sub, 1500), 0);
        RawDesk ops(bus, QStringLiteral("ops"));
        const QByteArray opsInbox = ops.inbox();
        natsSubscription *opsSub = ops.listen(opsInbox);
        ops.publish(request(RequestKind::Query, DemoOfficer::Demo), opsInbox, ops.deskKey,
                    ops.desk);
        QCOMPARE(RawDesk::received(opsSub, 1500), 0);
    }
    QCOMPARE(written(), 0);

    // The operator's key is served.
    NatsSettings opsSettings = bus.desk(QStringLiteral("ops"));
    opsSettings.operatorKey = true;
    NatsBroker ops(opsSettings);
    const BrokerReply submitted =
        ops.call(refundRequest(store.customer(), QStringLiteral("BUS-3")));
    QVERIFY2(submitted.error.isEmpty(), qPrintable(submitted.error));
    QCOMPARE(written(), 1);
    const BrokerReply status = ops.call(request(kServiceStatusKind, 0));
    const RecordSetPtr rs = status.recordSet(QStringLiteral("STATUS"));
    QVERIFY2(rs && rs->storageCount() == 1, qPrintable(status.error));
    const QVariantList row = rs->storageRow(0);
    QCOMPARE(row.at(rs->fieldIndex(u"SCHEMA")).toInt(), latestSchemaVersion());
    QCOMPARE(row.at(rs->fieldIndex(u"SESSIONS")).toLongLong(), 2);
    // Served so far: two sign-ons, the desk's two refusals, the workload and the submission.
    QCOMPARE(row.at(rs->fieldIndex(u"ANSWERED")).toLongLong(), 6);
}

void TestNetworkOperator::statusAndSubmitFromTheCommand()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    ServiceProcess service(bus, currentConnection());
    QVERIFY(service.started());
    QTemporaryDir dir;
    const QString csv = dir.filePath(QStringLiteral("requests.csv"));
    QFile f(csv);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(QStringLiteral("CUST_ID,RCPT_NBR,RFND_AMT,OFCR_TO_ID\n%1,BUS-9,12.50,%2\n")
                .arg(store.customer())
                .arg(DemoOfficer::Demo)
                .toUtf8());
    f.close();

    QString out;
    const QStringList submit{QStringLiteral("submit"), QStringLiteral("refund-requests")};
    QCOMPARE(
        korvaBroker(submit + operatorArgs(bus, QStringLiteral("desk-a")) + QStringList{csv}, &out),
        2);
    QCOMPARE(korvaBroker(QStringList{QStringLiteral("status")} +
                             operatorArgs(bus, QStringLiteral("desk-a")),
                         &out),
             2);
    QVERIFY2(!out.contains(u"schema="), qPrintable(out));
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM REFUND WHERE RCPT_NBR = 'BUS-9'")),
             0);

    QCOMPARE(
        korvaBroker(submit + operatorArgs(bus, QStringLiteral("ops")) + QStringList{csv}, &out), 0);
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM REFUND WHERE RCPT_NBR = 'BUS-9'")),
             1);
    QCOMPARE(korvaBroker(QStringList{QStringLiteral("status")} +
                             operatorArgs(bus, QStringLiteral("ops")),
                         &out),
             0);
    QVERIFY2(out.contains(QStringLiteral("schema=%1 ").arg(latestSchemaVersion())),
             qPrintable(out));

    // With the bus gone the service still stops when told, without waiting for the bus.
    bus.stop();
    QVERIFY(service.stop() >= 0);
}

KORVA_SERVER_TEST_MAIN(TestNetworkOperator)
#include "tst_network_operator.moc"
