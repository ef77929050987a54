// Reply, close, reopen, forward and history requests: who may make them, and that a refused one
// leaves the store exactly as it was.
#include "serverfixture.h"

#include <functional>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kCloser = DemoOfficer::Demo;    // ASSIGNMENTCLOSERS, party to nothing below
constexpr qint64 kOutsider = DemoOfficer::Plain; // no rights, no groups
constexpr qint64 kSender = DemoOfficer::Heavy;   // creates and sends the assignment
constexpr qint64 kAddressee = DemoOfficer::Typical;
constexpr qint64 kRetired = DemoOfficer::Retired;

QString id(qint64 v)
{
    return QString::number(v);
}

Row replyRow(const QString &n, qint64 from, qint64 to)
{
    return {{"ACTION", QStringLiteral("UPD")},
            {"ASGNMT_NBR", n},
            {"ASGNMT_CMMT_TXT", QStringLiteral("r")},
            {"OFCR_FRM_ID", id(from)},
            {"OFCR_TO_ID", id(to)},
            {"NTFY_IND", QStringLiteral("N")}};
}

Row statusRow(const QString &n, const char *status)
{
    return {{"ACTION", QStringLiteral("UPD")},
            {"ASGNMT_NBR", n},
            {"ASGNMT_CMMT_TXT", QStringLiteral("s")},
            {"ASGNMT_STTS_CD", QLatin1String(status)}};
}

Row forwardRow(const char *action, const QString &n, qint64 from, qint64 to)
{
    Row r{{"ACTION", QLatin1String(action)},
          {"ASGNMT_NBR", n},
          {"ASGNMT_CMMT_TXT", QStringLiteral("f")},
          {"EFCTV_DT", today()},
          {"DUE_DT", today(5)},
          {"EXPRTN_DT", today(9)},
          {"OFCR_FRM_ID", id(from)},
          {"OFCR_TO_ID", id(to)},
          {"NTFY_IND", QStringLiteral("N")}};
    if (qstrcmp(action, "ADD") == 0)
        r += Row{{"ASGNMT_SBJCT_TXT", QStringLiteral("Subject line")},
                 {"ASGNMT_TYP_CD", QStringLiteral("001")},
                 {"FORM_NBR", QStringLiteral("")},
                 {"FORM_TYP_CD", QStringLiteral("")}};
    return r;
}

Row with(Row row, const char *field, const QString &value)
{
    for (auto &[name, v] : row) {
        if (qstrcmp(name, field) == 0) {
            v = value;
            return row;
        }
    }
    row.append({field, value});
    return row;
}

BrokerReply sendRows(Store &store, qint64 officer, const QList<Row> &rows)
{
    auto rs = RecordSet::create(QStringLiteral("ASSIGNMENT"));
    for (const Row &row : rows) {
        rs->addNew();
        for (const auto &[name, value] : row)
            rs->setValue(QString::fromLatin1(name), value);
    }
    return store.send(RequestKind::AssignmentUpdate, officer, {}, rs, "ASSIGNMENT");
}

BrokerReply history(Store &store, qint64 officer, qint64 nbr)
{
    return store.send(RequestKind::Query, officer,
                      {{"ASGNMT_NBR", id(nbr)}, {"HISTORY", QStringLiteral("YES")}});
}

// Everything a command could touch: the row counts, the number counter and the assignment's
// own changeable columns.
QVariantList storeState(Store &store, qint64 nbr)
{
    QVariantList state{
        store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT")),
        store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST")),
        store.count(QStringLiteral("SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'ASGNMT_NBR'"))};
    for (const char *column : {"ASGNMT_STTS_CD", "OFCR_FRM_ID", "OFCR_TO_ID", "AGNCY_CD", "TRP_ID",
                               "TRP_DIST_ID", "EFCTV_DT", "DUE_DT", "EXPRTN_DT", "CLSE_DT",
                               "ASGNMT_CMMT_TXT", "NTFY_IND", "HIST_CNT", "LST_UPDT_TS"})
        state.append(store.assignment(column, nbr));
    return state;
}

QString latestAction(Store &store, qint64 nbr)
{
    return store
        .value(QStringLiteral("SELECT ACTION FROM ASGNMT_HIST WHERE ASGNMT_NBR = ? "
                              "ORDER BY HIST_ID DESC"),
               {nbr})
        .toString();
}

