// The refund worksheet's requests: details, one status step per save, void, and the refund
// number sequence. The server guards the chain whatever a client sends.
#include "serverfixture.h"

#include <QSet>
#include <QSqlRecord>

#include <thread>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kDemo = DemoOfficer::Demo;
constexpr qint64 kPlain = DemoOfficer::Plain;
constexpr qint64 kOther = DemoOfficer::Heavy;
// The chain's own officers: 1004 prepares and verifies, 1005 approves and voids, 1006 issues.
constexpr qint64 kVerifier = DemoOfficer::Typical;
constexpr qint64 kApprover = 1005;
constexpr qint64 kIssuer = 1006;

QString statusOf(Store &store, qint64 refund)
{
    return store.value(QStringLiteral("SELECT STTS_CD FROM REFUND WHERE RFND_NBR = ?"), {refund})
        .toString();
}

// Every column of a stored refund, to see that a refused save wrote nothing.
QVariantList refundRow(Store &store, qint64 refund)
{
    QSqlQuery &q =
        store.db().run(QStringLiteral("SELECT * FROM REFUND WHERE RFND_NBR = ?"), {refund});
    QVariantList out;
    if (q.next()) {
        for (int i = 0; i < q.record().count(); ++i)
            out.append(q.value(i));
    }
    q.finish();
    return out;
}

