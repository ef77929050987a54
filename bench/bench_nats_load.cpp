// Simulated desks against the networked service: each desk signs on, then sends list queries
// (about 500 rows) and now and then a save, through the bus to 1 or 2 service processes.
//
//   bench_nats_load [--db <connection>] [--desks N] [--interval ms] [--seconds S]
//                   [--services 1|2] [--workers N]
//
// Reported: p50/p99 latency at the steady load (each desk one request per interval), the
// saturation throughput (every desk sending back to back), the ratio of one user's list
// latency over the bus to the embedded broker's, and sign-on latency (one desk after another,
// and all desks at once). Saves are counted back from the store: none may be lost or stored
// twice. The store defaults to $KORVA_BENCH_DB, else a fresh SQLite file. A nats-server is
// started on a free port with the packaged configuration, each desk registered with its own
// bus key as an administrator registers it, every request signed. Target on 2 cores: 50
// desks, one request every 2 s each, p99 of the list under 50 ms, no error.
#ifndef KORVA_HAVE_NETWORK
#include <cstdio>
int main()
{
    std::fputs("bench_nats_load: built without the networked broker (libnats, libsodium)\n",
               stderr);
    return 1;
}
#else
#include "listrequest.h"
#include <server/auth.h>
#include <server/database.h>

#include <server/demodata.h>
#include <server/deskregistry.h>
#include <server/server.h>

#include <platform/asyncbroker.h>
#include <platform/datetext.h>
#include <platform/natsbroker.h>
#include <platform/nkeys.h>
#include <platform/wirebytes.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <latch>
#include <mutex>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace korva;
using namespace korva::server;

namespace {

constexpr qint64 kLister = DemoOfficer::Heavy; // every 20th assignment: 500 of 10,000
const QString kPassword = QStringLiteral("bench password 1");

int freePort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    ::close(fd);
    return port;
}

BrokerRequest saveRequest(const QString &comment)
{
    BrokerRequest r;
    r.setMessageId(QStringLiteral("KORVA.AssignMaint.Save"));
    r.setVersion(QStringLiteral("1.0"));
    r.setKind(RequestKind::AssignmentUpdate);
    r.setContext(QStringLiteral("INSP_ID=%1").arg(kLister));
    auto rs = RecordSet::create(QStringLiteral("ASSIGNMENT"));
    rs->addNew();
    const QDate today = QDate::currentDate();
    const std::pair<const char *, QString> values[] = {
        {"ACTION", QStringLiteral("ADD")},
        {"OFCR_FRM_ID", QString::number(kLister)},
        {"ASGNMT_TYP_CD", QStringLiteral("001")},
        {"EFCTV_DT", today.toString(Qt::ISODate)},
        {"DUE_DT", today.addDays(10).toString(Qt::ISODate)},
        {"EXPRTN_DT", today.addDays(30).toString(Qt::ISODate)},
        {"OFCR_TO_ID", QString::number(DemoOfficer::Typical)},
        {"ASGNMT_CMMT_TXT", comment}};
    for (const auto &[field, value] : values)
        rs->setValue(QString::fromLatin1(field), value);
    rs->update();
    r.addRecordSet(QStringLiteral("ASSIGNMENT"), rs);
    return r;
}

double percentile(QList<double> v, double p)
{
    if (v.isEmpty())
        return 0;
    std::sort(v.begin(), v.end());
    return v.at(qMin(v.size() - 1, qsizetype(p * double(v.size()))));
}

struct Results {
    std::mutex lock;
    QList<double> listMs;
    QList<double> saveMs;
    QStringList errors;
    QStringList savedComments; // answered as saved
    QStringList sentComments;
    QList<double> signOnMs;
    std::atomic<qint64> done{0};
};

// Where the desks' bus keys are, each made and registered as `korva-broker desk add` does.
QString g_keys;

