// The assignment list, history and "ASSIGNMENT" updates, against a real store.
#include "serverfixture.h"

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kDemo = DemoOfficer::Demo;   // "Assignment" right, ASSIGNMENTCLOSERS
constexpr qint64 kPlain = DemoOfficer::Plain; // neither
constexpr qint64 kOther = DemoOfficer::Heavy; // "Assignment" right only

Row newRow(qint64 from, qint64 to, const QString &type = QStringLiteral("001"))
{
    return {{"ACTION", QStringLiteral("ADD")},
            {"OFCR_FRM_ID", QString::number(from)},
            {"ASGNMT_TYP_CD", type},
            {"EFCTV_DT", today()},
            {"DUE_DT", today(14)},
            {"EXPRTN_DT", today(60)},
            {"OFCR_TO_ID", QString::number(to)},
            {"ASGNMT_CMMT_TXT", QStringLiteral("c")}};
}

QStringList column(const BrokerReply &reply, const char *field)
{
    QStringList out;
    const RecordSetPtr rs = reply.recordSet(QStringLiteral("ASSIGNMENT"));
    if (!rs)
        return out;
    for (int r = 0; r < rs->count(); ++r)
        out.append(rs->textAt(r, rs->fieldIndex(QString::fromLatin1(field))));
    return out;
}

BrokerReply list(Store &store, qint64 officer, const char *direction, const QString &status = {},
                 const QString &from = QStringLiteral("1997-01-27"), const QString &to = today())
{
    if (status.isNull())
        return store.send(
            RequestKind::Query, officer,
            {{"ASGNMT_FRM_DT", from}, {"ASGNMT_TO_DT", to}, {direction, QString::number(officer)}});
    return store.send(RequestKind::Query, officer,
                      {{"ASGNMT_FRM_DT", from},
                       {"ASGNMT_TO_DT", to},
                       {direction, QString::number(officer)},
                       {"ASGNMT_STTS_CD", status}});
}

} // namespace

class TestServerAssignments : public QObject {
    Q_OBJECT
private slots:
    void listSelectsByOfficerStatusAndDate();
    void listRowsCarryRefundFieldsForRefundRequestsOnly();
    void listRefusesBadKeys();
    void addWritesAssignmentAndHistoryWithBoundText();
    void addNeedsTheAssignmentRight();
    void addRefusesUnknownAndMalformedValues_data();
    void addRefusesUnknownAndMalformedValues();
    void failingThirdRowLeavesNothingWritten();
    void forwardUpdatesOriginalAndAddsTiedCopies();
    void forwardCopyWithoutItsForwardIsRefused();
    void replySwapsOfficersButNotOnSystemTypes();
    void closeFollowsCreatorClosesRule();
    void reopenAndHistoryKeepDistinctEvents();
};

