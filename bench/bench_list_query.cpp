// The list request end to end through the broker (send -> DataReady with its record set)
// beside the raw Qt SQL fetch of the same rows, in the same run, against a store of a million
// assignments: for the typical officer (about 500 rows) and the heavy one (about 50,000).
//
//   bench_list_query [database-file] [--size N] [--runs N] [--only typical|heavy]
//
// The database defaults to $KORVA_BENCH_DB, else bench-data/list-1m.db under the build folder;
// it is generated (and kept) when missing. The target is a ratio of at most 1.15.
#include <server/database.h>
#include <server/demodata.h>
#include <server/listquery.h>
#include <server/server.h>

#include <platform/datetext.h>
#include <platform/asyncbroker.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>

using namespace korva;
using namespace korva::server;

namespace {

const QString kFrom = QStringLiteral("1997-01-27");

// CPU time of the whole process (both threads): what the work costs without the waiting
// for the other thread to be scheduled, which a busy machine adds to the wall time.
double cpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

double median(QList<double> v)
{
    std::sort(v.begin(), v.end());
    const qsizetype n = v.size();
    return n % 2 ? v.at(n / 2) : (v.at(n / 2 - 1) + v.at(n / 2)) / 2.0;
}

// The raw Qt SQL fetch of the same rows: the same statement on a plain connection. With
// `keep` the rows end up in hand as the driver returns them (untyped QVariants in plain
// lists), which is what the broker's reply holds in typed form; without it every value is
// read and dropped, the bare cost of stepping through the result.
int rawFetch(QSqlDatabase &db, qint64 officer, const QString &to, bool keep, double &ms,
             QList<QList<QVariant>> *kept = nullptr)
{
    QElapsedTimer t;
    t.start();
    QSqlQuery q(db);
    q.setForwardOnly(true);
    q.prepare(listQueryText(ListQuery::Received, ListQuery::Any));
    q.bindValue(0, officer);
    q.bindValue(1, kFrom);
    q.bindValue(2, to);
    if (!q.exec())
        qFatal("raw fetch failed: %s", qPrintable(q.lastError().text()));
    const int columns = int(listColumns().size());
    QList<QList<QVariant>> rows;
    int count = 0;
    qsizetype nonNull = 0;
    while (q.next()) {
        if (keep) {
            QList<QVariant> row;
            row.reserve(columns);
            for (int c = 0; c < columns; ++c)
                row.append(q.value(c));
            rows.append(std::move(row));
        } else {
            for (int c = 0; c < columns; ++c)
                nonNull += q.value(c).isNull() ? 0 : 1;
        }
        ++count;
    }
    ms = double(t.nsecsElapsed()) / 1e6;
    if (!keep && nonNull == 0 && count > 0)
        qFatal("no values read");
    if (kept)
        *kept = std::move(rows); // freed by the caller, outside what is measured
    return count;
}

BrokerRequest listRequest(qint64 officer, const QString &to)
{
    BrokerRequest request;
    request.setMessageId(QStringLiteral("KORVA.AssignMaint"));
    request.setVersion(QStringLiteral("1.0"));
    request.setKind(RequestKind::Query);
    request.setContext(QStringLiteral("INSP_ID=%1;REGION=NE").arg(officer));
    request.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), kFrom));
    request.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"), to));
    request.addParameter(
        RequestParameter::key(QStringLiteral("OFCR_TO_ID"), QString::number(officer)));
    return request;
}

// The reply's rows stay alive in `keep` so that freeing them is not counted.
int brokerFetch(AsyncBroker &broker, qint64 officer, const QString &to, double &ms,
                std::unique_ptr<BrokerMessage> &keep)
{
    keep = std::make_unique<BrokerMessage>(&broker, nullptr);
    BrokerMessage &message = *keep;
    const BrokerRequest request = listRequest(officer, to);
    QEventLoop loop;
    int rows = -1;
    QElapsedTimer t;
    QObject::connect(&message, &BrokerMessage::DataReady, &loop, [&](const QString &identity) {
        const RecordSetPtr rs = message.recordSet(identity, QStringLiteral("ASSIGNMENT"));
        ms = double(t.nsecsElapsed()) / 1e6;
        if (!rs)
            qFatal("reply without rows: %s", qPrintable(ReplyCheck(identity, {}, message)));
        rows = rs->count();
        loop.quit();
    });
    t.start();
    message.send(request);
    loop.exec();
    return rows;
}

} // namespace

