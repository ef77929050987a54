// One officer's day through the real broker and a demo store: an assignment received is
// closed, reopened, its history looked at, and replied to; the store and the list follow.
#include "dialogs/frmassignhistory.h"
#include "dialogs/frmassignroc.h"
#include "documentfixture.h"
#include "embedded.h"
#include "modaldialog.h"
#include "server/database.h"
#include "test_main.h"

#include <QPointer>
#include <QSignalSpy>
#include <QSqlQuery>

using namespace korva;
using namespace korva::doctest;

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
    // A connection of its own: the store's long-lived reader keeps seeing the data as it was
    // when it first read.
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
    QString stored(const char *column, int number)
    {
        return read(QStringLiteral("SELECT %1 FROM ASGNMT WHERE ASGNMT_NBR = ?")
                        .arg(QLatin1String(column)),
                    {number})
            .toString();
    }
    int rowOf(int number)
    {
        for (int row = 0;
             row < doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"))->rowCount(); ++row) {
            if (doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"))
                    ->text(row, QStringLiteral("ASGNMT_NBR"))
                    .toInt() == number)
                return row;
        }
        return -1;
    }
    QString shownStatus(int number)
    {
        return doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"))
            ->text(rowOf(number), QStringLiteral("Status"));
    }
    // Selects the assignment's row with the mouse and clicks the command.
    void command(int number, int button)
    {
        DataGrid *g = doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"));
        const QModelIndex cell = g->model()->index(rowOf(number), 1);
        g->scrollTo(cell);
        QTest::mouseClick(g->viewport(), Qt::LeftButton, {}, g->visualRect(cell).center());
        QTest::mouseClick(
            doc->findChild<QPushButton *>(QStringLiteral("cmdButton(%1)").arg(button)),
            Qt::LeftButton);
    }
    // A frmAssignROC command: the comment typed, Save, and the list asked for again.
    QString confirm(int number, int button, const QString &comment)
    {
        QString mode;
        duringModal<frmAssignROC>(
            [&] {
                command(number, button);
                QVERIFY(waitReply());
            },
            [&](frmAssignROC *d) {
                d->txtBox->setFocus();
                QTest::keyClicks(d->txtBox, comment);
                const QString shownMode = d->mode();
                // The document disposes of the dialog once it reports back.
                const QPointer<frmAssignROC> dialog(d);
                QTest::mouseClick(d->findChild<QPushButton *>(QStringLiteral("cmdButton(0)")),
                                  Qt::LeftButton);
                if (QTest::qWaitFor([&] { return !dialog || !dialog->isVisible(); }, 20000))
                    mode = shownMode;
            });
        return mode;
    }

private slots:
    void initTestCase()
    {
        store = std::make_unique<testkit::EmbeddedStore>(120);
        signOn = std::make_unique<testkit::EmbeddedSignOn>(tp, *store, 1001);
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
        // Received from someone else, open, of a type anyone may close and reply to.
        const int number =
            read(QStringLiteral(
                     "SELECT A.ASGNMT_NBR FROM ASGNMT A JOIN ZTB_ASGNMT_TYPE T ON T.ASGNMT_CD = "
                     "A.ASGNMT_TYP_CD AND T.REGION = 'NE' WHERE A.OFCR_TO_ID = 1001 AND "
                     "A.OFCR_FRM_ID <> "
                     "1001 AND A.ASGNMT_STTS_CD = 'O' AND T.SYS_IND = 'N' AND T.CRTR_CLS_IND = 'N' "
                     "ORDER BY "
                     "A.ASGNMT_NBR"))
                .toInt();
        QVERIFY(number > 0);
        const QString sender = stored("OFCR_FRM_ID", number);
        const int steps = stored("HIST_CNT", number).toInt();
        // Every status, so that the closed assignment stays listed.
        QTest::mouseClick(doc->findChild<QRadioButton *>(QStringLiteral("optButton(1)")),
                          Qt::LeftButton);
        QTest::mouseClick(doc->findChild<QPushButton *>(QStringLiteral("cmdButton(0)")),
                          Qt::LeftButton);
        QVERIFY(waitReply());

        QCOMPARE(confirm(number, 3, QStringLiteral("Receipt found.")), QStringLiteral("CLOSE"));
        QCOMPARE(stored("ASGNMT_STTS_CD", number) + stored("ASGNMT_CMMT_TXT", number),
                 QStringLiteral("CReceipt found."));
        QVERIFY(!stored("CLSE_DT", number).isEmpty());
        QCOMPARE(shownStatus(number), QStringLiteral("Closed"));

        QCOMPARE(confirm(number, 4, QStringLiteral("One more question.")), QStringLiteral("OPEN"));
        QCOMPARE(stored("ASGNMT_STTS_CD", number), QStringLiteral("O"));
        QVERIFY(stored("CLSE_DT", number).isEmpty());
        QCOMPARE(shownStatus(number), QStringLiteral("Open"));

        // The history shows the store's steps of this assignment; the list is left as it was.
        const int listed = doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"))->rowCount();
        int historyRows = -1;
        duringModal<frmAssignHistory>(
            [&] {
                command(number, 5);
                QVERIFY(waitReply());
            },
            [&](frmAssignHistory *d) {
                historyRows = d->grdHistory->rowCount();
                QTest::mouseClick(d->cmdOK, Qt::LeftButton);
            });
        QCOMPARE(
            historyRows,
            read(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST WHERE ASGNMT_NBR = ?"), {number})
                .toInt());
        QVERIFY(historyRows >= 2); // the close and the reopen at least
        QCOMPARE(doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"))->rowCount(), listed);
        QVERIFY(doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"))->isEnabled());

        // The reply goes back to the sender and leaves this officer's received list.
        QCOMPARE(confirm(number, 2, QStringLiteral("Done.")), QStringLiteral("REPLY"));
        QCOMPARE(stored("ASGNMT_STTS_CD", number), QStringLiteral("R"));
        QCOMPARE(stored("OFCR_TO_ID", number), sender);
        QCOMPARE(stored("OFCR_FRM_ID", number), QStringLiteral("1001"));
        QCOMPARE(stored("HIST_CNT", number).toInt(), steps + 3);
        QCOMPARE(rowOf(number), -1);
        QCOMPARE(tp.boxes.shown.size(), 0);
        QCOMPARE(tp.reporter.reports.size(), 0);
    }
};

KORVA_TEST_MAIN(TestDocumentCommandsFlow)
#include "tst_documentcommands_flow.moc"