void TestServerAssignments::listSelectsByOfficerStatusAndDate()
{
    Store store;
    const qint64 open = store.addAssignment(kOther);
    const qint64 forwarded = store.addAssignment(kOther);
    const qint64 closed = store.addAssignment(kOther);
    store.exec(QStringLiteral("UPDATE ASGNMT SET ASGNMT_STTS_CD = 'F' WHERE ASGNMT_NBR = ?"),
               {forwarded});
    store.exec(QStringLiteral("UPDATE ASGNMT SET ASGNMT_STTS_CD = 'C' WHERE ASGNMT_NBR = ?"),
               {closed});
    const qint64 old = store.addAssignment(kOther);
    store.exec(QStringLiteral("UPDATE ASGNMT SET ASGNMT_DT = ? WHERE ASGNMT_NBR = ?"),
               {today(-40), old});
    const QString n = QString::number(open), f = QString::number(forwarded),
                  c = QString::number(closed), o = QString::number(old);

    // Newest first; the open search includes forwarded (and replied) ones.
    QCOMPARE(column(list(store, kOther, "OFCR_TO_ID", QStringLiteral("O")), "ASGNMT_NBR"),
             (QStringList{f, n, o}));
    QCOMPARE(column(list(store, kOther, "OFCR_TO_ID", QStringLiteral("C")), "ASGNMT_NBR"),
             QStringList{c});
    QCOMPARE(column(list(store, kOther, "OFCR_TO_ID"), "ASGNMT_NBR").size(), 4);
    // The range applies to the assignment date, both ends included.
    QCOMPARE(column(list(store, kOther, "OFCR_TO_ID", {}, today(-40), today(-40)), "ASGNMT_NBR"),
             QStringList{o});
    QCOMPARE(
        column(list(store, kOther, "OFCR_TO_ID", {}, today(-39), today()), "ASGNMT_NBR").size(), 3);
    // Sent by the demo officer: the same four; the receiver has sent nothing.
    QCOMPARE(column(list(store, kDemo, "OFCR_FRM_ID"), "ASGNMT_NBR").size(), 4);
    QVERIFY(column(list(store, kOther, "OFCR_FRM_ID"), "ASGNMT_NBR").isEmpty());

    const RecordSetPtr rs =
        list(store, kOther, "OFCR_TO_ID").recordSet(QStringLiteral("ASSIGNMENT"));
    QVERIFY(rs);
    QCOMPARE(rs->fields().at(rs->fieldIndex(u"ASGNMT_NBR")).type, FieldType::Integer);
    QCOMPARE(rs->fields().at(rs->fieldIndex(u"ASGNMT_DT")).type, FieldType::Date);
    QCOMPARE(rs->fields().at(rs->fieldIndex(u"LST_UPDT_TS")).type, FieldType::Timestamp);
    QCOMPARE(rs->fields().at(rs->fieldIndex(u"RFND_AMT")).type, FieldType::Decimal);
    rs->moveFirst();
    QCOMPARE(rs->value(u"DUE_DT").toDate(), QDate::currentDate().addDays(10));
    QCOMPARE(rs->value(u"HIST_CNT").toLongLong(), 1);
}

void TestServerAssignments::listRowsCarryRefundFieldsForRefundRequestsOnly()
{
    Store store;
    const qint64 plain = store.addAssignment(kDemo);
    const qint64 refund = store.addRefund(QStringLiteral("2"), kPlain, kOther);
    const RecordSetPtr rs =
        list(store, kDemo, "OFCR_TO_ID").recordSet(QStringLiteral("ASSIGNMENT"));
    QVERIFY(rs);
    QVERIFY(rs->findFirst(QStringLiteral("RFND_NBR = %1").arg(refund)));
    QCOMPARE(rs->text(u"CUST_ID"), store.customer());
    QVERIFY(!rs->text(u"CUST_NM").isEmpty());
    QCOMPARE(rs->text(u"STTS_CD"), QStringLiteral("2"));
    QCOMPARE(rs->value(u"RFND_AMT").toDouble(), 1234.5);
    QCOMPARE(rs->value(u"PRPRD_DT").toDate(), QDate::currentDate().addDays(-20));
    QVERIFY(rs->findFirst(QStringLiteral("ASGNMT_NBR = %1").arg(plain)));
    QVERIFY(rs->isNull(u"RFND_NBR"));
    QVERIFY(rs->isNull(u"CUST_ID"));
}

void TestServerAssignments::listRefusesBadKeys()
{
    Store store;
    QVERIFY(
        list(store, kDemo, "OFCR_TO_ID", {}, today(), today(-1)).error.contains(u"on, or before"));
    QVERIFY(list(store, 4242, "OFCR_TO_ID").error.contains(u"4242"));
    QVERIFY(
        list(store, kDemo, "OFCR_TO_ID", QStringLiteral("X")).error.contains(u"ASGNMT_STTS_CD"));
    QVERIFY(!store.send(RequestKind::Query, kDemo, {{"ASGNMT_FRM_DT", today()}}).error.isEmpty());
    // No context officer: refused before anything is read.
    BrokerRequest anonymous;
    anonymous.setKind(RequestKind::Query);
    QVERIFY(store.backend().handle(anonymous).error.contains(u"INSP_ID"));
}

