// Renders the refund worksheet on demo data for a look at the screen (run under xvfb-run):
//   shot_worksheet [at-2.png] [at-5.png]
// a verified refund opened by the officer who approves it, and a mailed one.
#include "embedded.h"
#include "worksheet/korva_worksheet.h"

#include <QApplication>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTest>

using namespace korva;
using namespace korva::testkit;

namespace {

bool shoot(EmbeddedStore &store, int officer, const char *status, const QString &file)
{
    QSqlQuery &q =
        store.db().run(QStringLiteral("SELECT RFND_NBR, CUST_ID FROM REFUND WHERE STTS_CD = ? AND "
                                      "(VERIFY_ID IS NULL OR VERIFY_ID <> ?) ORDER BY RFND_NBR"),
                       {QLatin1String(status), officer});
    if (!q.next())
        return false;
    const QString number = q.value(0).toString();
    const QString customer = q.value(1).toString();
    q.finish();

    TestPlatform tp;
    EmbeddedSignOn on(tp, store, officer);
    tp.clock = &on.clock;
    KORVA_WorkSheet sheet;
    QSignalSpy replies(sheet.mZelbMessage, &BrokerMessage::DataReady);
    sheet.LoadMe(customer, QLatin1String(status), number, QStringLiteral("O"));
    sheet.show();
    if (!QTest::qWaitFor([&] { return replies.count() >= 1; }, 20000))
        return false;
    QApplication::processEvents();
    return sheet.grab().save(file);
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = QApplication::arguments();
    EmbeddedStore store(64);
    if (!shoot(store, 1005, "2", args.value(1, QStringLiteral("worksheet-2.png"))))
        return 1;
    return shoot(store, 1001, "5", args.value(2, QStringLiteral("worksheet-5.png"))) ? 0 : 1;
}
