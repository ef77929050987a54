// The networked broker end to end: a real bus, the service in this process or as separate
// processes, desks signing on with passwords.
#include "natsfixture.h"

#include <server/auth.h>
#include <server/demodata.h>
#include <server/servererror.h>
#include <server/servicecodes.h>

#include <platform/errors.h>
#include <platform/wire.h>
#include <platform/wirebytes.h>

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <nats/nats.h>

#include <thread>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;
using namespace korva::network::test;

namespace {

ServiceOptions serviceOptions(const NatsServer &bus)
{
    ServiceOptions o;
    o.server = ServerSettings(currentConnection());
    o.bus = bus.service();
    return o;
}

void setPasswords(Store &store)
{
    for (const qint64 officer : {DemoOfficer::Demo, DemoOfficer::Plain})
        setPassword(store.db(), officer, QLatin1String(kPassword), QDateTime::currentDateTime());
}

RecordSetPtr newAssignment(qint64 from, qint64 to, const QString &comment)
{
    return updateRows("ASSIGNMENT", {{{"ACTION", QStringLiteral("ADD")},
                                      {"OFCR_FRM_ID", QString::number(from)},
                                      {"ASGNMT_TYP_CD", QStringLiteral("001")},
                                      {"EFCTV_DT", today()},
                                      {"DUE_DT", today(10)},
                                      {"EXPRTN_DT", today(30)},
                                      {"OFCR_TO_ID", QString::number(to)},
                                      {"ASGNMT_CMMT_TXT", comment}}});
}

BrokerRequest save(qint64 from, qint64 to, const QString &comment)
{
    BrokerRequest r = request(RequestKind::AssignmentUpdate, from);
    r.addRecordSet(QStringLiteral("ASSIGNMENT"), newAssignment(from, to, comment));
    return r;
}

} // namespace

class TestNetwork : public QObject {
    Q_OBJECT
private slots:
    void signedOnRequestsActForTheSessionsOfficer();
    void refusesWhatNoLiveSessionVouchesFor();
    void passwordsAreKeptOnlyAsHashes();
    void withNoServiceARequestTimesOut();
    void aRequestQueuedBehindASlowOneHasItsWholeTime();
    void codeListsRunOnTheDeskNotTheService();
    void sendDeliversTheReplyAndANoticeReachesTheReceiver();
    void twoServiceProcessesShareTheLoadAndOneKilledLosesNothing();
    void overTlsOnlyTheServiceAccountServes();
};

void TestNetwork::signedOnRequestsActForTheSessionsOfficer()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    setPasswords(store);
    BrokerService service(serviceOptions(bus));
    NatsBroker desk(bus.desk());

    QCOMPARE(signOn(desk, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    QVERIFY(!desk.sessionToken().isEmpty());
    // 256 bits, not stored as given.
    QCOMPARE(QByteArray::fromBase64(desk.sessionToken().toLatin1(), QByteArray::Base64UrlEncoding)
                 .size(),
             32);
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM KORVA_SESSION WHERE TOKEN_HASH = ?"),
                         {desk.sessionToken()}),
             0);

    // Without a region in the context the service still knows the officer's own.
    BrokerRequest reference = request(RequestKind::ReferenceData, DemoOfficer::Demo);
    reference.setContext(QStringLiteral("INSP_ID=%1").arg(DemoOfficer::Demo));
    const BrokerReply reply = desk.call(reference);
    QCOMPARE(reply.error, QString());
    const RecordSetPtr rights = reply.recordSet(QStringLiteral("USERRIGHT"));
    QVERIFY(rights && rights->count() > 0); // the demo officer's rights, not the plain one's

    const BrokerReply saved =
        desk.call(save(DemoOfficer::Demo, DemoOfficer::Plain, QStringLiteral("over the bus")));
    QCOMPARE(saved.error, QString());
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE ASGNMT_CMMT_TXT = ? "
                                        "AND OFCR_FRM_ID = ?"),
                         {QStringLiteral("over the bus"), DemoOfficer::Demo}),
             1);
}

