// The history dialog: rows newest first with the officers' names, the empty history, the
// layout rule and the parameter labels.
#include "dialogs/frmassignhistory.h"
#include "test_main.h"
#include "testkit.h"

#include "platform/controls/datagrid.h"

#include <QLabel>
#include <QPushButton>

using namespace korva;

namespace {

const QString kParameters = QStringLiteral(
    "77~General Referral~ROE, ANN~DOE, JANE Q.~11/20/2026~11/21/2026~12/01/2026~old comment~"
    "1234567-4~Citation~1003~1001~~Subject here~001~CIT");

// A history as the server sends it: typed fields, rows in no particular order, of an
// assignment saved without a subject (the grid's first column).
RecordSetPtr historyRows(const QList<std::pair<QString, QList<QVariant>>> &rows)
{
    using T = FieldType;
    const QList<Field> fields{
        {QStringLiteral("ASGNMT_NBR"), T::Integer},    {QStringLiteral("ACTION"), T::Text},
        {QStringLiteral("LST_UPDT_TS"), T::Timestamp}, {QStringLiteral("OFCR_FRM_ID"), T::Integer},
        {QStringLiteral("OFCR_TO_ID"), T::Integer},    {QStringLiteral("ASGNMT_CMMT_TXT"), T::Text},
        {QStringLiteral("ASGNMT_SBJCT_TXT"), T::Text}};
    QList<QList<QVariant>> values;
    for (const auto &[time, rest] : rows)
        values.append(
            QList<QVariant>{77, QStringLiteral("FORWARD"),
                            QDateTime(QDate(2026, 11, 22), QTime::fromString(time, Qt::ISODate))} +
            rest + QList<QVariant>{QVariant()});
    return testkit::makeRecordSet(QStringLiteral("ASSIGNMENT"), fields, values);
}

} // namespace

class TestFrmAssignHistory : public QObject {
    Q_OBJECT

    std::unique_ptr<testkit::TestPlatform> tp;
    std::unique_ptr<frmAssignHistory> dlg;
    DataGrid *grid() const { return dlg->findChild<DataGrid *>(QStringLiteral("grdHistory")); }

private slots:
    void init()
    {
        tp = std::make_unique<testkit::TestPlatform>();
        dlg = std::make_unique<frmAssignHistory>();
    }
    void cleanup()
    {
        dlg.reset();
        tp.reset();
    }

    void showsStepsNewestFirstWithNames();
    void emptyOrMissingHistory();
    void columnsInTheirOrder();
    void resizeKeepsGridAndButtonInPlaceAndOkCloses();
    void parametersFillTheFrame();
};

void TestFrmAssignHistory::showsStepsNewestFirstWithNames()
{
    RecordSetPtr history =
        historyRows({{QStringLiteral("09:00"), {1001, 1003, QStringLiteral("nine")}},
                     {QStringLiteral("11:00"), {1003, 9999, QStringLiteral("eleven")}},
                     {QStringLiteral("10:00"), {1003, 1001, QStringLiteral("ten")}}});
    const RecordSetPtr handed = history;
    dlg->LoadAssignmentHistory(history);
    dlg->show();
    QCOMPARE(history, handed);

    DataGrid *g = grid();
    QCOMPARE(g->rowCount(), 3);
    QStringList order, to, from;
    for (int r = 0; r < g->rowCount(); ++r) {
        order.append(g->text(r, QStringLiteral("ASGNMT_CMMT_TXT")));
        to.append(g->text(r, QStringLiteral("ASSIGNED_TO")));
        from.append(g->text(r, QStringLiteral("ASSIGNED_FROM")));
    }
    QCOMPARE(order, (QStringList{QStringLiteral("eleven"), QStringLiteral("ten"),
                                 QStringLiteral("nine")}));
    // An officer the lookup does not know shows no name.
    QCOMPARE(to,
             (QStringList{QString(), QStringLiteral("DOE, JANE Q."), QStringLiteral("ROE, ANN")}));
    QCOMPARE(from, (QStringList{QStringLiteral("ROE, ANN"), QStringLiteral("ROE, ANN"),
                                QStringLiteral("DOE, JANE Q.")}));
    QCOMPARE(g->currentRow(), 0);
    QVERIFY(g->redraw());
    QCOMPARE(tp->statusBar.last(), QStringLiteral("Displaying Assignment History"));
    QVERIFY(tp->reporter.reports.isEmpty());
}