struct Forged {
    const char *name;
    const char *type;
    bool closedFirst;
    qint64 actor;
    std::function<QList<Row>(const QString &)> rows;
    const char *refusal;
};

// The assignment under test is sent by kSender to kAddressee; kSender created it.
const QList<Forged> &forgedCases()
{
    static const QList<Forged> cases{
        {"reply by an outsider", "001", false, kOutsider,
         [](const QString &n) { return QList<Row>{replyRow(n, kOutsider, kSender)}; },
         "Only the addressee of assignment"},
        {"reply by the sender in the addressee's name", "001", false, kSender,
         [](const QString &n) { return QList<Row>{replyRow(n, kAddressee, kSender)}; },
         "Only the addressee of assignment"},
        {"reply from another officer", "001", false, kAddressee,
         [](const QString &n) { return QList<Row>{replyRow(n, 1005, kSender)}; },
         "OFCR_FRM_ID 1005 is not the addressee"},
        {"reply to someone other than the sender", "001", false, kAddressee,
         [](const QString &n) { return QList<Row>{replyRow(n, kAddressee, 1005)}; },
         "OFCR_TO_ID 1005 is not the sender"},
        {"reply with the ids not swapped", "001", false, kAddressee,
         [](const QString &n) { return QList<Row>{replyRow(n, kSender, kAddressee)}; },
         "OFCR_FRM_ID 1003 is not the addressee"},
        {"close by an outsider", "001", false, kOutsider,
         [](const QString &n) { return QList<Row>{statusRow(n, "C")}; },
         "Only the sender, the addressee or the creator"},
        {"reopen by an outsider", "001", true, kOutsider,
         [](const QString &n) { return QList<Row>{statusRow(n, "O")}; }, "can reopen it"},
        {"close of a creator-closes type by its addressee", "003", false, kAddressee,
         [](const QString &n) { return QList<Row>{statusRow(n, "C")}; },
         "only be closed by the assignment creator"},
        {"second close", "001", true, kAddressee,
         [](const QString &n) { return QList<Row>{statusRow(n, "C")}; }, "is already closed"},
        {"reopen of an open assignment", "001", false, kSender,
         [](const QString &n) { return QList<Row>{statusRow(n, "O")}; }, "is not closed"},
        {"forward by the sender", "001", false, kSender,
         [](const QString &n) { return QList<Row>{forwardRow("UPD", n, kSender, 1005)}; },
         "Only the addressee of assignment"},
        {"forward in another officer's name", "001", false, kAddressee,
         [](const QString &n) { return QList<Row>{forwardRow("UPD", n, kSender, 1005)}; },
         "not the signed-on officer"},
        {"forward of a closed assignment", "001", true, kAddressee,
         [](const QString &n) { return QList<Row>{forwardRow("UPD", n, kAddressee, 1005)}; },
         "is closed; reopen it"},
        {"forward to an unknown officer", "001", false, kAddressee,
         [](const QString &n) { return QList<Row>{forwardRow("UPD", n, kAddressee, 424242)}; },
         "officer 424242 is not known"},
        {"forward to a retired officer", "001", false, kAddressee,
         [](const QString &n) { return QList<Row>{forwardRow("UPD", n, kAddressee, kRetired)}; },
         "is not active"},
        {"copy to an officer already named", "001", false, kAddressee,
         [](const QString &n) {
             return QList<Row>{forwardRow("UPD", n, kAddressee, 1005),
                               forwardRow("ADD", n, kAddressee, 1006),
                               forwardRow("ADD", n, kAddressee, 1005)};
         },
         "names officer 1005 more than once"},
        {"copy claiming another type", "001", false, kAddressee,
         [](const QString &n) {
             return QList<Row>{forwardRow("UPD", n, kAddressee, 1005),
                               with(forwardRow("ADD", n, kAddressee, 1006), "ASGNMT_TYP_CD",
                                    QStringLiteral("003"))};
         },
         "gives ASGNMT_TYP_CD \"003\""},
        {"copy claiming a reference document", "001", false, kAddressee,
         [](const QString &n) {
             return QList<Row>{forwardRow("UPD", n, kAddressee, 1005),
                               with(forwardRow("ADD", n, kAddressee, 1006), "FORM_NBR",
                                    QStringLiteral("1234567-4"))};
         },
         "gives FORM_NBR"},
        {"copy after a forward to an agency", "001", false, kAddressee,
         [](const QString &n) {
             Row agency = forwardRow("UPD", n, kAddressee, 1005);
             agency.removeIf([](const auto &f) { return qstrcmp(f.first, "OFCR_TO_ID") == 0; });
             agency.append({"AGNCY_CD", QStringLiteral("DMV")});
             return QList<Row>{agency, forwardRow("ADD", n, kAddressee, 1006)};
         },
         "takes no copies"},
        {"copy to a troop", "001", false, kAddressee,
         [](const QString &n) {
             Row troop = forwardRow("ADD", n, kAddressee, 1006);
             troop.removeIf([](const auto &f) { return qstrcmp(f.first, "OFCR_TO_ID") == 0; });
             troop += Row{{"TRP_ID", QStringLiteral("B")}, {"TRP_DIST_ID", QStringLiteral("12")}};
             return QList<Row>{forwardRow("UPD", n, kAddressee, 1005), troop};
         },
         "goes to an officer"},
        {"forward whose last copy fails", "001", false, kAddressee,
         [](const QString &n) {
             return QList<Row>{forwardRow("UPD", n, kAddressee, 1005),
                               forwardRow("ADD", n, kAddressee, 1006),
                               forwardRow("ADD", n, kAddressee, kRetired)};
         },
         "Row 3:"},
    };
    return cases;
}

