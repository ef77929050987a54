// Renders the document's list tab with a few rows into a PNG, for looking at the screen:
//   shot_document <file.png>   (run under xvfb-run, or offscreen)
#include "documentfixture.h"

#include <QApplication>

using namespace korva;
using namespace korva::doctest;

int main(int argc, char *argv[]) {
    QApplication app(argc, argv);
    const QString file =
        argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("document.png");
    Fixture f;
    f.tp.fakeUser.groups.clear(); // shows the closers indicator in its disabled state
    f.showWith({{.number = 1041,
                 .type = QStringLiteral("001"),
                 .status = QStringLiteral("O"),
                 .from = 1002,
                 .to = 1001,
                 .history = 2,
                 .formNumber = QStringLiteral("0000042-2"),
                 .formType = QStringLiteral("CIT"),
                 .subject = QStringLiteral("Unfiled returns"),
                 .comment = QStringLiteral("Visit the premises before the due date.")},
                {.number = 1042,
                 .type = QStringLiteral("PCE"),
                 .status = QStringLiteral("F"),
                 .from = 1003,
                 .to = 1001,
                 .subject = QStringLiteral("Payment applied twice")},
                {.number = 1043,
                 .type = QStringLiteral("007"),
                 .status = QStringLiteral("R"),
                 .from = 1004,
                 .to = 1001,
                 .formNumber = QStringLiteral("123456789"),
                 .formType = QStringLiteral("ACC"),
                 .subject = QStringLiteral("Citation follow-up")},
                {.number = 1044,
                 .type = QStringLiteral("900"),
                 .status = QStringLiteral("C"),
                 .from = 1002,
                 .to = 1001,
                 .history = 0,
                 .subject = QStringLiteral("Refund request")},
                {.number = 1045,
                 .type = QStringLiteral("DEF"),
                 .status = QStringLiteral("O"),
                 .from = 1001,
                 .to = 1001,
                 .subject = QStringLiteral("Note to self")}});
    f.clickRow(0);
    QApplication::processEvents();
    if (!f.doc().grab().save(file))
        return 1;
    f.doc().tabTab->setCurrentIndex(1);
    QApplication::processEvents();
    QString entryFile = file;
    entryFile.replace(QStringLiteral(".png"), QStringLiteral("-entry.png"));
    return f.doc().grab().save(entryFile) ? 0 : 1;
}
