// The reply's wire form on its own: a real list reply of about 500 rows (the heavy officer's,
// from a fresh demo store) written as the service writes it and read as a desk reads it.
//
//   bench_wire [--runs N]
//
// Reported: the medians of writing and reading, the size, and the rows per millisecond. The
// networked list's latency is the query plus these two, so they are watched on their own.
#include "listrequest.h"

#include <server/demodata.h>
#include <server/server.h>

#include <platform/datetext.h>
#include <platform/wirebytes.h>

#include <QCoreApplication>
#include <QDate>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace korva;
using namespace korva::server;

namespace {

double median(QList<double> v)
{
    std::sort(v.begin(), v.end());
    return v.isEmpty() ? 0 : v.at(v.size() / 2);
}

} // namespace

int main(int argc, char *argv[])
{
    korva::cacheLocalTimeZone();
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const qsizetype at = args.indexOf(QStringLiteral("--runs"));
    const int runs = at >= 0 && at + 1 < args.size() ? args.at(at + 1).toInt() : 200;

    QTemporaryDir dir;
    const QString connection = QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("w.db"));
    DemoOptions demo;
    demo.assignments = 10'000;
    demo.force = true;
    generateDemo(ServerSettings(connection), demo);
    const BrokerReply reply = makeBackendFactory(ServerSettings(connection))()->handle(
        heavyListRequest());
    if (!reply.error.isEmpty()) {
        std::fprintf(stderr, "the list failed: %s\n", qPrintable(reply.error));
        return 1;
    }
    int rows = 0;
    for (const RecordSetPtr &rs : reply.recordSets)
        rows += rs ? rs->count() : 0;

    QList<double> write;
    QList<double> read;
    QByteArray bytes;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        bytes = wire::replyBytes(reply);
        write.append(double(t.nsecsElapsed()) / 1e6);
        t.restart();
        const BrokerReply back = wire::replyFromBytes(bytes);
        read.append(double(t.nsecsElapsed()) / 1e6);
        if (back.recordSets.size() != reply.recordSets.size())
            return 1;
    }
    const double w = median(write);
    const double r = median(read);
    std::printf("%d rows, %lld bytes: write %.2f ms, read %.2f ms (%.0f rows/ms both ways)\n",
                rows, qlonglong(bytes.size()), w, r, rows / (w + r));
    return 0;
}
