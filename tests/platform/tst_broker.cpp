#include "platform/asyncbroker.h"
#include "platform/errors.h"
#include "platform/wire.h"
#include "test_main.h"
#include "testkit.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QThread>

using namespace korva;

namespace {

// Answers every request, echoing its first key as a record set. A gated back end holds each
// request until the test opens the gate, so that a test decides what comes first.
class EchoBackend : public BrokerBackend {
public:
    explicit EchoBackend(QSemaphore *gate = nullptr)
        : m_gate(gate)
    {}
    BrokerReply handle(const BrokerRequest &request) override
    {
        if (m_gate)
            m_gate->acquire();
        if (request.kind() == 13)
            throw std::runtime_error("database is locked");
        BrokerReply reply = BrokerReply::success(request);
        auto rs =
            RecordSet::create(QStringLiteral("ECHO"), {{QStringLiteral("V"), FieldType::Text}});
        rs->appendStorageRow(
            {request.parameters().isEmpty() ? QString() : request.parameters().first().value});
        reply.recordSets.insert(rs->name(), rs);
        reply.recordSets.insert(QStringLiteral("THREAD"),
                                RecordSet::create(QStringLiteral("THREAD"),
                                                  {{QStringLiteral("SAME"), FieldType::Integer}}));
        reply.recordSets[QStringLiteral("THREAD")]->appendStorageRow(
            {int(QThread::currentThread() == m_uiThread)});
        return reply;
    }
    static inline QThread *m_uiThread = nullptr;

private:
    QSemaphore *m_gate;
};

BrokerRequest request(const QString &id, const QString &value, int kind = 62)
{
    BrokerRequest r;
    r.setMessageId(id);
    r.setKind(kind);
    r.addParameter(RequestParameter::key(QStringLiteral("X"), value));
    return r;
}

} // namespace

