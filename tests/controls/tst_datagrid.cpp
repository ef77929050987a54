#include "gridfixture.h"
#include "platform/controls/gridproxy.h"
#include "platform/controls/recordsetmodel.h"
#include "platform/errors.h"
#include "test_main.h"
#include "testkit.h"

#include <QAbstractItemModelTester>
#include <QBrush>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QSignalSpy>

using namespace korva;
using namespace korva::gridtest;

class TestDataGrid : public QObject {
    Q_OBJECT
private slots:
    void modelStaysConsistentThroughViewChanges()
    {
        DecoratedGrid g;
        QAbstractItemModelTester tester(g.grid.recordModel(),
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        auto rs = assignments(40);
        g.control.setRecordSet(rs);
        QCOMPARE(g.grid.recordModel()->rowCount(), 40);
        QCOMPARE(g.grid.recordModel()->columnCount(), 5);
        rs->setFilter(QStringLiteral("ASGNMT_TYP_CD = 'PCE'"));
        QCOMPARE(g.grid.rowCount(), 16); // "pce" matches too: text compares without case
        rs->setSort(QStringLiteral("ASGNMT_NBR DESC"));
        rs->addNew();
        rs->setValue(u"ASGNMT_NBR", 99);
        QCOMPARE(g.grid.rowCount(), 17);
        rs->moveFirst();
        rs->deleteCurrent();
        QCOMPARE(g.grid.rowCount(), 16);
        g.grid.addColumn(QStringLiteral("Extra"), QStringLiteral("Extra"));
        QCOMPARE(g.grid.recordModel()->columnCount(), 6);
        g.control.setRecordSet(assignments(3));
        QCOMPARE(g.grid.rowCount(), 3);
        g.control.setRecordSet(nullptr);
        QCOMPARE(g.grid.rowCount(), 0);
    }

    void cellsReadBoundFieldsAndWrittenDisplayColumns()
    {
        DecoratedGrid g;
        g.control.setRecordSet(assignments(10));
        RecordSetModel *model = g.grid.recordModel();
        QCOMPARE(model->index(2, 0).data().toString(), QStringLiteral("3"));
        QCOMPARE(model->index(2, 2).data().toString(), QStringLiteral("Loaded 3"));
        QCOMPARE(model->index(2, 3).data().toString(), QStringLiteral("01/03/2026"));
        QCOMPARE(model->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Number"));
        // A column without a caption is headed by its name.
        QCOMPARE(model->headerData(4, Qt::Horizontal).toString(), QStringLiteral("OFCR_TO_ID"));
        QVERIFY(!model->headerData(0, Qt::Vertical).isValid());
        QVERIFY(g.grid.isColumnHidden(4));
        QVERIFY(!(model->flags(model->index(0, 0)) & Qt::ItemIsEditable));
    }

    void rowsLoadOnlyWhenShownAndOncePerRow()
    {
        DecoratedGrid g;
        g.grid.resize(400, 300);
        g.grid.show();
        QVERIFY(QTest::qWaitForWindowExposed(&g.grid));
        g.control.setRecordSet(assignments(50000));
        g.grid.repaint();
        const int firstScreen = int(g.loads.size());
        QVERIFY2(firstScreen > 5 && firstScreen < 40, qPrintable(QString::number(firstScreen)));
        QCOMPARE(g.loads.first(), 0);

        g.grid.verticalScrollBar()->setValue(g.grid.verticalScrollBar()->maximum());
        g.grid.repaint();
        QVERIFY(g.loads.contains(49999));
        QVERIFY(!g.loads.contains(25000));
        const int afterEnd = int(g.loads.size());
        QVERIFY(afterEnd < 2 * firstScreen + 4);

        g.grid.verticalScrollBar()->setValue(0);
        g.grid.repaint();
        g.grid.verticalScrollBar()->setValue(g.grid.verticalScrollBar()->maximum());
        g.grid.repaint();
        QCOMPARE(g.loads.size(), afterEnd);
        QVERIFY(g.loadedOnce());
        QCOMPARE(g.grid.recordModel()->loadedRowCount(), afterEnd);
    }

    void decorationsSurviveAFilterButNotARebind()
    {
        DecoratedGrid g;
        auto rs = assignments(20);
        g.control.setRecordSet(rs);
        RecordSetModel *model = g.grid.recordModel();
        QCOMPARE(g.grid.text(1, QStringLiteral("Status")), QStringLiteral("Loaded 2"));
        QCOMPARE(g.grid.cellStyleSet(1, 3), QStringLiteral("RowRed"));
        QCOMPARE(model->index(1, 0).data(Qt::ForegroundRole).value<QBrush>().color(),
                 QColor(Qt::red));
        // Lower case is another code: no red.
        QCOMPARE(g.grid.cellStyleSet(3, 0), QString());
        QVERIFY(!model->index(3, 0).data(Qt::ForegroundRole).isValid());
        const int loadsBefore = int(g.loads.size());

        rs->setFilter(QStringLiteral("ASGNMT_NBR >= 2 AND ASGNMT_NBR <= 4"));
        QCOMPARE(g.grid.rowCount(), 3);
        QCOMPARE(g.grid.text(0, QStringLiteral("Status")), QStringLiteral("Loaded 2"));
        QCOMPARE(g.grid.cellStyleSet(0, 2), QStringLiteral("RowRed"));
        QCOMPARE(model->index(0, 2).data(Qt::ForegroundRole).value<QBrush>().color(),
                 QColor(Qt::red));
        QCOMPARE(g.loads.size(), loadsBefore);
        QCOMPARE(g.grid.text(1, QStringLiteral("Status")), QStringLiteral("Loaded 3"));
        QCOMPARE(g.loads.size(), loadsBefore + 1); // its first showing
        QCOMPARE(g.loads.last(), 2);

        rs->setFilter(QString());
        g.control.setRecordSet(rs); // bound again: every row is loaded afresh
        QCOMPARE(g.grid.recordModel()->loadedRowCount(), 0);
        QCOMPARE(g.grid.text(1, QStringLiteral("Status")), QStringLiteral("Loaded 2"));
        QCOMPARE(g.loads.count(1), 2);
    }

    // A row whose first bound column is null is a row all the same.
    void rowsWithoutAKeyAreDecoratedToo()
    {
        DecoratedGrid g;
        auto rs = assignments(2);
        rs->addNew();
        g.control.setRecordSet(rs);
        QCOMPARE(g.grid.text(2, QStringLiteral("Status")), QStringLiteral("Loaded "));
        QCOMPARE(g.grid.text(0, QStringLiteral("Status")), QStringLiteral("Loaded 1"));
        QCOMPARE(g.grid.text(0, QStringLiteral("NoSuchColumn")), QString());
        QCOMPARE(g.grid.text(7, QStringLiteral("Status")), QString());
    }

    void aFailingHandlerIsReportedAndTheGridGoesOn()
    {
        testkit::TestPlatform platform;
        DecoratedGrid g;
        QObject::connect(&g.grid, &DataGrid::RowLoaded, &g.grid, [](GridRow &row) {
            row.setText(QStringLiteral("Missing"), QStringLiteral("x"));
        });
        g.control.setRecordSet(assignments(3));
        QCOMPARE(g.grid.text(0, QStringLiteral("Status")), QStringLiteral("Loaded 1"));
        QCOMPARE(platform.reporter.reports.size(), 1);
        QCOMPARE(platform.reporter.reports.first().source, QStringLiteral("DataGrid.RowLoaded"));
        QVERIFY(platform.reporter.reports.first().text.contains(u"Missing"));
        QCOMPARE(g.grid.text(1, QStringLiteral("Status")), QStringLiteral("Loaded 2"));
        QCOMPARE(platform.reporter.reports.size(), 2);
    }

    void boldingStyleSetsGiveAPlainFontUnderABoldGrid()
    {
        DecoratedGrid g;
        g.control.setRecordSet(assignments(3));
        StyleSet &unbold = g.grid.styleSet(QStringLiteral("UNBOLD"));
        unbold.setBold(false);
        QFont bold = g.grid.font();
        bold.setBold(true);
        g.grid.setFont(bold);
        for (int c = 0; c < g.grid.columnCount(); ++c) {
            g.grid.setColumnStyleSet(c, QStringLiteral("UNBOLD"));
            g.grid.setColumnHeadStyleSet(c, QStringLiteral("UNBOLD"));
        }
        QVERIFY(g.grid.hasStyleSet(QStringLiteral("unbold")));
        QCOMPARE(g.grid.columnStyleSet(1), QStringLiteral("UNBOLD"));
        RecordSetModel *model = g.grid.recordModel();
        QCOMPARE(model->index(0, 0).data(Qt::FontRole).value<QFont>().bold(), false);
        QCOMPARE(model->headerData(0, Qt::Horizontal, Qt::FontRole).value<QFont>().bold(), false);
        QCOMPARE(model->index(0, 0).data(Qt::FontRole).value<QFont>().pointSizeF(),
                 bold.pointSizeF());
        // A red row's own style set goes over its column's, which still gives the font.
        QCOMPARE(g.grid.cellStyleSet(1, 0), QStringLiteral("RowRed"));
        QCOMPARE(g.grid.cellStyleSet(0, 0), QStringLiteral("UNBOLD"));
        QCOMPARE(model->index(1, 0).data(Qt::ForegroundRole).value<QBrush>().color(),
                 QColor(Qt::red));
        QCOMPARE(model->index(1, 0).data(Qt::FontRole).value<QFont>().bold(), false);
        QVERIFY(!model->index(0, 0).data(Qt::ForegroundRole).isValid());
        QVERIFY_THROWS_EXCEPTION(ProcError, g.grid.setColumnStyleSet(9, QStringLiteral("UNBOLD")));
    }

    void captionSitsAboveTheHeadings()
    {
        DecoratedGrid g;
        g.grid.resize(400, 300);
        g.grid.show();
        QVERIFY(QTest::qWaitForWindowExposed(&g.grid));
        g.control.setRecordSet(assignments(5));
        const int plainTop = g.grid.viewport()->geometry().top();
        g.grid.setCaption(QStringLiteral("Assignments"));
        QCOMPARE(g.grid.caption(), QStringLiteral("Assignments"));
        auto *label = g.grid.horizontalHeader()->findChild<QLabel *>(QStringLiteral("caption"));
        QVERIFY(label);
        QVERIFY(label->isVisible());
        QCOMPARE(label->text(), QStringLiteral("Assignments"));
        QVERIFY(g.grid.viewport()->geometry().top() > plainTop);
        // The headings are drawn below the caption band, not under it.
        QCOMPARE(g.grid.horizontalHeader()->viewport()->geometry().top(), label->height());
        QVERIFY(g.grid.horizontalHeader()->viewport()->height() > 10);
        g.grid.setCaption(QString());
        QVERIFY(!label->isVisible());
        QCOMPARE(g.grid.viewport()->geometry().top(), plainTop);
    }

    void redrawOffDefersLoadingUntilOn()
    {
        DecoratedGrid g;
        g.grid.resize(400, 300);
        g.grid.show();
        QVERIFY(QTest::qWaitForWindowExposed(&g.grid));
        g.grid.setRedraw(false);
        QVERIFY(!g.grid.redraw());
        g.control.setRecordSet(assignments(100));
        g.grid.repaint();
        QCOMPARE(g.loads.size(), 0);
        g.grid.setRedraw(true);
        g.grid.repaint();
        QVERIFY(!g.loads.isEmpty());
    }

    void aLongListsRowInfoIsWorkedOutBetweenFramesUnlessAFilterNeedsIt()
    {
        DecoratedGrid g;
        GridProxyModel *shown = g.grid.shownModel();
        int asked = 0;
        shown->setRowInfoSource([&asked](const RecordSet &rs, int s) {
            ++asked;
            GridProxyModel::RowInfo info;
            info.haystack = rs.storageRow(s).value(1).toString();
            info.overdue = s % 2 == 0;
            return info;
        });
        QSignalSpy ready(shown, &GridProxyModel::infoReady);
        g.control.setRecordSet(assignments(20000));
        // Binding asks for none of it; what a row on screen shows is worked out for that row.
        QCOMPARE(asked, 0);
        QVERIFY(shown->isOverdue(0));
        QCOMPARE(asked, 1);
        QVERIFY(ready.wait());
        QCOMPARE(asked, 20000); // each row once
        QCOMPARE(shown->overdueCount(), 10000);

        // A filter typed before the work is done finishes it at once, and still asks once a row.
        asked = 0;
        g.control.setRecordSet(assignments(20000));
        g.grid.setFilterText(QStringLiteral("PCE"));
        QCOMPARE(asked, 20000);
        QCOMPARE(shown->rowCount(), 8000);
        QVERIFY(shown->infoComplete());

        // A sort kept while another list is bound sorts the new rows by their own values.
        g.grid.setFilterText(QString());
        shown->sort(0, Qt::DescendingOrder);
        auto other = assignments(0);
        for (int number : {7, 500, 9})
            other->appendStorageRow({number, QStringLiteral("001"), 1001, QDate(2026, 1, 1)});
        g.control.setRecordSet(other);
        QCOMPARE(shown->index(0, 0).data().toString(), QStringLiteral("500"));

        // A long list's sort is shown once its keys are worked out between frames.
        shown->sort(-1);
        g.control.setRecordSet(assignments(20000));
        shown->sort(0, Qt::DescendingOrder);
        QCOMPARE(shown->index(0, 0).data().toString(), QStringLiteral("1"));
        QTRY_COMPARE(shown->index(0, 0).data().toString(), QStringLiteral("20000"));
    }
};

KORVA_TEST_MAIN(TestDataGrid)
#include "tst_datagrid.moc"