void TestServerAssignments::addWritesAssignmentAndHistoryWithBoundText()
{
    Store store;
    const QString tricky = QStringLiteral("O'Brien said \"hi\"; DROP TABLE ASGNMT; --");
    const BrokerReply r = store.update(kDemo, {{{"ACTION", QStringLiteral("ADD")},
                                                {"OFCR_FRM_ID", QString::number(kDemo)},
                                                {"ASGNMT_TYP_CD", QStringLiteral("002")},
                                                {"ASGNMT_SBJCT_TXT", tricky},
                                                {"FORM_NBR", QStringLiteral("0000042-2")},
                                                {"FORM_TYP_CD", QStringLiteral("CIT")},
                                                {"EFCTV_DT", today()},
                                                {"DUE_DT", today(14)},
                                                {"EXPRTN_DT", today(60)},
                                                {"TRP_ID", QStringLiteral("B")},
                                                {"TRP_DIST_ID", QStringLiteral("12")},
                                                {"ASGNMT_CMMT_TXT", QStringLiteral("")}}});
    QCOMPARE(r.error, QString());
    const qint64 nbr = store.count(QStringLiteral("SELECT MAX(ASGNMT_NBR) FROM ASGNMT"));
    QCOMPARE(store.assignment("ASGNMT_SBJCT_TXT", nbr).toString(), tricky);
    QCOMPARE(store.assignment("ASGNMT_CMMT_TXT", nbr).toString(), QStringLiteral(""));
    QVERIFY(store.assignment("OFCR_TO_ID", nbr).isNull());
    QCOMPARE(store.assignment("TRP_DIST_ID", nbr).toString(), QStringLiteral("12"));
    QCOMPARE(store.assignment("OFCR_CRTR_ID", nbr).toLongLong(), kDemo);
    QCOMPARE(
        store.value(QStringLiteral("SELECT ACTION FROM ASGNMT_HIST WHERE ASGNMT_NBR = ?"), {nbr})
            .toString(),
        QStringLiteral("ADD"));
    // No type chosen: the screens send "DEF", which needs no code-table row.
    QCOMPARE(store.update(kDemo, {newRow(kDemo, kOther, QStringLiteral("DEF"))}).error, QString());
}

void TestServerAssignments::addNeedsTheAssignmentRight()
{
    Store store;
    const BrokerReply r = store.update(kPlain, {newRow(kPlain, kOther)});
    QVERIFY2(r.error.contains(u"\"Assignment\" right"), qPrintable(r.error));
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT")), 0);
}

void TestServerAssignments::addRefusesUnknownAndMalformedValues_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("unknown officer") << "OFCR_TO_ID"
                                     << "999999"
                                     << "999999 is not known";
    QTest::newRow("inactive officer") << "OFCR_TO_ID"
                                      << "1007"
                                      << "not active";
    QTest::newRow("unknown type") << "ASGNMT_TYP_CD"
                                  << "999"
                                  << "type 999";
    QTest::newRow("due before effective") << "DUE_DT" << today(-1) << "due date must be on";
    QTest::newRow("expiry before due") << "EXPRTN_DT" << today(1) << "expiration date must";
    QTest::newRow("not a date") << "EFCTV_DT"
                                << "31/31/2026"
                                << "not a valid date";
    QTest::newRow("over-long comment")
        << "ASGNMT_CMMT_TXT" << QString(2001, u'x') << "longer than 2000";
    QTest::newRow("sender is someone else") << "OFCR_FRM_ID"
                                            << "1004"
                                            << "not the signed-on";
    QTest::newRow("bad check digit") << "FORM_NBR"
                                     << "0000042-6"
                                     << "check digit";
}

