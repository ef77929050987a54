// A desk whose bus key and traffic are in an attacker's hands, against the packaged bus
// configuration and the service: what it tries and what stops it. Each attack checks that
// nothing was read, answered or written.
#include "natsfixture.h"

#include <server/auth.h>
#include <server/demodata.h>

#include <platform/errors.h>

#include <QDeadlineTimer>
#include <QFile>

#include <nats/nats.h>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;
using namespace korva::network::test;

namespace {

ServiceOptions serviceOptions(const NatsServer &bus, int workers = 1)
{
    ServiceOptions o;
    o.server = ServerSettings(currentConnection());
    o.bus = bus.service();
    o.workers = workers;
    return o;
}

void setPasswords(Store &store)
{
    for (const qint64 officer : {DemoOfficer::Demo, DemoOfficer::Plain, DemoOfficer::Typical})
        setPassword(store.db(), officer, QLatin1String(kPassword), QDateTime::currentDateTime());
}

BrokerRequest save(qint64 from, qint64 to, const QString &comment,
                   const QString &context = QString())
{
    BrokerRequest r = request(RequestKind::AssignmentUpdate, from);
    if (!context.isNull())
        r.setContext(context);
    r.addRecordSet(QStringLiteral("ASSIGNMENT"),
                   updateRows("ASSIGNMENT", {{{"ACTION", QStringLiteral("ADD")},
                                              {"OFCR_FRM_ID", QString::number(from)},
                                              {"ASGNMT_TYP_CD", QStringLiteral("001")},
                                              {"EFCTV_DT", today()},
                                              {"DUE_DT", today(10)},
                                              {"EXPRTN_DT", today(30)},
                                              {"OFCR_TO_ID", QString::number(to)},
                                              {"ASGNMT_CMMT_TXT", comment}}}));
    return r;
}

qint64 saved(Store &store, const QString &comment)
{
    return store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE ASGNMT_CMMT_TXT = ?"),
                       {comment});
}

BrokerRequest list(qint64 officer)
{
    BrokerRequest r = request(RequestKind::Query, officer);
    for (const auto &[key, value] : {std::pair{"ASGNMT_FRM_DT", QStringLiteral("1997-01-27")},
                                     {"ASGNMT_TO_DT", today()},
                                     {"OFCR_TO_ID", QString::number(officer)}})
        r.addParameter(RequestParameter::key(QLatin1String(key), value));
    return r;
}

} // namespace

class TestHostileDesk : public QObject {
    Q_OBJECT
private slots:
    void readsNothingOfAnotherDesk();
    void aTokenSeenOnTheWireActsForNobody();
    void answersNoOtherDesksWaitingRequest();
    void signOnGuessesAreCountedByTheServiceAndTellNothing();
    void parallelGuessesAreAllCounted();
    void fieldsThatSayWhereAreChecked();
    void theBusTakesNoStrangerAndTheServiceNoDefaultKey();
};

