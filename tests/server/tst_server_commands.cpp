// Reply, close, reopen, forward and history requests: who may make them, and that a refused one
// leaves the store exactly as it was.
#include "serverfixture.h"

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kCloser = DemoOfficer::Demo;    // ASSIGNMENTCLOSERS, party to nothing here
constexpr qint64 kOutsider = DemoOfficer::Plain; // no rights, no groups
constexpr qint64 kSender = DemoOfficer::Heavy;   // creates and sends the assignment
constexpr qint64 kAddressee = DemoOfficer::Typical;

Row command(qint64 nbr, const QString &what, qint64 from = 0, qint64 to = 0)
{
    Row r{{"ACTION", what == u"ADD" ? what : QStringLiteral("UPD")},
          {"ASGNMT_NBR", QString::number(nbr)},
          {"ASGNMT_CMMT_TXT", QStringLiteral("x")}};
    if (what == u"C" || what == u"O")
        return r + Row{{"ASGNMT_STTS_CD", what}};
    if (what == u"FWD" || what == u"ADD")
        r += Row{{"EFCTV_DT", today()}, {"DUE_DT", today(5)}, {"EXPRTN_DT", today(9)}};
    r += Row{{"OFCR_FRM_ID", QString::number(from)},
             {"OFCR_TO_ID", QString::number(to)},
             {"NTFY_IND", QStringLiteral("N")}};
    if (what == u"ADD")
        r += Row{{"ASGNMT_SBJCT_TXT", QStringLiteral("Subject")},
                 {"ASGNMT_TYP_CD", QStringLiteral("001")},
                 {"FORM_NBR", QStringLiteral("")},
                 {"FORM_TYP_CD", QStringLiteral("")}};
    return r;
}

// The row with `field` set to `value`; an empty value drops the field.
Row with(Row row, const char *field, const QString &value)
{
    row.removeIf([&](const auto &f) { return qstrcmp(f.first, field) == 0; });
    if (!value.isEmpty())
        row.append({field, value});
    return row;
}

// Everything a command could touch: the row counts, the number counter and the assignment's
// changeable columns.
QVariantList storeState(Store &store, qint64 nbr)
{
    QVariantList state{
        store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT")),
        store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST")),
        store.count(QStringLiteral("SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'ASGNMT_NBR'"))};
    for (const char *column :
         {"ASGNMT_STTS_CD", "OFCR_FRM_ID", "OFCR_TO_ID", "AGNCY_CD", "TRP_ID", "EFCTV_DT", "DUE_DT",
          "CLSE_DT", "ASGNMT_CMMT_TXT", "NTFY_IND", "HIST_CNT", "LST_UPDT_TS"})
        state.append(store.assignment(column, nbr));
    return state;
}

QString latestAction(Store &store, qint64 nbr)
{
    return store
        .value(QStringLiteral("SELECT ACTION FROM ASGNMT_HIST WHERE ASGNMT_NBR = ? ORDER BY "
                              "HIST_ID DESC"),
               {nbr})
        .toString();
}

BrokerReply history(Store &store, qint64 officer, qint64 nbr)
{
    return store.send(RequestKind::Query, officer,
                      {{"ASGNMT_NBR", QString::number(nbr)}, {"HISTORY", QStringLiteral("YES")}});
}

// An assignment of `type` from kSender (its creator) to kAddressee, closed when asked.
qint64 prepare(Store &store, const QString &type, bool closed = false)
{
    const qint64 nbr = store.addAssignment(kAddressee, type, kSender);
    store.exec(
        QStringLiteral("UPDATE ASGNMT SET ASGNMT_SBJCT_TXT = 'Subject' WHERE ASGNMT_NBR = ?"),
        {nbr});
    if (closed && !store.update(kSender, {command(nbr, QStringLiteral("C"))}).error.isEmpty())
        qFatal("closing the assignment failed");
    return nbr;
}

} // namespace

class TestServerCommands : public QObject {
    Q_OBJECT
private slots:
    void forgedCommandsAreRefusedAndWriteNothing_data();
    void forgedCommandsAreRefusedAndWriteNothing();
    void eachCommandWritesOneHistoryRow_data();
    void eachCommandWritesOneHistoryRow();
    void forwardedAndRepliedAssignmentsReopenToOpen();
    void typeRulesFollowTheAssignmentsRegion();
    void historyAndForwardCopies();
    void listsAreTheOfficersOwnUnlessARightAllowsMore();
};

