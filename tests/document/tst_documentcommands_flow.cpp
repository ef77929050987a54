// One officer's day through the real broker and a demo store: an assignment received is
// closed, reopened, its history looked at, and replied to; the store and the list follow.
#include "dialogs/frmassignhistory.h"
#include "dialogs/frmassignroc.h"
#include "documentfixture.h"
#include "embedded.h"
#include "server/database.h"
#include "test_main.h"

#include <QApplication>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTimer>

using namespace korva;
using namespace korva::doctest;

namespace {

constexpr int kOfficer = 1001;

// Runs `action`; the first modal dialog of type D that it opens gets `inDialog`. Returns
// whether one opened. A dialog still open afterwards is dismissed, so nothing hangs.
template <class D>
bool duringModal(const std::function<void()> &action, const std::function<void(D *)> &inDialog)
{
    bool opened = false;
    QTimer poll;
    poll.setInterval(10);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto *dialog = qobject_cast<D *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll.stop();
        opened = true;
        QPointer<D> alive(dialog);
        inDialog(dialog);
        if (alive && alive->isVisible())
            static_cast<QDialog *>(alive.data())->done(QDialog::Rejected);
    });
    poll.start();
    action();
    poll.stop();
    return opened;
}

} // namespace

class TestDocumentCommandsFlow : public QObject {
    Q_OBJECT

    testkit::TestPlatform tp;
    std::unique_ptr<testkit::EmbeddedStore> store;
    std::unique_ptr<testkit::EmbeddedSignOn> signOn;
    std::unique_ptr<KORVA_AssignMaint> doc;
    std::unique_ptr<QSignalSpy> replies;

    bool waitReply()
    {
        const qsizetype before = replies->count();
        return QTest::qWaitFor([&] { return replies->count() > before; }, 20000);
    }
    // One value read from the store over a connection of its own: the store's long-lived
    // reader keeps seeing the data as it was when it first read.
    QVariant read(const QString &sql, const QVariantList &values = {})
    {
        server::Database db(server::ServerSettings(store->connection()),
                            QStringLiteral("flow-reader"));
        db.open();
        QSqlQuery &q = db.run(sql, values);
        const QVariant value = q.next() ? q.value(0) : QVariant();
        q.finish();
        return value;
    }
    QVariant stored(const char *column, int number)
    {
        return read(
            QStringLiteral("SELECT %1 FROM ASGNMT WHERE ASGNMT_NBR = ?").arg(QLatin1String(column)),
            {number});
    }
    int rowOf(int number)
    {
        DataGrid *g = doc->grdAssignment;
        for (int row = 0; row < g->rowCount(); ++row) {
            if (g->text(row, QStringLiteral("ASGNMT_NBR")).toInt() == number)
                return row;
        }
        return -1;
    }
    bool select(int number)
    {
        const int row = rowOf(number);
        if (row < 0)
            return false;
        DataGrid *g = doc->grdAssignment;
        g->scrollTo(g->model()->index(row, 0));
        const QRect r = g->visualRect(g->model()->index(row, 0));
        QTest::mouseClick(g->viewport(), Qt::LeftButton, {}, r.center());
        return g->currentRow() == row;
    }
    QPushButton *button(int i)
    {
        return doc->findChild<QPushButton *>(QStringLiteral("cmdButton(%1)").arg(i));
    }
    // A command of frmAssignROC: the comment typed, OK, and the dialog's own update answered.
    void confirmWithComment(int command, const QString &expectedMode, const QString &comment)
    {
        QString mode;
        bool hidden = false;
        const bool opened = duringModal<frmAssignROC>(
            [&] {
                QTest::mouseClick(button(command), Qt::LeftButton);
                QVERIFY(waitReply()); // the list asked for again after SendOK
            },
            [&](frmAssignROC *d) {
                mode = d->mode();
                d->txtBox->setFocus();
                QTest::keyClicks(d->txtBox, comment);
                QTest::mouseClick(d->cmdButton[0], Qt::LeftButton);
                hidden = QTest::qWaitFor([&] { return !d->isVisible(); }, 20000);
            });
        QVERIFY(opened);
        QVERIFY(hidden);
        QCOMPARE(mode, expectedMode);
    }

private slots:
    void initTestCase()
    {
        store = std::make_unique<testkit::EmbeddedStore>(120);
        signOn = std::make_unique<testkit::EmbeddedSignOn>(tp, *store, kOfficer);
        doc = std::make_unique<KORVA_AssignMaint>();
        doc->resize(1200, 700);
        replies = std::make_unique<QSignalSpy>(doc->mZelbMessage, &BrokerMessage::DataReady);
        doc->show();
        QVERIFY(waitReply());
    }
    void cleanupTestCase()
    {
        doc.reset();
        signOn.reset();
        store.reset();
    }

