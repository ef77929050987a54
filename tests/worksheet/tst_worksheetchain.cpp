// One refund taken through its whole chain by different officers, one voided, and one step
// refused, over the real broker and a demo store: what the worksheet sends is what the store
// keeps.
#include "embedded.h"
#include "test_main.h"
#include "worksheetfixture.h"

#include <QSignalSpy>
#include <QSqlQuery>

#include <functional>

using namespace korva;
using namespace korva::testkit;

namespace {

// An officer signed on, a worksheet opened as the document opens it, and its details shown.
struct Desk {
    Desk(EmbeddedStore &store, int officer, const QString &customer, const QString &status,
         const QString &number)
        : on(tp, store, officer)
    {
        tp.clock = &on.clock; // the store's today, so that dates agree with its rules
        sheet = std::make_unique<KORVA_WorkSheet>();
        replies = std::make_unique<QSignalSpy>(sheet->mZelbMessage, &BrokerMessage::DataReady);
        sheet->LoadMe(customer, status, number, QStringLiteral("O"));
    }
    bool waitReplies(int n)
    {
        return QTest::qWaitFor([&] { return replies->count() >= n; }, 20000);
    }

    TestPlatform tp;
    EmbeddedSignOn on;
    std::unique_ptr<KORVA_WorkSheet> sheet;
    std::unique_ptr<QSignalSpy> replies;
};

} // namespace

class TestWorksheetChain : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void fourOfficersTakeOneRefundToMailed();
    void aRefundIsVoided();
    void aStepWithoutItsRightIsRefused();

private:
    // Opens the refund at its stored status as `officer`, lets `fill` complete the step and
    // saves; returns the text of any message box shown.
    QString step(int officer, qint64 refund, const std::function<void(KORVA_WorkSheet &)> &fill,
                 int button = 0);
    QString stored(const char *column, qint64 refund);
    qint64 refundAt(const char *status);

    std::unique_ptr<EmbeddedStore> m_store;
};

void TestWorksheetChain::initTestCase()
{
    m_store = std::make_unique<EmbeddedStore>(48);
}

// Each read is finished at once: a read left open would keep an old snapshot of the store.
QString TestWorksheetChain::stored(const char *column, qint64 refund)
{
    QSqlQuery &q = m_store->db().run(
        QStringLiteral("SELECT %1 FROM REFUND WHERE RFND_NBR = ?").arg(QLatin1String(column)),
        {refund});
    const QString value = q.next() ? q.value(0).toString().trimmed() : QString();
    q.finish();
    return value;
}

qint64 TestWorksheetChain::refundAt(const char *status)
{
    QSqlQuery &q = m_store->db().run(
        QStringLiteral("SELECT MIN(RFND_NBR) FROM REFUND WHERE STTS_CD = ? AND CREATOR_ID IS NULL "
                       "OR STTS_CD = ? AND CREATOR_ID NOT IN (1001, 1004, 1005, 1006)"),
        {QLatin1String(status), QLatin1String(status)});
    const qint64 number = q.next() ? q.value(0).toLongLong() : 0;
    q.finish();
    return number;
}

QString TestWorksheetChain::step(int officer, qint64 refund,
                                 const std::function<void(KORVA_WorkSheet &)> &fill, int button)
{
    Desk desk(*m_store, officer, stored("CUST_ID", refund), stored("STTS_CD", refund),
              QString::number(refund));
    if (!desk.waitReplies(1))
        return QStringLiteral("no details reply");
    if (!desk.tp.boxes.shown.isEmpty())
        return desk.tp.boxes.shown.last().prompt;
    fill(*desk.sheet);
    desk.sheet->mCmdButton_Click(button);
    if (!desk.sheet->errorText().isEmpty())
        return desk.sheet->errorText();
    if (!desk.waitReplies(2))
        return QStringLiteral("no save reply");
    return desk.tp.boxes.shown.isEmpty() ? QString() : desk.tp.boxes.shown.last().prompt;
}

