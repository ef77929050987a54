#include "gridfixture.h"
#include "test_main.h"

#include <QHeaderView>
#include <QSignalSpy>

using namespace korva;
using namespace korva::gridtest;

namespace {

QPoint cellCentre(const DataGrid &grid, int row, int column)
{
    return grid.visualRect(grid.model()->index(row, column)).center();
}

} // namespace

class TestGridInput : public QObject {
    Q_OBJECT
private slots:
    void columnsAreFoundByNameInAnyCase()
    {
        DecoratedGrid g;
        QCOMPARE(g.grid.columnIndex(QStringLiteral("status")), 2);
        QCOMPARE(g.grid.columnIndex(QStringLiteral("ASGNMT_NBR")), 0);
        QCOMPARE(g.grid.columnIndex(QStringLiteral("NOPE")), -1);
        QCOMPARE(g.grid.columnName(3), QStringLiteral("DUE_DT"));
        QCOMPARE(g.grid.columnName(9), QString());
        g.grid.setColumnVisible(QStringLiteral("ofcr_to_id"), true);
        QVERIFY(!g.grid.isColumnHidden(4));
    }

    void currentRowReadsItsColumnsAndFollowsTheFilter()
    {
        DecoratedGrid g;
        auto rs = assignments(10);
        g.control.setRecordSet(rs);
        QCOMPARE(g.grid.currentRow(), -1);
        QCOMPARE(g.grid.currentText(QStringLiteral("ASGNMT_NBR")), QString());

        g.grid.setCurrentRow(4);
        QCOMPARE(g.grid.currentRow(), 4);
        QCOMPARE(g.grid.currentText(QStringLiteral("asgnmt_nbr")), QStringLiteral("5"));
        QCOMPARE(g.grid.currentText(QStringLiteral("Status")), QStringLiteral("Loaded 5"));
        QCOMPARE(g.grid.currentText(QStringLiteral("OFCR_TO_ID")), QStringLiteral("1002"));
        QCOMPARE(rs->text(u"ASGNMT_NBR"), QStringLiteral("5")); // the cursor follows

        // The same assignment stays current when a filter keeps it, at its new place.
        rs->setFilter(QStringLiteral("ASGNMT_NBR > 3"));
        QCOMPARE(g.grid.currentRow(), 1);
        QCOMPARE(g.grid.currentText(QStringLiteral("ASGNMT_NBR")), QStringLiteral("5"));
        rs->setFilter(QStringLiteral("ASGNMT_NBR > 6"));
        QCOMPARE(g.grid.currentRow(), -1);
        rs->setFilter(QString());
        QCOMPARE(g.grid.currentRow(), -1);

        g.grid.setCurrentRow(2);
        g.control.setRecordSet(assignments(10)); // a new list: nothing current
        QCOMPARE(g.grid.currentRow(), -1);
        g.grid.setCurrentRow(2);
        g.grid.setCurrentRow(-1);
        QCOMPARE(g.grid.currentRow(), -1);
    }

    void columnWidthsSurviveAFilter()
    {
        DecoratedGrid g;
        auto rs = assignments(10);
        g.control.setRecordSet(rs);
        g.grid.setColumnWidth(1, 173);
        rs->setFilter(QStringLiteral("ASGNMT_NBR > 3"));
        QCOMPARE(g.grid.columnWidth(1), 173);
        QVERIFY(g.grid.isColumnHidden(4));
    }

    void mouseReleaseRecordsWhatWasHit()
    {
        DecoratedGrid g;
        g.grid.resize(500, 300);
        g.grid.show();
        QVERIFY(QTest::qWaitForWindowExposed(&g.grid));
        g.control.setRecordSet(assignments(3));
        QSignalSpy clicks(&g.grid, &DataGrid::Click);
        QSignalSpy doubleClicks(&g.grid, &DataGrid::DblClick);
        QCOMPARE(g.grid.lastHitTest(), int(DataGrid::HitNone));

        QTest::mouseClick(g.grid.viewport(), Qt::LeftButton, {}, cellCentre(g.grid, 1, 2));
        QCOMPARE(g.grid.lastHitTest(), int(DataGrid::HitData));
        QCOMPARE(g.grid.currentRow(), 1);
        QCOMPARE(clicks.size(), 1);

        auto *heading = g.grid.horizontalHeader();
        QTest::mouseClick(
            heading->viewport(), Qt::LeftButton, {},
            QPoint(heading->sectionViewportPosition(1) + 5, heading->viewport()->height() / 2));
        QCOMPARE(g.grid.lastHitTest(), int(DataGrid::HitHeading));
        QCOMPARE(clicks.size(), 1); // a heading is not a row click
        QCOMPARE(g.grid.currentRow(), 1);

        // Below the last row: nothing.
        QTest::mouseClick(g.grid.viewport(), Qt::LeftButton, {},
                          QPoint(10, g.grid.viewport()->height() - 5));
        QCOMPARE(g.grid.lastHitTest(), int(DataGrid::HitNone));

        auto *selectors = g.grid.verticalHeader();
        QTest::mouseClick(
            selectors->viewport(), Qt::LeftButton, {},
            QPoint(5, selectors->sectionViewportPosition(2) + selectors->sectionSize(2) / 2));
        QCOMPARE(g.grid.lastHitTest(), int(DataGrid::HitDataSelected));
        QCOMPARE(g.grid.currentRow(), 2);

        QTest::mouseClick(g.grid.viewport(), Qt::LeftButton, {}, cellCentre(g.grid, 0, 0));
        QCOMPARE(g.grid.lastHitTest(), int(DataGrid::HitData));
        QCOMPARE(g.grid.currentText(QStringLiteral("ASGNMT_NBR")), QStringLiteral("1"));
        QTest::mouseDClick(g.grid.viewport(), Qt::LeftButton, {}, cellCentre(g.grid, 0, 0));
        QCOMPARE(doubleClicks.size(), 1);
    }
};

KORVA_TEST_MAIN(TestGridInput)
#include "tst_gridinput.moc"
