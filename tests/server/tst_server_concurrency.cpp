// Several desks changing the same assignments at once, each through its own back end and
// connection: every change that was answered good is in the store exactly once, every other
// one was refused plainly, and no change was written over a state it did not see.
#include "serverfixture.h"

#include <server/assignmentstore.h>

#include <QRandomGenerator>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kDemo = DemoOfficer::Demo; // the sender, a closer
constexpr qint64 kHeavy = DemoOfficer::Heavy;
constexpr qint64 kTypical = DemoOfficer::Typical;

constexpr int kThreads = 6;
constexpr int kStepsPerThread = 40;
constexpr int kAssignments = 4;

BrokerRequest updateRequest(qint64 officer, const Row &row)
{
    BrokerRequest r;
    r.setMessageId(QStringLiteral("KORVA.Desk"));
    r.setKind(RequestKind::AssignmentUpdate);
    r.setContext(QStringLiteral("INSP_ID=%1;REGION=NE").arg(officer));
    r.addRecordSet(QStringLiteral("ASSIGNMENT"), updateRows("ASSIGNMENT", {row}));
    return r.detached();
}

// One desk's blind step: it does not know the assignment's state, so about half of what it
// sends is refused, as when two officers act on one stale list.
std::pair<qint64, Row> randomStep(QRandomGenerator &rng, qint64 number)
{
    const QString nbr = QString::number(number);
    switch (rng.bounded(4)) {
    case 0:
        return {kDemo,
                {{"ACTION", QStringLiteral("UPD")},
                 {"ASGNMT_NBR", nbr},
                 {"ASGNMT_STTS_CD", QStringLiteral("C")}}};
    case 1:
        return {kDemo,
                {{"ACTION", QStringLiteral("UPD")},
                 {"ASGNMT_NBR", nbr},
                 {"ASGNMT_STTS_CD", QStringLiteral("O")}}};
    default: {
        // Forwards pass the assignment between two officers; only its addressee can.
        const qint64 from = rng.bounded(2) ? kHeavy : kTypical;
        const qint64 to = from == kHeavy ? kTypical : kHeavy;
        return {from,
                {{"ACTION", QStringLiteral("UPD")},
                 {"ASGNMT_NBR", nbr},
                 {"OFCR_FRM_ID", QString::number(from)},
                 {"EFCTV_DT", today()},
                 {"DUE_DT", today(3)},
                 {"EXPRTN_DT", today(9)},
                 {"OFCR_TO_ID", QString::number(to)}}};
    }
    }
}

struct HistoryRow {
    QString action;
    QString status;
    qint64 to = 0;
};

QList<HistoryRow> historyOf(Store &store, qint64 number)
{
    QSqlQuery &q = store.db().run(QStringLiteral("SELECT ACTION, ASGNMT_STTS_CD, OFCR_TO_ID FROM "
                                                 "ASGNMT_HIST WHERE ASGNMT_NBR = ? ORDER BY "
                                                 "HIST_ID"),
                                  {number});
    QList<HistoryRow> rows;
    while (q.next())
        rows.append({q.value(0).toString(), q.value(1).toString(), q.value(2).toLongLong()});
    q.finish();
    return rows;
}

} // namespace

class TestServerConcurrency : public QObject {
    Q_OBJECT
private slots:
    void staleSnapshotIsNeverWrittenBack();
    void conflictingDesksKeepEveryInvariant();
};

