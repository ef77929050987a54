// Requests a desk would never send: forged identities, steps by the wrong officer, values out
// of range, malformed wire forms. Each must be refused with a clear text and leave every table
// exactly as it was.
#include "serverfixture.h"

#include <server/servererror.h>

#include <platform/errors.h>
#include <platform/wire.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QSqlRecord>

#include <functional>
#include <memory>
#include <vector>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kDemo = DemoOfficer::Demo;   // "Assignment", ASSIGNMENTCLOSERS
constexpr qint64 kPlain = DemoOfficer::Plain; // no rights
constexpr qint64 kHeavy = DemoOfficer::Heavy; // "Assignment"
constexpr qint64 kTypical = DemoOfficer::Typical;
constexpr qint64 kApprover = 1005;
constexpr qint64 kIssuer = 1006;

// Every row of every table as text, sorted per table: two dumps are equal exactly when the
// store holds the same data.
QMap<QString, QStringList> dumpTables(Database &db)
{
    QMap<QString, QStringList> dump;
    const QStringList tables = db.handle().tables(QSql::Tables);
    for (const QString &table : tables) {
        QSqlQuery q(db.handle());
        if (!q.exec(QStringLiteral("SELECT * FROM %1").arg(table)))
            qFatal("cannot dump %s", qPrintable(table));
        QStringList rows;
        while (q.next()) {
            QStringList cells;
            for (int c = 0; c < q.record().count(); ++c)
                cells.append(q.isNull(c) ? QStringLiteral("<null>") : q.value(c).toString());
            rows.append(cells.join(QChar(0x1f)));
        }
        rows.sort();
        dump.insert(table.toUpper(), rows);
    }
    return dump;
}

// The assignments and refunds the forgeries aim at, set up once per store: every case must
// leave them as they are, so they serve every case.
struct Scene {
    std::unique_ptr<Store> store;
    qint64 open = 0;             // 1001 sent it to 1003
    qint64 closed = 0;           // 1001 sent it to 1003, closed
    qint64 creatorOnly = 0;      // type 003: only its creator closes it
    qint64 refundAssignment = 0; // system-generated, addressed to 1001
    qint64 prepared = 0;         // refund at "1", prepared by 1002
    qint64 verified = 0;         // refund at "2", prepared by 1002, verified by 1005
    qint64 fresh = 0;            // refund at "0", not yet prepared
    qint64 transferred = 0;
    qint64 issued = 0; // refund at "4"
};

Scene *g_scene = nullptr;

BrokerRequest request(int kind, const QString &context)
{
    BrokerRequest r;
    r.setMessageId(QStringLiteral("KORVA.Forged"));
    r.setVersion(QStringLiteral("1.0"));
    r.setKind(kind);
    r.setContext(context);
    return r;
}

QString contextOf(qint64 officer)
{
    return QStringLiteral("INSP_ID=%1;REGION=NE").arg(officer);
}

BrokerReply send(const BrokerRequest &r)
{
    return g_scene->store->backend().handle(r.detached());
}

BrokerReply update(qint64 officer, std::initializer_list<Row> rows)
{
    return g_scene->store->update(officer, rows);
}

BrokerReply worksheet(qint64 officer, qint64 refund, Row fields)
{
    Row row{{"ACTION", QStringLiteral("UPD")},
            {"CUST_ID", g_scene->store->customer()},
            {"RFND_NBR", QString::number(refund)}};
    row += fields;
    return g_scene->store->worksheet(officer, row);
}

Row newAssignment(qint64 from, qint64 to)
{
    return {{"ACTION", QStringLiteral("ADD")},
            {"OFCR_FRM_ID", QString::number(from)},
            {"ASGNMT_TYP_CD", QStringLiteral("001")},
            {"EFCTV_DT", today()},
            {"DUE_DT", today(14)},
            {"EXPRTN_DT", today(60)},
            {"OFCR_TO_ID", QString::number(to)},
            {"ASGNMT_CMMT_TXT", QStringLiteral("c")}};
}

Row with(Row row, const char *field, const QString &value)
{
    for (auto &[f, v] : row) {
        if (qstrcmp(f, field) == 0) {
            v = value;
            return row;
        }
    }
    row.append({field, value});
    return row;
}