qint64 prepare(Store &store, const QString &type, bool closed)
{
    const qint64 nbr = store.addAssignment(kAddressee, type, kSender);
    store.exec(QStringLiteral("UPDATE ASGNMT SET ASGNMT_SBJCT_TXT = 'Subject line' WHERE "
                              "ASGNMT_NBR = ?"),
               {nbr});
    if (closed) {
        const BrokerReply r = sendRows(store, kSender, {statusRow(id(nbr), "C")});
        if (!r.error.isEmpty())
            qFatal("closing the assignment failed: %s", qPrintable(r.error));
    }
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
    void typeRulesFollowTheAssignmentsRegion();
    void historyIsForPartiesAndClosers();
    void forwardCopiesAreTiedAndShowInBothHistories();
};

void TestServerCommands::forgedCommandsAreRefusedAndWriteNothing_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < forgedCases().size(); ++i)
        QTest::newRow(forgedCases().at(i).name) << i;
}

void TestServerCommands::forgedCommandsAreRefusedAndWriteNothing()
{
    QFETCH(int, index);
    const Forged &c = forgedCases().at(index);
    Store store;
    const qint64 nbr = prepare(store, QLatin1String(c.type), c.closedFirst);
    const QVariantList before = storeState(store, nbr);

    const BrokerReply r = sendRows(store, c.actor, c.rows(id(nbr)));
    QVERIFY2(r.error.contains(QLatin1String(c.refusal)), qPrintable(r.error));
    QCOMPARE(storeState(store, nbr), before);
}

void TestServerCommands::eachCommandWritesOneHistoryRow_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("closedFirst");
    QTest::addColumn<qint64>("actor");
    QTest::addColumn<QString>("command"); // REPLY, C or O
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("status");

    QTest::newRow("reply by the addressee") << "001" << false << kAddressee << "REPLY"
                                            << "REPLY"
                                            << "R";
    QTest::newRow("close by the sender") << "001" << false << kSender << "C"
                                         << "CLOSE"
                                         << "C";
    QTest::newRow("close by the addressee") << "001" << false << kAddressee << "C"
                                            << "CLOSE"
                                            << "C";
    QTest::newRow("creator closes his own type") << "003" << false << kSender << "C"
                                                 << "CLOSE"
                                                 << "C";
    QTest::newRow("closer closes another's creator-closes type") << "003" << false << kCloser << "C"
                                                                 << "CLOSE"
                                                                 << "C";
    QTest::newRow("reopen by the addressee") << "001" << true << kAddressee << "O"
                                             << "REOPEN"
                                             << "O";
    QTest::newRow("reopen by a closer") << "001" << true << kCloser << "O"
                                        << "REOPEN"
                                        << "O";
}

