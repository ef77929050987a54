// Kinds 74 and 75: the refund worksheet's details, its save (one status step) and its void.
#include "database.h"
#include "handlers.h"
#include "lookups.h"
#include "rows.h"
#include "servererror.h"
#include "updaterow.h"

namespace korva::server {

namespace {

constexpr int kCommentMax = 1000;
constexpr int kNumberMax = 20;

// Who may take which step of the chain (USR_RGHT rows of kind "R"). Mailing is the issuing
// officer's business, so it needs the issue right.
constexpr char kRightPrepare[] = "RefundPrepare";
constexpr char kRightVerify[] = "RefundVerify";
constexpr char kRightApprove[] = "RefundApprove";
constexpr char kRightIssue[] = "RefundIssue";
constexpr char kRightVoid[] = "RefundVoid";

constexpr Column kRefundColumns[] = {
    {"RCPT_NBR", FieldType::Text},
    {"CUST_ID", FieldType::Text},
    {"RFND_NBR", FieldType::Integer},
    {"RFND_AMT", FieldType::Decimal},
    {"TO", FieldType::Text},
    {"DT_MLD", FieldType::Date},
    {"CREATOR_ID", FieldType::Integer},
    {"VERIFY_ID", FieldType::Integer},
    {"APPROVE_ID", FieldType::Integer},
    {"RFND_BY_ID", FieldType::Integer},
    {"QRT_CMMT_TXT", FieldType::Text},
    {"FISCAL_CMMT_TXT", FieldType::Text},
    {"RFND_CD", FieldType::Text},
    {"WRNT_NBR", FieldType::Text},
    {"RFND_DT", FieldType::Date},
    {"STTS_CD", FieldType::Text},
    {"CUST_NM", FieldType::Text},
    {"ADDR_1", FieldType::Text},
    {"ADDR_2", FieldType::Text},
    {"CITY", FieldType::Text},
    {"STATE", FieldType::Text},
    {"ZIP", FieldType::Text},
    {"VOID_ID", FieldType::Integer},
    {"CREATED_DT", FieldType::Date},
    {"ASGNMT_NBR", FieldType::Integer},
    {"LST_UPDT_TS", FieldType::Timestamp},
};

constexpr char kSelectRefund[] = R"sql(
SELECT R.RCPT_NBR, R.CUST_ID, R.RFND_NBR, R.RFND_AMT, R.RFND_TO, R.DT_MLD, R.CREATOR_ID,
       R.VERIFY_ID, R.APPROVE_ID, R.RFND_BY_ID, R.QRT_CMMT_TXT, R.FISCAL_CMMT_TXT, R.RFND_CD,
       R.WRNT_NBR, R.RFND_DT, R.STTS_CD, C.CUST_NM, C.ADDR_1, C.ADDR_2, C.CITY, C.STATE, C.ZIP,
       R.VOID_ID, R.CREATED_DT, R.ASGNMT_NBR, R.LST_UPDT_TS
FROM REFUND R JOIN CUSTOMER C ON C.CUST_ID = R.CUST_ID
WHERE R.RFND_NBR = ?)sql";

constexpr char kSelectState[] = R"sql(
SELECT CUST_ID, STTS_CD, CREATOR_ID, VERIFY_ID, CREATED_DT, RFND_DT, RFND_AMT FROM REFUND
WHERE RFND_NBR = ?)sql";
constexpr char kReadRefundSequence[] =
    R"sql(SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'RFND_NBR')sql";

// Two officers preparing the same new number at once: the second insert finds the row and
// writes nothing, which the affected-row check turns into a refusal.
constexpr char kInsertPrepared[] = R"sql(
INSERT INTO REFUND (RFND_NBR, CUST_ID, RCPT_NBR, RFND_AMT, RFND_TO, STTS_CD, CREATED_DT,
    CREATOR_ID, QRT_CMMT_TXT, LST_UPDT_TS)
