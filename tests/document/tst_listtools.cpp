// The list as an officer lives in it: keys move the row commands, heading sort, quick filter,
// overdue and new rows, and the export of what is shown.
#include "document/assignmentlisttab.h"
#include "document/assignmentlisttools.h"
#include "documentfixture.h"
#include "platform/controls/gridproxy.h"
#include "test_main.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QRadioButton>
#include <QSettings>
#include <QTemporaryDir>

using namespace korva;
using namespace korva::doctest;

namespace {

// Numbers 9, 10, 100 arrive newest first in the server's order: 100, 9, 10.
QList<Row> threeRows()
{
    Row a{.number = 100, .subject = QStringLiteral("Audit, \"urgent\"")};
    Row b{.number = 9, .status = QStringLiteral("C"), .subject = QStringLiteral("Plain")};
    Row c{.number = 10, .type = QStringLiteral("PCE"), .subject = QStringLiteral("Refund")};
    return {a, b, c};
}

void clickHeading(DataGrid *grid, const QString &column)
{
    QHeaderView *header = grid->horizontalHeader();
    const int section = grid->columnIndex(column);
    const QPoint at(header->sectionViewportPosition(section) + header->sectionSize(section) / 2,
                    header->viewport()->height() / 2);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, at);
}

QStringList shownNumbers(DataGrid *grid)
{
    QStringList out;
    for (int p = 0; p < grid->shownRowCount(); ++p)
        out.append(grid->text(grid->shownRow(p), QStringLiteral("ASGNMT_NBR")));
    return out;
}

} // namespace

class TestListTools : public QObject {
    Q_OBJECT
private slots:
    void keysMoveTheRowCommandsAndARebindTurnsThemOff()
    {
        Fixture f;
        f.showWith(threeRows());
        DataGrid *grid = f.grid();
        QVERIFY(!f.button(3)->isEnabled());
        grid->setFocus();
        QTest::keyClick(grid, Qt::Key_Down); // the first row becomes current
        QTest::keyClick(grid, Qt::Key_End, Qt::ControlModifier);
        QCOMPARE(grid->currentText(QStringLiteral("ASGNMT_NBR")), QStringLiteral("10"));
        QVERIFY(f.button(3)->isEnabled()); // Close, for an open row
        QTest::keyClick(grid, Qt::Key_Up);
        QVERIFY(!f.button(3)->isEnabled()); // the closed row offers Reopen
        QVERIFY(f.button(4)->isEnabled());

        // A list queried again (as after the worksheet) has no current row.
        f.button(0)->click();
        f.tp.fakeBroker.replyGood({assignments(threeRows())});
        QCOMPARE(grid->currentRow(), -1);
        for (int i : {1, 2, 3, 4, 5})
            QVERIFY2(!f.button(i)->isEnabled(), qPrintable(QString::number(i)));
    }

    void headingsSortAsNumbersAndDatesAndTheSortOutlivesARebind()
    {
        Fixture f;
        QList<Row> rows = threeRows();
        f.showWith(rows);
        DataGrid *grid = f.grid();
        clickHeading(grid, QStringLiteral("ASGNMT_NBR"));
        QCOMPARE(shownNumbers(grid), QStringLiteral("9 10 100").split(u' '));
        clickHeading(grid, QStringLiteral("ASGNMT_NBR"));
        QCOMPARE(shownNumbers(grid), QStringLiteral("100 10 9").split(u' '));

        // The row a click lands on is the row the commands read.
        f.clickRow(2);
        QCOMPARE(grid->currentText(QStringLiteral("ASGNMT_NBR")), QStringLiteral("9"));
        QVERIFY(f.button(4)->isEnabled()); // closed: Reopen

        f.button(0)->click();
        rows.append(Row{.number = 11});
        f.tp.fakeBroker.replyGood({assignments(rows)});
        QCOMPARE(shownNumbers(grid), QStringLiteral("100 11 10 9").split(u' '));
        clickHeading(grid, QStringLiteral("ASGNMT_NBR")); // the third click: the server's order
        QCOMPARE(shownNumbers(grid), QStringLiteral("100 9 10 11").split(u' '));

        // Dates as dates: a day in December after one in November, whatever the text.
        RecordSetPtr rs = f.grid()->dataControl()->recordSet();
        const int due = rs->fieldIndex(u"DUE_DT");
        rs->setValueAt(0, due, QDate(2026, 12, 1));
        rs->setValueAt(1, due, QDate(2026, 2, 10));
        rs->setValueAt(2, due, QDate(2026, 11, 30));
        rs->setValueAt(3, due, QVariant());
        grid->shownModel()->sort(-1);
        clickHeading(grid, QStringLiteral("DUE_DT"));
        QCOMPARE(shownNumbers(grid), QStringLiteral("9 10 100 11").split(u' ')); // empty last
    }