void TestWorksheetChain::fourOfficersTakeOneRefundToMailed()
{
    const qint64 refund = refundAt("0");
    QVERIFY(refund > 0);
    const QString amount = stored("RFND_AMT", refund);

    QCOMPARE(step(1001, refund,
                  [](KORVA_WorkSheet &ws) {
                      QCOMPARE(ws.findChild<QLabel *>(QStringLiteral("mLblData(7)"))->text(),
                               QStringLiteral("1001"));
                      ws.findChild<QRadioButton *>(QStringLiteral("mRdo(2)"))->setChecked(true);
                      ws.findChild<QPlainTextEdit *>(QStringLiteral("mTxtRefund(0)"))
                          ->setPlainText(QStringLiteral("Paid twice & confirmed"));
                  }),
             QString());
    QCOMPARE(stored("STTS_CD", refund), QStringLiteral("1"));
    QCOMPARE(stored("CREATOR_ID", refund), QStringLiteral("1001"));
    QCOMPARE(stored("RFND_TO", refund), QStringLiteral("2"));
    QCOMPARE(stored("RFND_AMT", refund), amount);

    QCOMPARE(step(1004, refund, [](KORVA_WorkSheet &) {}), QString());
    QCOMPARE(stored("VERIFY_ID", refund), QStringLiteral("1004"));
    QCOMPARE(step(1005, refund, [](KORVA_WorkSheet &) {}), QString());
    QCOMPARE(stored("APPROVE_ID", refund), QStringLiteral("1005"));
    QCOMPARE(step(1006, refund,
                  [](KORVA_WorkSheet &ws) {
                      QVERIFY(
                          ws.findChild<QGroupBox *>(QStringLiteral("mFraRefund(2)"))->isEnabled());
                      ws.findChild<QRadioButton *>(QStringLiteral("mRdo(1)"))->setChecked(true);
                      ws.findChild<QLineEdit *>(QStringLiteral("mTxt(0)"))
                          ->setText(QStringLiteral("W-5521"));
                  }),
             QString());
    QCOMPARE(stored("STTS_CD", refund), QStringLiteral("4"));
    QCOMPARE(stored("WRNT_NBR", refund), QStringLiteral("W-5521"));
    QCOMPARE(stored("RFND_BY_ID", refund), QStringLiteral("1006"));
    QCOMPARE(step(1001, refund,
                  [](KORVA_WorkSheet &ws) {
                      QVERIFY(
                          ws.findChild<KORVA_DTP *>(QStringLiteral("KORVA_DTP1(1)"))->isEnabled());
                  }),
             QString());
    QCOMPARE(stored("STTS_CD", refund), QStringLiteral("5"));
    QVERIFY(!stored("DT_MLD", refund).isEmpty());
    QCOMPARE(stored("QRT_CMMT_TXT", refund), QStringLiteral("Paid twice & confirmed"));
}

void TestWorksheetChain::aRefundIsVoided()
{
    const qint64 refund = refundAt("2");
    QVERIFY(refund > 0);
    QCOMPARE(step(
                 1005, refund,
                 [](KORVA_WorkSheet &ws) {
                     QVERIFY(
                         ws.findChild<QPushButton *>(QStringLiteral("mCmdButton(2)"))->isEnabled());
                     if (ws.findChild<QPlainTextEdit *>(QStringLiteral("mTxtRefund(0)"))
                             ->toPlainText()
                             .isEmpty())
                         ws.findChild<QPlainTextEdit *>(QStringLiteral("mTxtRefund(0)"))
                             ->setPlainText(QStringLiteral("Refund withdrawn"));
                 },
                 2),
             QString());
    QCOMPARE(stored("STTS_CD", refund), QStringLiteral("V"));
    QCOMPARE(stored("VOID_ID", refund), QStringLiteral("1005"));
}

void TestWorksheetChain::aStepWithoutItsRightIsRefused()
{
    const qint64 refund = refundAt("1");
    QVERIFY(refund > 0);
    const QString before = stored("LST_UPDT_TS", refund);
    // The issuing officer passes the worksheet's own checks but not the store's.
    const QString refusal = step(1006, refund, [](KORVA_WorkSheet &) {});
    QVERIFY2(refusal.endsWith(u"Officer 1006 does not hold the right RefundVerify needed for "
                              u"verifying a refund."),
             qPrintable(refusal));
    QCOMPARE(stored("STTS_CD", refund), QStringLiteral("1"));
    QCOMPARE(stored("LST_UPDT_TS", refund), before);
}

KORVA_TEST_MAIN(TestWorksheetChain)
#include "tst_worksheetchain.moc"