VALUES (?, ?, ?, ?, ?, '1', ?, ?, ?, ?)
ON CONFLICT (RFND_NBR) DO NOTHING)sql";
// The amount and the receipt were generated with the refund; the preparer cannot change them.
constexpr char kUpdatePrepared[] = R"sql(
UPDATE REFUND SET RFND_TO = COALESCE(?, RFND_TO),
    STTS_CD = '1', CREATED_DT = ?, CREATOR_ID = ?, QRT_CMMT_TXT = COALESCE(?, QRT_CMMT_TXT),
    RCPT_NBR = COALESCE(RCPT_NBR, ?), LST_UPDT_TS = ?
WHERE RFND_NBR = ? AND STTS_CD = '0')sql";
constexpr char kUpdateVerified[] = R"sql(
UPDATE REFUND SET RFND_TO = COALESCE(?, RFND_TO), STTS_CD = '2', VERIFY_ID = ?,
    QRT_CMMT_TXT = COALESCE(?, QRT_CMMT_TXT), LST_UPDT_TS = ?
WHERE RFND_NBR = ? AND STTS_CD = '1')sql";
constexpr char kUpdateApproved[] = R"sql(
UPDATE REFUND SET RFND_TO = COALESCE(?, RFND_TO), STTS_CD = '3', APPROVE_ID = ?,
    QRT_CMMT_TXT = COALESCE(?, QRT_CMMT_TXT), LST_UPDT_TS = ?
WHERE RFND_NBR = ? AND STTS_CD = '2')sql";
constexpr char kUpdateIssued[] = R"sql(
UPDATE REFUND SET STTS_CD = ?, RFND_BY_ID = ?, RFND_CD = ?, FISCAL_CMMT_TXT = ?,
    WRNT_NBR = ?, RFND_DT = ?, LST_UPDT_TS = ?
WHERE RFND_NBR = ? AND STTS_CD = '3')sql";
constexpr char kUpdateMailed[] = R"sql(
UPDATE REFUND SET STTS_CD = '5', DT_MLD = ?, LST_UPDT_TS = ?
WHERE RFND_NBR = ? AND STTS_CD = '4')sql";
constexpr char kUpdateVoided[] = R"sql(
UPDATE REFUND SET STTS_CD = 'V', VOID_ID = ?, LST_UPDT_TS = ?
WHERE RFND_NBR = ? AND STTS_CD = ?)sql";

struct RefundState {
    QString customer;
    QString status;
    std::optional<qint64> creator;
    std::optional<qint64> verifier;
    QDate created;
    QDate refunded;
    std::optional<double> amount;
};

std::optional<RefundState> loadState(Database &db, qint64 number)
{
    QSqlQuery &q = db.run(QLatin1String(kSelectState), {number});
    std::optional<RefundState> s;
    if (q.next()) {
        s = RefundState{q.value(0).toString(),
                        q.value(1).toString().trimmed().toUpper(),
                        std::nullopt,
                        std::nullopt,
                        fromDb(q.value(4), FieldType::Date).toDate(),
                        fromDb(q.value(5), FieldType::Date).toDate(),
                        std::nullopt};
        if (!q.value(2).isNull())
            s->creator = q.value(2).toLongLong();
        if (!q.value(3).isNull())
            s->verifier = q.value(3).toLongLong();
        if (!q.value(6).isNull())
            s->amount = q.value(6).toDouble();
    }
    q.finish();
    return s;
}

qint64 refundNumber(const QString &text, const char *field)
{
    bool ok = false;
    const qint64 n = text.trimmed().toLongLong(&ok);
    if (text.trimmed().isEmpty())
        throw RequestError(QStringLiteral("The Refund Number can not be found"));
    if (!ok || n <= 0)
        throw RequestError(QStringLiteral("%1 \"%2\" is not a valid refund number.")
                               .arg(QLatin1String(field), text.trimmed()));
    return n;
}

RecordSetPtr refundDetails(Database &db, qint64 number)
{
    QSqlQuery &q = db.run(QLatin1String(kSelectRefund), {number});
    return readRecordSet(q, QStringLiteral("REFUND"), kRefundColumns);
}

QVariant nullable(const QString &s)
{
    return s.isNull() ? QVariant() : QVariant(s);
}

