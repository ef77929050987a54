// The customer picker's search (kind 93) on a store of a million customers: the back end's
// handler called in place, and the round trip through the asynchronous broker (send ->
// DataReady), for prefixes from one letter to a whole name, numbers, and a prefix nothing
// matches. Beside them, once, the search it replaced (case folded on every row, names or
// numbers in one condition), which reads the whole table.
//
//   bench_customer_search [database-file] [--size N] [--runs N]
//
// The database defaults to bench-data/customers-<N>.db under the build folder; it is made
// (and kept) when missing: the demo's reference data, then N customers in one bulk load. The
// target is a search well under the 250 ms the picker waits after typing stops.
#include <server/bulkinsert.h>
#include <server/database.h>
#include <server/demodata.h>
#include <server/handlers.h>
#include <server/server.h>

#include <platform/datetext.h>
#include <platform/asyncbroker.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QSqlQuery>

#include <algorithm>
#include <cstdio>

using namespace korva;
using namespace korva::server;

namespace {

const char *const kSyllables[] = {"an",  "ber", "car", "dal", "el",  "fen", "gar", "hol",
                                  "is",  "jen", "kel", "lin", "mor", "nor", "ol",  "per",
                                  "qui", "ros", "sar", "tor", "ul",  "van", "wil", "yor",
                                  "zel", "mi",  "th",  "son", "ez",  "ski", "ton", "man"};
const char *const kFirstNames[] = {"MARIA", "JAMES", "AIKO",   "PEDRO", "LINDA", "OMAR",
                                   "GRACE", "TOMAS", "INGRID", "KWAME", "ROSA",  "VICTOR"};
const char *const kTrades[] = {"HARDWARE", "BAKERY", "MOTORS", "DENTAL", "FARMS", "IMPORTS",
                               "DINER",    "PUB",    "CAFE",   "AUTO",   "SUPPLY"};

// The search as it was before the index: a full scan whatever is typed.
constexpr char kFullScanSearch[] = R"sql(
SELECT CUST_ID, CUST_NM FROM CUSTOMER
WHERE UPPER(CUST_NM) LIKE ? ESCAPE '!' OR CUST_ID LIKE ? ESCAPE '!'
ORDER BY CUST_NM, CUST_ID LIMIT ?)sql";

double median(QList<double> v)
{
    std::sort(v.begin(), v.end());
    const qsizetype n = v.size();
    return n % 2 ? v.at(n / 2) : (v.at(n / 2 - 1) + v.at(n / 2)) / 2.0;
}

double percentile(QList<double> v, double p)
{
    std::sort(v.begin(), v.end());
    return v.at(qMin(v.size() - 1, qsizetype(double(v.size()) * p)));
}

// Deterministic names: surnames of two or three syllables with a first name, one in four a
// business. Enough distinct prefixes that a few letters narrow a million to thousands.
class Names {
public:
    QString next()
    {
        if (below(4) == 0)
            return surname() + u' ' + QLatin1String(kTrades[below(std::size(kTrades))]) +
                   QStringLiteral(" #%1").arg(below(1000));
        return surname() + QStringLiteral(", ") +
               QLatin1String(kFirstNames[below(std::size(kFirstNames))]);
    }

private:
    QString surname()
    {
        QString s;
        const int parts = 2 + below(2);
        for (int i = 0; i < parts; ++i)
            s += QLatin1String(kSyllables[below(std::size(kSyllables))]);
        return s.toUpper();
    }
    int below(size_t n)
    {
        m_state = m_state * 6364136223846793005ULL + 1442695040888963407ULL;
        return int((m_state >> 33) % n);
    }
    quint64 m_state = 20261122;
};

void makeStore(const QString &connection, qint64 size)
{
    DemoOptions options;
    options.assignments = 0;
    generateDemo(ServerSettings(connection), options);
    Database db{ServerSettings(connection), QStringLiteral("bench-customers")};
    db.open();
    db.execute(QStringLiteral("PRAGMA synchronous = OFF"));
    QElapsedTimer t;
    t.start();
    Transaction tx(db);
    {
        BulkInsert customer(db, "CUSTOMER", "CUST_ID, CUST_NM, CITY, STATE", 4, 200);
        Names names;
        for (qint64 k = 0; k < size; ++k)
            customer.add({QString::number(500000000 + k), names.next(), QStringLiteral("SALEM"),
                          QStringLiteral("NY")});
        customer.finish();
    }
    tx.commit();
    db.execute(QStringLiteral("ANALYZE"));
    std::printf("loaded %lld customers in %.1f s\n", size, double(t.elapsed()) / 1000.0);
}

