// Every window a screen reader meets: each interactive control has a name, and the list's
// rows read as text.
#include "accessibilitywalk.h"
#include "dialogs/frmaddofficer.h"
#include "dialogs/frmassignforward.h"
#include "dialogs/frmassignhistory.h"
#include "dialogs/frmassignroc.h"
#include "documentfixture.h"
#include "inquiry/korva_selectcustforminq.h"
#include "test_main.h"
#include "worksheet/korva_worksheet.h"

#include <QAccessibleTableInterface>

using namespace korva;
using namespace korva::doctest;

class TestAccessibility : public QObject {
    Q_OBJECT
private slots:
    void everyControlOfEveryWindowHasAName()
    {
        Fixture f;
        f.showWith({Row{.number = 7}});
        KORVA_AssignMaint &doc = f.doc();
        QStringList unnamed;
        auto *tabs = doc.findChild<QTabWidget *>(QStringLiteral("tabTab"));
        for (int tab = 0; tab < tabs->count(); ++tab) {
            tabs->setCurrentIndex(tab);
            unnamed += testkit::unnamedControls(&doc);
        }
        const auto walk = [&](QWidget *window) {
            window->show();
            QVERIFY(QTest::qWaitForWindowExposed(window));
            unnamed += testkit::unnamedControls(window);
            window->close();
        };
        frmAssignROC roc;
        walk(&roc);
        frmAssignForward forward;
        walk(&forward);
        frmAssignHistory history;
        walk(&history);
        frmAddOfficer officers;
        walk(&officers);
        KORVA_SelectCustFormInq inquiry;
        walk(&inquiry);
        KORVA_WorkSheet worksheet;
        walk(&worksheet);
        unnamed.removeDuplicates();
        QVERIFY2(unnamed.isEmpty(), qPrintable(unnamed.join(u'\n')));
    }

    void theListsRowsReadAsText()
    {
        Fixture f;
        f.showWith({Row{.number = 7, .subject = QStringLiteral("Audit")}});
        QAccessibleInterface *grid = QAccessible::queryAccessibleInterface(f.grid());
        QVERIFY(grid && grid->tableInterface());
        QCOMPARE(grid->text(QAccessible::Name), QStringLiteral("Assignments"));
        QAccessibleTableInterface *table = grid->tableInterface();
        QCOMPARE(table->rowCount(), 1);
        QStringList cells;
        for (int c = 0; c < table->columnCount(); ++c) {
            QAccessibleInterface *cell = table->cellAt(0, c);
            if (cell && !cell->state().invisible)
                cells.append(cell->text(QAccessible::Name));
        }
        QVERIFY2(cells.contains(u"Audit") && cells.contains(u"7"), qPrintable(cells.join(u'|')));
    }
};

KORVA_TEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"