QString statusName(const QString &status)
{
    if (status == u"4")
        return QStringLiteral("refunded");
    if (status == u"5")
        return QStringLiteral("mailed");
    if (status == u"T")
        return QStringLiteral("transferred");
    if (status == u"V")
        return QStringLiteral("voided");
    return QStringLiteral("at status %1").arg(status);
}

class WorksheetSave {
public:
    WorksheetSave(HandlerContext &ctx, const UpdateRow &row)
        : m_ctx(ctx)
        , m_db(ctx.db)
        , m_row(row)
        , m_me(ctx.session.officerId)
    {}

    qint64 run()
    {
        const QString action = m_row.trimmed("ACTION").toUpper();
        if (action != u"ADD" && action != u"UPD")
            m_row.refuse(
                QStringLiteral("ACTION \"%1\" is not ADD or UPD.").arg(m_row.text("ACTION")));
        const QString customer = m_row.trimmed("CUST_ID");
        if (customer.isEmpty())
            m_row.refuse(QStringLiteral("The Customer ID can not be found"));
        m_number = refundNumber(m_row.text("RFND_NBR"), "RFND_NBR");
        m_state = loadState(m_db, m_number);
        if (m_state && m_state->customer != customer)
            m_row.refuse(QStringLiteral("Refund %1 does not belong to customer %2.")
                             .arg(m_number)
                             .arg(customer));
        if (!m_state && !customerExists(m_db, customer))
            m_row.refuse(QStringLiteral("Customer %1 is not known.").arg(customer));
        m_customer = customer;
        const QString status = m_state ? m_state->status : QStringLiteral("0");
        const QString wanted = m_row.trimmed("STTS_CD").toUpper();
        if (wanted == u"V")
            voidRefund(status);
        else
            step(status, wanted);
        return m_number;
    }

private:
    // The step's officer field must be there, must be the signed-on officer, and that
    // officer must hold the step's right.
    qint64 stepOfficer(const char *field, const char *doing, const char *who, const char *right)
    {
        const auto id = m_row.id(field);
        if (!id)
            m_row.refuse(QStringLiteral("When %1 a refund, the officer %2 the refund must be "
                                        "given in %3.")
                             .arg(QLatin1String(doing), QLatin1String(who), QLatin1String(field)));
        if (*id != m_me)
            m_row.refuse(QStringLiteral("%1 names officer %2, but the signed-on officer is %3.")
                             .arg(QLatin1String(field))
                             .arg(*id)
                             .arg(m_me));
        requireRight(right, doing);
        return *id;
    }

    void requireRight(const char *right, const char *doing)
    {
        if (!hasRight(m_db, m_me, QLatin1String(right), 'R'))
            m_row.refuse(QStringLiteral("Officer %1 does not hold the right %2 needed for %3 a "
                                        "refund.")
                             .arg(m_me)
                             .arg(QLatin1String(right), QLatin1String(doing)));
    }

    QString receiver()
    {
        const QString to = m_row.trimmed("TO");
        if (!to.isEmpty() && to != u"2" && to != u"3" && to != u"4")
            m_row.refuse(QStringLiteral("TO \"%1\" is not a receiver (2 taxpayer, 3 division, "
                                        "4 other).")
                             .arg(to));
        return to.isEmpty() ? QString() : to;
    }

    QString comment(const char *field)
    {
        const QString c = m_row.optional(field, kCommentMax);
        return c.isEmpty() ? QString() : c;
    }

    void expectAffected(QSqlQuery &q)
    {
        const int n = q.numRowsAffected();
        q.finish();
        if (n != 1)
            m_row.refuse(QStringLiteral("Refund %1 was changed by someone else; load it again.")
                             .arg(m_number));
    }