Row status(qint64 number, const char *code, const QString &closeDate = {})
{
    Row row{{"ACTION", QStringLiteral("UPD")},
            {"ASGNMT_NBR", QString::number(number)},
            {"ASGNMT_STTS_CD", QLatin1String(code)}};
    if (!closeDate.isNull())
        row.append({"CLSE_DT", closeDate});
    return row;
}

Row forwardTo(qint64 number, qint64 from, qint64 to)
{
    return {{"ACTION", QStringLiteral("UPD")},
            {"ASGNMT_NBR", QString::number(number)},
            {"OFCR_FRM_ID", QString::number(from)},
            {"EFCTV_DT", today()},
            {"DUE_DT", today(5)},
            {"EXPRTN_DT", today(9)},
            {"OFCR_TO_ID", QString::number(to)}};
}

Row replyRow(qint64 number, qint64 from, qint64 to)
{
    return {{"ACTION", QStringLiteral("UPD")},
            {"ASGNMT_NBR", QString::number(number)},
            {"OFCR_FRM_ID", QString::number(from)},
            {"OFCR_TO_ID", QString::number(to)}};
}

// A new assignment's request as the wire carries it, for the cases that tamper with the form.
QJsonObject wireUpdate(qint64 officer, const Row &row)
{
    BrokerRequest r = request(RequestKind::AssignmentUpdate, contextOf(officer));
    r.addRecordSet(QStringLiteral("ASSIGNMENT"), updateRows("ASSIGNMENT", {row}));
    return wire::toJson(r);
}

// What a networked service answers: a form that does not parse is refused before any handler.
BrokerReply sendWire(const QJsonObject &o)
{
    try {
        return send(wire::requestFromJson(o));
    } catch (const ProcError &e) {
        return BrokerReply::failure(request(0, {}), e.description());
    }
}

// The ASSIGNMENT record set's first row, one cell replaced.
QJsonObject withCell(QJsonObject o, const QString &field, const QJsonValue &value,
                     const QString &type = {})
{
    QJsonObject sets = o.value(u"recordSets").toObject();
    QJsonObject rs = sets.value(u"ASSIGNMENT").toObject();
    QJsonArray fields = rs.value(u"fields").toArray();
    QJsonArray rows = rs.value(u"rows").toArray();
    QJsonArray row = rows.at(0).toArray();
    for (int i = 0; i < fields.size(); ++i) {
        QJsonObject f = fields.at(i).toObject();
        if (f.value(u"name").toString() != field)
            continue;
        row.replace(i, value);
        if (!type.isEmpty()) {
            f.insert(QStringLiteral("type"), type);
            fields.replace(i, f);
        }
    }
    rows.replace(0, row);
    rs.insert(QStringLiteral("fields"), fields);
    rs.insert(QStringLiteral("rows"), rows);
    sets.insert(QStringLiteral("ASSIGNMENT"), rs);
    o.insert(QStringLiteral("recordSets"), sets);
    return o;
}

struct Forgery {
    const char *name;
    std::function<BrokerReply()> send;
    QString refusal;
    const char *missingRule = nullptr; // a rule the server does not enforce yet
};

QString repeated(int n)
{
    return QString(n, u'x');
}