void TestServerCommands::eachCommandWritesOneHistoryRow()
{
    QFETCH(QString, type);
    QFETCH(bool, closedFirst);
    QFETCH(qint64, actor);
    QFETCH(QString, command);
    QFETCH(QString, action);
    QFETCH(QString, status);
    Store store;
    const qint64 nbr = prepare(store, type, closedFirst);
    const qint64 assignments = store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT"));
    const qint64 entries =
        store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST WHERE ASGNMT_NBR = ?"), {nbr});
    const qint64 counted = store.assignment("HIST_CNT", nbr).toLongLong();

    const Row row = command == u"REPLY" ? replyRow(id(nbr), kAddressee, kSender)
                                        : statusRow(id(nbr), command == u"C" ? "C" : "O");
    QCOMPARE(sendRows(store, actor, {row}).error, QString());

    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT")), assignments);
    QCOMPARE(
        store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST WHERE ASGNMT_NBR = ?"), {nbr}),
        entries + 1);
    QCOMPARE(store.assignment("HIST_CNT", nbr).toLongLong(), counted + 1);
    QCOMPARE(latestAction(store, nbr), action);
    QCOMPARE(store.assignment("ASGNMT_STTS_CD", nbr).toString(), status);
    if (command == u"REPLY") {
        QCOMPARE(store.assignment("OFCR_FRM_ID", nbr).toLongLong(), kAddressee);
        QCOMPARE(store.assignment("OFCR_TO_ID", nbr).toLongLong(), kSender);
    } else {
        // Closing and reopening leave the officers where they were.
        QCOMPARE(store.assignment("OFCR_FRM_ID", nbr).toLongLong(), kSender);
        QCOMPARE(store.assignment("OFCR_TO_ID", nbr).toLongLong(), kAddressee);
        QCOMPARE(store.assignment("CLSE_DT", nbr).isNull(), status == u"O");
    }
}

void TestServerCommands::typeRulesFollowTheAssignmentsRegion()
{
    Store store;
    // In region SE neither rule holds; the assignments below belong to NE, their creator's.
    store.exec(QStringLiteral("UPDATE ZTB_ASGNMT_TYPE SET CRTR_CLS_IND = 'N', SYS_IND = 'N' "
                              "WHERE REGION = 'SE'"));
    auto sendAsSE = [&](qint64 officer, const Row &row) {
        BrokerRequest request;
        request.setMessageId(QStringLiteral("KORVA.Test"));
        request.setVersion(QStringLiteral("1.0"));
        request.setKind(RequestKind::AssignmentUpdate);
        request.setContext(QStringLiteral("INSP_ID=%1;REGION=SE").arg(officer));
        request.addRecordSet(QStringLiteral("ASSIGNMENT"), updateRows("ASSIGNMENT", {row}));
        return store.backend().handle(request);
    };

    const qint64 audit = prepare(store, QStringLiteral("003"), false);
    const QVariantList auditBefore = storeState(store, audit);
    QVERIFY(sendAsSE(kAddressee, statusRow(id(audit), "C"))
                .error.contains(u"only be closed by the assignment creator"));
    QCOMPARE(storeState(store, audit), auditBefore);

    const qint64 notice = prepare(store, QStringLiteral("005"), false);
    const QVariantList noticeBefore = storeState(store, notice);
    QVERIFY(sendAsSE(kAddressee, replyRow(id(notice), kAddressee, kSender))
                .error.contains(u"system-generated"));
    QCOMPARE(storeState(store, notice), noticeBefore);
}

