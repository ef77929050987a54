// The quick filter and the heading sort over a 50,000-row list, on the UI thread: the time
// from the call to the end of the next paint. Run by hand; prints the median of several runs.
// The work done once per bound list (each row's filter text, overdue and new marks) is
// printed too: it is paid with the bind, not with each keystroke.

#include "document/assignmentlisttools.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/gridproxy.h"
#include "platform/datetext.h"
#include "platform/platform.h"
#include "platform/referencedata.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>

using namespace korva;

namespace {

constexpr int kOfficers = 300;
constexpr int kRuns = 7;

BrokerReply referenceReply()
{
    BrokerReply reply;
    auto officers = RecordSet::create(QStringLiteral("OFFICER"),
                                      {{QStringLiteral("INSP_ID"), FieldType::Integer},
                                       {QStringLiteral("INSP_NME_LST"), FieldType::Text},
                                       {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
                                       {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text},
                                       {QStringLiteral("REGION"), FieldType::Text}});
    for (int i = 0; i < kOfficers; ++i)
        officers->appendStorageRow({1000 + i, QStringLiteral("Last%1").arg(i),
                                    QStringLiteral("First%1").arg(i), QStringLiteral("Q"),
                                    QStringLiteral("NE")});
    reply.recordSets.insert(officers->name(), officers);
    auto codes = RecordSet::create(QStringLiteral("ZTB_CODE"),
                                   {{QStringLiteral("REGION"), FieldType::Text},
                                    {QStringLiteral("CD_TBL_ID"), FieldType::Text},
                                    {QStringLiteral("CD_TBL_CD"), FieldType::Text},
                                    {QStringLiteral("CD_TBL_DES"), FieldType::Text}});
    codes->appendStorageRow({QStringLiteral("NE"), QStringLiteral("REFDOCTYP"),
                             QStringLiteral("CIT"), QStringLiteral("Citation")});
    codes->appendStorageRow({QStringLiteral("NE"), QStringLiteral("REFDOCTYP"),
                             QStringLiteral("ACC"), QStringLiteral("Sales Tax Account")});
    reply.recordSets.insert(codes->name(), codes);
    auto types = RecordSet::create(QStringLiteral("ZTB_ASGNMT_TYPE"),
                                   {{QStringLiteral("REGION"), FieldType::Text},
                                    {QStringLiteral("ASGNMT_CD"), FieldType::Text},
                                    {QStringLiteral("ASGNMT_DES"), FieldType::Text}});
    types->appendStorageRow(
        {QStringLiteral("NE"), QStringLiteral("001"), QStringLiteral("Referral")});
    types->appendStorageRow(
        {QStringLiteral("NE"), QStringLiteral("PCE"), QStringLiteral("Payment Correction")});
    reply.recordSets.insert(types->name(), types);
    return reply;
}

const char *const kBound[] = {"ASGNMT_NBR", "ASGNMT_TYP_CD", "ASGNMT_STTS_CD",  "OFCR_FRM_ID",
                              "OFCR_TO_ID", "OFCR_CRTR_ID",  "ASGNMT_DT",       "EFCTV_DT",
                              "DUE_DT",     "CLSE_DT",       "ASGNMT_CMMT_TXT", "ASGNMT_SBJCT_TXT",
                              "FORM_NBR",   "FORM_TYP_CD",   "HIST_CNT"};
const char *const kDisplay[] = {"Status",          "ASSIGNED_FROM",   "ASSIGNED_TO",
                                "ASSIGNMENT_TYPE", "CITATION_NUMBER", "CITATION_TYPE"};

RecordSetPtr assignments(int rows)
{
    QList<Field> fields;
    for (const char *name : kBound) {
        const QString n = QLatin1String(name);
        const FieldType type = n.endsWith(u"_DT")                            ? FieldType::Date
                               : n == u"ASGNMT_NBR" || n.startsWith(u"OFCR") ? FieldType::Integer
                                                                             : FieldType::Text;
        fields.append({n, type});
    }
    auto rs = RecordSet::create(QStringLiteral("ASSIGNMENT"), fields);
    rs->reserve(rows);
    const QDate day(2026, 1, 1);
    for (int i = 0; i < rows; ++i) {
        rs->appendStorageRow({i + 1, i % 7 == 0 ? QStringLiteral("PCE") : QStringLiteral("001"),
                              i % 2 ? QStringLiteral("O") : QStringLiteral("C"),
                              1000 + i % kOfficers, 1000 + (i * 7) % kOfficers,
                              1000 + i % kOfficers, day.addDays(i % 365), day.addDays(i % 365),
                              day.addDays(i % 365 + 30), QVariant(),
                              QStringLiteral("Comment on assignment %1").arg(i + 1),
                              QStringLiteral("Subject %1").arg(i + 1),
                              QStringLiteral("%1").arg(1000000 + i, 7, 10, QLatin1Char('0')),
                              QStringLiteral("CIT"), QString::number(i % 3)});
    }
    return rs;
}

// The machine may be shared: the thread's own processor time says what the step costs,
// the wall clock what the officer waits.
double threadMs()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

struct Figures {
    double median = 0;
    double slowest = 0;
    double cpuMedian = 0;
    int shown = 0;
};

// `prepare` (not timed) then `step` (timed, with the paint that follows).
Figures measure(DataGrid &grid, const std::function<void()> &prepare,
                const std::function<void()> &step)
{
    QList<double> times;
    QList<double> cpu;
    for (int run = 0; run <= kRuns; ++run) {
        prepare();
        grid.repaint();
        QElapsedTimer timer;
        timer.start();
        const double started = threadMs();
        step();
        grid.repaint();
        if (run > 0) {
            times.append(double(timer.nsecsElapsed()) / 1e6);
            cpu.append(threadMs() - started);
        }
    }
    std::sort(times.begin(), times.end());
    std::sort(cpu.begin(), cpu.end());
    return {times.at(times.size() / 2), times.last(), cpu.at(cpu.size() / 2), grid.shownRowCount()};
}

void print(const char *what, const Figures &f)
{
    std::printf("  %-44s wall median %6.2f ms (max %6.2f), thread %6.2f ms, %5d shown\n", what,
                f.median, f.slowest, f.cpuMedian, f.shown);
}

} // namespace

int main(int argc, char *argv[])
{
    korva::cacheLocalTimeZone();
    QApplication app(argc, argv);
    ReferenceData lookups(referenceReply(), QStringLiteral("NE"), QDate(2026, 11, 22));
    Platform services;
    services.lookups = &lookups;
    Platform::install(&services);

    DataControl control;
    DataGrid grid;
    for (const char *name : kBound)
        grid.addColumn(QLatin1String(name), QLatin1String(name), QLatin1String(name));
    for (const char *name : kDisplay)
        grid.addColumn(QLatin1String(name), QLatin1String(name));
    grid.setDataControl(&control);
    AssignmentListTools tools(&grid, &control);
    grid.resize(1000, 700);
    grid.show();
    if (!QTest::qWaitForWindowExposed(&grid)) {
        std::fprintf(stderr, "The grid's window was never shown.\n");
        return 1;
    }
    constexpr int kRows = 50000;
    std::printf("bench_list_filter (platform %s, %d rows, 1000x700, median of %d runs)\n",
                qPrintable(QGuiApplication::platformName()), kRows, kRuns);

    QLineEdit *filter = tools.filterBox();
    GridProxyModel *shown = grid.shownModel();
    RecordSetPtr rows = assignments(kRows);
    const double bindStarted = threadMs();
    control.setRecordSet(rows);
    grid.repaint();
    std::printf("  %-44s thread %6.2f ms\n", "bind, with each row's filter text and marks",
                threadMs() - bindStarted);

    const auto noFilter = [&] {
        filter->clear();
    };
    const auto noSort = [&] {
        shown->sort(-1);
    };
    print("filter, first key \"4\" (all rows scanned)",
          measure(grid, noFilter, [&] { filter->setText(QStringLiteral("4")); }));
    print("filter, a key more \"42\" (narrows the shown)",
          measure(
              grid, [&] { filter->setText(QStringLiteral("4")); },
              [&] { filter->setText(QStringLiteral("42")); }));
    print("filter, officer name \"last171\"",
          measure(grid, noFilter, [&] { filter->setText(QStringLiteral("last171")); }));
    print("filter, no match \"zzz\"",
          measure(grid, noFilter, [&] { filter->setText(QStringLiteral("zzz")); }));
    print("filter cleared",
          measure(
              grid, [&] { filter->setText(QStringLiteral("4")); }, [&] { filter->clear(); }));
    filter->clear();
    const auto sortBy = [&](const char *column, Qt::SortOrder order) {
        return [&grid, shown, column, order] {
            shown->sort(grid.columnIndex(QLatin1String(column)), order);
        };
    };
    print("sort by number, descending",
          measure(grid, noSort, sortBy("ASGNMT_NBR", Qt::DescendingOrder)));
    print("sort by due date", measure(grid, noSort, sortBy("DUE_DT", Qt::AscendingOrder)));
    print("sort by subject (text)",
          measure(grid, noSort, sortBy("ASGNMT_SBJCT_TXT", Qt::AscendingOrder)));
    print("sort by officer name (display column)",
          measure(grid, noSort, sortBy("ASSIGNED_TO", Qt::AscendingOrder)));
    print("sort by subject, first on a new list",
          measure(
              grid,
              [&] {
                  shown->sort(-1);
                  control.setRecordSet(assignments(kRows));
              },
              sortBy("ASGNMT_SBJCT_TXT", Qt::AscendingOrder)));
    Platform::install(nullptr);
    return 0;
}
