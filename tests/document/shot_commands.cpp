// Renders the document over a demo store with a row selected and a command's dialog open, for
// a look at the screen (run under xvfb-run, or offscreen):
//   shot_commands [folder]   writes reply.png, close.png and history.png there
#include "dialogs/frmassignhistory.h"
#include "dialogs/frmassignroc.h"
#include "documentfixture.h"
#include "embedded.h"
#include "modaldialog.h"

#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QSignalSpy>

using namespace korva;

namespace {

// The document with the modal dialog drawn where it stands over it.
QImage composed(QWidget *document, QWidget *dialog)
{
    QImage image = document->grab().toImage();
    QPainter painter(&image);
    const QPoint at = dialog->mapToGlobal(QPoint()) - document->mapToGlobal(QPoint());
    painter.drawPixmap(at, dialog->grab());
    painter.setPen(QColor(90, 90, 90));
    painter.drawRect(QRect(at, dialog->size()).adjusted(0, 0, -1, -1));
    return image;
}

// Clicks `button` and, once its modal dialog is up, lets `fill` prepare it, then saves the
// picture; the dialog is dismissed afterwards.
bool shoot(KORVA_AssignMaint &doc, QPushButton *button, const QString &file,
           const std::function<void(QDialog *)> &fill)
{
    bool saved = false;
    doctest::duringModal<QDialog>(
        [&] {
            QTest::mouseClick(button, Qt::LeftButton);
            // The history opens only when its reply arrives.
            (void)QTest::qWaitFor([&] { return saved; }, 20000);
        },
        [&](QDialog *dialog) {
            fill(dialog);
            QTest::qWait(150);
            saved = composed(&doc, dialog).save(file);
        });
    return saved;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QDir out(QApplication::arguments().value(1, QStringLiteral(".")));
    testkit::TestPlatform tp;
    testkit::EmbeddedStore store(240);
    testkit::EmbeddedSignOn signOn(tp, store, 1001);

    KORVA_AssignMaint doc;
    doc.resize(1200, 720);
    QSignalSpy replies(doc.mZelbMessage, &BrokerMessage::DataReady);
    doc.show();
    if (!QTest::qWaitFor([&] { return replies.count() >= 1; }, 20000))
        return 1;

    // A received open assignment with some history, selected as the user would.
    DataGrid *grid = doc.findChild<DataGrid *>(QStringLiteral("grdAssignment"));
    int row = 0;
    for (int r = 0; r < grid->rowCount(); ++r) {
        if (grid->text(r, QStringLiteral("HIST_CNT")).toInt() > 1 &&
            grid->text(r, QStringLiteral("ASGNMT_STTS_CD")) == u"O") {
            row = r;
            break;
        }
    }
    auto select = [&] {
        grid->scrollTo(grid->model()->index(row, 0));
        const QRect cell = grid->visualRect(grid->model()->index(row, 1));
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
    };
    auto button = [&](int i) {
        return doc.findChild<QPushButton *>(QStringLiteral("cmdButton(%1)").arg(i));
    };
    auto comment = [](const QString &text) {
        return [text](QDialog *dialog) {
            if (auto *roc = qobject_cast<frmAssignROC *>(dialog)) {
                roc->txtBox->setFocus();
                QTest::keyClicks(roc->txtBox, text);
            }
        };
    };

    select();
    if (!shoot(doc, button(2), out.filePath(QStringLiteral("reply.png")),
               comment(QStringLiteral("Checked with the customer; the receipt is attached."))))
        return 2;
    select();
    if (!shoot(doc, button(3), out.filePath(QStringLiteral("close.png")),
               comment(QStringLiteral("Paid in full on 11/20."))))
        return 3;
    select();
    if (!shoot(doc, button(5), out.filePath(QStringLiteral("history.png")), [](QDialog *) {}))
        return 4;
    return 0;
}