    void filterNarrowsByAnyOfTheOfficersTexts()
    {
        Fixture f;
        QList<Row> rows = threeRows();
        rows[1].from = 1001; // Jane Doe sent the closed one; John Smith the others
        rows[2].comment = QStringLiteral("Call the customer");
        rows[2].formNumber = QStringLiteral("12345678");
        f.showWith(rows);
        DataGrid *grid = f.grid();
        QLineEdit *filter = f.doc().listTab->tools()->filterBox();
        const auto shownFor = [&](const QString &text) {
            filter->setText(text);
            return shownNumbers(grid).join(u' ');
        };
        QCOMPARE(shownFor(QStringLiteral("AUDIT")), QStringLiteral("100"));    // subject, any case
        QCOMPARE(shownFor(QStringLiteral("call the")), QStringLiteral("10"));  // comment
        QCOMPARE(shownFor(QStringLiteral("2345")), QStringLiteral("10"));      // reference number
        QCOMPARE(shownFor(QStringLiteral("doe")), QStringLiteral("100 9 10")); // "to" officer
        QCOMPARE(shownFor(QStringLiteral("smith")), QStringLiteral("100 10"));
        QCOMPARE(shownFor(QStringLiteral("smith jr")), QString()); // typed on: narrows again
        QCOMPARE(shownFor(QStringLiteral("9")), QStringLiteral("9"));
        QCOMPARE(f.doc().listTab->tools()->countsLabel()->text(), QStringLiteral("1 of 3 shown"));
        QCOMPARE(f.sentCount(), 1); // never a request

        // The current row hidden by the filter leaves the commands off.
        filter->clear();
        f.clickRow(0);
        QVERIFY(f.button(3)->isEnabled());
        filter->setText(QStringLiteral("plain"));
        QCOMPARE(grid->currentRow(), -1);
        QVERIFY(!f.button(3)->isEnabled());
    }

    void overdueRowsAreBoldWithAnIconAndRedRowsStayRed()
    {
        Fixture f;
        QList<Row> rows = threeRows();
        f.shown();
        RecordSetPtr rs = assignments(rows);
        const int due = rs->fieldIndex(u"DUE_DT");
        for (int r = 0; r < rs->count(); ++r)
            rs->setValueAt(r, due, f.today().addDays(-1)); // all past due
        f.tp.fakeBroker.replyGood({rs});
        DataGrid *grid = f.grid();
        const QAbstractItemModel *m = grid->model();
        // 100 open, 9 closed, 10 the open payment correction.
        QVERIFY(m->data(m->index(0, 0), Qt::FontRole).value<QFont>().bold());
        QVERIFY(!m->data(m->index(0, 0), Qt::DecorationRole).value<QIcon>().isNull());
        QVERIFY(m->data(m->index(0, 3), Qt::DecorationRole).isNull()); // one icon a row
        QVERIFY(!m->data(m->index(1, 0), Qt::FontRole).value<QFont>().bold());
        QVERIFY(m->data(m->index(1, 0), Qt::DecorationRole).isNull());
        QVERIFY(m->data(m->index(2, 3), Qt::FontRole).value<QFont>().bold());
        QCOMPARE(m->data(m->index(2, 3), Qt::ForegroundRole).value<QBrush>().color(),
                 QColor(Qt::red));
        QVERIFY(m->data(m->index(2, 0), Qt::AccessibleTextRole).toString().startsWith(u"Overdue"));
        QTRY_COMPARE(f.doc().listTab->tools()->countsLabel()->text(),
                     QStringLiteral("3 rows, 2 overdue"));
    }

    void rowsNewSinceTheLastListAreMarked()
    {
        Fixture f;
        f.showWith(threeRows());
        const GridProxyModel *shown = f.grid()->shownModel();
        QCOMPARE(shown->freshCount(), 0); // the first list has nothing to compare with
        QList<Row> rows = threeRows();
        rows.prepend(Row{.number = 101});
        f.button(0)->click();
        f.tp.fakeBroker.replyGood({assignments(rows)});
        QVERIFY(shown->isFresh(0));
        QCOMPARE(shown->freshCount(), 1);
        QVERIFY(f.doc().listTab->tools()->countsLabel()->text().endsWith(u", 1 new"));
        f.button(0)->click();
        f.tp.fakeBroker.replyGood({assignments(rows)});
        QCOMPARE(shown->freshCount(), 0);
    }