std::vector<Forgery> forgeries()
{
    Scene &s = *g_scene;
    std::vector<Forgery> f;
    const QString notSignedOn = QStringLiteral("is not the signed-on officer");
    const QString onlyParty = QStringLiteral("Only the sender, the addressee or the creator");
    const QString onlyAddressee = QStringLiteral("Only the addressee of assignment");

    // Who speaks.
    f.push_back({"no officer in the context",
                 [] { return send(request(RequestKind::AssignmentUpdate, QStringLiteral("X=1"))); },
                 QStringLiteral("does not say who is signed on")});
    f.push_back({"unknown officer in the context",
                 [] {
                     return send(
                         request(RequestKind::AssignmentUpdate, QStringLiteral("INSP_ID=99999")));
                 },
                 QStringLiteral("The signed-on officer 99999 is not known.")});
    f.push_back(
        {"another region's agency by naming that region",
         [] {
             BrokerRequest r =
                 request(RequestKind::AssignmentUpdate, QStringLiteral("INSP_ID=1001;REGION=SE"));
             Row row = newAssignment(kDemo, kHeavy);
             row.removeIf([](const auto &p) { return qstrcmp(p.first, "OFCR_TO_ID") == 0; });
             row.append({"AGNCY_CD", QStringLiteral("SEONLY")});
             r.addRecordSet(QStringLiteral("ASSIGNMENT"), updateRows("ASSIGNMENT", {row}));
             return send(r);
         },
         QStringLiteral("The agency SEONLY could not be found.")});
    f.push_back({"new assignment in another officer's name",
                 [] { return update(kHeavy, {newAssignment(kDemo, kHeavy)}); }, notSignedOn});
    f.push_back({"new assignment without the right",
                 [] { return update(kPlain, {newAssignment(kPlain, kHeavy)}); },
                 QStringLiteral("do not have the \"Assignment\" right")});
    f.push_back({"forward copy in another officer's name",
                 [&s] {
                     return update(kHeavy, {forwardTo(s.open, kHeavy, kTypical),
                                            with(with(newAssignment(kDemo, kApprover), "ASGNMT_NBR",
                                                      QString::number(s.open)),
                                                 "ASGNMT_TYP_CD", QStringLiteral("001"))});
                 },
                 notSignedOn});

    // Steps by officers who are not parties to the assignment.
    f.push_back({"close by a non-party", [&s] { return update(kPlain, {status(s.open, "C")}); },
                 onlyParty});
    f.push_back({"reopen by a non-party", [&s] { return update(kPlain, {status(s.closed, "O")}); },
                 onlyParty});
    f.push_back({"reply by an officer it was not sent to",
                 [&s] { return update(kTypical, {replyRow(s.open, kTypical, kDemo)}); },
                 onlyAddressee});
    f.push_back({"forward by its sender",
                 [&s] { return update(kDemo, {forwardTo(s.open, kDemo, kTypical)}); },
                 onlyAddressee});
    f.push_back({"reply in another officer's name",
                 [&s] { return update(kHeavy, {replyRow(s.open, kTypical, kDemo)}); },
                 QStringLiteral("a reply comes from the officer it was sent to")});
    f.push_back({"reply to someone other than the sender",
                 [&s] { return update(kHeavy, {replyRow(s.open, kHeavy, kTypical)}); },
                 QStringLiteral("a reply goes back to the officer who sent it")});
    f.push_back({"forward in another officer's name",
                 [&s] { return update(kHeavy, {forwardTo(s.open, kTypical, kApprover)}); },
                 notSignedOn});
    f.push_back({"close of a creator-closes type by its addressee",
                 [&s] { return update(kHeavy, {status(s.creatorOnly, "C")}); },
                 QStringLiteral("It can only be closed by the assignment creator.")});
    f.push_back({"reply to a system-generated assignment",
                 [&s] { return update(kDemo, {replyRow(s.refundAssignment, kDemo, kDemo)}); },
                 QStringLiteral("cannot be replied to")});
    f.push_back({"history of another officer's assignment",
                 [&s] {
                     return s.store->send(RequestKind::Query, kPlain,
                                          {{"HISTORY", QStringLiteral("YES")},
                                           {"ASGNMT_NBR", QString::number(s.open)}});
                 },
                 QStringLiteral("can see its history")});
    // Steps out of order.
    f.push_back({"forward of a closed assignment",
                 [&s] { return update(kHeavy, {forwardTo(s.closed, kHeavy, kTypical)}); },
                 QStringLiteral("is closed; reopen it before forwarding")});
    f.push_back({"close twice", [&s] { return update(kDemo, {status(s.closed, "C")}); },
                 QStringLiteral("is already closed")});
    f.push_back({"reopen of an open assignment",
                 [&s] { return update(kDemo, {status(s.open, "O")}); },
                 QStringLiteral("is not closed, so it cannot be reopened")});
    f.push_back({"a status no update sets", [&s] { return update(kDemo, {status(s.open, "F")}); },
                 QStringLiteral("is not a status an update sets")});
    f.push_back({"forward copy without its forward",
                 [&s] {
                     return update(kDemo, {with(newAssignment(kDemo, kTypical), "ASGNMT_NBR",
                                                QString::number(s.open))});
                 },
                 QStringLiteral("must follow its forward")});
    f.push_back({"an action that is not ADD or UPD",
                 [&s] {
                     return update(kDemo,
                                   {with(status(s.open, "C"), "ACTION", QStringLiteral("DEL"))});
                 },
                 QStringLiteral("is not ADD or UPD")});

    // Dates.
    f.push_back({"close date before the assignment",
                 [&s] { return update(kDemo, {status(s.open, "C", today(-400))}); },
                 QStringLiteral("The close date must be on, or after, the assigned date.")});
    f.push_back({"close date in the future",
                 [&s] { return update(kDemo, {status(s.open, "C", today(3))}); },
                 QStringLiteral("The close date cannot be after today.")});
    f.push_back(
        {"due before effective",
         [] { return update(kDemo, {with(newAssignment(kDemo, kHeavy), "DUE_DT", today(-1))}); },
         QStringLiteral("The due date must be on, or after, the effective date.")});
    f.push_back({"a date that does not exist",
                 [] {
                     return update(kDemo, {with(newAssignment(kDemo, kHeavy), "EFCTV_DT",
                                                QStringLiteral("2026-02-30"))});
                 },
                 QStringLiteral("EFCTV_DT \"2026-02-30\" is not a valid date.")});

    // Numbers out of range.
    f.push_back({"officer id over 16 bits",
                 [] {
                     return update(kDemo, {with(newAssignment(kDemo, kHeavy), "OFCR_TO_ID",
                                                QStringLiteral("70000"))});
                 },
                 QStringLiteral("officer 70000 is not known")});
    f.push_back({"officer id over 64 bits",
                 [] {
                     return update(kDemo, {with(newAssignment(kDemo, kHeavy), "OFCR_TO_ID",
                                                QStringLiteral("99999999999999999999"))});
                 },
                 QStringLiteral("is not a valid officer number")});
    f.push_back({"assignment number over 32 bits",
                 [] { return update(kDemo, {status(4294967297LL, "C")}); },
                 QStringLiteral("is not a valid assignment number")});
    f.push_back({"assignment number as a float",
                 [&s] {
                     return update(
                         kDemo, {with(status(s.open, "C"), "ASGNMT_NBR", QStringLiteral("1e3"))});
                 },
                 QStringLiteral("is not a valid assignment number")});

    // Sizes.
    f.push_back({"subject over its length",
                 [] {
                     return update(kDemo, {with(newAssignment(kDemo, kHeavy), "ASGNMT_SBJCT_TXT",
                                                repeated(101))});
                 },
                 QStringLiteral("ASGNMT_SBJCT_TXT is longer than 100 characters.")});
    f.push_back({"a megabyte of comment",
                 [] {
                     return update(kDemo, {with(newAssignment(kDemo, kHeavy), "ASGNMT_CMMT_TXT",
                                                repeated(1 << 20))});
                 },
                 QStringLiteral("ASGNMT_CMMT_TXT is longer than 2000 characters.")});
    f.push_back({"more rows than one update may carry",
                 [] {
                     auto rs = updateRows("ASSIGNMENT", {});
                     const Row row = newAssignment(kDemo, kHeavy);
                     for (int i = 0; i < 1001; ++i) {
                         rs->addNew();
                         for (const auto &[field, value] : row)
                             rs->setValue(QString::fromLatin1(field), value);
                         rs->update();
                     }
                     BrokerRequest r = request(RequestKind::AssignmentUpdate, contextOf(kDemo));
                     r.addRecordSet(QStringLiteral("ASSIGNMENT"), rs);
                     return send(r);
                 },
                 QStringLiteral("carries 1001 rows; one update takes at most 500.")});
    f.push_back({"more text than a request may carry",
                 [] {
                     // Each comment is within its own limit; together they are not.
                     auto rs = updateRows("ASSIGNMENT", {});
                     const Row row =
                         with(newAssignment(kDemo, kHeavy), "ASGNMT_CMMT_TXT", repeated(2000));
                     for (int i = 0; i < 1001; ++i) {
                         rs->addNew();
                         for (const auto &[field, value] : row)
                             rs->setValue(QString::fromLatin1(field), value);
                         rs->update();
                     }
                     BrokerRequest r = request(RequestKind::AssignmentUpdate, contextOf(kDemo));
                     r.addRecordSet(QStringLiteral("ASSIGNMENT"), rs);
                     return send(r);
                 },
                 QStringLiteral("The request is larger than the 2000000 characters")});
    f.push_back({"an unknown field",
                 [] {
                     return update(kDemo, {with(newAssignment(kDemo, kHeavy), "OFCR_CRTR_ID",
                                                QStringLiteral("1002"))});
                 },
                 QStringLiteral("OFCR_CRTR_ID is not a field an assignment update takes.")});
    f.push_back({"no record set",
                 [] { return send(request(RequestKind::AssignmentUpdate, contextOf(kDemo))); },
                 QStringLiteral("The update carries no ASSIGNMENT record set.")});

    // Wire forms a desk never writes.
    f.push_back({"officer id as a huge JSON number",
                 [] {
                     return sendWire(withCell(wireUpdate(kDemo, newAssignment(kDemo, kHeavy)),
                                              QStringLiteral("OFCR_TO_ID"), 1e300,
                                              QStringLiteral("integer")));
                 },
                 QStringLiteral("Malformed broker message")});
    f.push_back({"officer id as a fraction",
                 [] {
                     return sendWire(withCell(wireUpdate(kDemo, newAssignment(kDemo, kHeavy)),
                                              QStringLiteral("OFCR_TO_ID"), 1003.5,
                                              QStringLiteral("integer")));
                 },
                 QStringLiteral("Malformed broker message")});
    f.push_back({"a date as a JSON object",
                 [] {
                     return sendWire(withCell(wireUpdate(kDemo, newAssignment(kDemo, kHeavy)),
                                              QStringLiteral("EFCTV_DT"),
                                              QJsonObject{{QStringLiteral("y"), 2026}}));
                 },
                 QStringLiteral("EFCTV_DT is required.")});
    f.push_back({"a field type nobody knows",
                 [] {
                     return sendWire(withCell(wireUpdate(kDemo, newAssignment(kDemo, kHeavy)),
                                              QStringLiteral("EFCTV_DT"), today(),
                                              QStringLiteral("blob")));
                 },
                 QStringLiteral("unknown field type \"blob\"")});
    f.push_back({"a kind given as text",
                 [] {
                     QJsonObject o = wireUpdate(kDemo, newAssignment(kDemo, kHeavy));
                     o.insert(QStringLiteral("kind"), QStringLiteral("15"));
                     return sendWire(o);
                 },
                 QStringLiteral("a request has no kind")});

    // The refund chain.
    const QString verify = QString::number(kTypical);
    f.push_back({"verification by the preparer",
                 [&s] {
                     return worksheet(kPlain, s.prepared,
                                      {{"VERIFY_ID", QString::number(kPlain)},
                                       {"STTS_CD", QStringLiteral("2")}});
                 },
                 QStringLiteral("does not hold the right RefundVerify")});
    f.push_back({"approval by the verifier",
                 [&s] {
                     return worksheet(kApprover, s.verified,
                                      {{"APPROVE_ID", QString::number(kApprover)},
                                       {"STTS_CD", QStringLiteral("3")}});
                 },
                 QStringLiteral("can not be the same")});
    f.push_back({"a step in another officer's name",
                 [&s] {
                     return worksheet(kTypical, s.prepared,
                                      {{"VERIFY_ID", QString::number(kApprover)},
                                       {"STTS_CD", QStringLiteral("2")}});
                 },
                 QStringLiteral("but the signed-on officer is 1004")});
    f.push_back({"a skipped step",
                 [&s] {
                     return worksheet(kApprover, s.prepared,
                                      {{"APPROVE_ID", QString::number(kApprover)},
                                       {"STTS_CD", QStringLiteral("3")}});
                 },
                 QStringLiteral("the next step sets status 2")});
    f.push_back({"a repeated step",
                 [&s] {
                     return worksheet(kTypical, s.verified,
                                      {{"VERIFY_ID", QString::number(kTypical)},
                                       {"STTS_CD", QStringLiteral("2")}});
                 },
                 QStringLiteral("the next step sets status 3")});
    f.push_back({"void of a transferred worksheet",
                 [&s] {
                     return worksheet(kApprover, s.transferred,
                                      {{"VOID_ID", QString::number(kApprover)},
                                       {"STTS_CD", QStringLiteral("V")}});
                 },
                 QStringLiteral("can no longer be voided")});
    f.push_back({"void of an issued worksheet",
                 [&s] {
                     return worksheet(kApprover, s.issued,
                                      {{"VOID_ID", QString::number(kApprover)},
                                       {"STTS_CD", QStringLiteral("V")}});
                 },
                 QStringLiteral("can no longer be voided")});
    f.push_back({"mailing without the issue right",
                 [&s] {
                     return worksheet(kApprover, s.issued,
                                      {{"DT_MLD", today()}, {"STTS_CD", QStringLiteral("5")}});
                 },
                 QStringLiteral("does not hold the right RefundIssue")});
    f.push_back({"amount changed by the preparer",
                 [&s] {
                     return worksheet(kTypical, s.fresh,
                                      {{"ACTION", QStringLiteral("ADD")},
                                       {"CREATOR_ID", QString::number(kTypical)},
                                       {"RFND_AMT", QStringLiteral("99999.00")},
                                       {"STTS_CD", QStringLiteral("1")}});
                 },
                 QStringLiteral("cannot be changed")});
    for (const char *amount : {"nan", "inf", "-12.00", "1e400"}) {
        f.push_back({amount,
                     [&s, amount] {
                         return worksheet(kTypical, s.fresh,
                                          {{"ACTION", QStringLiteral("ADD")},
                                           {"CREATOR_ID", QString::number(kTypical)},
                                           {"RFND_AMT", QLatin1String(amount)},
                                           {"STTS_CD", QStringLiteral("1")}});
                     },
                     QStringLiteral("is not a valid amount")});
    }
    f.push_back({"preparation backdated",
                 [&s] {
                     return worksheet(kTypical, s.fresh,
                                      {{"ACTION", QStringLiteral("ADD")},
                                       {"CREATOR_ID", QString::number(kTypical)},
                                       {"CREATED_DT", today(-90)},
                                       {"RFND_AMT", QStringLiteral("1234.50")},
                                       {"STTS_CD", QStringLiteral("1")}});
                 },
                 QStringLiteral("CREATED_DT")});
    f.push_back({"refund number over 16 bits",
                 [] {
                     return worksheet(kTypical, 65537,
                                      {{"VERIFY_ID", QString::number(kTypical)},
                                       {"STTS_CD", QStringLiteral("2")}});
                 },
                 QStringLiteral("65537")});
    f.push_back({"an unknown worksheet field",
                 [&s] {
                     return worksheet(kTypical, s.prepared,
                                      {{"VERIFY_ID", QString::number(kTypical)},
                                       {"VOID_ID", QString::number(kTypical)},
                                       {"STTS_CD", QStringLiteral("2")}});
                 },
                 QStringLiteral("VOID_ID")});
    Q_UNUSED(verify);
    Q_UNUSED(kIssuer);
    return f;
}

} // namespace