NatsSettings deskSettings(const NatsSettings &bus, const QString &desk)
{
    NatsSettings s = bus;
    s.desk = desk;
    s.seedFile = QDir(g_keys).filePath(desk + QStringLiteral(".nk"));
    return s;
}

QString deskName(int desk)
{
    return QStringLiteral("bench-%1").arg(desk);
}

// Signs on, timed; the refusal's text.
QString signOn(NatsBroker &broker, QList<double> &ms)
{
    BrokerRequest r;
    r.setMessageId(QStringLiteral("KORVA.SIGNON"));
    r.setKind(RequestKind::SignOn);
    r.addParameter(RequestParameter::key(QStringLiteral("OFFICER"), QString::number(kLister)));
    r.addParameter(RequestParameter::key(QStringLiteral("PASSWORD"), kPassword));
    QElapsedTimer t;
    t.start();
    const BrokerReply session = broker.call(r);
    const RecordSetPtr rs = session.recordSet(QStringLiteral("SESSION"));
    if (!session.error.isEmpty() || !rs || rs->count() != 1)
        return QStringLiteral("sign-on: ") + session.error;
    ms.append(double(t.nsecsElapsed()) / 1e6);
    rs->moveFirst();
    broker.setSessionToken(rs->text(u"TOKEN"));
    return {};
}

