// Kind 97: the workload overview. Per addressed officer: the assignments still open (not
// closed: "O", "F" and "R"), the open ones past their due date, the open ones due from today to
// the end of this week (Sunday), and the ones closed since the first of this month.
#include "database.h"
#include "handlers.h"
#include "lookups.h"
#include "rows.h"
#include "servererror.h"

#include <QMap>

#include <array>

namespace korva::server {

namespace {

constexpr Column kWorkloadColumns[] = {
    {"OFCR_ID", FieldType::Integer},      {"OPEN_CNT", FieldType::Integer},
    {"OVERDUE_CNT", FieldType::Integer},  {"DUE_WEEK_CNT", FieldType::Integer},
    {"CLSD_MONTH_CNT", FieldType::Integer},
};

// Both are counted from ASGNMT_WORK_OPEN_IX and ASGNMT_WORK_CLSD_IX alone: the rows themselves
// are never read, so a supervisor's overview costs the same whoever holds the big lists.
// Assignments addressed to an agency or a troop/district belong to no officer's workload.
constexpr char kOpenCounts[] = R"sql(
SELECT OFCR_TO_ID, COUNT(*),
       SUM(CASE WHEN DUE_DT < ? THEN 1 ELSE 0 END),
       SUM(CASE WHEN DUE_DT >= ? AND DUE_DT <= ? THEN 1 ELSE 0 END)
FROM ASGNMT
WHERE ASGNMT_STTS_CD IN ('O', 'F', 'R') AND OFCR_TO_ID IS NOT NULL
GROUP BY OFCR_TO_ID)sql";

constexpr char kClosedCounts[] = R"sql(
SELECT OFCR_TO_ID, COUNT(*)
FROM ASGNMT
WHERE ASGNMT_STTS_CD = 'C' AND CLSE_DT >= ? AND CLSE_DT <= ? AND OFCR_TO_ID IS NOT NULL
GROUP BY OFCR_TO_ID)sql";

using Counts = std::array<qint64, 4>; // open, overdue, due this week, closed this month

} // namespace

BrokerReply handleWorkload(HandlerContext &ctx, const BrokerRequest &request)
{
    // Everyone's workload is everyone's list in figures: the same right guards both, and it is
    // judged before anything of the assignments is read.
    if (!hasRight(ctx.db, ctx.session.officerId, QLatin1String(kRightListAll), 'R'))
        throw RequestError(QStringLiteral("The workload overview needs the \"%1\" right.")
                               .arg(QLatin1String(kRightListAll)));

    const QDate today = ctx.today;
    const QDate weekEnd = today.addDays(7 - today.dayOfWeek());
    const QDate monthStart(today.year(), today.month(), 1);

    QMap<qint64, Counts> byOfficer;
    QSqlQuery &open = ctx.db.run(QLatin1String(kOpenCounts),
                                 {dbDate(today), dbDate(today), dbDate(weekEnd)});
    while (open.next()) {
        Counts &c = byOfficer[open.value(0).toLongLong()];
        c[0] = open.value(1).toLongLong();
        c[1] = open.value(2).toLongLong();
        c[2] = open.value(3).toLongLong();
    }
    open.finish();
    QSqlQuery &closed =
        ctx.db.run(QLatin1String(kClosedCounts), {dbDate(monthStart), dbDate(today)});
    while (closed.next())
        byOfficer[closed.value(0).toLongLong()][3] = closed.value(1).toLongLong();
    closed.finish();

    const QString name = QStringLiteral("WORKLOAD");
    RecordSetPtr rows = RecordSet::create(name, fieldsOf(kWorkloadColumns));
    for (auto it = byOfficer.cbegin(); it != byOfficer.cend(); ++it) {
        QList<QVariant> row{it.key()};
        for (qint64 n : it.value())
            row.append(n);
        rows->appendStorageRow(row);
    }
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(name, rows);
    return reply;
}

} // namespace korva::server