void TestServerAssignments::addRefusesUnknownAndMalformedValues()
{
    QFETCH(QString, field);
    QFETCH(QString, value);
    QFETCH(QString, expected);
    Store store;
    auto rs = updateRows("ASSIGNMENT", {newRow(kDemo, kOther)});
    rs->moveFirst();
    if (field == u"FORM_NBR")
        rs->setValue(u"FORM_TYP_CD", QStringLiteral("CIT"));
    rs->setValue(field, value);
    const BrokerReply r = store.send(RequestKind::AssignmentUpdate, kDemo, {}, rs, "ASSIGNMENT");
    QVERIFY2(r.error.contains(expected), qPrintable(r.error));
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT")), 0);

    // The other addressee kinds are checked against their tables too.
    const Row agency{{"ACTION", QStringLiteral("ADD")},
                     {"ASGNMT_TYP_CD", QStringLiteral("001")},
                     {"EFCTV_DT", today()},
                     {"DUE_DT", today()},
                     {"EXPRTN_DT", today()},
                     {"AGNCY_CD", QStringLiteral("OLDAG")}};
    QVERIFY(store.update(kDemo, {agency}).error.contains(u"agency OLDAG"));
    const Row troop{{"ACTION", QStringLiteral("ADD")},
                    {"ASGNMT_TYP_CD", QStringLiteral("001")},
                    {"EFCTV_DT", today()},
                    {"DUE_DT", today()},
                    {"EXPRTN_DT", today()},
                    {"TRP_ID", QStringLiteral("A")},
                    {"TRP_DIST_ID", QStringLiteral("9")}};
    QVERIFY(store.update(kDemo, {troop}).error.contains(u"Troop/District A9"));
}

void TestServerAssignments::failingThirdRowLeavesNothingWritten()
{
    Store store;
    const qint64 before =
        store.count(QStringLiteral("SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'ASGNMT_NBR'"));
    const BrokerReply r =
        store.update(kDemo, {newRow(kDemo, kOther), newRow(kDemo, kPlain), newRow(kDemo, 987654)});
    QVERIFY(r.error.startsWith(u"Row 3:"));
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT")), 0);
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST")), 0);
    QCOMPARE(
        store.count(QStringLiteral("SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'ASGNMT_NBR'")),
        before);
    // The same three rows with a good third are written whole.
    QCOMPARE(store
                 .update(kDemo, {newRow(kDemo, kOther), newRow(kDemo, kPlain),
                                 newRow(kDemo, DemoOfficer::Typical)})
                 .error,
             QString());
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT")), 3);
}