class TestServerForged : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void forgedRequestIsRefusedAndChangesNothing_data();
    void forgedRequestIsRefusedAndChangesNothing();
    void dumpSeesAnAcceptedChange();
    void listOverItsCapAsksToNarrowTheSearch();
    void runawayStatementIsStopped();
};

void TestServerForged::initTestCase()
{
    auto *s = new Scene;
    s->store = std::make_unique<Store>();
    Store &store = *s->store;
    s->open = store.addAssignment(kHeavy);
    s->closed = store.addAssignment(kHeavy);
    QCOMPARE(store.update(kDemo, {status(s->closed, "C")}).error, QString());
    s->creatorOnly = store.addAssignment(kHeavy, QStringLiteral("003"));
    s->prepared = store.addRefund(QStringLiteral("1"), kPlain);
    s->verified = store.addRefund(QStringLiteral("2"), kPlain, kApprover);
    s->fresh = store.addRefund(QStringLiteral("0"));
    s->transferred = store.addRefund(QStringLiteral("T"), kPlain, kTypical, kApprover);
    s->issued = store.addRefund(QStringLiteral("4"), kPlain, kTypical, kApprover);
    // An agency only region SE knows, for the case that names SE to reach it.
    store.exec(QStringLiteral("INSERT INTO ZTB_CODE (REGION, CD_TBL_ID, CD_TBL_CD, CD_TBL_DES, "
                              "EFCTV_DT) VALUES ('SE', 'AGENCY', 'SEONLY', 'SE ONLY', ?)"),
               {today(-5)});
    s->refundAssignment = store.count(
        QStringLiteral("SELECT ASGNMT_NBR FROM REFUND WHERE RFND_NBR = ?"), {s->prepared});
    g_scene = s;
}