BrokerRequest worksheetRequest(qint64 officer, const Row &row)
{
    BrokerRequest request;
    request.setMessageId(QStringLiteral("KORVA.Test"));
    request.setVersion(QStringLiteral("1.0"));
    request.setKind(RequestKind::WorksheetSave);
    request.setContext(QStringLiteral("INSP_ID=%1;REGION=NE").arg(officer));
    request.addRecordSet(QStringLiteral("REFUND"), updateRows("REFUND", {row}));
    return request.detached();
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
    void forgedSavesAreRefusedAndWriteNothing_data();
    void forgedSavesAreRefusedAndWriteNothing();
    void preparationKeepsTheSystemsValues();
    void twoOfficersSavingOneStepAtOnce();
    void refundNumbersStayUniqueUnderConcurrency();
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
    // An officer without a refund right is told so and sees nothing of the refund.
    const BrokerReply outsider =
        store.send(RequestKind::WorksheetDetails, kOther,
                   {{"CUST_ID", store.customer()}, {"REFUND_NBR", QString::number(refund)}});
    QVERIFY2(outsider.error.contains(u"refund staff only"), qPrintable(outsider.error));
    QVERIFY(outsider.recordSets.isEmpty());
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
    // Only a preparing officer takes a number; a refused request uses none up.
    QVERIFY(store.send(RequestKind::Number, kPlain, {{"KIND", QStringLiteral("U")}})
                .error.contains(u"RefundPrepare"));
    QCOMPARE(next(), first + 2);
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
                                    {"RFND_AMT", QStringLiteral("1234.50")},
                                    {"STTS_CD", QStringLiteral("1")}})
                 .error,
             QString());
    QCOMPARE(statusOf(store, refund), QStringLiteral("1"));
    QCOMPARE(store
                 .worksheet(kVerifier, {{"ACTION", QStringLiteral("UPD")},
                                        {"CUST_ID", store.customer()},
                                        {"RFND_NBR", n},
                                        {"VERIFY_ID", QString::number(kVerifier)},
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

void TestServerRefunds::forgedSavesAreRefusedAndWriteNothing_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<qint64>("creator");
    QTest::addColumn<qint64>("sender");
    QTest::addColumn<QString>("fieldText"); // field=value|... besides ACTION, CUST_ID, RFND_NBR
    QTest::addColumn<QString>("refusal");

    QTest::newRow("forged step: another officer's id")
        << "1" << kPlain << kVerifier << "VERIFY_ID=1005|STTS_CD=2"
        << "VERIFY_ID names officer 1005, but the signed-on officer is 1004.";
    QTest::newRow("a step without its right")
        << "1" << kPlain << kIssuer << "VERIFY_ID=1006|STTS_CD=2"
        << "Officer 1006 does not hold the right RefundVerify needed for verifying a refund.";
    QTest::newRow("self-verification")
        << "1" << kVerifier << kVerifier << "VERIFY_ID=1004|STTS_CD=2"
        << "The person preparing and verifying the Refund Worksheet can not be the same.";
    QTest::newRow("skipped status") << "1" << kPlain << kApprover << "APPROVE_ID=1005|STTS_CD=3"
                                    << "next step sets status 2, not \"3\".";
    QTest::newRow("repeated step") << "2" << kPlain << kVerifier << "VERIFY_ID=1004|STTS_CD=2"
                                   << "next step sets status 3, not \"2\".";
    QTest::newRow("void of a transferred worksheet")
        << "T" << kPlain << kApprover << "VOID_ID=1005|STTS_CD=V"
        << "is transferred and can no longer be voided.";
    QTest::newRow("void without the right") << "1" << kPlain << kIssuer << "VOID_ID=1006|STTS_CD=V"
                                            << "does not hold the right RefundVoid";
    QTest::newRow("mail date without the issue right")
        << "4" << kPlain << kApprover << "DT_MLD=TODAY|STTS_CD=5"
        << "does not hold the right RefundIssue needed for mailing";
    QTest::newRow("changed amount")
        << "0" << 0LL << kVerifier << "CREATOR_ID=1004|RFND_AMT=$1,300.00|STTS_CD=1"
        << "cannot be changed (1300.00 was sent, the refund holds 1234.50).";
    QTest::newRow("a final worksheet is never saved again")
        << "5" << kPlain << kIssuer << "DT_MLD=TODAY|STTS_CD=5"
        << "is mailed and can no longer be saved.";
}

void TestServerRefunds::forgedSavesAreRefusedAndWriteNothing()
{
    QFETCH(QString, status);
    QFETCH(qint64, creator);
    QFETCH(qint64, sender);
    QFETCH(QString, fieldText);
    QFETCH(QString, refusal);
    Store store;
    const qint64 refund = store.addRefund(status, creator, creator ? kOther : 0);
    QByteArrayList names; // keeps the field names alive for the row's char pointers
    Row fields{{"ACTION", QStringLiteral("UPD")},
               {"CUST_ID", store.customer()},
               {"RFND_NBR", QString::number(refund)}};
    QStringList row = fieldText.split(u'|');
    row.replaceInStrings(QStringLiteral("TODAY"), today());
    for (const QString &pair : std::as_const(row))
        names.append(pair.section(u'=', 0, 0).toLatin1());
    for (int i = 0; i < row.size(); ++i)
        fields.append({names[i].constData(), row[i].section(u'=', 1)});
    const QVariantList before = refundRow(store, refund);
    const BrokerReply r = store.worksheet(sender, fields);
    QVERIFY2(r.error.contains(refusal), qPrintable(r.error));
    QCOMPARE(refundRow(store, refund), before);
}

void TestServerRefunds::preparationKeepsTheSystemsValues()
{
    Store store;
    const qint64 refund = store.addRefund(QStringLiteral("0"));
    auto prepare = [&](const QString &created) {
        return store.worksheet(kVerifier, {{"ACTION", QStringLiteral("ADD")},
                                           {"CUST_ID", store.customer()},
                                           {"RFND_NBR", QString::number(refund)},
                                           {"TO", QStringLiteral("3")},
                                           {"CREATED_DT", created},
                                           {"CREATOR_ID", QString::number(kVerifier)},
                                           {"RFND_AMT", QStringLiteral("$1,234.50")},
                                           {"RCPT_NBR", QStringLiteral("FORGED")},
                                           {"STTS_CD", QStringLiteral("1")}});
    };
    // A desk whose date is not the store's is refused, not believed.
    QVERIFY(prepare(today(-30)).error.contains(u"is not today"));
    QCOMPARE(statusOf(store, refund), QStringLiteral("0"));
    const BrokerReply r = prepare(today());
    QCOMPARE(r.error, QString());
    // The day it was prepared is the store's today, not the desk's; the receipt stays.
    QCOMPARE(dateOf(store.value(QStringLiteral("SELECT CREATED_DT FROM REFUND WHERE RFND_NBR = ?"),
                                {refund})),
             QDate::currentDate());
    QCOMPARE(store.value(QStringLiteral("SELECT RCPT_NBR FROM REFUND WHERE RFND_NBR = ?"), {refund})
                 .toString(),
             QStringLiteral("R0000001"));
    QCOMPARE(statusOf(store, refund), QStringLiteral("1"));
}

// Both officers load the refund at "1" and verify it at the same moment: one step lands, the
// other officer is told plainly, and the refund moved exactly once.
void TestServerRefunds::twoOfficersSavingOneStepAtOnce()
{
    Store store;
    const qint64 refund = store.addRefund(QStringLiteral("1"), kPlain);
    const qint64 officers[] = {kDemo, kVerifier};
    QString errors[2];
    std::thread threads[2];
    for (int i = 0; i < 2; ++i) {
        threads[i] = std::thread([&, i] {
            const auto backend = makeBackend(ServerSettings(currentConnection()));
            errors[i] = backend
                            ->handle(worksheetRequest(officers[i],
                                                      {{"ACTION", QStringLiteral("UPD")},
                                                       {"CUST_ID", store.customer()},
                                                       {"RFND_NBR", QString::number(refund)},
                                                       {"VERIFY_ID", QString::number(officers[i])},
                                                       {"STTS_CD", QStringLiteral("2")}}))
                            .error;
        });
    }
    for (auto &t : threads)
        t.join();
    QCOMPARE(int(errors[0].isEmpty()) + int(errors[1].isEmpty()), 1);
    const int loser = errors[0].isEmpty() ? 1 : 0;
    QVERIFY2(errors[loser].contains(u"next step sets status 3") ||
                 errors[loser].contains(u"changed by someone else"),
             qPrintable(errors[loser]));
    QCOMPARE(statusOf(store, refund), QStringLiteral("2"));
    QCOMPARE(
        store.value(QStringLiteral("SELECT VERIFY_ID FROM REFUND WHERE RFND_NBR = ?"), {refund})
            .toLongLong(),
        officers[1 - loser]);
}

void TestServerRefunds::refundNumbersStayUniqueUnderConcurrency()
{
    Store store;
    constexpr int kEach = 15;
    QList<qint64> numbers[2];
    std::thread threads[2];
    for (int i = 0; i < 2; ++i) {
        threads[i] = std::thread([&, i] {
            const auto backend = makeBackend(ServerSettings(currentConnection()));
            BrokerRequest request;
            request.setMessageId(QStringLiteral("KORVAWORKSHEET"));
            request.setKind(RequestKind::Number);
            request.setContext(QStringLiteral("INSP_ID=1001;REGION=NE"));
            request.addParameter(
                RequestParameter::key(QStringLiteral("KIND"), QStringLiteral("U")));
            for (int n = 0; n < kEach; ++n) {
                const BrokerReply r = backend->handle(request);
                const RecordSetPtr rs = r.recordSet(QStringLiteral("REQ"));
                if (!rs || rs->count() != 1)
                    continue;
                rs->moveFirst();
                numbers[i].append(rs->value(u"U").toLongLong());
            }
        });
    }
    for (auto &t : threads)
        t.join();
    QCOMPARE(numbers[0].size() + numbers[1].size(), 2 * kEach);
    QSet<qint64> distinct(numbers[0].cbegin(), numbers[0].cend());
    distinct.unite(QSet<qint64>(numbers[1].cbegin(), numbers[1].cend()));
    QCOMPARE(distinct.size(), 2 * kEach);
}

KORVA_SERVER_TEST_MAIN(TestServerRefunds)
#include "tst_server_refunds.moc"