void TestServerCommands::historyIsForPartiesAndClosers()
{
    Store store;
    const qint64 nbr = prepare(store, QStringLiteral("001"), false);
    // Parties are read as the assignment stands: after the reply its addressee is the sender.
    QCOMPARE(sendRows(store, kAddressee, {replyRow(id(nbr), kAddressee, kSender)}).error,
             QString());
    for (qint64 officer : {kSender, kAddressee, kCloser}) {
        const BrokerReply h = history(store, officer, nbr);
        QVERIFY2(h.error.isEmpty(), qPrintable(h.error));
        QCOMPARE(h.recordSet(QStringLiteral("ASSIGNMENT"))->count(), 2);
    }
    const BrokerReply refused = history(store, kOutsider, nbr);
    QVERIFY2(refused.error.contains(u"can see its history"), qPrintable(refused.error));
    QVERIFY(refused.recordSets.isEmpty());

    // The creator stays a party after the assignment has moved on to others.
    QCOMPARE(sendRows(store, kSender, {forwardRow("UPD", id(nbr), kSender, 1005)}).error,
             QString());
    const qint64 created = store.assignment("OFCR_CRTR_ID", nbr).toLongLong();
    QCOMPARE(created, kSender);
    QCOMPARE(history(store, kAddressee, nbr).error.contains(u"can see its history"), true);
    QCOMPARE(history(store, kSender, nbr).error, QString());
}

void TestServerCommands::forwardCopiesAreTiedAndShowInBothHistories()
{
    Store store;
    const qint64 nbr = prepare(store, QStringLiteral("001"), false);
    const QString n = id(nbr);
    QCOMPARE(
        sendRows(store, kAddressee,
                 {forwardRow("UPD", n, kAddressee, 1005), forwardRow("ADD", n, kAddressee, 1006),
                  forwardRow("ADD", n, kAddressee, kCloser)})
            .error,
        QString());

    QCOMPARE(store.assignment("OFCR_TO_ID", nbr).toLongLong(), 1005);
    QCOMPARE(store.assignment("OFCR_FRM_ID", nbr).toLongLong(), kAddressee);
    QCOMPARE(latestAction(store, nbr), QStringLiteral("FORWARD"));
    QCOMPARE(
        store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE ORIG_ASGNMT_NBR = ?"), {nbr}),
        2);
    const qint64 copy = store.count(
        QStringLiteral(
            "SELECT ASGNMT_NBR FROM ASGNMT WHERE ORIG_ASGNMT_NBR = ? AND OFCR_TO_ID = ?"),
        {nbr, 1006});
    QCOMPARE(store.assignment("ASGNMT_SBJCT_TXT", copy).toString(), QStringLiteral("Subject line"));
    QCOMPARE(store.assignment("OFCR_CRTR_ID", copy).toLongLong(), kSender);

    // The original's history: its two steps and each copy's creation, newest first.
    const RecordSetPtr original =
        history(store, kSender, nbr).recordSet(QStringLiteral("ASSIGNMENT"));
    QVERIFY(original);
    QCOMPARE(original->count(), 4);
    QStringList numbers;
    for (original->moveFirst(); !original->isEOF(); original->moveNext())
        numbers.append(original->text(u"ASGNMT_NBR"));
    QVERIFY(numbers.contains(id(copy)));
    QCOMPARE(numbers.count(n), 2);
    QVERIFY(original->findFirst(QStringLiteral("ASGNMT_NBR = %1").arg(copy)));
    QCOMPARE(original->text(u"ACTION"), QStringLiteral("FORWARD"));

    // The copy's own history holds its creation; its addressee may read it.
    const BrokerReply own = history(store, 1006, copy);
    QCOMPARE(own.error, QString());
    QCOMPARE(own.recordSet(QStringLiteral("ASSIGNMENT"))->count(), 1);

    // The first addressee may now forward the original on; the previous one no longer may.
    QVERIFY(sendRows(store, kAddressee, {forwardRow("UPD", n, kAddressee, 1006)})
                .error.contains(u"Only the addressee"));
    QCOMPARE(sendRows(store, 1005, {forwardRow("UPD", n, 1005, 1006)}).error, QString());
    // An agency is the one addressee of its forward.
    Row agency = forwardRow("UPD", n, 1006, 1006);
    agency.removeIf([](const auto &f) { return qstrcmp(f.first, "OFCR_TO_ID") == 0; });
    agency.append({"AGNCY_CD", QStringLiteral("DMV")});
    QCOMPARE(sendRows(store, 1006, {agency}).error, QString());
    QCOMPARE(store.assignment("AGNCY_CD", nbr).toString(), QStringLiteral("DMV"));
    QVERIFY(store.assignment("OFCR_TO_ID", nbr).isNull());
}

KORVA_SERVER_TEST_MAIN(TestServerCommands)
#include "tst_server_commands.moc"