    // A save carries the fields of its own step and nothing else, so that no step can write
    // what another step's officer is answerable for.
    void onlyFieldsOf(const QStringList &stepFields)
    {
        static const QStringList always{QStringLiteral("ACTION"), QStringLiteral("CUST_ID"),
                                        QStringLiteral("RFND_NBR"), QStringLiteral("STTS_CD"),
                                        QStringLiteral("RCPT_NBR")};
        const RecordSet &rs = m_row.recordSet();
        for (const Field &f : rs.fields()) {
            const QString name = f.name.toUpper();
            if (always.contains(name) || stepFields.contains(name))
                continue;
            if (m_row.has(name.toLatin1().constData()))
                m_row.refuse(QStringLiteral("%1 is not a field of this step of refund %2.")
                                 .arg(name)
                                 .arg(m_number));
        }
    }

    void step(const QString &status, const QString &wanted)
    {
        static const QHash<QString, QString> next{{QStringLiteral("0"), QStringLiteral("1")},
                                                  {QStringLiteral("1"), QStringLiteral("2")},
                                                  {QStringLiteral("2"), QStringLiteral("3")},
                                                  {QStringLiteral("4"), QStringLiteral("5")}};
        const bool issuing = status == u"3" && (wanted == u"4" || wanted == u"T");
        if (!issuing && next.value(status) != wanted) {
            if (!next.contains(status) && status != u"3")
                m_row.refuse(QStringLiteral("Refund %1 is %2 and can no longer be saved.")
                                 .arg(m_number)
                                 .arg(statusName(status)));
            m_row.refuse(QStringLiteral("Refund %1 is at status %2; the next step sets status "
                                        "%3, not \"%4\".")
                             .arg(m_number)
                             .arg(status,
                                  status == u"3" ? QStringLiteral("4 or T") : next.value(status),
                                  wanted));
        }
        static const QHash<QString, QStringList> stepFields{
            {QStringLiteral("0"),
             {QStringLiteral("TO"), QStringLiteral("CREATED_DT"), QStringLiteral("CREATOR_ID"),
              QStringLiteral("QRT_CMMT_TXT"), QStringLiteral("RFND_AMT")}},
            {QStringLiteral("1"),
             {QStringLiteral("TO"), QStringLiteral("VERIFY_ID"), QStringLiteral("QRT_CMMT_TXT")}},
            {QStringLiteral("2"),
             {QStringLiteral("TO"), QStringLiteral("APPROVE_ID"), QStringLiteral("QRT_CMMT_TXT")}},
            {QStringLiteral("3"),
             {QStringLiteral("RFND_BY_ID"), QStringLiteral("FISCAL_CMMT_TXT"),
              QStringLiteral("RFND_CD"), QStringLiteral("WRNT_NBR"), QStringLiteral("RFND_DT")}},
            {QStringLiteral("4"), {QStringLiteral("DT_MLD")}}};
        onlyFieldsOf(stepFields.value(status));
        const QVariant now = dbTimestamp(m_ctx.now);
        if (status == u"0")
            prepare(now);
        else if (status == u"1")
            verify(now);
        else if (status == u"2")
            approve(now);
        else if (status == u"3")
            issue(wanted, now);
        else
            mail(now);
    }

    void prepare(const QVariant &now)
    {
        const qint64 creator = stepOfficer("CREATOR_ID", "preparing", "preparing", kRightPrepare);
        // The day a refund was prepared is the day the store took it: a desk whose clock
        // says otherwise is refused rather than believed.
        const QDate created = m_ctx.today;
        if (const auto sent = m_row.date("CREATED_DT"); sent && *sent != created)
            m_row.refuse(QStringLiteral("CREATED_DT %1 is not today (%2): a refund is prepared "
                                        "on the day the server takes it.")
                             .arg(sent->toString(Qt::ISODate), created.toString(Qt::ISODate)));
        const auto amount = m_row.amount("RFND_AMT");
        const QString receipt = m_row.optional("RCPT_NBR", kNumberMax).trimmed();
        const QVariant receiptValue = receipt.isEmpty() ? QVariant() : QVariant(receipt);
        if (!m_state) {
            // A worksheet opened for a new refund took its number from the "U" sequence.
            const qint64 issued = m_db.scalar(QLatin1String(kReadRefundSequence)).toLongLong();
            if (m_number >= issued)
                m_row.refuse(QStringLiteral("Refund number %1 was never issued.").arg(m_number));
            if (!amount)
                m_row.refuse(QStringLiteral("RFND_AMT is required."));
            expectAffected(
                m_db.run(QLatin1String(kInsertPrepared),
                         {m_number, m_customer, receiptValue, *amount, nullable(receiver()),
                          dbDate(created), creator, nullable(comment("QRT_CMMT_TXT")), now}));
            return;
        }
        if (amount &&
            (!m_state->amount || qRound64(*amount * 100) != qRound64(*m_state->amount * 100)))
            m_row.refuse(QStringLiteral("The refund amount of refund %1 is the system's and "
                                        "cannot be changed (%2 was sent, the refund holds %3).")
                             .arg(m_number)
                             .arg(*amount, 0, 'f', 2)
                             .arg(m_state->amount.value_or(0.0), 0, 'f', 2));
        expectAffected(m_db.run(QLatin1String(kUpdatePrepared),
                                {nullable(receiver()), dbDate(created), creator,
                                 nullable(comment("QRT_CMMT_TXT")), receiptValue, now, m_number}));
    }