void TestNetwork::refusesWhatNoLiveSessionVouchesFor()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    setPasswords(store);
    BrokerService service(serviceOptions(bus));
    NatsBroker desk(bus.desk());
    auto refusal = [&](qint64 claimed) {
        return desk.call(request(RequestKind::ReferenceData, claimed)).error;
    };

    QCOMPARE(signOn(desk, DemoOfficer::Plain, QLatin1String(kPassword)), QString());
    // The context may not speak for someone else.
    QVERIFY(refusal(DemoOfficer::Demo).contains(u"speaks for officer 1001"));
    QCOMPARE(refusal(DemoOfficer::Plain), QString());

    // Idle past the limit: expired.
    store.exec(
        QStringLiteral("UPDATE KORVA_SESSION SET LAST_MS = LAST_MS - ? WHERE TOKEN_HASH = ?"),
        {qint64(31) * 60'000, tokenHash(desk.sessionToken())});
    QVERIFY(refusal(DemoOfficer::Plain).contains(u"expired"));

    // Signed off: the session is dead at once.
    QCOMPARE(signOn(desk, DemoOfficer::Plain, QLatin1String(kPassword)), QString());
    QCOMPARE(desk.call(request(RequestKind::SignOff, DemoOfficer::Plain)).error, QString());
    QVERIFY(refusal(DemoOfficer::Plain).contains(u"ended"));

    // A retired officer's live session stops working.
    QCOMPARE(signOn(desk, DemoOfficer::Plain, QLatin1String(kPassword)), QString());
    store.exec(QStringLiteral("UPDATE OFFICER SET END_DT = ? WHERE INSP_ID = ?"),
               {today(-1), DemoOfficer::Plain});
    QVERIFY(refusal(DemoOfficer::Plain).contains(u"can no longer sign on"));

    // A desk removed by the administrator: its sessions end with it.
    QCOMPARE(signOn(desk, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    QCOMPARE(korvaBroker({QStringLiteral("desk"), QStringLiteral("remove"),
                          QStringLiteral("desk-a"), QStringLiteral("--db"), currentConnection(),
                          QStringLiteral("--conf-dir"), bus.dir()}),
             0);
    QVERIFY(refusal(DemoOfficer::Demo).contains(u"ended"));
}

void TestNetwork::passwordsAreKeptOnlyAsHashes()
{
    const QString hash = hashPassword(QStringLiteral("s3cret words"));
    QVERIFY(hash.startsWith(u"$argon2id$"));
    QVERIFY(!hash.contains(u"s3cret"));
    QVERIFY(verifyPassword(hash, QStringLiteral("s3cret words")));
    QVERIFY(!verifyPassword(hash, QStringLiteral("s3cret wordS")));
    QVERIFY(!verifyPassword(QString(), QString()));
    // Salted: the same password never hashes alike.
    QVERIFY(hash != hashPassword(QStringLiteral("s3cret words")));

    Store store;
    QVERIFY_THROWS_EXCEPTION(RequestError,
                             setPassword(store.db(), DemoOfficer::Demo, QStringLiteral("short"),
                                         QDateTime::currentDateTime()));
    QVERIFY_THROWS_EXCEPTION(RequestError,
                             setPassword(store.db(), 424242, QStringLiteral("long enough"),
                                         QDateTime::currentDateTime()));
}

void TestNetwork::withNoServiceARequestTimesOut()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    NatsBroker desk(bus.desk());
    desk.setTimeout(3000);
    QCOMPARE(desk.call(request(RequestKind::Query, DemoOfficer::Demo)).error,
             NatsBroker::noServiceText());

    BrokerMessage message(&desk, nullptr);
    QSignalSpy timeouts(&message, &BrokerMessage::MsgTimeout);
    QSignalSpy ready(&message, &BrokerMessage::DataReady);
    message.send(request(RequestKind::Query, DemoOfficer::Demo));
    QVERIFY(ready.wait(5000));
    QCOMPARE(timeouts.count(), 1);
    QCOMPARE(ReplyCheck(QStringLiteral("KORVA.Test"), QString(), message),
             NatsBroker::noServiceText());
}

// A service that answers one request at a time, as each service worker does: it says when
// it begins each, takes `slowMs` over the first and answers the rest at once.
void TestNetwork::aRequestQueuedBehindASlowOneHasItsWholeTime()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    NatsConnection service(bus.service());
    auto *nc = static_cast<natsConnection *>(service.handle());
    natsSubscription *sub = nullptr;
    QCOMPARE(natsConnection_SubscribeSync(&sub, nc, "korva.broker"), NATS_OK);
    natsConnection_Flush(nc);
    constexpr int kTimeoutMs = 500;
    constexpr int kSlowMs = 750; // past the time-out, within the queue's allowance
    std::thread worker([&] {
        for (int n = 0; n < 2; ++n) {
            natsMsg *msg = nullptr;
            if (natsSubscription_NextMsg(&msg, sub, 10'000) != NATS_OK)
                return;
            const char *replyTo = natsMsg_GetReply(msg);
            natsConnection_Publish(nc, replyTo, nullptr, 0);
            if (n == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(kSlowMs));
            const BrokerRequest request = wire::requestFromJson(
                QJsonDocument::fromJson(
                    QByteArray(natsMsg_GetData(msg), natsMsg_GetDataLength(msg)))
                    .object());
            const QByteArray reply = wire::replyBytes(BrokerReply::success(request));
            natsConnection_Publish(nc, replyTo, reply.constData(), int(reply.size()));
            natsMsg_Destroy(msg);
        }
    });
    const auto join = qScopeGuard([&] {
        worker.join();
        natsSubscription_Destroy(sub);
    });

    NatsBroker desk(bus.desk());
    desk.setTimeout(kTimeoutMs);
    BrokerMessage slow(&desk, nullptr);
    BrokerMessage queued(&desk, nullptr);
    QSignalSpy slowTimeout(&slow, &BrokerMessage::MsgTimeout);
    QSignalSpy queuedTimeout(&queued, &BrokerMessage::MsgTimeout);
    QSignalSpy queuedReady(&queued, &BrokerMessage::DataReady);
    BrokerRequest first = request(RequestKind::Query, DemoOfficer::Demo);
    first.setMessageId(QStringLiteral("SLOW"));
    BrokerRequest second = request(RequestKind::Query, DemoOfficer::Demo);
    second.setMessageId(QStringLiteral("QUEUED"));
    slow.send(first);
    queued.send(second);
    QTRY_COMPARE_WITH_TIMEOUT(queuedReady.count(), 1, 5000);
    QCOMPARE(slowTimeout.count(), 1);
    QCOMPARE(queuedTimeout.count(), 0);
    QVERIFY(ReplyCheck(QStringLiteral("QUEUED"), QString(), queued).isEmpty());
}

void TestNetwork::codeListsRunOnTheDeskNotTheService()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    setPasswords(store);
    BrokerService service(serviceOptions(bus));
    NatsBroker desk(bus.desk());
    QCOMPARE(signOn(desk, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    const BrokerReply reference = desk.call(request(RequestKind::ReferenceData, DemoOfficer::Demo));
    QCOMPARE(reference.error, QString());

    // The desk's copy answers the screens' texts as the embedded code-list request does.
    server::LocalCodeList local(reference);
    const QStringList queries{
        QStringLiteral("Select REGION, ASGNMT_CD, ASGNMT_DES, DUE_DY_CNT From ZTB_ASGNMT_TYPE "
                       "Where REGION='NE' Order By ASGNMT_DES"),
        QStringLiteral("SELECT CD_TBL_ID, CD_TBL_CD, CD_TBL_DES, EFCTV_DT FROM ZTB_CODE WHERE "
                       "REGION = 'NE' AND EFCTV_DT <= #11/22/2026# ORDER BY 1, 2")};
    for (const QString &query : queries) {
        const RecordSetPtr mine = local.openQuery(query);
        const BrokerReply theirs =
            store.send(RequestKind::CodeList, DemoOfficer::Demo, {{"QUERY", query}});
        QCOMPARE(theirs.error, QString());
        const RecordSetPtr rs = theirs.recordSet(QStringLiteral("CODELIST"));
        QVERIFY(mine->count() > 0);
        QCOMPARE(mine->count(), rs->count());
        for (int r = 0; r < rs->count(); ++r) {
            for (int c = 0; c < rs->fieldCount(); ++c)
                QCOMPARE(mine->textAt(r, c), rs->textAt(r, c));
        }
    }
    // Only the code tables, and only reading them.
    QVERIFY_THROWS_EXCEPTION(ProcError, local.openQuery(QStringLiteral("SELECT * FROM OFFICER")));
    QVERIFY_THROWS_EXCEPTION(ProcError, local.openQuery(QStringLiteral("DELETE FROM ZTB_CODE")));

    // The service runs no query text a desk sends.
    BrokerRequest codes = request(RequestKind::CodeList, DemoOfficer::Demo);
    codes.addParameter(RequestParameter::key(QStringLiteral("QUERY"), queries.first()));
    QVERIFY(desk.call(codes).error.contains(u"does not run code-list queries"));
}

void TestNetwork::sendDeliversTheReplyAndANoticeReachesTheReceiver()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    setPasswords(store);
    BrokerService service(serviceOptions(bus));
    NatsBroker sender(bus.desk());
    NatsBroker receiver(bus.desk(QStringLiteral("desk-b")));
    QCOMPARE(signOn(sender, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    QCOMPARE(signOn(receiver, DemoOfficer::Plain, QLatin1String(kPassword)), QString());
    // The receiver is signed on at two desks: each hears it.
    NatsBroker secondDesk(bus.desk());
    QCOMPARE(signOn(secondDesk, DemoOfficer::Plain, QLatin1String(kPassword)), QString());
    QStringList heard;
    QStringList heardAtSecondDesk;
    QStringList heardBySender;
    receiver.listenForNotices([&](const QString &t) { heard.append(t); });
    secondDesk.listenForNotices([&](const QString &t) { heardAtSecondDesk.append(t); });
    sender.listenForNotices([&](const QString &t) { heardBySender.append(t); });
    // Nothing on the bus names the officer a notice is for.
    const QString subject = NatsSettings::noticeSubject(
        QStringLiteral("desk-b"), NatsSettings::sessionTokenHash(receiver.sessionToken()));
    QVERIFY(!subject.contains(QString::number(DemoOfficer::Plain)));

    BrokerMessage message(&sender, nullptr);
    QSignalSpy ready(&message, &BrokerMessage::DataReady);
    // The sender is the session's officer, whether or not the context names one.
    BrokerRequest sent = save(DemoOfficer::Demo, DemoOfficer::Plain, QStringLiteral("sent"));
    sent.setContext(QString());
    const QString tag = message.send(sent);
    QVERIFY(ready.wait(10'000));
    const BrokerReply *reply = message.replyByTag(tag);
    QVERIFY(reply);
    QCOMPARE(reply->error, QString());
    QTRY_COMPARE_WITH_TIMEOUT(heard, QStringList{QStringLiteral("ASSIGNMENT")}, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(heardAtSecondDesk, QStringList{QStringLiteral("ASSIGNMENT")}, 5000);
    QVERIFY(heardBySender.isEmpty()); // nobody is told of their own work

    // A refused save tells nobody.
    heard.clear();
    BrokerRequest forged = save(DemoOfficer::Plain, DemoOfficer::Plain, QStringLiteral("x"));
    forged.setContext(QStringLiteral("INSP_ID=%1").arg(DemoOfficer::Demo));
    QVERIFY(!sender.call(forged).error.isEmpty());
    QTest::qWait(300);
    QVERIFY(heard.isEmpty());
}

void TestNetwork::twoServiceProcessesShareTheLoadAndOneKilledLosesNothing()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    setPasswords(store);
    ServiceProcess first(bus, currentConnection());
    ServiceProcess second(bus, currentConnection());
    QVERIFY(first.started() && second.started());
    NatsBroker desk(bus.desk());
    desk.setTimeout(10'000);
    QCOMPARE(signOn(desk, DemoOfficer::Demo, QLatin1String(kPassword)), QString());

    // Sent all at once, so that both processes have work queued when one is killed.
    constexpr int kSaves = 60;
    BrokerMessage message(&desk, nullptr);
    QSignalSpy ready(&message, &BrokerMessage::DataReady);
    QStringList tags;
    // The reply store keeps one reply per identity: each save gets its own.
    auto send = [&](int i) {
        BrokerRequest r =
            save(DemoOfficer::Demo, DemoOfficer::Plain, QStringLiteral("load %1").arg(i));
        r.setMessageId(QStringLiteral("LOAD%1").arg(i));
        tags.append(message.send(r));
    };
    for (int i = 0; i < kSaves / 2; ++i)
        send(i);
    QTRY_VERIFY_WITH_TIMEOUT(ready.count() >= 5, 10'000);
    first.kill();
    for (int i = kSaves / 2; i < kSaves; ++i)
        send(i);
    QTRY_COMPARE_WITH_TIMEOUT(ready.count(), kSaves, 30'000);

    // Each save was answered once; one answered as saved is stored exactly once, and none is
    // stored twice. A save the killed process took and never answered times out, stored at
    // most once, and the desk may send it again.
    int good = 0;
    for (int i = 0; i < kSaves; ++i) {
        const BrokerReply *reply = message.replyByTag(tags.at(i));
        const qint64 stored =
            store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE ASGNMT_CMMT_TXT = ?"),
                        {QStringLiteral("load %1").arg(i)});
        QVERIFY2(stored <= 1, qPrintable(QStringLiteral("load %1 stored twice").arg(i)));
        if (reply && reply->error.isEmpty()) {
            ++good;
            QCOMPARE(stored, 1);
        }
    }
    // Everything sent after the kill went to the survivor.
    QVERIFY(good >= kSaves / 2);
    const int survivorAnswered = second.stop();
    QVERIFY(survivorAnswered >= kSaves / 2);
    // ... and before it, the killed one had its share.
    QVERIFY(survivorAnswered < kSaves);
}

namespace {

// A throwaway authority and a certificate for 127.0.0.1 signed by it; false when openssl is
// not there.
bool makeCertificates(const QTemporaryDir &dir)
{
    auto openssl = [&dir](const QStringList &arguments) {
        QProcess p;
        p.setWorkingDirectory(dir.path());
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.start(QStringLiteral("openssl"), arguments);
        return p.waitForFinished(30'000) && p.exitStatus() == QProcess::NormalExit &&
               p.exitCode() == 0;
    };
    QFile ext(dir.filePath(QStringLiteral("ext.cnf")));
    if (!ext.open(QIODevice::WriteOnly))
        return false;
    ext.write("subjectAltName=IP:127.0.0.1\n");
    ext.close();
    const QStringList ec{QStringLiteral("-newkey"), QStringLiteral("ec"),
                         QStringLiteral("-pkeyopt"), QStringLiteral("ec_paramgen_curve:prime256v1"),
                         QStringLiteral("-nodes")};
    return openssl(QStringList{QStringLiteral("req"), QStringLiteral("-x509")} + ec +
                   QStringList{QStringLiteral("-keyout"), QStringLiteral("ca.key"),
                               QStringLiteral("-out"), QStringLiteral("ca.pem"),
                               QStringLiteral("-days"), QStringLiteral("2"),
                               QStringLiteral("-subj"), QStringLiteral("/CN=korva test ca")}) &&
           openssl(QStringList{QStringLiteral("req")} + ec +
                   QStringList{QStringLiteral("-keyout"), QStringLiteral("bus.key"),
                               QStringLiteral("-out"), QStringLiteral("bus.csr"),
                               QStringLiteral("-subj"), QStringLiteral("/CN=127.0.0.1")}) &&
           openssl({QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"),
                    QStringLiteral("bus.csr"), QStringLiteral("-CA"), QStringLiteral("ca.pem"),
                    QStringLiteral("-CAkey"), QStringLiteral("ca.key"),
                    QStringLiteral("-CAcreateserial"), QStringLiteral("-out"),
                    QStringLiteral("bus.pem"), QStringLiteral("-days"), QStringLiteral("2"),
                    QStringLiteral("-extfile"), QStringLiteral("ext.cnf")});
}

} // namespace

void TestNetwork::overTlsOnlyTheServiceAccountServes()
{
    QTemporaryDir certs;
    if (!makeCertificates(certs))
        QSKIP("openssl could not make the test certificates");
    Store store;
    setPasswords(store);
    NatsServer bus(currentConnection(), QStringLiteral(R"(tls { cert_file: "%1", key_file: "%2" })")
                                            .arg(certs.filePath(QStringLiteral("bus.pem")),
                                                 certs.filePath(QStringLiteral("bus.key"))));
    KORVA_NEEDS_NATS(bus);
    auto withTls = [&](NatsSettings s) {
        s.caFile = certs.filePath(QStringLiteral("ca.pem"));
        return s;
    };
    const NatsSettings desk = withTls(bus.desk());

    // Not in clear, and not with a key the bus does not list.
    QVERIFY_THROWS_EXCEPTION(ProcError, NatsBroker(bus.desk()));
    QTemporaryDir elsewhere;
    QCOMPARE(korvaBroker({QStringLiteral("bus"), QStringLiteral("init"), QStringLiteral("--db"),
                          currentConnection(), QStringLiteral("--conf-dir"), elsewhere.path()}),
             0);
    NatsSettings stranger = desk;
    stranger.seedFile = elsewhere.filePath(QStringLiteral("service.nk"));
    QVERIFY_THROWS_EXCEPTION(ProcError, NatsBroker{stranger});

    // A desk's key that tries to serve hears nothing: the request finds no service.
    {
        ServiceOptions rogue = serviceOptions(bus);
        rogue.bus = withTls(bus.desk(QStringLiteral("desk-b")));
        BrokerService impostor(rogue);
        NatsBroker asker(desk);
        asker.setTimeout(3000);
        QCOMPARE(signOn(asker, DemoOfficer::Demo, QLatin1String(kPassword)),
                 NatsBroker::noServiceText());
    }

    ServiceOptions real = serviceOptions(bus);
    real.bus = withTls(bus.service());
    BrokerService service(real);
    NatsBroker asker(desk);
    QCOMPARE(signOn(asker, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    QCOMPARE(asker.call(request(RequestKind::ReferenceData, DemoOfficer::Demo)).error, QString());
}

KORVA_SERVER_TEST_MAIN(TestNetwork)
#include "tst_network.moc"