void TestServerAssignments::forwardUpdatesOriginalAndAddsTiedCopies()
{
    Store store;
    const qint64 nbr = store.addAssignment(kPlain, QStringLiteral("002"));
    store.exec(
        QStringLiteral(
            "UPDATE ASGNMT SET FORM_NBR = '1234567-4', FORM_TYP_CD = 'CIT', ASGNMT_SBJCT_TXT = "
            "'s' WHERE ASGNMT_NBR = ?"),
        {nbr});
    const QString n = QString::number(nbr);
    // Forwarding needs no right: the officer without any forwards to two officers and a troop
    // is not mixed in.
    const BrokerReply r =
        store.update(kPlain, {{{"ACTION", QStringLiteral("UPD")},
                               {"ASGNMT_NBR", n},
                               {"ASGNMT_CMMT_TXT", QStringLiteral("please handle")},
                               {"EFCTV_DT", today()},
                               {"DUE_DT", today(5)},
                               {"EXPRTN_DT", today(9)},
                               {"OFCR_FRM_ID", QString::number(kPlain)},
                               {"OFCR_TO_ID", QStringLiteral("1004")},
                               {"NTFY_IND", QStringLiteral("N")}},
                              {{"ACTION", QStringLiteral("ADD")},
                               {"ASGNMT_NBR", n},
                               {"ASGNMT_CMMT_TXT", QStringLiteral("please handle")},
                               {"EFCTV_DT", today()},
                               {"DUE_DT", today(5)},
                               {"EXPRTN_DT", today(9)},
                               {"OFCR_FRM_ID", QString::number(kPlain)},
                               {"OFCR_TO_ID", QStringLiteral("1005")},
                               {"NTFY_IND", QStringLiteral("N")},
                               {"ASGNMT_SBJCT_TXT", QStringLiteral("s")},
                               {"ASGNMT_TYP_CD", QStringLiteral("002")},
                               {"FORM_NBR", QStringLiteral("1234567-4")},
                               {"FORM_TYP_CD", QStringLiteral("CIT")}}});
    QCOMPARE(r.error, QString());
    QCOMPARE(store.assignment("ASGNMT_STTS_CD", nbr).toString(), QStringLiteral("F"));
    QCOMPARE(store.assignment("OFCR_TO_ID", nbr).toLongLong(), 1004);
    QCOMPARE(store.assignment("OFCR_FRM_ID", nbr).toLongLong(), kPlain);
    QCOMPARE(store.assignment("HIST_CNT", nbr).toLongLong(), 2);
    const qint64 copy = store.count(
        QStringLiteral("SELECT ASGNMT_NBR FROM ASGNMT WHERE ORIG_ASGNMT_NBR = ?"), {nbr});
    QVERIFY(copy > nbr);
    QCOMPARE(store.assignment("OFCR_TO_ID", copy).toLongLong(), 1005);
    QCOMPARE(store.assignment("FORM_NBR", copy).toString(), QStringLiteral("1234567-4"));
    QCOMPARE(
        store.value(QStringLiteral("SELECT ACTION FROM ASGNMT_HIST WHERE ASGNMT_NBR = ?"), {copy})
            .toString(),
        QStringLiteral("FORWARD"));
    // Forwarded work shows in the receivers' open lists.
    QCOMPARE(column(list(store, 1005, "OFCR_TO_ID", QStringLiteral("O")), "ASGNMT_NBR"),
             QStringList{QString::number(copy)});
}

void TestServerAssignments::forwardCopyWithoutItsForwardIsRefused()
{
    Store store;
    const qint64 nbr = store.addAssignment(kPlain);
    const BrokerReply r = store.update(kPlain, {{{"ACTION", QStringLiteral("ADD")},
                                                 {"ASGNMT_NBR", QString::number(nbr)},
                                                 {"EFCTV_DT", today()},
                                                 {"DUE_DT", today()},
                                                 {"EXPRTN_DT", today()},
                                                 {"OFCR_TO_ID", QStringLiteral("1005")}}});
    QVERIFY2(r.error.contains(u"must follow its forward"), qPrintable(r.error));
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT")), 1);
}

void TestServerAssignments::replySwapsOfficersButNotOnSystemTypes()
{
    Store store;
    const qint64 nbr = store.addAssignment(kPlain);
    const Row reply{{"ACTION", QStringLiteral("UPD")},
                    {"ASGNMT_NBR", QString::number(nbr)},
                    {"ASGNMT_CMMT_TXT", QStringLiteral("done, see notes")},
                    {"OFCR_FRM_ID", QString::number(kPlain)},
                    {"OFCR_TO_ID", QString::number(kDemo)},
                    {"NTFY_IND", QStringLiteral("N")}};
    QCOMPARE(store.update(kPlain, {reply}).error, QString());
    QCOMPARE(store.assignment("ASGNMT_STTS_CD", nbr).toString(), QStringLiteral("R"));
    QCOMPARE(store.assignment("OFCR_TO_ID", nbr).toLongLong(), kDemo);
    QCOMPARE(store.assignment("ASGNMT_CMMT_TXT", nbr).toString(),
             QStringLiteral("done, see notes"));

    const qint64 generated = store.addAssignment(kPlain, QStringLiteral("005"));
    const BrokerReply refused = store.update(kPlain, {{{"ACTION", QStringLiteral("UPD")},
                                                       {"ASGNMT_NBR", QString::number(generated)},
                                                       {"OFCR_FRM_ID", QString::number(kPlain)},
                                                       {"OFCR_TO_ID", QString::number(kDemo)}}});
    QVERIFY2(refused.error.contains(u"system-generated"), qPrintable(refused.error));
}