BrokerRequest searchRequest(const QString &text)
{
    BrokerRequest request;
    request.setMessageId(QStringLiteral("KORVA.CustSelect"));
    request.setVersion(QStringLiteral("1.0"));
    request.setKind(kCustomerSearchKind);
    request.setContext(QStringLiteral("INSP_ID=%1;REGION=NE").arg(DemoOfficer::Demo));
    request.addParameter(RequestParameter::key(QStringLiteral("TEXT"), text));
    request.addParameter(RequestParameter::key(QStringLiteral("LIMIT"), QStringLiteral("50")));
    return request;
}

int rowsOf(const BrokerReply &reply)
{
    if (!reply.error.isEmpty())
        qFatal("search failed: %s", qPrintable(reply.error));
    return reply.recordSet(QStringLiteral("CUSTOMER"))->count();
}

double roundTrip(AsyncBroker &broker, const QString &text, int &rows)
{
    BrokerMessage message(&broker, nullptr);
    QEventLoop loop;
    QElapsedTimer t;
    double ms = 0;
    QObject::connect(&message, &BrokerMessage::DataReady, &loop, [&](const QString &identity) {
        ms = double(t.nsecsElapsed()) / 1e6;
        rows = rowsOf(*message.reply(identity));
        loop.quit();
    });
    t.start();
    message.send(searchRequest(text));
    loop.exec();
    return ms;
}

} // namespace

int main(int argc, char *argv[])
{
    korva::cacheLocalTimeZone();
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    qint64 size = 1000000;
    int runs = 30;
    QString path;
    for (int i = 1; i < args.size(); ++i) {
        if (args.at(i) == u"--size" && i + 1 < args.size())
            size = args.at(++i).toLongLong();
        else if (args.at(i) == u"--runs" && i + 1 < args.size())
            runs = qMax(1, args.at(++i).toInt());
        else
            path = args.at(i);
    }
    if (path.isEmpty())
        path = QStringLiteral(KORVA_BENCH_DATA_DIR "/customers-%1.db").arg(size);
    QDir().mkpath(QFileInfo(path).absolutePath());
    const QString connection = QStringLiteral("sqlite:") + path;
    if (!QFileInfo::exists(path)) {
        std::printf("creating %s\n", qPrintable(path));
        makeStore(connection, size);
    }

    const auto direct = makeBackend(ServerSettings(connection));
    AsyncBroker broker(makeBackendFactory(ServerSettings(connection)));
    broker.setTimeout(60000);
    const QStringList prefixes{QStringLiteral("A"),         QStringLiteral("mor"),
                               QStringLiteral("BERCAR"),    QStringLiteral("KELLIN, MARIA"),
                               QStringLiteral("Acme Hard"), QStringLiteral("5"),
                               QStringLiteral("5004"),      QStringLiteral("500123456"),
                               QStringLiteral("ZZZZ")};

    std::printf("%-16s %5s %12s %12s %12s %12s\n", "typed", "rows", "handler ms", "p95 ms",
                "broker ms", "p95 ms");
    double worst = 0;
    for (const QString &text : prefixes) {
        QList<double> handlerMs, brokerMs;
        int rows = 0;
        rowsOf(direct->handle(searchRequest(text))); // warm: statements, pages
        for (int r = 0; r < runs; ++r) {
            QElapsedTimer t;
            t.start();
            rows = rowsOf(direct->handle(searchRequest(text)));
            handlerMs.append(double(t.nsecsElapsed()) / 1e6);
            brokerMs.append(roundTrip(broker, text, rows));
        }
        worst = qMax(worst, percentile(brokerMs, 0.95));
        std::printf("%-16s %5d %12.3f %12.3f %12.3f %12.3f\n", qPrintable(u'"' + text + u'"'), rows,
                    median(handlerMs), percentile(handlerMs, 0.95), median(brokerMs),
                    percentile(brokerMs, 0.95));
    }

    // The replaced statement, a few runs: it reads every row.
    QSqlDatabase raw = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("raw"));
    raw.setDatabaseName(path);
    if (!raw.open())
        qFatal("cannot open %s", qPrintable(path));
    QList<double> scanMs;
    for (int r = 0; r < 3; ++r) {
        QSqlQuery q(raw);
        q.setForwardOnly(true);
        q.prepare(QLatin1String(kFullScanSearch));
        q.addBindValue(QStringLiteral("MOR%"));
        q.addBindValue(QStringLiteral("mor%"));
        q.addBindValue(50);
        QElapsedTimer t;
        t.start();
        if (!q.exec())
            qFatal("full scan failed");
        while (q.next()) {
        }
        scanMs.append(double(t.nsecsElapsed()) / 1e6);
    }
    std::printf("full-scan search of \"mor\" (replaced): %.1f ms median\n", median(scanMs));
    std::printf("worst p95 through the broker: %.3f ms\n", worst);
    return 0;
}