void TestServerForged::cleanupTestCase()
{
    delete g_scene;
    g_scene = nullptr;
}

void TestServerForged::forgedRequestIsRefusedAndChangesNothing_data()
{
    QTest::addColumn<int>("index");
    const auto all = forgeries();
    for (int i = 0; i < int(all.size()); ++i)
        QTest::newRow(all[i].name) << i;
}

void TestServerForged::forgedRequestIsRefusedAndChangesNothing()
{
    QFETCH(int, index);
    const Forgery forgery = forgeries().at(index);
    const auto before = dumpTables(g_scene->store->db());
    const BrokerReply reply = forgery.send();
    if (forgery.missingRule)
        QEXPECT_FAIL("", forgery.missingRule, Abort);
    QVERIFY2(reply.error.contains(forgery.refusal), qPrintable(reply.error));
    QCOMPARE(dumpTables(g_scene->store->db()), before);
}

// Without this the suite would pass over a dump that reads nothing.
void TestServerForged::dumpSeesAnAcceptedChange()
{
    Store &store = *g_scene->store;
    const auto before = dumpTables(store.db());
    QVERIFY(before.value(QStringLiteral("ASGNMT")).size() >= 5);
    QCOMPARE(update(kDemo, {status(g_scene->open, "C")}).error, QString());
    const auto after = dumpTables(store.db());
    QVERIFY(after.value(QStringLiteral("ASGNMT")) != before.value(QStringLiteral("ASGNMT")));
    QCOMPARE(after.value(QStringLiteral("ASGNMT_HIST")).size(),
             before.value(QStringLiteral("ASGNMT_HIST")).size() + 1);
}