void TestServerCommands::forgedCommandsAreRefusedAndWriteNothing_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("closed");
    QTest::addColumn<qint64>("actor");
    QTest::addColumn<QList<Row>>("rows"); // ASGNMT_NBR 0 stands for the assignment
    QTest::addColumn<QString>("refusal");
    const QString R = QStringLiteral("REPLY"), C = QStringLiteral("C"), O = QStringLiteral("O"),
                  F = QStringLiteral("FWD"), A = QStringLiteral("ADD");
    auto row = [](const QString &what, qint64 from = 0, qint64 to = 0) {
        return command(0, what, from, to);
    };
    auto add = [&](const char *name, const char *type, bool closed, qint64 actor,
                   const QList<Row> &rows, const char *refusal) {
        QTest::newRow(name) << QString::fromLatin1(type) << closed << actor << rows
                            << QString::fromLatin1(refusal);
    };
    add("reply by an outsider", "001", false, kOutsider, {row(R, kOutsider, kSender)},
        "Only the addressee of assignment");
    add("reply by the sender as the addressee", "001", false, kSender,
        {row(R, kAddressee, kSender)}, "Only the addressee of assignment");
    add("reply from another officer", "001", false, kAddressee, {row(R, 1005, kSender)},
        "OFCR_FRM_ID 1005 is not the addressee");
    add("reply to another than the sender", "001", false, kAddressee, {row(R, kAddressee, 1005)},
        "OFCR_TO_ID 1005 is not the sender");
    add("reply with the ids not swapped", "001", false, kAddressee, {row(R, kSender, kAddressee)},
        "OFCR_FRM_ID 1003 is not the addressee");
    add("close by an outsider", "001", false, kOutsider, {row(C)}, "can close it");
    add("reopen by an outsider", "001", true, kOutsider, {row(O)}, "can reopen it");
    add("creator-closes type closed by its addressee", "003", false, kAddressee, {row(C)},
        "only be closed by the assignment creator");
    add("second close", "001", true, kAddressee, {row(C)}, "is already closed");
    add("reopen of an open assignment", "001", false, kSender, {row(O)}, "cannot be reopened");
    add("forward by the sender", "001", false, kSender, {row(F, kSender, 1005)},
        "Only the addressee of assignment");
    add("forward in another's name", "001", false, kAddressee, {row(F, kSender, 1005)},
        "not the signed-on officer");
    add("forward of a closed assignment", "001", true, kAddressee, {row(F, kAddressee, 1005)},
        "is closed; reopen it");
    add("forward to an unknown officer", "001", false, kAddressee, {row(F, kAddressee, 424242)},
        "officer 424242 is not known");
    add("forward to a retired officer", "001", false, kAddressee,
        {row(F, kAddressee, DemoOfficer::Retired)}, "is not active");
    add("an officer named twice", "001", false, kAddressee,
        {row(F, kAddressee, 1005), row(A, kAddressee, 1006), row(A, kAddressee, 1005)},
        "names officer 1005 more than once");
    add("copy claiming another type", "001", false, kAddressee,
        {row(F, kAddressee, 1005),
         with(row(A, kAddressee, 1006), "ASGNMT_TYP_CD", QStringLiteral("003"))},
        "gives ASGNMT_TYP_CD \"003\"");
    add("copy claiming a reference document", "001", false, kAddressee,
        {row(F, kAddressee, 1005),
         with(row(A, kAddressee, 1006), "FORM_NBR", QStringLiteral("1234567-4"))},
        "gives FORM_NBR");
    add("copy after a forward to an agency", "001", false, kAddressee,
        {with(with(row(F, kAddressee), "OFCR_TO_ID", {}), "AGNCY_CD", QStringLiteral("DMV")),
         row(A, kAddressee, 1006)},
        "takes no copies");
    add("copy to a troop", "001", false, kAddressee,
        {row(F, kAddressee, 1005),
         with(with(with(row(A, kAddressee), "OFCR_TO_ID", {}), "TRP_ID", QStringLiteral("B")),
              "TRP_DIST_ID", QStringLiteral("12"))},
        "goes to an officer");
    add("forward whose last copy fails", "001", false, kAddressee,
        {row(F, kAddressee, 1005), row(A, kAddressee, 1006),
         row(A, kAddressee, DemoOfficer::Retired)},
        "Row 3:");
}

void TestServerCommands::forgedCommandsAreRefusedAndWriteNothing()
{
    QFETCH(QString, type);
    QFETCH(bool, closed);
    QFETCH(qint64, actor);
    QFETCH(QList<Row>, rows);
    QFETCH(QString, refusal);
    Store store;
    const qint64 nbr = prepare(store, type, closed);
    for (Row &r : rows)
        r = with(r, "ASGNMT_NBR", QString::number(nbr));
    const QVariantList before = storeState(store, nbr);

    auto rs = RecordSet::create(QStringLiteral("ASSIGNMENT"));
    for (const Row &r : rows) {
        rs->addNew();
        for (const auto &[name, value] : r)
            rs->setValue(QString::fromLatin1(name), value);
    }
    const BrokerReply reply =
        store.send(RequestKind::AssignmentUpdate, actor, {}, rs, "ASSIGNMENT");
    QVERIFY2(reply.error.contains(refusal), qPrintable(reply.error));
    QCOMPARE(storeState(store, nbr), before);
}