void TestServerConcurrency::staleSnapshotIsNeverWrittenBack()
{
    Store store;
    const qint64 number = store.addAssignment(kHeavy);
    auto seen = loadAssignment(store.db(), number);
    QVERIFY(seen);
    // Another request closes it after this one read it.
    QCOMPARE(store
                 .update(kDemo, {{{"ACTION", QStringLiteral("UPD")},
                                  {"ASGNMT_NBR", QString::number(number)},
                                  {"ASGNMT_STTS_CD", QStringLiteral("C")}}})
                 .error,
             QString());
    AssignmentRecord stale = *seen;
    stale.status = QStringLiteral("F");
    stale.historyCount += 1;
    QVERIFY(!updateAssignment(store.db(), stale, seen->historyCount, QDateTime::currentDateTime()));
    QCOMPARE(store.assignment("ASGNMT_STTS_CD", number).toString(), QStringLiteral("C"));
    QCOMPARE(store.assignment("HIST_CNT", number).toInt(), 2);
}

void TestServerConcurrency::conflictingDesksKeepEveryInvariant()
{
    Store store;
    std::vector<qint64> numbers;
    for (int i = 0; i < kAssignments; ++i)
        numbers.push_back(store.addAssignment(kHeavy));
    std::vector<std::atomic<int>> applied(kAssignments);
    std::atomic<int> refused{0};
    QStringList unclear;
    std::mutex unclearLock;

    std::vector<std::thread> desks;
    for (int t = 0; t < kThreads; ++t) {
        desks.emplace_back([&, t] {
            ServerSettings settings(currentConnection());
            const auto backend = makeBackend(settings);
            QRandomGenerator rng(quint32(1000 + t));
            for (int step = 0; step < kStepsPerThread; ++step) {
                const int which = int(rng.bounded(kAssignments));
                const auto [officer, row] = randomStep(rng, numbers[which]);
                const BrokerReply r = backend->handle(updateRequest(officer, row));
                if (r.error.isEmpty()) {
                    ++applied[which];
                    continue;
                }
                ++refused;
                // A refusal names the rule; a database error or a busy store is a fault here.
                if (r.error.contains(u"database", Qt::CaseInsensitive)) {
                    std::lock_guard guard(unclearLock);
                    unclear.append(r.error);
                }
            }
        });
    }
    for (auto &d : desks)
        d.join();

    QCOMPARE(unclear, QStringList());
    int total = 0;
    for (int i = 0; i < kAssignments; ++i) {
        const qint64 number = numbers[i];
        const QList<HistoryRow> history = historyOf(store, number);
        total += applied[i];
        // Every good answer is one step in the history, and the count of steps agrees.
        QCOMPARE(history.size(), applied[i] + 1);
        QCOMPARE(store.assignment("HIST_CNT", number).toInt(), history.size());
        // Each step followed the state the one before it left: none was taken on a stale read.
        for (int h = 1; h < history.size(); ++h) {
            const HistoryRow &prev = history[h - 1];
            const HistoryRow &cur = history[h];
            const QByteArray where = QStringLiteral("assignment %1, step %2 (%3 after %4)")
                                         .arg(number)
                                         .arg(h)
                                         .arg(cur.action, prev.action)
                                         .toUtf8();
            if (cur.action == u"CLOSE" || cur.action == u"FORWARD")
                QVERIFY2(prev.status != u"C", where.constData());
            if (cur.action == u"REOPEN")
                QVERIFY2(prev.status != u"O", where.constData());
            if (cur.action == u"FORWARD")
                QVERIFY2(cur.to != prev.to, where.constData());
        }
        // The assignment is what its last step left.
        QVERIFY(QStringList({QStringLiteral("O"), QStringLiteral("F"), QStringLiteral("C")})
                    .contains(store.assignment("ASGNMT_STTS_CD", number).toString()));
        QCOMPARE(store.assignment("ASGNMT_STTS_CD", number).toString(), history.last().status);
        QCOMPARE(store.assignment("OFCR_TO_ID", number).toLongLong(), history.last().to);
    }
    QCOMPARE(total + refused, kThreads * kStepsPerThread);
    QVERIFY2(total > kAssignments, "too few steps were applied to test anything");
    QVERIFY2(refused > 0, "no step conflicted");
}

KORVA_SERVER_TEST_MAIN(TestServerConcurrency)
#include "tst_server_concurrency.moc"
