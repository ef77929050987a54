#include "dialogs/frmaddofficer.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/officerselect.h"
#include "test_main.h"
#include "testkit.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>

using namespace korva;

namespace {

struct Dialog {
    testkit::TestPlatform tp;
    frmAddOfficer dlg;
    QSignalSpy ok{&dlg, &frmAddOfficer::SendOK};
    QSignalSpy cancel{&dlg, &frmAddOfficer::SendCancel};

    template <class T> T *child(const char *name)
    {
        auto *w = dlg.findChild<T *>(QLatin1String(name));
        if (!w)
            qFatal("no control %s", name);
        return w;
    }
    DataGrid *grid() { return child<DataGrid>("grdAddOfficers"); }

    // Types into the picker and takes the first match with Enter, as a user would.
    void pick(const QString &typed)
    {
        auto *text = child<QLineEdit>("txtOfficer");
        text->clear();
        QTest::keyClicks(text, typed);
        QTest::keyClick(text, Qt::Key_Return);
    }
    QStringList gridColumn(const char *column)
    {
        QStringList out;
        for (int r = 0; r < grid()->rowCount(); ++r)
            out.append(grid()->text(r, QLatin1String(column)));
        return out;
    }
    RecordSetPtr handedOver() { return ok.last().at(0).value<RecordSetPtr>(); }
};

} // namespace

class TestAddOfficer : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { qRegisterMetaType<RecordSetPtr>(); }

    void picksAreCollectedOnceEach()
    {
        Dialog d;
        d.dlg.show();
        QCOMPARE(d.dlg.windowTitle(), QStringLiteral("Select Officers to be Added"));
        QCOMPARE(d.grid()->rowCount(), 0);

        d.pick(QStringLiteral("doe"));
        d.pick(QStringLiteral("roe"));
        // A row the user is on in the grid stays as it is when the next officer is added.
        d.grid()->setCurrentRow(0);
        d.pick(QStringLiteral("smith"));
        QCOMPARE(
            d.gridColumn("INSP_ID"),
            (QStringList{QStringLiteral("1001"), QStringLiteral("1003"), QStringLiteral("1002")}));
        // The name is the screens' rule, not the picker's: with its period and upper case.
        QCOMPARE(d.gridColumn("Propername"),
                 (QStringList{QStringLiteral("DOE, JANE Q."), QStringLiteral("ROE, ANN"),
                              QStringLiteral("SMITH, JR, JOHN Q.")}));
        QCOMPARE(d.tp.beeps.beeps, 0);

        // The same officer again: a beep, nothing added, nothing shown, nothing reported.
        d.pick(QStringLiteral("1001"));
        QCOMPARE(d.tp.beeps.beeps, 1);
        QCOMPARE(d.grid()->rowCount(), 3);
        QVERIFY(d.tp.boxes.shown.isEmpty());
        QVERIFY(d.tp.reporter.reports.isEmpty());
    }

    void officersTheCallerHoldsAreNotPickedAgain()
    {
        Dialog d;
        // The caller keeps its ids as numbers; the picker gives decimal text.
        d.dlg.SetOfficerList(
            testkit::makeRecordSet(QStringLiteral("OFFICER"),
                                   {{QStringLiteral("INSP_ID"), FieldType::Integer}}, {{1002}}));
        d.dlg.show();
        d.pick(QStringLiteral("smith"));
        QCOMPARE(d.tp.beeps.beeps, 1);
        QCOMPARE(d.grid()->rowCount(), 0);
        d.pick(QStringLiteral("doe"));
        QCOMPARE(d.grid()->rowCount(), 1);

        // An empty caller's list is not searched at all.
        Dialog e;
        e.dlg.SetOfficerList(RecordSet::create(QStringLiteral("OFFICER")));
        e.dlg.show();
        e.pick(QStringLiteral("smith"));
        QCOMPARE(e.grid()->rowCount(), 1);
        QCOMPARE(e.tp.beeps.beeps, 0);
    }

    void clearTakesAllOrOnlyTheCurrentRow()
    {
        Dialog d;
        d.dlg.show();
        for (const char *name : {"doe", "roe", "smith"})
            d.pick(QLatin1String(name));
        auto *clear = d.child<QPushButton>("cmdClear");
        QCOMPARE(clear->text(), QStringLiteral("Clear Added Officers"));

        // Two rows selected, the second current: one row goes, and the selection with it.
        d.grid()->setCurrentRow(1);
        d.grid()->selectRow(0);
        d.grid()->selectionModel()->select(d.grid()->model()->index(1, 0),
                                           QItemSelectionModel::Select | QItemSelectionModel::Rows);
        d.grid()->selectionModel()->setCurrentIndex(d.grid()->model()->index(1, 0),
                                                    QItemSelectionModel::NoUpdate);
        QCOMPARE(d.grid()->selectionModel()->selectedRows().size(), 2);
        QTest::mouseClick(clear, Qt::LeftButton);
        QCOMPARE(d.gridColumn("INSP_ID"),
                 (QStringList{QStringLiteral("1001"), QStringLiteral("1002")}));
        QVERIFY(d.grid()->selectionModel()->selectedRows().isEmpty());

        // Nothing selected: every row goes.
        QTest::mouseClick(clear, Qt::LeftButton);
        QCOMPARE(d.grid()->rowCount(), 0);
        QTest::mouseClick(clear, Qt::LeftButton); // an empty list stays empty, without a report
        QVERIFY(d.tp.reporter.reports.isEmpty());
    }

    void okHandsTheListOverAndCancelLetsItGo()
    {
        Dialog d;
        d.dlg.show();
        d.pick(QStringLiteral("smith"));
        QTest::mouseClick(d.child<QPushButton>("cmdOK"), Qt::LeftButton);
        QCOMPARE(d.ok.size(), 1);
        QCOMPARE(d.cancel.size(), 0);
        QVERIFY(!d.dlg.isVisible());
        const RecordSetPtr list = d.handedOver();
        QCOMPARE(list->name(), QStringLiteral("OFFICER"));
        QCOMPARE(list->count(), 1);
        list->moveFirst();
        QCOMPARE(list->text(u"INSP_ID"), QStringLiteral("1002"));
        QCOMPARE(list->text(u"INSP_NME_LST"), QStringLiteral("smith,jr"));
        QCOMPARE(list->text(u"INSP_NME_FRST"), QStringLiteral("john"));
        QCOMPARE(list->text(u"INSP_NME_MDL_INT"), QStringLiteral("q"));

        // OK with nothing picked still hands over a list, an empty one.
        Dialog e;
        e.dlg.show();
        QTest::mouseClick(e.child<QPushButton>("cmdOK"), Qt::LeftButton);
        QCOMPARE(e.ok.size(), 1);
        QCOMPARE(e.handedOver()->count(), 0);

        Dialog c;
        c.dlg.show();
        c.pick(QStringLiteral("doe"));
        QTest::mouseClick(c.child<QPushButton>("cmdCancel"), Qt::LeftButton);
        QCOMPARE(c.cancel.size(), 1);
        QCOMPARE(c.ok.size(), 0);
        QVERIFY(!c.dlg.isVisible());
        QVERIFY(c.tp.reporter.reports.isEmpty());
    }
};

KORVA_TEST_MAIN(TestAddOfficer)
#include "tst_frmaddofficer.moc"
