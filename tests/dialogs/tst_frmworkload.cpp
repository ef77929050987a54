// The workload overview against the real server: a supervisor's counts agree with the store,
// sort as numbers, and an officer without the right reads the refusal and sees no row.
#include "dialogs/frmworkload.h"
#include "embedded.h"
#include "test_main.h"

#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QTableView>

using namespace korva;
using namespace korva::testkit;

class TestFrmWorkload : public QObject {
    Q_OBJECT

    std::unique_ptr<EmbeddedStore> store;

    static QList<qint64> column(frmWorkload &dlg, int c)
    {
        QList<qint64> values;
        for (int r = 0; r < dlg.sorted->rowCount(); ++r)
            values.append(dlg.sorted->index(r, c).data().toLongLong());
        return values;
    }

private slots:
    void initTestCase() { store = std::make_unique<EmbeddedStore>(); }
    void cleanupTestCase() { store.reset(); }

    void supervisorSeesTheStoresCountsPerOfficer()
    {
        TestPlatform tp;
        EmbeddedSignOn signOn(tp, *store, 1001);
        frmWorkload dlg;
        dlg.Refresh();
        QVERIFY(!dlg.cmdRefresh->isEnabled());
        QTRY_VERIFY(dlg.cmdRefresh->isEnabled());
        const qint64 officers = store->count(
            QStringLiteral("SELECT COUNT(DISTINCT OFCR_TO_ID) FROM ASGNMT WHERE OFCR_TO_ID IS NOT "
                           "NULL AND (ASGNMT_STTS_CD <> 'C' OR CLSE_DT >= ?)"),
            {QDate::currentDate().addDays(1 - QDate::currentDate().day()).toString(Qt::ISODate)});
        QVERIFY(officers > 1);
        QCOMPARE(dlg.model->rowCount(), int(officers));

        // The heavy officer's row carries the name and the store's own counts.
        const QList<QStandardItem *> heavy =
            dlg.model->findItems(QStringLiteral("(1003)"), Qt::MatchEndsWith, frmWorkload::Officer);
        QCOMPARE(heavy.size(), 1);
        QVERIFY(heavy[0]->text().size() > QStringLiteral(" (1003)").size());
        const int row = heavy[0]->row();
        QCOMPARE(dlg.model->item(row, frmWorkload::Open)->data(Qt::DisplayRole).toLongLong(),
                 store->count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE OFCR_TO_ID = 1003 "
                                             "AND ASGNMT_STTS_CD IN ('O', 'F', 'R')")));
        QCOMPARE(dlg.model->item(row, frmWorkload::Overdue)->data(Qt::DisplayRole).toLongLong(),
                 store->count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE OFCR_TO_ID = 1003 "
                                             "AND ASGNMT_STTS_CD IN ('O', 'F', 'R') AND DUE_DT < ?"),
                              {QDate::currentDate().toString(Qt::ISODate)}));

        // A click on a heading sorts the counts as numbers.
        dlg.tblWorkload->horizontalHeader()->setSortIndicator(frmWorkload::Open,
                                                              Qt::DescendingOrder);
        const QList<qint64> open = column(dlg, frmWorkload::Open);
        QVERIFY(std::is_sorted(open.rbegin(), open.rend()));
        QVERIFY(open.first() > open.last());
    }

    void withoutTheRightNothingIsShown()
    {
        TestPlatform tp;
        EmbeddedSignOn signOn(tp, *store, 1002);
        frmWorkload dlg;
        dlg.Refresh();
        QTRY_VERIFY(dlg.cmdRefresh->isEnabled());
        QCOMPARE(dlg.model->rowCount(), 0);
        QVERIFY2(dlg.lblStatus->text().contains(u"AssignmentListAll"),
                 qPrintable(dlg.lblStatus->text()));
    }
};

KORVA_TEST_MAIN(TestFrmWorkload)
#include "tst_frmworkload.moc"
