// The refund worksheet's requests: details, one status step per save, void, and the refund
// number sequence.
#include "serverfixture.h"

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kDemo = DemoOfficer::Demo;
constexpr qint64 kPlain = DemoOfficer::Plain;
constexpr qint64 kOther = DemoOfficer::Heavy;

QString statusOf(Store &store, qint64 refund)
{
    return store.value(QStringLiteral("SELECT STTS_CD FROM REFUND WHERE RFND_NBR = ?"), {refund})
        .toString();
}

} // namespace

class TestServerRefunds : public QObject {
    Q_OBJECT
private slots:
    void detailsCarryWorksheetFields();
    void numberRequestCountsUp();
    void newRefundIsPreparedWithAnIssuedNumber();
    void eachSaveTakesExactlyTheNextStep();
    void stepOfficerMustBeTheSignedOnOfficer();
    void neighbouringStepsNeedDifferentOfficers();
    void issueAndMailFollowTheirFieldsAndDates();
    void voidIsRefusedAfterAFinalStatus();
};

void TestServerRefunds::detailsCarryWorksheetFields()
{
    Store store;
    const qint64 refund = store.addRefund(QStringLiteral("2"), kPlain, kOther);
    const BrokerReply r =
        store.send(RequestKind::WorksheetDetails, kDemo,
                   {{"CUST_ID", store.customer()}, {"REFUND_NBR", QString::number(refund)}});
    QCOMPARE(r.error, QString());
    const RecordSetPtr rs = r.recordSet(QStringLiteral("REFUND"));
    QVERIFY(rs);
    QCOMPARE(rs->count(), 1);
    rs->moveFirst();
    QCOMPARE(rs->value(u"RFND_NBR").toLongLong(), refund);
    QCOMPARE(rs->text(u"STTS_CD"), QStringLiteral("2"));
    QCOMPARE(rs->value(u"CREATOR_ID").toLongLong(), kPlain);
    QCOMPARE(rs->value(u"VERIFY_ID").toLongLong(), kOther);
    QVERIFY(rs->isNull(u"APPROVE_ID"));
    QCOMPARE(rs->text(u"RCPT_NBR"), QStringLiteral("R0000001"));
    for (const char *f : {"TO", "DT_MLD", "QRT_CMMT_TXT", "FISCAL_CMMT_TXT", "RFND_CD", "WRNT_NBR",
                          "RFND_DT", "CUST_NM", "ADDR_1", "ADDR_2", "CITY", "STATE", "ZIP"})
        QVERIFY2(rs->hasField(QString::fromLatin1(f)), f);
    QVERIFY(!rs->text(u"CITY").isEmpty());

    QVERIFY(store
                .send(RequestKind::WorksheetDetails, kDemo,
                      {{"CUST_ID", QStringLiteral("400000002")},
                       {"REFUND_NBR", QString::number(refund)}})
                .error.contains(u"does not belong"));
    QVERIFY(store
                .send(RequestKind::WorksheetDetails, kDemo,
                      {{"CUST_ID", store.customer()}, {"REFUND_NBR", QStringLiteral("99999")}})
                .error.contains(u"not known"));
}

void TestServerRefunds::numberRequestCountsUp()
{
    Store store;
    auto next = [&] {
        const BrokerReply r =
            store.send(RequestKind::Number, kDemo, {{"KIND", QStringLiteral("U")}});
        const RecordSetPtr rs = r.recordSet(QStringLiteral("REQ"));
        if (!rs || rs->count() != 1)
            return qint64(-1);
        rs->moveFirst();
        return rs->value(u"U").toLongLong();
    };
    const qint64 first = next();
    QVERIFY(first > 0);
    QCOMPARE(next(), first + 1);
    QVERIFY(store.send(RequestKind::Number, kDemo, {{"KIND", QStringLiteral("Q")}})
                .error.contains(u"\"Q\""));
}

