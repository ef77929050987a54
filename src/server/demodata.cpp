// The demo database: realistic, varied and deterministic. Small by default (a few hundred
// assignments around the demo officer); a size argument scales it to a million assignments for
// the benchmarks, loaded in one transaction through multi-row prepared inserts, with the list
// indexes built once at the end rather than row by row.
#include "demodata.h"

#include "database.h"
#include "demogenerator.h"
#include "schema.h"
#include "servererror.h"

#include <QFile>

namespace korva::server {

namespace {

using namespace demo;

constexpr char kSetSequence[] = R"sql(UPDATE KORVA_SEQ SET NEXT_VAL = ? WHERE SEQ_NM = ?)sql";
// Assignments arrive in number order, so the history and refund indexes grow at their end
// cheaply; the officer and status indexes would be written all over and are built afterwards.
const char *const kListIndexes[] = {"ASGNMT_TO_IX", "ASGNMT_FRM_IX", "ASGNMT_STTS_IX",
                                    "ASGNMT_WORK_OPEN_IX", "ASGNMT_WORK_CLSD_IX"};

void prepareTarget(Database &db, const StoreAddress &target, bool force)
{
    if (target.dialect == Dialect::Sqlite) {
        if (QFile::exists(target.path)) {
            if (!force)
                throw RequestError(QStringLiteral("The database %1 already exists; use --force "
                                                  "to replace it.")
                                       .arg(target.display()));
            for (const char *suffix : {"", "-wal", "-shm", "-journal"})
                QFile::remove(target.path + latin(suffix));
        }
        db.open();
        return;
    }
    // PostgreSQL: an empty schema is filled as it is; one with data only when forced, after
    // its tables are dropped and made anew.
    db.open();
    const bool hasData = db.scalar(QStringLiteral("SELECT COUNT(*) FROM OFFICER")).toLongLong() > 0;
    if (hasData && !force)
        throw RequestError(QStringLiteral("The database %1 already holds data; use --force to "
                                          "replace it.")
                               .arg(target.display()));
    dropSchema(db);
    db.close();
    db.open();
}

} // namespace

QDate demoRangeStart(const QDate &today)
{
    return today.addDays(-kHistoryDays);
}

DemoSummary generateDemo(const ServerSettings &settings, const DemoOptions &options,
                         const DemoProgress &progress)
{
    if (options.assignments < 0)
        throw RequestError(QStringLiteral("The demo size must not be negative."));
    Database db(settings, QStringLiteral("korva-demo"));
    prepareTarget(db, db.connectionInfo(), options.force);
    const bool sqlite = db.dialect() == Dialect::Sqlite;
    if (sqlite) {
        // A fresh file written in one transaction needs no journal: a failed load is simply
        // generated again.
        db.execute(QStringLiteral("PRAGMA journal_mode = OFF"));
        db.execute(QStringLiteral("PRAGMA synchronous = OFF"));
        db.execute(QStringLiteral("PRAGMA foreign_keys = OFF"));
        db.execute(QStringLiteral("PRAGMA cache_size = -1048576"));
        db.execute(QStringLiteral("PRAGMA temp_store = MEMORY"));
    }
    // Rows go in without the list indexes, which are then built in one pass each.
    for (const char *index : kListIndexes)
        db.execute(QStringLiteral("DROP INDEX %1").arg(latin(index)));
    DemoSummary summary;
    {
        Transaction tx(db);
        summary = Generator(db, options, progress).run();
        if (progress)
            progress(QStringLiteral("indexes"), 0, 1);
        for (const Migration &m : migrations()) {
            for (const QString &sql : m.statements) {
                for (const char *index : kListIndexes) {
                    if (sql.startsWith(QStringLiteral("CREATE INDEX %1 ").arg(latin(index))))
                        db.execute(sql);
                }
            }
        }
        const qint64 refunds = summary.refunds;
        db.run(QLatin1String(kSetSequence), {summary.assignments + 1, QStringLiteral("ASGNMT_NBR")})
            .finish();
        db.run(QLatin1String(kSetSequence), {refunds + 1, QStringLiteral("RFND_NBR")}).finish();
        db.run(QLatin1String(kSetSequence), {summary.history + 1, QStringLiteral("HIST_ID")})
            .finish();
        tx.commit();
    }
    // Statistics let the planner pick the officer indexes over the status one; a sample is
    // enough and keeps this quick at a million rows.
    if (sqlite)
        db.execute(QStringLiteral("PRAGMA analysis_limit = 2000"));
    db.execute(QStringLiteral("ANALYZE"));
    if (sqlite) {
        db.execute(QStringLiteral("PRAGMA synchronous = NORMAL"));
        db.execute(QStringLiteral("PRAGMA foreign_keys = ON"));
        db.execute(QStringLiteral("PRAGMA journal_mode = WAL"));
    }
    if (progress)
        progress(QStringLiteral("indexes"), 1, 1);
    return summary;
}

} // namespace korva::server