class TestBroker : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { EchoBackend::m_uiThread = QThread::currentThread(); }

    void replyArrivesAsAnEventOffTheWorkerThread()
    {
        AsyncBroker broker([] { return std::make_unique<EchoBackend>(); });
        BrokerMessage msg(&broker, nullptr);
        QSignalSpy ready(&msg, &BrokerMessage::DataReady);
        const QString tag =
            msg.send(request(QStringLiteral("Korva_AssignMaint"), QStringLiteral("v1")));
        QCOMPARE(ready.count(), 0); // never delivered inside send
        QTRY_COMPARE(ready.count(), 1);
        QCOMPARE(ready.first().first().toString(), QStringLiteral("Korva_AssignMaint"));
        // The reply store answers by identity, whatever its case and blanks, and by tag.
        auto rs = msg.recordSet(QStringLiteral(" KORVA_ASSIGNMAINT "), QStringLiteral("ECHO"));
        QVERIFY(rs);
        rs->moveFirst();
        QCOMPARE(rs->text(u"V"), QStringLiteral("v1"));
        QVERIFY(msg.replyByTag(tag));
        auto where = msg.recordSet(QStringLiteral("KORVA_ASSIGNMAINT"), QStringLiteral("THREAD"));
        where->moveFirst();
        QCOMPARE(where->value(u"SAME").toInt(), 0);
        QVERIFY(ReplyCheck(QStringLiteral("korva_assignmaint"), {}, msg).isEmpty());
    }

    void timeoutRaisesMsgTimeoutThenAnErrorReplyAndDropsTheLateOne()
    {
        QSemaphore gate;
        AsyncBroker broker([&gate] { return std::make_unique<EchoBackend>(&gate); });
        broker.setTimeout(50);
        BrokerMessage msg(&broker, nullptr);
        QStringList order;
        connect(&msg, &BrokerMessage::MsgTimeout, this,
                [&] { order << QStringLiteral("timeout"); });
        connect(&msg, &BrokerMessage::DataReady, this, [&](const QString &id) {
            order << QStringLiteral("ready:") + ReplyCheck(id, {}, msg);
        });
        msg.send(request(QStringLiteral("DOC"), QStringLiteral("slow")));
        QTRY_COMPARE(order.size(), 2); // the back end still holds the request
        QCOMPARE(order.at(0), QStringLiteral("timeout"));
        QCOMPARE(order.at(1), QStringLiteral("ready:") + AsyncBroker::timeoutText());
        // The late reply is handed back before the next one on the same worker; once the
        // next has arrived, the late one has been dropped or never will be.
        broker.setTimeout(30000);
        gate.release(2);
        msg.send(request(QStringLiteral("DOC"), QStringLiteral("next")));
        QTRY_COMPARE(order.size(), 3);
        QCOMPARE(order.at(2), QStringLiteral("ready:"));
        const RecordSetPtr echo = msg.recordSet(QStringLiteral("DOC"), QStringLiteral("ECHO"));
        echo->moveFirst();
        QCOMPARE(echo->text(u"V"), QStringLiteral("next"));
    }

    // A request that waits behind a slow one has its whole time once it starts: the slow
    // one times out, the one behind it is answered.
    void theTimeOutCountsFromTheStartNotTheQueue()
    {
        QSemaphore gate;
        AsyncBroker broker([&gate] { return std::make_unique<EchoBackend>(&gate); });
        broker.setTimeout(150);
        BrokerMessage slow(&broker, nullptr);
        BrokerMessage queued(&broker, nullptr);
        QSignalSpy slowTimeout(&slow, &BrokerMessage::MsgTimeout);
        QSignalSpy queuedTimeout(&queued, &BrokerMessage::MsgTimeout);
        QSignalSpy queuedReady(&queued, &BrokerMessage::DataReady);
        slow.send(request(QStringLiteral("SLOW"), QStringLiteral("a")));
        queued.send(request(QStringLiteral("QUEUED"), QStringLiteral("b")));
        QTRY_COMPARE(slowTimeout.count(), 1);
        QTest::qWait(250); // the queued request has now waited longer than the time-out
        gate.release(2);
        QTRY_COMPARE(queuedReady.count(), 1);
        QCOMPARE(queuedTimeout.count(), 0);
        QVERIFY(ReplyCheck(QStringLiteral("QUEUED"), {}, queued).isEmpty());
    }

    void replyAfterTheScreenClosedHarmsNothing()
    {
        QSemaphore gate;
        AsyncBroker broker([&gate] { return std::make_unique<EchoBackend>(&gate); });
        auto *msg = new BrokerMessage(&broker, nullptr);
        msg->send(request(QStringLiteral("DOC"), QStringLiteral("x")));
        delete msg; // before the back end answers
        gate.release(2);
        // And the broker still serves others, after the closed screen's reply.
        BrokerMessage other(&broker, nullptr);
        QSignalSpy ready(&other, &BrokerMessage::DataReady);
        other.send(request(QStringLiteral("DOC2"), QStringLiteral("y")));
        QTRY_COMPARE(ready.count(), 1);
        QCOMPARE(ready.first().first().toString(), QStringLiteral("DOC2"));
    }

    void backendFailureBecomesAnErrorReply()
    {
        AsyncBroker broker([] { return std::make_unique<EchoBackend>(); });
        BrokerMessage msg(&broker, nullptr);
        QSignalSpy ready(&msg, &BrokerMessage::DataReady);
        msg.send(request(QStringLiteral("DOC"), QStringLiteral("x"), 13));
        QTRY_COMPARE(ready.count(), 1);
        QCOMPARE(ReplyCheck(QStringLiteral("DOC"), {}, msg), QStringLiteral("database is locked"));
        // The blocking call of the platform services takes the same path.
        const BrokerReply r = broker.call(request(QStringLiteral("REF"), QStringLiteral("z")));
        QVERIFY(r.error.isEmpty());
        QCOMPARE(r.identity, QStringLiteral("REF"));
    }

    void requestIsSnapshottedAtSend()
    {
        BrokerRequest r = request(QStringLiteral("DOC"), QStringLiteral("x"), 15);
        auto rows = RecordSet::create(QStringLiteral("ASSIGNMENT"));
        rows->addNew();
        rows->setValue(u"ACTION", QStringLiteral("ADD"));
        r.addRecordSet(rows->name(), rows);
        const BrokerRequest copy = r.detached();
        rows->clear(); // the screen closes its row set after sending
        QCOMPARE(copy.recordSet(u"ASSIGNMENT")->count(), 1);
    }

    void wireFormRoundTripsTypesNullsAndOrder()
    {
        BrokerRequest r = request(QStringLiteral("DOC"), QStringLiteral("2024-01-02"), 15);
        r.setVersion(QStringLiteral("1.0"));
        r.setContext(QStringLiteral("INSP_ID=1001;REGION=NE"));
        r.addParameter(RequestParameter::key(QStringLiteral("OFCR_TO_ID"), QStringLiteral("1001")));
        auto rows = testkit::makeRecordSet(
            QStringLiteral("ASSIGNMENT"),
            {{QStringLiteral("ASGNMT_CMMT_TXT"), FieldType::Text},
             {QStringLiteral("DUE_DT"), FieldType::Date},
             {QStringLiteral("RFND_AMT"), FieldType::Decimal},
             {QStringLiteral("LST_UPDT_TS"), FieldType::Timestamp}},
            {{QStringLiteral(""), QStringLiteral("2024-05-06"), QStringLiteral("1234.50"),
              QStringLiteral("2024-05-06T10:11:12.345")},
             {QVariant(), QVariant(), QVariant(), QVariant()}});
        r.addRecordSet(QStringLiteral("ASSIGNMENT"), rows);
        const BrokerRequest back = wire::requestFromJson(wire::toJson(r));
        QCOMPARE(back.readBack(), r.readBack());
        QCOMPARE(back.parameters(), r.parameters());
        QCOMPARE(back.context(), r.context());
        auto rs = back.recordSet(u"ASSIGNMENT");
        QVERIFY(!rs->valueAt(0, 0).isNull());
        QCOMPARE(rs->valueAt(0, 0).toString(), QString());
        QVERIFY(rs->valueAt(1, 0).isNull());
        QCOMPARE(rs->valueAt(0, 1).toDate(), QDate(2024, 5, 6));
        QCOMPARE(rs->textAt(0, 2), QStringLiteral("1234.50"));
        QCOMPARE(rs->valueAt(0, 3).toDateTime().time().msec(), 345);

        QVERIFY_THROWS_EXCEPTION(ProcError, wire::recordSetFromJson(QJsonObject{
                                                {QStringLiteral("name"), QStringLiteral("X")}}));
    }
};

KORVA_TEST_MAIN(TestBroker)
#include "tst_broker.moc"
