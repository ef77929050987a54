// Renders the list's sorting, quick filter and overdue marks for a look at the screen (run
// under xvfb-run, or offscreen):
//   shot_listtools [folder]   writes list-sorted.png, list-filter.png, list-overdue.png and
//                             workload.png
#include "dialogs/frmworkload.h"
#include "document/assignmentlisttab.h"
#include "document/assignmentlisttools.h"
#include "documentfixture.h"
#include "platform/controls/gridproxy.h"

#include <QApplication>
#include <QDir>
#include <QHeaderView>

using namespace korva;
using namespace korva::doctest;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QDir folder(QApplication::arguments().value(1, QStringLiteral(".")));
    Fixture f;
    f.doc().resize(1200, 520);
    f.shown();
    const char *subjects[] = {"Unfiled returns",  "Payment applied twice", "Refund request",
                              "Audit follow-up",  "Refund of overpayment", "Licence lapsed",
                              "Premises visit",   "Citation not paid",     "Bank levy release",
                              "Refund on appeal", "Missing schedule",      "Call the customer"};
    QList<Row> rows;
    for (int i = 0; i < 12; ++i) {
        Row r{.number = 1041 + i * 7 % 12,
              .type = i % 5 == 1 ? QStringLiteral("PCE") : QStringLiteral("001"),
              .status = i % 4 == 3 ? QStringLiteral("C") : QStringLiteral("O"),
              .from = 1002 + i % 2,
              .history = i % 3,
              .subject = QLatin1String(subjects[i]),
              .comment = QStringLiteral("Please see the notes of %1").arg(i + 3)};
        rows.append(r);
    }
    RecordSetPtr rs = assignments(rows);
    const int due = rs->fieldIndex(u"DUE_DT");
    for (int r = 0; r < rs->count(); ++r)
        rs->setValueAt(r, due, f.today().addDays((r * 5) % 23 - 9));
    f.tp.fakeBroker.replyGood({rs});
    AssignmentListTools *tools = f.doc().listTab->tools();
    DataGrid *grid = f.grid();
    QApplication::processEvents();
    bool ok = f.doc().grab().save(folder.filePath(QStringLiteral("list-overdue.png")));

    const int dueColumn = grid->columnIndex(QStringLiteral("DUE_DT"));
    grid->shownModel()->sort(dueColumn, Qt::AscendingOrder);
    grid->horizontalHeader()->setSortIndicatorShown(true);
    grid->horizontalHeader()->setSortIndicator(dueColumn, Qt::AscendingOrder);
    QApplication::processEvents();
    ok = f.doc().grab().save(folder.filePath(QStringLiteral("list-sorted.png"))) && ok;

    tools->filterBox()->setFocus();
    QTest::keyClicks(tools->filterBox(), QStringLiteral("refund"));
    QApplication::processEvents();
    ok = f.doc().grab().save(folder.filePath(QStringLiteral("list-filter.png"))) && ok;

    // The supervisor's overview, as the server counts it for a handful of officers.
    frmWorkload workload;
    workload.resize(620, 300);
    workload.show();
    workload.Refresh();
    QList<QList<QVariant>> counts;
    for (int officer : {1001, 1002, 1003, 1004})
        counts.append(
            {officer, 40 - officer % 7 * 5, officer % 5 * 3, officer % 4 + 1, officer % 6 * 2});
    f.tp.fakeBroker.replyGood(
        {testkit::makeRecordSet(QStringLiteral("WORKLOAD"),
                                {{QStringLiteral("OFCR_ID"), FieldType::Integer},
                                 {QStringLiteral("OPEN_CNT"), FieldType::Integer},
                                 {QStringLiteral("OVERDUE_CNT"), FieldType::Integer},
                                 {QStringLiteral("DUE_WEEK_CNT"), FieldType::Integer},
                                 {QStringLiteral("CLSD_MONTH_CNT"), FieldType::Integer}},
                                counts)});
    QApplication::processEvents();
    ok = workload.grab().save(folder.filePath(QStringLiteral("workload.png"))) && ok;
    return ok ? 0 : 1;
}