// 1: the bus lets a desk listen only under its own prefix.
void TestHostileDesk::readsNothingOfAnotherDesk()
{
    Store store;
    setPasswords(store);
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    BrokerService service(serviceOptions(bus));
    RawDesk attacker(bus, QStringLiteral("desk-b"));
    QList<natsSubscription *> spies;
    for (const char *subject :
         {">", "_INBOX.>", "kd.>", "kd.desk-a.>", "kd.*.r.*", "kd.*.n.*", "korva.broker"})
        spies.append(attacker.listen(subject));
    natsSubscription *own = attacker.listen("kd.desk-b.>");

    NatsBroker victim(bus.desk());
    QCOMPARE(signOn(victim, DemoOfficer::Plain, QLatin1String(kPassword)), QString());
    int notices = 0;
    victim.listenForNotices([&notices](const QString &) { ++notices; });
    QCOMPARE(victim.call(list(DemoOfficer::Plain)).error, QString());
    QCOMPARE(attacker.signOn(DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    QCOMPARE(
        attacker.call(save(DemoOfficer::Demo, DemoOfficer::Plain, QStringLiteral("hi")))->error,
        QString());
    QTRY_COMPARE(notices, 1); // on the victim's subject, which the attacker cannot hear

    // Its own traffic reaches it; nothing else does.
    QVERIFY(RawDesk::received(own, 300) >= 4);
    for (natsSubscription *spy : std::as_const(spies))
        QCOMPARE(RawDesk::received(spy, 100), 0);
}

// 2: a session is bound to the key pair its desk made at sign-on.
void TestHostileDesk::aTokenSeenOnTheWireActsForNobody()
{
    Store store;
    setPasswords(store);
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    BrokerService service(serviceOptions(bus));
    NatsBroker victim(bus.desk());
    QCOMPARE(signOn(victim, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    RawDesk attacker(bus, QStringLiteral("desk-b"));
    QCOMPARE(attacker.signOn(DemoOfficer::Plain, QLatin1String(kPassword)), QString());

    const QString comment = QStringLiteral("in the victim's name");
    BrokerRequest stolen = save(DemoOfficer::Demo, DemoOfficer::Plain, comment);
    stolen.setSessionToken(victim.sessionToken());
    // Signed with its own session's key, with its desk's key, or with a key made up: to its
    // own inbox no answer, and the victim's inbox it cannot hear.
    for (const nkeys::KeyPair &key : {attacker.sessionKey, attacker.deskKey, nkeys::generate()}) {
        const QByteArray reply = attacker.inbox();
        natsSubscription *sub = attacker.listen(reply);
        attacker.publish(stolen, reply, key);
        QCOMPARE(RawDesk::received(sub, 500), 0);
        attacker.publish(stolen,
                         NatsSettings::replyPrefix(QStringLiteral("desk-a")).toUtf8() +
                             ".AAAAAAAAAAAAAAAAAAAAAA",
                         key);
    }
    // Nor is a read with it answered.
    BrokerRequest lookup = list(DemoOfficer::Demo);
    lookup.setSessionToken(victim.sessionToken());
    QVERIFY(!attacker.call(lookup, 500));
    QCOMPARE(saved(store, comment), 0);
    // The victim's own session is untouched.
    QCOMPARE(victim.call(list(DemoOfficer::Demo)).error, QString());
}

// 3: the service answers only a reply subject of the desk the request is proven to come from,
// and never a notice subject.
void TestHostileDesk::answersNoOtherDesksWaitingRequest()
{
    Store store;
    setPasswords(store);
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    BrokerService service(serviceOptions(bus));
    RawDesk victim(bus, QStringLiteral("desk-a"));
    QCOMPARE(victim.signOn(DemoOfficer::Plain, QLatin1String(kPassword)), QString());
    RawDesk attacker(bus, QStringLiteral("desk-b"));
    QCOMPARE(attacker.signOn(DemoOfficer::Demo, QLatin1String(kPassword)), QString());

    // The victim's waiting request and its notices, as if the attacker knew their subjects.
    const QByteArray waiting = victim.inbox();
    natsSubscription *pending = victim.listen(waiting);
    const QByteArray notice =
        NatsSettings::noticeSubject(victim.desk, NatsSettings::sessionTokenHash(victim.token))
            .toUtf8();
    natsSubscription *notices = victim.listen(notice);

    BrokerRequest mine = list(DemoOfficer::Demo);
    mine.setSessionToken(attacker.token);
    attacker.publish(mine, waiting, attacker.sessionKey);
    attacker.publish(mine, notice, attacker.sessionKey);
    // A sign-on signed by its own desk key but answered to the victim's inbox.
    BrokerRequest signOn = request(RequestKind::SignOn, DemoOfficer::Demo);
    signOn.addParameter(RequestParameter::key(QStringLiteral("OFFICER"), QStringLiteral("1001")));
    attacker.publish(signOn, waiting, attacker.deskKey, QStringLiteral("desk-a"));
    attacker.publish(signOn, waiting, attacker.deskKey, QStringLiteral("desk-b"));
    // Straight onto the victim's subjects: the bus takes none of it.
    attacker.publishRaw(waiting, QByteArrayLiteral("forged"));
    attacker.publishRaw(notice, QByteArrayLiteral("ASSIGNMENT"));
    QCOMPARE(RawDesk::received(pending, 500), 0);
    QCOMPARE(RawDesk::received(notices, 0), 0);

    // The victim's own request on that subject gets its own answer, once.
    BrokerRequest own = list(DemoOfficer::Plain);
    own.setSessionToken(victim.token);
    victim.publish(own, waiting, victim.sessionKey);
    QCOMPARE(RawDesk::received(pending, 1000), 2); // "begun" and the reply
}

// 4 and 5: limits keyed on the desk the service proved and on the officer number given,
// whether or not it exists; one text for every refusal.
void TestHostileDesk::signOnGuessesAreCountedByTheServiceAndTellNothing()
{
    Store store;
    setPasswords(store);
    store.exec(QStringLiteral("UPDATE OFFICER SET END_DT = ? WHERE INSP_ID = ?"),
               {today(-1), DemoOfficer::Plain});
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    BrokerService service(serviceOptions(bus));
    RawDesk attacker(bus, QStringLiteral("desk-b"));
    const QString &bad = badCredentials();

    QCOMPARE(attacker.signOn(999999, QLatin1String(kPassword)), bad);             // unknown
    QCOMPARE(attacker.signOn(DemoOfficer::Plain, QLatin1String(kPassword)), bad); // retired
    QCOMPARE(store.count(QStringLiteral("SELECT CNT FROM SIGNON_LIMIT WHERE SUBJ = ?"),
                         {QStringLiteral("OFFICER:999999")}),
             1);
    const AuthPolicy policy;
    for (int i = 0; i < policy.maxFailsPerOfficer; ++i)
        QCOMPARE(attacker.signOn(DemoOfficer::Demo, QStringLiteral("guess %1").arg(i)), bad);
    // Held: the right password now reads as any wrong one...
    NatsBroker officer(bus.desk());
    QCOMPARE(signOn(officer, DemoOfficer::Demo, QLatin1String(kPassword)), bad);
    // ...but only for a moment that grows with the guesses, not for a quarter of an hour.
    QTest::qWait(2100);
    QCOMPARE(signOn(officer, DemoOfficer::Demo, QLatin1String(kPassword)), QString());

    // The desk that guessed is held as a whole, whatever it says it is; the others are not.
    int refusedAsDesk = 0;
    for (int i = 0; i < policy.maxTriesPerDesk; ++i) {
        if (attacker.signOn(7000 + i, QStringLiteral("guess")).contains(u"from this desk"))
            ++refusedAsDesk;
    }
    QCOMPARE(refusedAsDesk, 2 + policy.maxFailsPerOfficer);
    QCOMPARE(attacker.signOn(DemoOfficer::Typical, QLatin1String(kPassword)),
             QStringLiteral("Too many sign-ons from this desk: try again in 15 minutes."));
    QCOMPARE(signOn(officer, DemoOfficer::Typical, QLatin1String(kPassword)), QString());
}

// 4: guesses sent at once to several workers are each counted.
void TestHostileDesk::parallelGuessesAreAllCounted()
{
    Store store;
    setPasswords(store);
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    BrokerService service(serviceOptions(bus, 4));
    RawDesk attacker(bus, QStringLiteral("desk-b"));
    constexpr int kGuesses = 12;
    natsSubscription *answers = attacker.listen("kd.desk-b.r.*");
    for (int i = 0; i < kGuesses; ++i) {
        BrokerRequest r = request(RequestKind::SignOn, DemoOfficer::Demo);
        r.setContext(QString());
        r.addParameter(RequestParameter::key(QStringLiteral("OFFICER"), QStringLiteral("1001")));
        r.addParameter(RequestParameter::key(QStringLiteral("PASSWORD"), QStringLiteral("no")));
        r.addParameter(
            RequestParameter::key(QStringLiteral("SESSION_KEY"),
                                  QString::fromLatin1(nkeys::generate().publicKey.toBase64())));
        attacker.publish(r, attacker.inbox(), attacker.deskKey, attacker.desk);
    }
    // Each is answered ("begun" and the refusal) after its hash, four at a time.
    int messages = 0;
    const QDeadlineTimer deadline(120'000);
    while (messages < 2 * kGuesses && !deadline.hasExpired())
        messages += RawDesk::received(answers, 500);
    QCOMPARE(messages, 2 * kGuesses);
    QCOMPARE(store.count(QStringLiteral("SELECT CNT FROM SIGNON_LIMIT WHERE SUBJ = ?"),
                         {QStringLiteral("OFFICER:1001")}),
             kGuesses);
    NatsBroker officer(bus.desk());
    QCOMPARE(signOn(officer, DemoOfficer::Demo, QLatin1String(kPassword)), badCredentials());
}

// 6: a value that says where is refused when its column cannot hold it, on every store alike.
void TestHostileDesk::fieldsThatSayWhereAreChecked()
{
    Store store;
    setPasswords(store);
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    BrokerService service(serviceOptions(bus));
    NatsBroker desk(bus.desk());
    QCOMPARE(signOn(desk, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
    const QString context = QStringLiteral("INSP_ID=1001;STATION_ID=");
    QVERIFY(desk.call(save(DemoOfficer::Demo, DemoOfficer::Plain, QStringLiteral("long"),
                           context + QString(100'000, u'X')))
                .error.contains(u"STATION_ID"));
    QVERIFY(desk.call(save(DemoOfficer::Demo, DemoOfficer::Plain, QStringLiteral("long"),
                           context + QString(13, u'X')))
                .error.contains(u"the station is at most 12"));
    QVERIFY(desk.call(save(DemoOfficer::Demo, DemoOfficer::Plain, QStringLiteral("long"),
                           context + QStringLiteral("ST';--")))
                .error.contains(u"characters a station name does not"));
    QCOMPARE(saved(store, QStringLiteral("long")), 0);
    QCOMPARE(desk.call(save(DemoOfficer::Demo, DemoOfficer::Plain, QStringLiteral("fits"),
                            context + QStringLiteral("ST-123456789")))
                 .error,
             QString());
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE STATION_ID = ?"),
                         {QStringLiteral("ST-123456789")}),
             1);
}

// 7: the packaged bus lets in only the keys it lists, and the service has none of its own
// until one is made for it.
void TestHostileDesk::theBusTakesNoStrangerAndTheServiceNoDefaultKey()
{
    Store store;
    NatsServer bus(currentConnection());
    KORVA_NEEDS_NATS(bus);
    natsConnection *nc = nullptr;
    QCOMPARE(natsConnection_ConnectTo(&nc, bus.url().toUtf8().constData()),
             NATS_CONNECTION_AUTH_FAILED);
    QString out;
    QCOMPARE(korvaBroker({QStringLiteral("serve"), QStringLiteral("--db"), currentConnection(),
                          QStringLiteral("--nats"), bus.url()},
                         &out),
             1);
    QVERIFY(out.contains(u"--nats-seed"));
    // A desk taken off the list cannot come back on a copy of its key once the bus reloads.
    NatsSettings removed = bus.desk(QStringLiteral("desk-b"));
    const QString copy = bus.dir() + QStringLiteral("/kept.nk");
    QVERIFY(QFile::copy(removed.seedFile, copy));
    removed.seedFile = copy;
    NatsConnection before(removed);
    QCOMPARE(korvaBroker({QStringLiteral("desk"), QStringLiteral("remove"),
                          QStringLiteral("desk-b"), QStringLiteral("--db"), currentConnection(),
                          QStringLiteral("--conf-dir"), bus.dir()}),
             0);
    bus.reload();
    QVERIFY_THROWS_EXCEPTION(ProcError, NatsConnection{removed});
}

KORVA_SERVER_TEST_MAIN(TestHostileDesk)
#include "tst_hostiledesk.moc"