int main(int argc, char *argv[])
{
    korva::cacheLocalTimeZone();
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    qint64 size = 1000000;
    int runs = 15;
    QString only; // "typical" or "heavy"
    QString path = qEnvironmentVariable("KORVA_BENCH_DB");
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args.at(i) == u"--size" && i + 1 < args.size())
            size = args.at(++i).toLongLong();
        else if (args.at(i) == u"--only" && i + 1 < args.size())
            only = args.at(++i);
        else if (args.at(i) == u"--runs" && i + 1 < args.size())
            runs = qMax(3, args.at(++i).toInt());
        else
            path = args.at(i);
    }
    if (path.isEmpty())
        path = QStringLiteral(KORVA_BENCH_DATA_DIR "/list-%1.db").arg(size);
    QDir().mkpath(QFileInfo(path).absolutePath());
    const QString connection = QStringLiteral("sqlite:") + path;
    if (!QFileInfo::exists(path)) {
        std::printf("creating %s with %lld assignments\n", qPrintable(path), size);
        DemoOptions options;
        options.assignments = size;
        QElapsedTimer t;
        t.start();
        generateDemo(ServerSettings(connection), options,
                     [](const QString &stage, qint64 done, qint64 total) {
                         std::printf("  %s %lld/%lld\n", qPrintable(stage), done, total);
                         std::fflush(stdout);
                     });
        std::printf("created in %.1f s\n", double(t.elapsed()) / 1000.0);
    }
    const QString to = QDate::currentDate().addDays(1).toString(Qt::ISODate);

    QSqlDatabase raw = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("raw"));
    raw.setDatabaseName(path);
    if (!raw.open())
        qFatal("cannot open %s", qPrintable(path));
    // The same connection settings as the back end's, so that only the broker differs.
    for (const QString &pragma : sqliteReadPragmas())
        QSqlQuery(raw).exec(pragma);
    AsyncBroker broker(makeBackendFactory(ServerSettings(connection)));
    // The same back end called in place: what the broker's thread hops add shows against it.
    const auto direct = makeBackend(ServerSettings(connection));
    broker.setTimeout(120000);

    std::printf("%-8s %6s %9s %9s %10s %9s %7s %9s %9s %7s\n", "officer", "rows", "scan ms",
                "raw ms", "handler ms", "broker ms", "ratio", "raw cpu", "brk cpu", "ratio");
    bool ok = true;
    QList<std::pair<QString, qint64>> officers{{QStringLiteral("typical"), DemoOfficer::Typical},
                                               {QStringLiteral("heavy"), DemoOfficer::Heavy}};
    if (only.toLongLong() > 0) // any officer by number, e.g. one with no assignments
        officers = {{only, only.toLongLong()}};
    for (const auto &[name, officer] : officers) {
        if (!only.isEmpty() && only != name && only.toLongLong() == 0)
            continue;
        QList<double> scanMs, rawMs, handlerMs, brokerMs, rawCpu, brokerCpu;
        int rows = 0;
        // Short lists are cheap to repeat and noisier: give them more runs.
        const int n = officer == DemoOfficer::Typical ? runs * 4 : runs;
        // The comparison: both paths warmed (page cache, prepared statements, the worker's
        // connection), then run in turn, in alternating order, so that each follows the
        // other as often and neither inherits warmer processor caches.
        for (int i = -2; i < n; ++i) {
            double a = 0, b = 0, ca = 0, cb = 0;
            int r1 = 0, r2 = 0;
            auto raw1 = [&] {
                QList<QList<QVariant>> kept;
                const double c0 = cpuMs();
                r1 = rawFetch(raw, officer, to, true, a, &kept);
                ca = cpuMs() - c0;
            };
            auto broker1 = [&] {
                std::unique_ptr<BrokerMessage> reply;
                const double c0 = cpuMs();
                r2 = brokerFetch(broker, officer, to, b, reply);
                cb = cpuMs() - c0; // before the reply's rows are freed
            };
            if (i % 2 == 0) {
                raw1();
                broker1();
            } else {
                broker1();
                raw1();
            }
            if (r1 != r2)
                qFatal("the broker returned %d rows, the raw fetch %d", r2, r1);
            rows = r1;
            if (i >= 0) {
                rawMs.append(a);
                brokerMs.append(b);
                rawCpu.append(ca);
                brokerCpu.append(cb);
            }
        }
        // For the breakdown: the bare scan, and the back end called in place (no thread hop).
        for (int i = -1; i < n; ++i) {
            double s0 = 0;
            rawFetch(raw, officer, to, false, s0);
            QElapsedTimer h;
            h.start();
            const BrokerReply inPlace = direct->handle(listRequest(officer, to));
            const double hMs = double(h.nsecsElapsed()) / 1e6;
            if (!inPlace.error.isEmpty())
                qFatal("%s", qPrintable(inPlace.error));
            if (i >= 0) {
                scanMs.append(s0);
                handlerMs.append(hMs);
            }
        }
        const double ratio = median(brokerMs) / median(rawMs);
        ok = ok && ratio <= 1.15;
        std::printf("%-8s %6d %9.2f %9.2f %10.2f %9.2f %7.3f %9.2f %9.2f %7.3f\n", qPrintable(name),
                    rows, median(scanMs), median(rawMs), median(handlerMs), median(brokerMs), ratio,
                    median(rawCpu), median(brokerCpu), median(brokerCpu) / median(rawCpu));
    }
    std::printf("target: broker at most 1.15 x raw fetch -> %s\n", ok ? "met" : "NOT met");
    return 0;
}
