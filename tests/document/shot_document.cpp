// Renders the document for a look at the screen (run under xvfb-run, or offscreen):
//   shot_document [list.png] [new-assignment.png]
// the list tab with a few rows, and the new-assignment tab filled in as a user would.
#include "documentfixture.h"

#include <QApplication>

using namespace korva;
using namespace korva::doctest;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = QApplication::arguments();
    Fixture f;
    f.tp.fakeUser.groups.clear(); // shows the closers indicator in its disabled state
    f.doc().resize(1200, 750);
    f.showWith({{.number = 1041,
                 .history = 2,
                 .formNumber = QStringLiteral("0000042-2"),
                 .formType = QStringLiteral("CIT"),
                 .subject = QStringLiteral("Unfiled returns")},
                {.number = 1042,
                 .type = QStringLiteral("PCE"),
                 .status = QStringLiteral("F"),
                 .from = 1003,
                 .subject = QStringLiteral("Payment applied twice")},
                {.number = 1043,
                 .type = QStringLiteral("900"),
                 .status = QStringLiteral("C"),
                 .from = 1004,
                 .history = 0,
                 .subject = QStringLiteral("Refund request")}});
    f.clickRow(0);
    QApplication::processEvents();
    if (!f.doc().grab().save(args.value(1, QStringLiteral("document.png"))))
        return 1;

    // The new assignment, in the order a user fills it.
    f.entry();
    f.combo(0)->selectCode(QStringLiteral("007"));
    f.leave(f.combo(0));
    f.combo(1)->selectCode(QStringLiteral("CIT"));
    f.type(0, QStringLiteral("42"));
    f.leave(f.box(0)); // completed to the citation number
    f.pick(3, f.today().addDays(7));
    f.type(1, QStringLiteral("1003"));
    f.leave(f.box(1));
    f.type(4, QStringLiteral("Citation not paid"));
    f.comment()->setFocus();
    QTest::keyClicks(f.comment(), QStringLiteral("The customer says the fine was paid in "
                                                 "October. Please check the receipt at the "
                                                 "premises and close this when done."));
    QApplication::processEvents();
    return f.doc().grab().save(args.value(2, QStringLiteral("new-assignment.png"))) ? 0 : 1;
}