    void verify(const QVariant &now)
    {
        checkedStep("VERIFY_ID", "verifying", kRightVerify, m_state->creator,
                    QStringLiteral("The person preparing and verifying the Refund Worksheet can "
                                   "not be the same."),
                    kUpdateVerified, now);
    }

    void approve(const QVariant &now)
    {
        checkedStep("APPROVE_ID", "approving", kRightApprove, m_state->verifier,
                    QStringLiteral("The person verifying and approving the Refund Worksheet can "
                                   "not be the same."),
                    kUpdateApproved, now);
    }

    // Verifying and approving: the step's officer must differ from the one of the step
    // before (only neighbouring steps are compared).
    void checkedStep(const char *field, const char *verb, const char *right,
                     const std::optional<qint64> &previous, const QString &sameOfficer,
                     const char *statement, const QVariant &now)
    {
        const qint64 officer = stepOfficer(field, verb, verb, right);
        if (previous && *previous == officer)
            m_row.refuse(sameOfficer);
        expectAffected(
            m_db.run(QLatin1String(statement), {nullable(receiver()), officer,
                                                nullable(comment("QRT_CMMT_TXT")), now, m_number}));
    }

    void issue(const QString &wanted, const QVariant &now)
    {
        const qint64 by = stepOfficer("RFND_BY_ID", "refunding", "refunding", kRightIssue);
        const QString how = m_row.trimmed("RFND_CD");
        if (how != u"0" && how != u"1")
            m_row.refuse(QStringLiteral("Please select Transferred or Refunded (RFND_CD 0 or 1)."));
        const bool transferred = how == u"0";
        if (wanted != (transferred ? u"T" : u"4"))
            m_row.refuse(
                QStringLiteral("A %1 refund moves to status %2, not %3.")
                    .arg(transferred ? QStringLiteral("transferred") : QStringLiteral("refunded"),
                         transferred ? QStringLiteral("T") : QStringLiteral("4"), wanted));
        const QString description = comment("FISCAL_CMMT_TXT");
        const QString warrant = m_row.optional("WRNT_NBR", kNumberMax).trimmed();
        if (transferred && description.trimmed().isEmpty())
            m_row.refuse(QStringLiteral("Please enter the Refund Description, when Tranferring "
                                        "the excess funds"));
        if (!transferred && warrant.isEmpty())
            m_row.refuse(QStringLiteral("Please enter the Warrant Number, when Refunding the "
                                        "worksheet"));
        const QDate refunded = m_row.requiredDate("RFND_DT");
        if (refunded > m_ctx.today)
            m_row.refuse(QStringLiteral("Refund Date must be current or before"));
        if (m_state->created.isValid() && refunded < m_state->created)
            m_row.refuse(QStringLiteral("The Refund Date must be on, or after, the date the "
                                        "refund was prepared."));
        expectAffected(m_db.run(QLatin1String(kUpdateIssued),
                                {wanted, by, how, nullable(description),
                                 warrant.isEmpty() ? QVariant() : QVariant(warrant),
                                 dbDate(refunded), now, m_number}));
    }