    void closeReopenHistoryAndReply()
    {
        // An open assignment received from someone else, which this officer may close and
        // reply to.
        const int number =
            store
                ->value(QStringLiteral(
                    "SELECT A.ASGNMT_NBR FROM ASGNMT A JOIN ZTB_ASGNMT_TYPE T ON T.ASGNMT_CD = "
                    "A.ASGNMT_TYP_CD AND T.REGION = 'NE' WHERE A.OFCR_TO_ID = 1001 AND "
                    "A.OFCR_FRM_ID <> "
                    "1001 AND A.ASGNMT_STTS_CD = 'O' AND T.SYS_IND = 'N' AND T.CRTR_CLS_IND = 'N' "
                    "ORDER BY "
                    "A.ASGNMT_NBR"))
                .toInt();
        QVERIFY(number > 0);
        const int sender = stored("OFCR_FRM_ID", number).toInt();
        const int steps = stored("HIST_CNT", number).toInt();

        // Every status, so that the closed assignment stays in the list.
        QTest::mouseClick(doc->optButton[1], Qt::LeftButton);
        QTest::mouseClick(button(0), Qt::LeftButton);
        QVERIFY(waitReply());
        QVERIFY(select(number));

        confirmWithComment(3, QStringLiteral("CLOSE"), QStringLiteral("Receipt found."));
        QCOMPARE(stored("ASGNMT_STTS_CD", number).toString(), QStringLiteral("C"));
        QVERIFY(!stored("CLSE_DT", number).isNull());
        QCOMPARE(stored("ASGNMT_CMMT_TXT", number).toString(), QStringLiteral("Receipt found."));
        QCOMPARE(doc->grdAssignment->text(rowOf(number), QStringLiteral("Status")),
                 QStringLiteral("Closed"));

        QVERIFY(select(number));
        confirmWithComment(4, QStringLiteral("OPEN"), QStringLiteral("One more question."));
        QCOMPARE(stored("ASGNMT_STTS_CD", number).toString(), QStringLiteral("O"));
        QVERIFY(stored("CLSE_DT", number).isNull());
        QCOMPARE(doc->grdAssignment->text(rowOf(number), QStringLiteral("Status")),
                 QStringLiteral("Open"));

        // The history: the store's steps of this assignment, the list untouched.
        QVERIFY(select(number));
        const int listed = doc->grdAssignment->rowCount();
        int historyRows = -1;
        const bool shown = duringModal<frmAssignHistory>(
            [&] {
                QTest::mouseClick(button(5), Qt::LeftButton);
                QVERIFY(waitReply());
            },
            [&](frmAssignHistory *d) {
                historyRows = d->grdHistory->rowCount();
                QTest::mouseClick(d->cmdOK, Qt::LeftButton);
            });
        QVERIFY(shown);
        QCOMPARE(
            historyRows,
            read(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST WHERE ASGNMT_NBR = ?"), {number})
                .toInt());
        QVERIFY(historyRows >= 2); // at least the close and the reopen
        QCOMPARE(doc->grdAssignment->rowCount(), listed);
        QVERIFY(doc->grdAssignment->isEnabled());
        QVERIFY(!doc->historyPending());

        // The reply goes back to the sender and leaves this officer's received list.
        QVERIFY(select(number));
        confirmWithComment(2, QStringLiteral("REPLY"), QStringLiteral("Done, see the receipt."));
        QCOMPARE(stored("ASGNMT_STTS_CD", number).toString(), QStringLiteral("R"));
        QCOMPARE(stored("OFCR_TO_ID", number).toInt(), sender);
        QCOMPARE(stored("OFCR_FRM_ID", number).toInt(), kOfficer);
        QCOMPARE(stored("HIST_CNT", number).toInt(), steps + 3);
        QCOMPARE(rowOf(number), -1);

        QCOMPARE(tp.boxes.shown.size(), 0);
        QCOMPARE(tp.reporter.reports.size(), 0);
    }
};

KORVA_TEST_MAIN(TestDocumentCommandsFlow)
#include "tst_documentcommands_flow.moc"