void TestServerForged::listOverItsCapAsksToNarrowTheSearch()
{
    ServerSettings settings(currentConnection());
    settings.maxListRows = 3;
    const auto backend = makeBackend(settings);
    auto list = [&](qint64 officer) {
        BrokerRequest r = request(RequestKind::Query, contextOf(officer));
        r.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), today(-1)));
        r.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"), today()));
        r.addParameter(
            RequestParameter::key(QStringLiteral("OFCR_TO_ID"), QString::number(officer)));
        return backend->handle(r.detached());
    };
    // The scene sent three assignments to 1003 today and one refund request per refund to 1001.
    const BrokerReply three = list(kHeavy);
    QCOMPARE(three.error, QString());
    QCOMPARE(three.recordSet(QStringLiteral("ASSIGNMENT"))->count(), 3);
    const BrokerReply more = list(kDemo);
    QCOMPARE(more.error, QStringLiteral("More than 3 assignments match; please narrow your search "
                                        "(a shorter date range or a status)."));
}

void TestServerForged::runawayStatementIsStopped()
{
    ServerSettings settings(currentConnection());
    settings.statementTimeoutMs = 200;
    Database db(settings, QStringLiteral("korva-forged-timeout"));
    db.open();
    const QString endless = QStringLiteral(
        "WITH RECURSIVE C(X) AS (SELECT 1 UNION ALL SELECT X + 1 FROM C WHERE X < 2000000000) "
        "SELECT COUNT(*) FROM C");
    try {
        db.scalar(endless);
        QFAIL("the statement ran to its end");
    } catch (const DatabaseError &e) {
        QCOMPARE(e.text(), QStringLiteral("The request took longer than 0.2 seconds and was "
                                          "stopped. Please narrow your search and try again."));
    }
    // The connection stays usable for the next request.
    QVERIFY(db.scalar(QStringLiteral("SELECT COUNT(*) FROM OFFICER")).toLongLong() > 0);
}

KORVA_SERVER_TEST_MAIN(TestServerForged)
#include "tst_server_forged.moc"