void TestFrmAssignHistory::emptyOrMissingHistory()
{
    RecordSetPtr missing;
    dlg->LoadAssignmentHistory(missing);
    QVERIFY(missing); // handed back to the caller
    QCOMPARE(missing->name(), QStringLiteral("ASSIGNMENT"));
    QCOMPARE(missing->count(), 0);
    QCOMPARE(grid()->rowCount(), 0);
    QCOMPARE(tp->statusBar.last(), QStringLiteral("No Assignment History"));

    // A full history replaced by an empty one empties the grid.
    RecordSetPtr full = historyRows({{QStringLiteral("09:00"), {1001, 1003, QStringLiteral("x")}}});
    dlg->LoadAssignmentHistory(full);
    QCOMPARE(grid()->rowCount(), 1);
    RecordSetPtr empty = historyRows({});
    dlg->LoadAssignmentHistory(empty);
    QCOMPARE(grid()->rowCount(), 0);
    QCOMPARE(tp->statusBar.last(), QStringLiteral("No Assignment History"));
    QVERIFY(tp->reporter.reports.isEmpty());
}

void TestFrmAssignHistory::columnsInTheirOrder()
{
    DataGrid *g = grid();
    const QStringList names =
        QStringLiteral("ASGNMT_SBJCT_TXT OFCR_CRTR_ID ASGNMT_NBR OFCR_FRM_ID OFCR_TO_ID "
                       "ASGNMT_TYP_CD FORM_NBR FORM_TYP_CD ASGNMT_STTS_CD AGNCY_CD STATION_ID "
                       "LST_UPDT_TS ACTION ASSIGNED_TO ASSIGNED_FROM ASGNMT_DT EFCTV_DT DUE_DT "
                       "EXPRTN_DT CLSE_DT ASGNMT_CMMT_TXT TRP_ID TRP_DIST_ID")
            .split(u' ');
    QStringList shown;
    for (int c = 0; c < g->columnCount(); ++c)
        shown.append(g->columnName(c));
    QCOMPARE(shown, names);
    auto caption = [&](const char *name) {
        return g->model()
            ->headerData(g->columnIndex(QLatin1String(name)), Qt::Horizontal)
            .toString();
    };
    QCOMPARE(caption("ASGNMT_SBJCT_TXT"), QStringLiteral("Subject"));
    QCOMPARE(caption("ASGNMT_CMMT_TXT"), QStringLiteral("Comment"));
}

void TestFrmAssignHistory::resizeKeepsGridAndButtonInPlaceAndOkCloses()
{
    dlg->show();
    DataGrid *g = grid();
    auto *ok = dlg->findChild<QPushButton *>(QStringLiteral("cmdOK"));
    QVERIFY(ok);
    const int margin = g->x();
    const int top = g->y();
    QVERIFY(margin > 0);
    for (const QSize size : {QSize(900, 640), QSize(700, 560), QSize(1200, 800)}) {
        dlg->resize(size);
        QTRY_COMPARE(dlg->size(), size);
        QCOMPARE(g->x(), margin);
        QCOMPARE(g->y(), top);
        QCOMPARE(g->width(), size.width() - 2 * margin);
        QCOMPARE(g->height(), size.height() - top - ok->height() - 2 * margin);
        QCOMPARE(ok->y(), top + g->height() + margin);
        QCOMPARE(ok->x() + ok->width(), size.width() - margin); // right-aligned with the grid
        QCOMPARE(ok->y() + ok->height(), size.height() - margin);
    }
    QTest::mouseClick(ok, Qt::LeftButton);
    QVERIFY(!dlg->isVisible());
}

void TestFrmAssignHistory::parametersFillTheFrame()
{
    auto label = [&](int i) {
        return dlg->findChild<QLabel *>(QStringLiteral("lblLabel(%1)").arg(i))->text();
    };
    dlg->PassParameters(kParameters);
    QCOMPARE(label(24), QStringLiteral("Subject here"));
    QVERIFY(tp->reporter.reports.isEmpty());
    // Thirteen pieces: everything up to the close date, then the subscript error.
    dlg->PassParameters(QStringLiteral("78~Audit~A~B~1~2~3~c~n~t~1~2~12/05/2026"));
    QCOMPARE(label(1), QStringLiteral("Audit"));
    QCOMPARE(label(19), QStringLiteral("12/05/2026"));
    QCOMPARE(label(24), QStringLiteral("Subject here"));
    QCOMPARE(tp->reporter.reports.size(), 1);
    QCOMPARE(tp->reporter.reports.first().source,
             QStringLiteral("frmAssignHistory.PassParameters"));
}

KORVA_TEST_MAIN(TestFrmAssignHistory)
#include "tst_frmassignhistory.moc"