void TestServerRefunds::newRefundIsPreparedWithAnIssuedNumber()
{
    Store store;
    const BrokerReply n = store.send(RequestKind::Number, kDemo, {{"KIND", QStringLiteral("U")}});
    n.recordSet(QStringLiteral("REQ"))->moveFirst();
    const QString number = n.recordSet(QStringLiteral("REQ"))->text(u"U");
    const Row prepare{{"ACTION", QStringLiteral("ADD")},
                      {"CUST_ID", store.customer()},
                      {"RFND_NBR", number},
                      {"TO", QStringLiteral("2")},
                      {"CREATED_DT", today()},
                      {"CREATOR_ID", QString::number(kDemo)},
                      {"QRT_CMMT_TXT", QStringLiteral("HQ's note")},
                      {"RFND_AMT", QStringLiteral("$12,000.50")},
                      {"RCPT_NBR", QStringLiteral("R77")},
                      {"STTS_CD", QStringLiteral("1")}};
    const BrokerReply r = store.worksheet(kDemo, prepare);
    QCOMPARE(r.error, QString());
    // The reply shows the refund as stored.
    const RecordSetPtr rs = r.recordSet(QStringLiteral("REFUND"));
    QVERIFY(rs);
    rs->moveFirst();
    QCOMPARE(rs->value(u"RFND_AMT").toDouble(), 12000.50);
    QCOMPARE(rs->text(u"QRT_CMMT_TXT"), QStringLiteral("HQ's note"));
    QCOMPARE(rs->text(u"TO"), QStringLiteral("2"));
    QCOMPARE(rs->text(u"STTS_CD"), QStringLiteral("1"));
    // A number the sequence never handed out is refused.
    QVERIFY(store
                .worksheet(kDemo, {{"ACTION", QStringLiteral("ADD")},
                                   {"CUST_ID", store.customer()},
                                   {"RFND_NBR", QStringLiteral("900000")},
                                   {"CREATOR_ID", QString::number(kDemo)},
                                   {"RFND_AMT", QStringLiteral("1")},
                                   {"STTS_CD", QStringLiteral("1")}})
                .error.contains(u"never issued"));
}

void TestServerRefunds::eachSaveTakesExactlyTheNextStep()
{
    Store store;
    const qint64 refund = store.addRefund(QStringLiteral("0"));
    const QString n = QString::number(refund);
    // Skipping ahead, or staying put, is refused.
    QVERIFY(store
                .worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                   {"CUST_ID", store.customer()},
                                   {"RFND_NBR", n},
                                   {"VERIFY_ID", QString::number(kDemo)},
                                   {"STTS_CD", QStringLiteral("2")}})
                .error.contains(u"next step sets status 1"));
    QCOMPARE(statusOf(store, refund), QStringLiteral("0"));
    QCOMPARE(store
                 .worksheet(kDemo, {{"ACTION", QStringLiteral("ADD")},
                                    {"CUST_ID", store.customer()},
                                    {"RFND_NBR", n},
                                    {"CREATOR_ID", QString::number(kDemo)},
                                    {"RFND_AMT", QStringLiteral("10.00")},
                                    {"STTS_CD", QStringLiteral("1")}})
                 .error,
             QString());
    QCOMPARE(statusOf(store, refund), QStringLiteral("1"));
    QCOMPARE(store
                 .worksheet(kPlain, {{"ACTION", QStringLiteral("UPD")},
                                     {"CUST_ID", store.customer()},
                                     {"RFND_NBR", n},
                                     {"VERIFY_ID", QString::number(kPlain)},
                                     {"STTS_CD", QStringLiteral("2")}})
                 .error,
             QString());
    QCOMPARE(statusOf(store, refund), QStringLiteral("2"));
    // The wrong customer for the number is refused.
    QVERIFY(store
                .worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                   {"CUST_ID", QStringLiteral("400000002")},
                                   {"RFND_NBR", n},
                                   {"APPROVE_ID", QString::number(kDemo)},
                                   {"STTS_CD", QStringLiteral("3")}})
                .error.contains(u"does not belong"));
}

void TestServerRefunds::stepOfficerMustBeTheSignedOnOfficer()
{
    Store store;
    const QString n = QString::number(store.addRefund(QStringLiteral("1"), kPlain));
    const BrokerReply missing = store.worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                                        {"CUST_ID", store.customer()},
                                                        {"RFND_NBR", n},
                                                        {"STTS_CD", QStringLiteral("2")}});
    QVERIFY2(missing.error.contains(u"VERIFY_ID"), qPrintable(missing.error));
    const BrokerReply someoneElse = store.worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                                            {"CUST_ID", store.customer()},
                                                            {"RFND_NBR", n},
                                                            {"VERIFY_ID", QString::number(kOther)},
                                                            {"STTS_CD", QStringLiteral("2")}});
    QVERIFY2(someoneElse.error.contains(u"signed-on officer is 1001"),
             qPrintable(someoneElse.error));
}