void TestServerAssignments::closeFollowsCreatorClosesRule()
{
    Store store;
    auto close = [&](qint64 officer, qint64 nbr) {
        return store.update(officer, {{{"ACTION", QStringLiteral("UPD")},
                                       {"ASGNMT_NBR", QString::number(nbr)},
                                       {"ASGNMT_CMMT_TXT", QStringLiteral("closing")},
                                       {"ASGNMT_STTS_CD", QStringLiteral("C")}}});
    };
    // "003" is creator-closes. Created by kOther; kPlain is neither creator nor closer.
    const qint64 audit = store.addAssignment(kPlain, QStringLiteral("003"), kOther);
    QVERIFY(close(kPlain, audit).error.contains(u"only be closed by the assignment creator"));
    QCOMPARE(close(kDemo, audit).error, QString()); // a member of ASSIGNMENTCLOSERS
    QCOMPARE(dateOf(store.assignment("CLSE_DT", audit)), QDate::currentDate());
    QVERIFY(close(kDemo, audit).error.contains(u"already closed"));

    const qint64 own = store.addAssignment(kPlain, QStringLiteral("003"), kOther);
    QCOMPARE(close(kOther, own).error, QString()); // the creator himself
    const qint64 ordinary = store.addAssignment(kPlain, QStringLiteral("001"), kOther);
    QCOMPARE(close(kPlain, ordinary).error, QString()); // any party closes other types
}

void TestServerAssignments::reopenAndHistoryKeepDistinctEvents()
{
    Store store;
    const qint64 nbr = store.addAssignment(kPlain);
    const QString n = QString::number(nbr);
    auto status = [&](const char *code) {
        return store.update(kDemo, {{{"ACTION", QStringLiteral("UPD")},
                                     {"ASGNMT_NBR", n},
                                     {"ASGNMT_CMMT_TXT", QStringLiteral("x")},
                                     {"ASGNMT_STTS_CD", QLatin1String(code)}}});
    };
    QVERIFY(status("O").error.contains(u"not closed"));
    QCOMPARE(status("C").error, QString());
    QCOMPARE(status("O").error, QString());
    QVERIFY(store.assignment("CLSE_DT", nbr).isNull());
    QVERIFY(status("Q").error.contains(u"ASGNMT_STTS_CD"));

    const BrokerReply h = store.send(RequestKind::Query, kDemo,
                                     {{"ASGNMT_NBR", n}, {"HISTORY", QStringLiteral("YES")}});
    QCOMPARE(h.error, QString());
    QCOMPARE(column(h, "ACTION"), (QStringList{QStringLiteral("REOPEN"), QStringLiteral("CLOSE"),
                                               QStringLiteral("ADD")}));
    const RecordSetPtr rs = h.recordSet(QStringLiteral("ASSIGNMENT"));
    for (const char *f : {"ASGNMT_SBJCT_TXT", "OFCR_CRTR_ID", "STATION_ID", "AGNCY_CD", "CLSE_DT",
                          "EXPRTN_DT", "LST_UPDT_TS"})
        QVERIFY2(rs->hasField(QString::fromLatin1(f)), f);
    QCOMPARE(column(h, "ASGNMT_STTS_CD"),
             (QStringList{QStringLiteral("O"), QStringLiteral("C"), QStringLiteral("O")}));
    QVERIFY(
        store
            .send(RequestKind::Query, kDemo,
                  {{"ASGNMT_NBR", QStringLiteral("777777")}, {"HISTORY", QStringLiteral("YES")}})
            .error.contains(u"not known"));
}

KORVA_SERVER_TEST_MAIN(TestServerAssignments)
#include "tst_server_assignments.moc"