// One desk: its own connection and session; `interval` 0 sends back to back.
void runDesk(int desk, const NatsSettings &bus, int intervalMs, int seconds, Results &out,
             const QString &phase, std::latch &signedOn)
{
    NatsBroker broker(deskSettings(bus, deskName(desk)));
    // Every desk signs on at once, each an Argon2id hash: they queue, and are given the time.
    broker.setTimeout(120'000);
    QList<double> signOnMs;
    const QString refused = signOn(broker, signOnMs);
    broker.setTimeout(10'000);
    {
        std::lock_guard g(out.lock);
        out.signOnMs += signOnMs;
        if (!refused.isEmpty())
            out.errors.append(refused);
    }
    if (!refused.isEmpty()) {
        signedOn.count_down();
        return;
    }
    // Sign-on hashes a password on purpose slowly: it is kept out of what is measured.
    signedOn.arrive_and_wait();

    QRandomGenerator random(quint32(desk + 1));
    if (intervalMs > 0)
        QThread::msleep(random.bounded(intervalMs)); // the desks do not all start at once
    QElapsedTimer run;
    run.start();
    int n = 0;
    while (run.elapsed() < qint64(seconds) * 1000) {
        const qint64 due = qint64(n) * intervalMs;
        if (intervalMs > 0 && run.elapsed() < due)
            QThread::msleep(quint64(due - run.elapsed()));
        // Every tenth request a save, each desk at its own turn: a run shorter than ten
        // intervals still has saves in it, spread over the whole run.
        const bool save = (n + desk) % 10 == 9;
        const QString comment = QStringLiteral("%1 desk %2 #%3").arg(phase).arg(desk).arg(n);
        if (save) {
            std::lock_guard g(out.lock);
            out.sentComments.append(comment);
        }
        QElapsedTimer t;
        t.start();
        const BrokerReply reply = broker.call(save ? saveRequest(comment) : heavyListRequest());
        const double ms = double(t.nsecsElapsed()) / 1e6;
        {
            std::lock_guard g(out.lock);
            if (!reply.error.isEmpty())
                out.errors.append(reply.error);
            else if (save) {
                out.saveMs.append(ms);
                out.savedComments.append(comment);
            } else {
                out.listMs.append(ms);
            }
        }
        ++out.done;
        ++n;
    }
}

void runPhase(const QString &phase, int desks, const NatsSettings &bus, int intervalMs, int seconds,
              Results &out, double &wallSeconds)
{
    std::latch signedOn(desks + 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < desks; ++i)
        threads.emplace_back(
            [&, i] { runDesk(i, bus, intervalMs, seconds, out, phase, signedOn); });
    signedOn.arrive_and_wait();
    QElapsedTimer t;
    t.start();
    for (auto &th : threads)
        th.join();
    wallSeconds = double(t.elapsed()) / 1000.0;
}

// The bus's own round trip: a request the service refuses at once (an unknown kind, after
// its session check), so that nothing but the transport and the session read is timed.
double pingMs(const NatsSettings &bus, int runs)
{
    NatsBroker broker(deskSettings(bus, deskName(0)));
    QList<double> ms;
    signOn(broker, ms);
    ms.clear();
    for (int i = 0; i < runs; ++i) {
        BrokerRequest r;
        r.setMessageId(QStringLiteral("KORVA.PING"));
        r.setKind(1);
        QElapsedTimer t;
        t.start();
        broker.call(r);
        ms.append(double(t.nsecsElapsed()) / 1e6);
    }
    return percentile(ms, 0.5);
}

// One user's list through the embedded broker, and what the wire form of its reply costs
// each way (written by the service, read by the desk).
double embeddedListMs(const QString &connection, int runs, double &encodeMs, double &decodeMs)
{
    AsyncBroker broker(makeBackendFactory(ServerSettings(connection)));
    QList<double> ms;
    QList<double> enc;
    QList<double> dec;
    for (int i = 0; i < runs; ++i) {
        BrokerRequest r = heavyListRequest();
        QElapsedTimer t;
        t.start();
        const BrokerReply reply = broker.call(r);
        if (!reply.error.isEmpty())
            continue;
        ms.append(double(t.nsecsElapsed()) / 1e6);
        t.restart();
        const QByteArray data = wire::replyBytes(reply);
        enc.append(double(t.nsecsElapsed()) / 1e6);
        t.restart();
        const BrokerReply back = wire::replyFromBytes(data);
        dec.append(double(t.nsecsElapsed()) / 1e6);
    }
    encodeMs = percentile(enc, 0.5);
    decodeMs = percentile(dec, 0.5);
    return percentile(ms, 0.5);
}

QString option(const QStringList &args, const QString &name, const QString &fallback)
{
    const qsizetype i = args.indexOf(name);
    return i >= 0 && i + 1 < args.size() ? args.at(i + 1) : fallback;
}

} // namespace

int main(int argc, char *argv[])
{
    korva::cacheLocalTimeZone();
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int desks = option(args, QStringLiteral("--desks"), QStringLiteral("50")).toInt();
    const int interval = option(args, QStringLiteral("--interval"), QStringLiteral("2000")).toInt();
    const int seconds = option(args, QStringLiteral("--seconds"), QStringLiteral("20")).toInt();
    const int services = option(args, QStringLiteral("--services"), QStringLiteral("2")).toInt();
    const QString workers = option(args, QStringLiteral("--workers"), QStringLiteral("1"));
    QTemporaryDir dir;
    QString connection =
        option(args, QStringLiteral("--db"), qEnvironmentVariable("KORVA_BENCH_DB"));
    if (connection.isEmpty())
        connection = QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("load.db"));

    std::fprintf(stderr, "store %s: demo of 10,000 assignments\n", qPrintable(connection));
    DemoOptions demo;
    demo.assignments = 10'000;
    demo.force = true;
    generateDemo(ServerSettings(connection), demo);
    {
        Database db(ServerSettings(connection), QStringLiteral("bench-passwd"));
        setPassword(db, kLister, kPassword, QDateTime::currentDateTime());
    }

    // The bus's users as korva-broker bus init and desk add write them: a key per desk.
    g_keys = dir.filePath(QStringLiteral("keys"));
    QDir().mkpath(g_keys);
    auto newKey = [](const QString &name) {
        const nkeys::KeyPair key = nkeys::generate();
        QFile file(QDir(g_keys).filePath(name + QStringLiteral(".nk")));
        if (!file.open(QIODevice::WriteOnly))
            std::abort();
        // As `desk add` writes it, line end included.
        file.write(nkeys::encodeUserSeed(key.seed).toLatin1() + '\n');
        return nkeys::encodeUserPublic(key.publicKey);
    };
    const QString serviceKey = newKey(QStringLiteral("service"));
    {
        Database db(ServerSettings(connection), QStringLiteral("bench-desks"));
        for (int i = 0; i < desks; ++i)
            addDesk(db, deskName(i), newKey(deskName(i)), QDateTime::currentMSecsSinceEpoch());
        addDesk(db, QStringLiteral("bench-signon"), newKey(QStringLiteral("bench-signon")),
                QDateTime::currentMSecsSinceEpoch());
        QFile users(dir.filePath(QStringLiteral("bus-users.conf")));
        QFile tls(dir.filePath(QStringLiteral("tls.conf")));
        if (!users.open(QIODevice::WriteOnly) || !tls.open(QIODevice::WriteOnly) ||
            !QFile::copy(QStringLiteral(KORVA_SOURCE_DIR "/packaging/nats-server.conf"),
                         dir.filePath(QStringLiteral("nats-server.conf"))))
            std::abort();
        users.write(busUsersConf(serviceKey, listDesks(db), NatsSettings().subject).toUtf8());
    }

    QProcess natsServer;
    const int port = freePort();
    natsServer.setStandardOutputFile(QProcess::nullDevice());
    natsServer.setStandardErrorFile(QProcess::nullDevice());
    natsServer.start(
        QStandardPaths::findExecutable(QStringLiteral("nats-server"),
                                       {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin")}),
        {QStringLiteral("-c"), dir.filePath(QStringLiteral("nats-server.conf")),
         QStringLiteral("-a"), QStringLiteral("127.0.0.1"), QStringLiteral("-p"),
         QString::number(port)});
    if (!natsServer.waitForStarted(5000)) {
        std::fprintf(stderr, "nats-server could not start\n");
        return 1;
    }
    QThread::msleep(300);
    const QString url = QStringLiteral("nats://127.0.0.1:%1").arg(port);
    NatsSettings bus;
    bus.url = url;

    const QString exe = QDir(app.applicationDirPath())
                            .filePath(QStringLiteral("../tools/korva-broker/korva-broker"));
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int i = 0; i < services; ++i) {
        auto p = std::make_unique<QProcess>();
        // A journal line per request: into a file, since nothing reads a pipe while the desks
        // run, and a full pipe would stop the service mid-request.
        p->setStandardErrorFile(dir.filePath(QStringLiteral("service-%1.log").arg(i)));
        p->start(exe, {QStringLiteral("serve"), QStringLiteral("--db"), connection,
                       QStringLiteral("--nats"), url, QStringLiteral("--nats-seed"),
                       QDir(g_keys).filePath(QStringLiteral("service.nk")),
                       QStringLiteral("--workers"), workers});
        if (!p->waitForReadyRead(20'000)) {
            std::fprintf(stderr, "korva-broker serve did not start: %s\n",
                         p->readAllStandardError().constData());
            return 1;
        }
        processes.push_back(std::move(p));
    }

    Results steady;
    double steadyWall = 0;
    runPhase(QStringLiteral("steady"), desks, bus, interval, seconds, steady, steadyWall);
    Results saturated;
    double saturatedWall = 0;
    runPhase(QStringLiteral("saturated"), desks, bus, 0, qMax(5, seconds / 2), saturated,
             saturatedWall);
    Results single;
    double singleWall = 0;
    runPhase(QStringLiteral("single"), 1, bus, 0, 5, single, singleWall);
    // One sign-on after another from one desk, within its limit of attempts.
    QList<double> signOnAlone;
    {
        NatsBroker broker(deskSettings(bus, QStringLiteral("bench-signon")));
        for (int i = 0; i < AuthPolicy{}.maxTriesPerDesk - 1; ++i) {
            const QString refused = signOn(broker, signOnAlone);
            if (!refused.isEmpty())
                steady.errors.append(refused);
        }
    }
    double encodeMs = 0;
    double decodeMs = 0;
    const double embedded = embeddedListMs(connection, 50, encodeMs, decodeMs);
    const double ping = pingMs(bus, 50);

    for (auto &p : processes) {
        p->terminate();
        p->waitForFinished(30'000);
    }

    Database db(ServerSettings(connection), QStringLiteral("bench-check"));
    db.open();
    qint64 doubled = 0;
    qint64 lost = 0;
    for (Results *r : {&steady, &saturated, &single}) {
        for (const QString &c : std::as_const(r->savedComments)) {
            const qint64 n =
                db.scalar(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE ASGNMT_CMMT_TXT = ?"),
                          {c})
                    .toLongLong();
            lost += n == 0;
            doubled += n > 1;
        }
    }
    const qint64 listRows =
        db.scalar(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE OFCR_TO_ID = ?"), {kLister})
            .toLongLong();

    std::printf("store %s, %d service process(es), %d desks, %lld rows in the list\n",
                qPrintable(StoreAddress::parse(connection).display()), services, desks, listRows);
    std::printf("steady (%d ms apart, %d s): %lld requests, list p50 %.1f ms p99 %.1f ms, "
                "%lld saves p50 %.1f ms p99 %.1f ms, %lld errors\n",
                interval, seconds, qint64(steady.done), percentile(steady.listMs, 0.5),
                percentile(steady.listMs, 0.99), qint64(steady.saveMs.size()),
                percentile(steady.saveMs, 0.5), percentile(steady.saveMs, 0.99),
                qint64(steady.errors.size()));
    std::printf("saturated: %.0f requests/s (%lld in %.1f s), list p50 %.1f ms p99 %.1f ms, "
                "%lld errors\n",
                double(saturated.done) / saturatedWall, qint64(saturated.done), saturatedWall,
                percentile(saturated.listMs, 0.5), percentile(saturated.listMs, 0.99),
                qint64(saturated.errors.size()));
    const double busOne = percentile(single.listMs, 0.5);
    std::printf("one user: list p50 %.1f ms over the bus, %.1f ms embedded, ratio %.2f; "
                "bare round trip %.2f ms; the reply's wire form %.1f ms to write, %.1f ms to "
                "read\n",
                busOne, embedded, embedded > 0 ? busOne / embedded : 0.0, ping, encodeMs, decodeMs);
    std::printf("sign-on: p50 %.1f ms p99 %.1f ms one after another (%lld); p50 %.1f ms p99 "
                "%.1f ms with all %d desks at once\n",
                percentile(signOnAlone, 0.5), percentile(signOnAlone, 0.99),
                qint64(signOnAlone.size()), percentile(steady.signOnMs, 0.5),
                percentile(steady.signOnMs, 0.99), desks);
    std::printf("saves: %lld answered as saved, %lld lost, %lld stored twice\n",
                qint64(steady.savedComments.size() + saturated.savedComments.size() +
                       single.savedComments.size()),
                lost, doubled);
    for (const QString &e : std::as_const(steady.errors).mid(0, 5))
        std::printf("  error: %s\n", qPrintable(e));
    const bool met = percentile(steady.listMs, 0.99) < 50.0 && !steady.saveMs.isEmpty() &&
                     steady.errors.isEmpty() && saturated.errors.isEmpty() && lost == 0 &&
                     doubled == 0;
    std::printf("target (p99 < 50 ms, no error, nothing lost or doubled): %s\n",
                met ? "met" : "NOT met");
    if (natsServer.state() == QProcess::Running) {
        natsServer.terminate();
        natsServer.waitForFinished(5000);
    }
    return met ? 0 : 3;
}
#endif