void TestServerCommands::eachCommandWritesOneHistoryRow_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("closed");
    QTest::addColumn<qint64>("actor");
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("action");
    QTest::newRow("reply by the addressee") << "001" << false << kAddressee << "REPLY"
                                            << "REPLY";
    QTest::newRow("close by the sender") << "001" << false << kSender << "C"
                                         << "CLOSE";
    QTest::newRow("closer closes a creator-closes type") << "003" << false << kCloser << "C"
                                                         << "CLOSE";
    QTest::newRow("reopen by the addressee") << "001" << true << kAddressee << "O"
                                             << "REOPEN";
}

void TestServerCommands::eachCommandWritesOneHistoryRow()
{
    QFETCH(QString, type);
    QFETCH(bool, closed);
    QFETCH(qint64, actor);
    QFETCH(QString, what);
    QFETCH(QString, action);
    Store store;
    const qint64 nbr = prepare(store, type, closed);
    const QVariantList before = storeState(store, nbr);
    const qint64 steps = store.assignment("HIST_CNT", nbr).toLongLong();

    QCOMPARE(store.update(actor, {command(nbr, what, kAddressee, kSender)}).error, QString());
    const QVariantList after = storeState(store, nbr);
    QCOMPARE(after.at(0), before.at(0));                               // no assignment added
    QCOMPARE(after.at(1).toLongLong(), before.at(1).toLongLong() + 1); // one history row
    QCOMPARE(store.assignment("HIST_CNT", nbr).toLongLong(), steps + 1);
    QCOMPARE(latestAction(store, nbr), action);
    const bool reply = what == u"REPLY";
    QCOMPARE(store.assignment("ASGNMT_STTS_CD", nbr).toString(),
             reply ? QStringLiteral("R") : what);
    QCOMPARE(store.assignment("OFCR_TO_ID", nbr).toLongLong(), reply ? kSender : kAddressee);
    QCOMPARE(store.assignment("CLSE_DT", nbr).isNull(), what != u"C");
}

// The screen offers Reopen, not Close, on a row at "F" or "R": the reopen brings it back to
// "O" with one history row, and Close then takes it.
void TestServerCommands::forwardedAndRepliedAssignmentsReopenToOpen()
{
    Store store;
    for (const QString what : {QStringLiteral("FWD"), QStringLiteral("REPLY")}) {
        const qint64 nbr = prepare(store, QStringLiteral("001"));
        QCOMPARE(store.update(kAddressee, {command(nbr, what, kAddressee, kSender)}).error,
                 QString());
        const QString moved = store.assignment("ASGNMT_STTS_CD", nbr).toString();
        QCOMPARE(moved, what == u"FWD" ? QStringLiteral("F") : QStringLiteral("R"));
        const qint64 rows = store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST"));

        QCOMPARE(store.update(kSender, {command(nbr, QStringLiteral("O"))}).error, QString());
        QCOMPARE(store.assignment("ASGNMT_STTS_CD", nbr).toString(), QStringLiteral("O"));
        QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST")), rows + 1);
        QCOMPARE(latestAction(store, nbr), QStringLiteral("REOPEN"));
        // Now open, a second reopen is refused and the close goes through.
        QVERIFY(store.update(kSender, {command(nbr, QStringLiteral("O"))})
                    .error.contains(u"cannot be reopened"));
        QCOMPARE(store.update(kSender, {command(nbr, QStringLiteral("C"))}).error, QString());
        QCOMPARE(store.assignment("ASGNMT_STTS_CD", nbr).toString(), QStringLiteral("C"));
    }
}

void TestServerCommands::typeRulesFollowTheAssignmentsRegion()
{
    Store store;
    // In region SE neither rule holds; the assignments belong to NE, their creator's region.
    store.exec(QStringLiteral(
        "UPDATE ZTB_ASGNMT_TYPE SET CRTR_CLS_IND = 'N', SYS_IND = 'N' WHERE REGION = 'SE'"));
    const qint64 audit = prepare(store, QStringLiteral("003"));
    const qint64 notice = prepare(store, QStringLiteral("005"));
    for (const auto &[nbr, what, refusal] :
         {std::tuple{audit, "C", "only be closed by the assignment creator"},
          std::tuple{notice, "REPLY", "system-generated"}}) {
        BrokerRequest request;
        request.setKind(RequestKind::AssignmentUpdate);
        request.setContext(QStringLiteral("INSP_ID=%1;REGION=SE").arg(kAddressee));
        request.addRecordSet(
            QStringLiteral("ASSIGNMENT"),
            updateRows("ASSIGNMENT", {command(nbr, QLatin1String(what), kAddressee, kSender)}));
        const QVariantList before = storeState(store, nbr);
        const BrokerReply r = store.backend().handle(request);
        QVERIFY2(r.error.contains(QLatin1String(refusal)), qPrintable(r.error));
        QCOMPARE(storeState(store, nbr), before);
    }
}