void TestServerRefunds::neighbouringStepsNeedDifferentOfficers()
{
    Store store;
    const QString prepared = QString::number(store.addRefund(QStringLiteral("1"), kDemo));
    QVERIFY(store
                .worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                   {"CUST_ID", store.customer()},
                                   {"RFND_NBR", prepared},
                                   {"VERIFY_ID", QString::number(kDemo)},
                                   {"STTS_CD", QStringLiteral("2")}})
                .error.contains(u"preparing and verifying"));
    const QString verified = QString::number(store.addRefund(QStringLiteral("2"), kPlain, kDemo));
    QVERIFY(store
                .worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                   {"CUST_ID", store.customer()},
                                   {"RFND_NBR", verified},
                                   {"APPROVE_ID", QString::number(kDemo)},
                                   {"STTS_CD", QStringLiteral("3")}})
                .error.contains(u"verifying and approving"));
    // Preparing and approving may be the same person.
    const QString other = QString::number(store.addRefund(QStringLiteral("2"), kDemo, kPlain));
    QCOMPARE(store
                 .worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                    {"CUST_ID", store.customer()},
                                    {"RFND_NBR", other},
                                    {"APPROVE_ID", QString::number(kDemo)},
                                    {"STTS_CD", QStringLiteral("3")}})
                 .error,
             QString());
}

void TestServerRefunds::issueAndMailFollowTheirFieldsAndDates()
{
    Store store;
    const qint64 refund = store.addRefund(QStringLiteral("3"), kPlain, kOther, kPlain);
    const QString n = QString::number(refund);
    auto issue = [&](const QString &how, const QString &status, const QString &warrant,
                     const QString &date) {
        return store.worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                       {"CUST_ID", store.customer()},
                                       {"RFND_NBR", n},
                                       {"RFND_BY_ID", QString::number(kDemo)},
                                       {"RFND_CD", how},
                                       {"WRNT_NBR", warrant},
                                       {"RFND_DT", date},
                                       {"STTS_CD", status}});
    };
    QVERIFY(issue(QStringLiteral("1"), QStringLiteral("T"), QStringLiteral("W1"), today())
                .error.contains(u"moves to status 4"));
    QVERIFY(issue(QStringLiteral("1"), QStringLiteral("4"), QString(), today())
                .error.contains(u"Warrant Number"));
    QVERIFY(issue(QStringLiteral("1"), QStringLiteral("4"), QStringLiteral("W1"), today(1))
                .error.contains(u"Refund Date must be current"));
    QVERIFY(issue(QStringLiteral("0"), QStringLiteral("T"), QString(), today())
                .error.contains(u"Refund Description"));
    QCOMPARE(issue(QStringLiteral("1"), QStringLiteral("4"), QStringLiteral("W1"), today(-1)).error,
             QString());
    QCOMPARE(statusOf(store, refund), QStringLiteral("4"));

    auto mail = [&](const QString &date) {
        return store.worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                       {"CUST_ID", store.customer()},
                                       {"RFND_NBR", n},
                                       {"DT_MLD", date},
                                       {"STTS_CD", QStringLiteral("5")}});
    };
    QVERIFY(mail(today(-2)).error.contains(u"greater than or equal to the Refund Date"));
    QVERIFY(mail(today(1)).error.contains(u"current or before"));
    QCOMPARE(mail(today()).error, QString());
    QCOMPARE(statusOf(store, refund), QStringLiteral("5"));
    QVERIFY(mail(today()).error.contains(u"can no longer be saved"));
}

void TestServerRefunds::voidIsRefusedAfterAFinalStatus()
{
    Store store;
    auto voidIt = [&](qint64 refund, qint64 voider) {
        return store.worksheet(kDemo, {{"ACTION", QStringLiteral("UPD")},
                                       {"CUST_ID", store.customer()},
                                       {"RFND_NBR", QString::number(refund)},
                                       {"STTS_CD", QStringLiteral("V")},
                                       {"VOID_ID", QString::number(voider)},
                                       {"RCPT_NBR", QStringLiteral("R0000001")}});
    };
    for (const char *final : {"4", "5", "T", "V"}) {
        const qint64 refund = store.addRefund(QLatin1String(final), kPlain, kOther, kPlain);
        QVERIFY2(voidIt(refund, kDemo).error.contains(u"can no longer be voided"), final);
        QCOMPARE(statusOf(store, refund), QLatin1String(final));
    }
    const qint64 open = store.addRefund(QStringLiteral("2"), kPlain, kOther);
    QVERIFY(voidIt(open, kOther).error.contains(u"VOID_ID"));
    QCOMPARE(voidIt(open, kDemo).error, QString());
    QCOMPARE(statusOf(store, open), QStringLiteral("V"));
    QCOMPARE(store.value(QStringLiteral("SELECT VOID_ID FROM REFUND WHERE RFND_NBR = ?"), {open})
                 .toLongLong(),
             kDemo);
}

KORVA_SERVER_TEST_MAIN(TestServerRefunds)
#include "tst_server_refunds.moc"