    void mail(const QVariant &now)
    {
        requireRight(kRightIssue, "mailing");
        const QDate mailed = m_row.requiredDate("DT_MLD");
        if (mailed > m_ctx.today)
            m_row.refuse(QStringLiteral("Mail Date must be current or before"));
        if (m_state->refunded.isValid() && mailed < m_state->refunded)
            m_row.refuse(QStringLiteral("Mail Date must be greater than or equal to the Refund "
                                        "Date"));
        expectAffected(m_db.run(QLatin1String(kUpdateMailed), {dbDate(mailed), now, m_number}));
    }

    void voidRefund(const QString &status)
    {
        if (!m_state)
            m_row.refuse(QStringLiteral("Refund %1 is not known.").arg(m_number));
        onlyFieldsOf({QStringLiteral("VOID_ID")});
        if (status == u"4" || status == u"5" || status == u"T" || status == u"V")
            m_row.refuse(QStringLiteral("Refund %1 is %2 and can no longer be voided.")
                             .arg(m_number)
                             .arg(statusName(status)));
        const auto id = m_row.id("VOID_ID");
        if (!id)
            m_row.refuse(QStringLiteral("When voiding a refund, the officer voiding it must be "
                                        "given in VOID_ID."));
        if (*id != m_me)
            m_row.refuse(QStringLiteral("VOID_ID names officer %1, but the signed-on officer is "
                                        "%2.")
                             .arg(*id)
                             .arg(m_me));
        requireRight(kRightVoid, "voiding");
        // The void's moment is the store's; the expected status catches a step taken meanwhile.
        expectAffected(m_db.run(QLatin1String(kUpdateVoided),
                                {*id, dbTimestamp(m_ctx.now), m_number, status}));
    }

    HandlerContext &m_ctx;
    Database &m_db;
    const UpdateRow &m_row;
    qint64 m_me;
    qint64 m_number = 0;
    QString m_customer;
    std::optional<RefundState> m_state;
};

} // namespace

BrokerReply handleWorksheetDetails(HandlerContext &ctx, const BrokerRequest &request)
{
    // A refund's details (the customer's address, amounts, warrant) are for refund staff only.
    const qint64 me = ctx.session.officerId;
    bool refundStaff = false;
    for (const char *right : {kRightPrepare, kRightVerify, kRightApprove, kRightIssue, kRightVoid})
        refundStaff = refundStaff || hasRight(ctx.db, me, QLatin1String(right), 'R');
    if (!refundStaff)
        throw RequestError(QStringLiteral("Officer %1 holds no refund right; a refund's details "
                                          "are shown to refund staff only.")
                               .arg(me));
    const qint64 number = refundNumber(request.keyValue(u"REFUND_NBR"), "REFUND_NBR");
    const QString customer = request.keyValue(u"CUST_ID").trimmed();
    const auto state = loadState(ctx.db, number);
    if (!state)
        throw RequestError(QStringLiteral("Refund %1 is not known.").arg(number));
    if (!customer.isEmpty() && state->customer != customer)
        throw RequestError(
            QStringLiteral("Refund %1 does not belong to customer %2.").arg(number).arg(customer));
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("REFUND"), refundDetails(ctx.db, number));
    return reply;
}

BrokerReply handleWorksheetSave(HandlerContext &ctx, const BrokerRequest &request)
{
    const RecordSetPtr rs = request.recordSet(u"REFUND");
    if (!rs)
        throw RequestError(QStringLiteral("The save carries no REFUND record set."));
    if (rs->storageCount() != 1)
        throw RequestError(QStringLiteral("The REFUND record set must hold exactly one row."));
    Transaction tx(ctx.db);
    if (auto first = claimRequestKey(ctx, request))
        return *first;
    const UpdateRow row(*rs, 0);
    const qint64 number = WorksheetSave(ctx, row).run();
    // The reply carries the refund as saved, read inside the transaction, so that a failure
    // after the commit can never report an error for work that was saved.
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("REFUND"), refundDetails(ctx.db, number));
    recordRequestReply(ctx, request, reply);
    tx.commit();
    return reply;
}

} // namespace korva::server
