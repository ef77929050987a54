// The back end behind the asynchronous broker: replies arrive as DataReady on the UI thread,
// a request stuck on a lock times out first and its late reply harms nothing.
#include "serverfixture.h"

#include <platform/asyncbroker.h>

#include <QSignalSpy>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

BrokerRequest listRequest(const QString &identity)
{
    BrokerRequest r;
    r.setMessageId(identity);
    r.setVersion(QStringLiteral("1.0"));
    r.setKind(RequestKind::Query);
    r.setContext(QStringLiteral("INSP_ID=1001;REGION=NE"));
    r.addParameter(
        RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), QStringLiteral("1997-01-27")));
    r.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"), today()));
    r.addParameter(RequestParameter::key(QStringLiteral("OFCR_TO_ID"), QStringLiteral("1001")));
    return r;
}

} // namespace

class TestServerBroker : public QObject {
    Q_OBJECT
private slots:
    void replyArrivesAsDataReadyWithRows();
    void lockedStoreTimesOutThenLateReplyIsDropped();
    void backendsOnTwoThreadsShareTheStore();
};

void TestServerBroker::replyArrivesAsDataReadyWithRows()
{
    Store store(120);
    AsyncBroker broker(makeBackendFactory(ServerSettings(currentConnection())));
    BrokerMessage message(&broker, nullptr);
    QSignalSpy ready(&message, &BrokerMessage::DataReady);
    message.send(listRequest(QStringLiteral("KORVA.AssignMaint")));
    QVERIFY(ready.wait(10000));
    QCOMPARE(ready.first().first().toString(), QStringLiteral("KORVA.AssignMaint"));
    QCOMPARE(ReplyCheck(QStringLiteral("korva.assignmaint "), {}, message), QString());
    const RecordSetPtr rs =
        message.recordSet(QStringLiteral("KORVA.AssignMaint"), QStringLiteral("ASSIGNMENT"));
    QVERIFY(rs);
    QCOMPARE(
        rs->count(),
        int(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE OFCR_TO_ID = 1001"))));

    // The blocking call the platform uses at sign-on goes through the same back end.
    BrokerRequest reference;
    reference.setKind(RequestKind::ReferenceData);
    reference.setContext(QStringLiteral("INSP_ID=1002"));
    const BrokerReply r = broker.call(reference);
    QCOMPARE(r.error, QString());
    QVERIFY(r.recordSet(QStringLiteral("OFFICER")));
}

void TestServerBroker::lockedStoreTimesOutThenLateReplyIsDropped()
{
    Store store;
    ServerSettings slow(currentConnection());
    slow.busyTimeoutMs = 1500;
    AsyncBroker broker(makeBackendFactory(slow));
    broker.setTimeout(300);
    // Warm the back end up so that the time-out measures the lock, not the first open.
    QCOMPARE(broker.call(listRequest(QStringLiteral("WARM"))).error, QString());
    broker.setTimeout(300);

    Database holder(ServerSettings(currentConnection()), QStringLiteral("korva-test-holder"));
    holder.open();
    if (holder.dialect() == Dialect::Sqlite) {
        holder.execute(QStringLiteral("BEGIN EXCLUSIVE"));
    } else {
        holder.begin();
        holder.execute(QStringLiteral("LOCK TABLE KORVA_SEQ IN ACCESS EXCLUSIVE MODE"));
    }
    auto message = std::make_unique<BrokerMessage>(&broker, nullptr);
    QStringList events;
    connect(message.get(), &BrokerMessage::MsgTimeout, this,
            [&] { events << QStringLiteral("timeout"); });
    connect(message.get(), &BrokerMessage::DataReady, this,
            [&] { events << QStringLiteral("ready"); });
    BrokerRequest update;
    update.setMessageId(QStringLiteral("KORVA.AssignMaint"));
    update.setKind(RequestKind::Number);
    update.setContext(QStringLiteral("INSP_ID=1001"));
    update.addParameter(RequestParameter::key(QStringLiteral("KIND"), QStringLiteral("U")));
    message->send(update);
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), 2, 5000);
    QCOMPARE(events, (QStringList{QStringLiteral("timeout"), QStringLiteral("ready")}));
    QCOMPARE(ReplyCheck(QStringLiteral("KORVA.AssignMaint"), {}, *message),
             AsyncBroker::timeoutText());
    // The back end's own answer comes later and is dropped. A call queued behind it on the
    // one worker returns only after it, so its reply event, if any, is posted by then.
    holder.execute(QStringLiteral("ROLLBACK"));
    broker.setTimeout(5000);
    QCOMPARE(broker.call(listRequest(QStringLiteral("BEHIND"))).error, QString());
    QCoreApplication::sendPostedEvents();
    QCOMPARE(events.size(), 2);

    // A screen closed while its request is under way gets nothing, and nothing breaks.
    message->send(listRequest(QStringLiteral("KORVA.AssignMaint")));
    message.reset();
    QCOMPARE(broker.call(listRequest(QStringLiteral("AFTER"))).error, QString());
}

void TestServerBroker::backendsOnTwoThreadsShareTheStore()
{
    Store store;
    AsyncBroker first(makeBackendFactory(ServerSettings(currentConnection())));
    AsyncBroker second(makeBackendFactory(ServerSettings(currentConnection())));
    BrokerMessage a(&first, nullptr), b(&second, nullptr);
    QSignalSpy readyA(&a, &BrokerMessage::DataReady), readyB(&b, &BrokerMessage::DataReady);
    BrokerRequest number;
    number.setMessageId(QStringLiteral("N"));
    number.setKind(RequestKind::Number);
    number.setContext(QStringLiteral("INSP_ID=1001"));
    number.addParameter(RequestParameter::key(QStringLiteral("KIND"), QStringLiteral("U")));
    for (int i = 0; i < 5; ++i) {
        a.send(number);
        b.send(number);
    }
    QTRY_COMPARE_WITH_TIMEOUT(readyA.size() + readyB.size(), 10, 10000);
    // Ten numbers were handed out, none twice.
    QCOMPARE(
        store.count(QStringLiteral("SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'RFND_NBR'")),
        11);
    QCOMPARE(ReplyCheck(QStringLiteral("N"), {}, a), QString());
    QCOMPARE(ReplyCheck(QStringLiteral("N"), {}, b), QString());
}

KORVA_SERVER_TEST_MAIN(TestServerBroker)
#include "tst_server_broker.moc"
