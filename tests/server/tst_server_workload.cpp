// The workload overview: its counts per officer, and that nobody without "AssignmentListAll"
// gets anything read for them, however the request is dressed.
#include "serverfixture.h"

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kSupervisor = DemoOfficer::Demo; // holds "AssignmentListAll"
constexpr qint64 kWorker = DemoOfficer::Typical;

BrokerRequest workloadRequest(const QString &context)
{
    BrokerRequest r;
    r.setMessageId(QStringLiteral("KORVA.Workload"));
    r.setVersion(QStringLiteral("1.0"));
    r.setKind(RequestKind::Workload);
    r.setContext(context);
    return r;
}

// The officer's row as {open, overdue, due this week, closed this month}; empty when absent.
QList<qint64> countsOf(const BrokerReply &reply, qint64 officer)
{
    const RecordSetPtr rs = reply.recordSet(QStringLiteral("WORKLOAD"));
    if (!rs)
        return {};
    for (int r = 0; r < rs->storageCount(); ++r) {
        const QList<QVariant> &row = rs->storageRow(r);
        if (row.at(0).toLongLong() == officer)
            return {row.at(1).toLongLong(), row.at(2).toLongLong(), row.at(3).toLongLong(),
                    row.at(4).toLongLong()};
    }
    return {};
}

} // namespace

class TestServerWorkload : public QObject {
    Q_OBJECT
private slots:
    void countsPerOfficer();
    void refusedWithoutTheRightBeforeAnythingIsRead();
};

void TestServerWorkload::countsPerOfficer()
{
    Store store;
    const QDate now = QDate::currentDate();
    const QDate weekEnd = now.addDays(7 - now.dayOfWeek());
    const QDate monthStart(now.year(), now.month(), 1);
    // status, due date, close date
    const QList<std::tuple<QString, QDate, QDate>> setup{
        {QStringLiteral("O"), now.addDays(-1), {}},    // overdue
        {QStringLiteral("F"), now.addDays(-30), {}},   // overdue, forwarded to the worker
        {QStringLiteral("R"), now, {}},                // due this week (today)
        {QStringLiteral("O"), weekEnd, {}},            // due this week (Sunday)
        {QStringLiteral("O"), weekEnd.addDays(1), {}}, // next week
        {QStringLiteral("C"), now.addDays(-1), now},   // closed this month
        {QStringLiteral("C"), now.addDays(-1), monthStart},
        {QStringLiteral("C"), now.addDays(-40), monthStart.addDays(-1)}, // last month
    };
    for (const auto &[status, due, closed] : setup) {
        const qint64 nbr = store.addAssignment(kWorker);
        store.exec(QStringLiteral("UPDATE ASGNMT SET ASGNMT_STTS_CD = ?, DUE_DT = ?, CLSE_DT = ? "
                                  "WHERE ASGNMT_NBR = ?"),
                   {status, dbDate(due), dbDate(closed), nbr});
    }
    // Addressed to an agency: nobody's workload, and it must not count as a null officer's.
    const qint64 agency = store.addAssignment(kWorker);
    store.exec(QStringLiteral("UPDATE ASGNMT SET OFCR_TO_ID = NULL, AGNCY_CD = 'DMV' WHERE "
                              "ASGNMT_NBR = ?"),
               {agency});

    const BrokerReply reply = store.send(RequestKind::Workload, kSupervisor);
    QCOMPARE(reply.error, QString());
    QCOMPARE(countsOf(reply, kWorker), (QList<qint64>{5, 2, 2, 2}));
    const RecordSetPtr rs = reply.recordSet(QStringLiteral("WORKLOAD"));
    for (int r = 0; r < rs->storageCount(); ++r)
        QVERIFY(rs->storageRow(r).at(0).toLongLong() > 0);
}

void TestServerWorkload::refusedWithoutTheRightBeforeAnythingIsRead()
{
    Store store;
    store.addAssignment(kWorker);
    // With the assignments out of reach, any read would fail as a database error: a refusal
    // that names the right shows the right was judged first.
    store.db().execute(QStringLiteral("ALTER TABLE ASGNMT RENAME TO ASGNMT_AWAY"));
    const QString plain = QString::number(DemoOfficer::Plain);
    const QStringList forged{
        QStringLiteral("INSP_ID=%1;REGION=NE").arg(plain),
        // Rights and groups claimed in the context are not the server's to believe.
        QStringLiteral("INSP_ID=%1;REGION=NE;RIGHT=AssignmentListAll;USERRIGHT=AssignmentListAll")
            .arg(plain),
        QStringLiteral("INSP_ID=%1;REGION=SE;GROUP=ASSIGNMENTCLOSERS").arg(plain),
        // The addressee of the counted work, who holds "Assignment" but not the list right.
        QStringLiteral("INSP_ID=%1;REGION=NE").arg(kWorker),
        QStringLiteral("INSP_ID=99999;REGION=NE"),
        QStringLiteral("REGION=NE"),
    };
    for (const QString &context : forged) {
        const BrokerReply r = store.backend().handle(workloadRequest(context).detached());
        QVERIFY2(!r.error.isEmpty(), qPrintable(context));
        QVERIFY2(!r.error.contains(u"atabase"), qPrintable(r.error));
        QVERIFY2(r.recordSets.isEmpty(), qPrintable(context));
    }
    QVERIFY(store.backend()
                .handle(workloadRequest(QStringLiteral("INSP_ID=%1").arg(plain)).detached())
                .error.contains(u"AssignmentListAll"));
    store.db().execute(QStringLiteral("ALTER TABLE ASGNMT_AWAY RENAME TO ASGNMT"));
    QCOMPARE(store.send(RequestKind::Workload, kSupervisor).error, QString());
}

KORVA_SERVER_TEST_MAIN(TestServerWorkload)
#include "tst_server_workload.moc"