    void exportWritesTheRowsAsShown()
    {
        Fixture f;
        f.showWith(threeRows());
        DataGrid *grid = f.grid();
        clickHeading(grid, QStringLiteral("ASGNMT_NBR"));
        f.doc().listTab->tools()->filterBox()->setText(QStringLiteral("u")); // Audit, Refund
        grid->horizontalHeader()->moveSection(grid->columnIndex(QStringLiteral("ASGNMT_NBR")), 0);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("list.csv"));
        QVERIFY(f.doc().listTab->tools()->exportCsv(path));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        QCOMPARE(lines.size(), 4); // header, two rows, the empty tail after the last CR LF
        QVERIFY(lines[0].startsWith("Number,Status,Assignment Type,Subject,"));
        QVERIFY(lines[1].startsWith("10,Open,Payment Correction,Refund,"));
        QVERIFY(lines[2].startsWith("100,Open,Referral,\"Audit, \"\"urgent\"\"\","));
        QVERIFY(lines[1].endsWith("\r"));
    }

    void aSupervisorChoosesWhoseListToSearch()
    {
        {
            Fixture f; // without the right, no choice: the officer's own list
            f.showWith(threeRows());
            QVERIFY(f.doc().findChild<QComboBox *>(QStringLiteral("cboListOfficer"))->isHidden());
        }
        Fixture f;
        f.tp.fakeUser.rights.insert(QStringLiteral("AssignmentListAll"));
        f.showWith(threeRows());
        auto *whose = f.doc().findChild<QComboBox *>(QStringLiteral("cboListOfficer"));
        QVERIFY(whose->isVisible());
        QVERIFY(whose->count() > 1);
        QCOMPARE(whose->itemData(0).toLongLong(), qint64(f.tp.fakeUser.officerId()));
        whose->setCurrentIndex(1);
        const QString other = whose->itemData(1).toString();
        f.button(0)->click();
        QCOMPARE(f.lastRequest().keyValue(u"OFCR_TO_ID"), other);
    }

    void columnsAndSortAreRememberedButNotWhichAreShown()
    {
        QTemporaryDir dir;
        QSettings settings(dir.filePath(QStringLiteral("k.ini")), QSettings::IniFormat);
        int number = -1;
        {
            Fixture f;
            f.showWith(threeRows());
            DataGrid *grid = f.grid();
            number = grid->columnIndex(QStringLiteral("ASGNMT_NBR"));
            grid->horizontalHeader()->moveSection(grid->horizontalHeader()->visualIndex(number), 5);
            grid->setColumnWidth(number, 133);
            clickHeading(grid, QStringLiteral("ASGNMT_NBR"));
            // The last search's choices: sent, every status, all officers.
            for (const char *name : {"optSent", "optAllOfficers"})
                f.doc().findChild<QRadioButton *>(QLatin1String(name))->setChecked(true);
            f.doc().findChild<QRadioButton *>(QStringLiteral("optButton(1)"))->setChecked(false);
            f.doc().listTab->saveRemembered(settings);
        }
        Fixture f;
        f.showWith(threeRows());
        DataGrid *grid = f.grid();
        f.doc().listTab->restoreRemembered(settings);
        for (const char *name : {"optSent", "optAllOfficers"})
            QVERIFY(f.doc().findChild<QRadioButton *>(QLatin1String(name))->isChecked());
        f.button(0)->click();
        QVERIFY(f.lastRequest().hasKey(u"OFCR_FRM_ID"));
        QVERIFY(!f.lastRequest().hasKey(u"ASGNMT_STTS_CD"));
        f.tp.fakeBroker.replyGood({assignments(threeRows())});
        QCOMPARE(grid->horizontalHeader()->visualIndex(number), 5);
        QCOMPARE(grid->columnWidth(number), 133);
        QCOMPARE(shownNumbers(grid), QStringLiteral("9 10 100").split(u' '));
        QVERIFY(grid->isColumnHidden(grid->columnIndex(QStringLiteral("HIST_CNT"))));
        // A list queried again keeps them.
        f.button(0)->click();
        f.tp.fakeBroker.replyGood({assignments(threeRows())});
        QCOMPARE(grid->horizontalHeader()->visualIndex(number), 5);
        QCOMPARE(grid->columnWidth(number), 133);
        QCOMPARE(shownNumbers(grid), QStringLiteral("9 10 100").split(u' '));
    }
};

KORVA_TEST_MAIN(TestListTools)
#include "tst_listtools.moc"