void TestServerCommands::historyAndForwardCopies()
{
    Store store;
    const qint64 nbr = prepare(store, QStringLiteral("001"));
    QCOMPARE(store
                 .update(kAddressee, {command(nbr, QStringLiteral("FWD"), kAddressee, 1005),
                                      command(nbr, QStringLiteral("ADD"), kAddressee, 1006)})
                 .error,
             QString());
    const qint64 copy = store.count(
        QStringLiteral("SELECT ASGNMT_NBR FROM ASGNMT WHERE ORIG_ASGNMT_NBR = ?"), {nbr});
    QCOMPARE(store.assignment("OFCR_TO_ID", copy).toLongLong(), 1006);
    QCOMPARE(store.assignment("ASGNMT_SBJCT_TXT", copy).toString(), QStringLiteral("Subject"));

    // The original's history: ADD, FORWARD and the copy's creation; the copy's: its creation.
    auto numbers = [&](qint64 officer, qint64 of) {
        QStringList out;
        const BrokerReply h = history(store, officer, of);
        if (!h.error.isEmpty())
            return QStringList{h.error};
        const RecordSetPtr rs = h.recordSet(QStringLiteral("ASSIGNMENT"));
        for (rs->moveFirst(); !rs->isEOF(); rs->moveNext())
            out.append(rs->text(u"ASGNMT_NBR") + u' ' + rs->text(u"ACTION"));
        std::sort(out.begin(), out.end());
        return out;
    };
    const QString n = QString::number(nbr), c = QString::number(copy);
    QStringList full{n + QStringLiteral(" ADD"), n + QStringLiteral(" FORWARD"),
                     c + QStringLiteral(" FORWARD")};
    std::sort(full.begin(), full.end());
    // Parties as the assignment now stands (creator, sender, addressee) and a closer.
    for (qint64 officer : {kSender, kAddressee, qint64(1005), kCloser})
        QCOMPARE(numbers(officer, nbr), full);
    QCOMPARE(numbers(1006, copy), QStringList{c + QStringLiteral(" FORWARD")});
    QVERIFY(numbers(kOutsider, nbr).first().contains(u"can see its history"));
    QVERIFY(numbers(1006, nbr).first().contains(u"can see its history"));

    // Now 1005 holds it: the previous addressee may no longer forward it, 1005 may.
    QVERIFY(store.update(kAddressee, {command(nbr, QStringLiteral("FWD"), kAddressee, 1006)})
                .error.contains(u"Only the addressee"));
    QCOMPARE(store.update(1005, {command(nbr, QStringLiteral("FWD"), 1005, 1006)}).error,
             QString());
}

void TestServerCommands::listsAreTheOfficersOwnUnlessARightAllowsMore()
{
    Store store;
    store.addAssignment(kAddressee, QStringLiteral("001"), kSender);
    auto list = [&](qint64 asker, qint64 officer) {
        return store.send(RequestKind::Query, asker,
                          {{"ASGNMT_FRM_DT", today(-1)},
                           {"ASGNMT_TO_DT", today()},
                           {"OFCR_TO_ID", QString::number(officer)}});
    };
    const BrokerReply own = list(kAddressee, kAddressee);
    QCOMPARE(own.error, QString());
    QCOMPARE(own.recordSet(QStringLiteral("ASSIGNMENT"))->storageCount(), 1);
    // Another officer's list: refused without the right, whatever the officer's groups.
    for (qint64 asker : {kOutsider, kSender}) {
        const BrokerReply r = list(asker, kAddressee);
        QVERIFY2(r.error.contains(u"AssignmentListAll"), qPrintable(r.error));
        QVERIFY(r.recordSets.isEmpty());
    }
    const BrokerReply supervised = list(kCloser, kAddressee);
    QCOMPARE(supervised.error, QString());
    QCOMPARE(supervised.recordSet(QStringLiteral("ASSIGNMENT"))->storageCount(), 1);
}

KORVA_SERVER_TEST_MAIN(TestServerCommands)
#include "tst_server_commands.moc"
