// Refund requests from the tax system: each line a refund at status "0" and the system's
// "REFUND REQUEST" assignment that brings it to an officer's list, where the worksheet chain
// starts. A file is taken whole or not at all, so that a rejected file can be sent again once
// mended without doubling the lines that were good.
#include "admin.h"

#include "admintables.h"
#include "assignmentstore.h"
#include "database.h"
#include "lookups.h"
#include "servererror.h"
#include "updaterow.h"

#include <QSet>

namespace korva::server {

namespace {

constexpr int kReceiptMax = 20;
constexpr int kSubjectMax = 100;
constexpr int kCommentMax = 2000;
constexpr int kMaxLines = 10000;

constexpr char kRefundType[] = R"sql(
SELECT ASGNMT_CD, DUE_DY_CNT, EXPRTN_DY_CNT FROM ZTB_ASGNMT_TYPE
WHERE REGION = ? AND ASGNMT_DES = 'REFUND REQUEST' AND SYS_IND = 'Y'
ORDER BY ASGNMT_CD)sql";
constexpr char kReceiptTaken[] = R"sql(SELECT MIN(RFND_NBR) FROM REFUND WHERE RCPT_NBR = ?)sql";
constexpr char kInsertRefund[] = R"sql(
INSERT INTO REFUND (RFND_NBR, CUST_ID, ASGNMT_NBR, RCPT_NBR, RFND_AMT, STTS_CD, LST_UPDT_TS)
VALUES (?, ?, ?, ?, ?, '0', ?))sql";

struct Checked {
    QString customer, receipt, subject, comment;
    double amount = 0;
    qint64 to = 0;
};

} // namespace

QList<SubmittedRefund> submitRefundRequests(Database &db, const QList<RefundRequestLine> &lines,
                                            const QDate &today, const QDateTime &now)
{
    if (lines.isEmpty())
        throw RequestError(QStringLiteral("There are no refund requests to submit."));
    if (lines.size() > kMaxLines)
        throw RequestError(QStringLiteral("%1 refund requests at once; one submission takes at "
                                          "most %2.")
                               .arg(lines.size())
                               .arg(kMaxLines));
    const auto system = findOfficer(db, kSystemOfficer);
    if (!system)
        throw RequestError(QStringLiteral("The system officer %1, who sends refund requests, "
                                          "is not on file; import or seed them first.")
                               .arg(kSystemOfficer));
    QSqlQuery &typeQuery = db.run(QLatin1String(kRefundType), {system->region});
    if (!typeQuery.next()) {
        typeQuery.finish();
        throw RequestError(QStringLiteral("Region %1 has no system-generated assignment type "
                                          "\"REFUND REQUEST\"; import one first.")
                               .arg(system->region));
    }
    const QString type = typeQuery.value(0).toString().trimmed();
    const int dueDays = typeQuery.value(1).toInt();
    const int expirationDays = typeQuery.value(2).toInt();
    typeQuery.finish();

    QStringList errors;
    QHash<QString, QString> receiptsSeen; // receipt -> where
    QList<Checked> checked;
    for (const RefundRequestLine &line : lines) {
        auto refuse = [&](const char *column, const QString &what) {
            errors
                << QStringLiteral("%1, column %2: %3").arg(line.where, QLatin1String(column), what);
        };
        auto text = [&](const char *column, int max, bool required) {
            const QString v = line.values.value(QLatin1String(column)).trimmed();
            if (required && v.isEmpty())
                refuse(column, QStringLiteral("a value is required"));
            else if (v.size() > max)
                refuse(column, QStringLiteral("longer than %1 characters").arg(max));
            return v;
        };
        Checked c;
        c.customer = text("CUST_ID", 12, true);
        c.receipt = text("RCPT_NBR", kReceiptMax, true);
        c.subject = text("ASGNMT_SBJCT_TXT", kSubjectMax, false);
        c.comment = text("ASGNMT_CMMT_TXT", kCommentMax, false);
        const QString amount = text("RFND_AMT", 20, true);
        const QString to = text("OFCR_TO_ID", 10, true);
        if (!c.customer.isEmpty() && !customerExists(db, c.customer))
            refuse("CUST_ID", QStringLiteral("there is no customer %1").arg(c.customer));
        if (!c.receipt.isEmpty()) {
            if (receiptsSeen.contains(c.receipt))
                refuse("RCPT_NBR", QStringLiteral("the receipt %1 is already at %2")
                                       .arg(c.receipt, receiptsSeen.value(c.receipt)));
            const QVariant taken = db.scalar(QLatin1String(kReceiptTaken), {c.receipt});
            if (!taken.isNull())
                refuse("RCPT_NBR", QStringLiteral("the receipt %1 is already on refund %2")
                                       .arg(c.receipt)
                                       .arg(taken.toLongLong()));
            receiptsSeen.insert(c.receipt, line.where);
        }
        if (!amount.isEmpty()) {
            const QString problem = checkAmount(amount);
            if (!problem.isEmpty())
                refuse("RFND_AMT", problem);
            else if (amount.toDouble() <= 0)
                refuse("RFND_AMT",
                       QStringLiteral("the amount %1 is not more than zero").arg(amount));
            c.amount = amount.toDouble();
        }
        if (!to.isEmpty()) {
            bool ok = false;
            c.to = to.toLongLong(&ok);
            const auto officer = ok && c.to > 0 ? findOfficer(db, c.to) : std::nullopt;
            if (!officer)
                refuse("OFCR_TO_ID", QStringLiteral("there is no officer %1").arg(to));
            else if (!officer->activeOn(today))
                refuse("OFCR_TO_ID", QStringLiteral("officer %1 is not in service on %2")
                                         .arg(to, today.toString(Qt::ISODate)));
        }
        checked.append(c);
    }
    if (!errors.isEmpty())
        throw RequestError(errors.join(u'\n'));

    QList<SubmittedRefund> out;
    lockForUpdate(db, true, {});
    for (const Checked &c : std::as_const(checked)) {
        AssignmentRecord a;
        a.number = nextNumber(db, "ASGNMT_NBR");
        a.type = type;
        a.status = QStringLiteral("O");
        a.fromOfficer = kSystemOfficer;
        a.toOfficer = c.to;
        a.creator = kSystemOfficer;
        a.assigned = today;
        a.effective = today;
        a.due = today.addDays(dueDays);
        a.expiration = today.addDays(expirationDays);
        a.subject =
            c.subject.isEmpty() ? QStringLiteral("Refund of receipt %1").arg(c.receipt) : c.subject;
        a.comment = c.comment;
        a.notify = QStringLiteral("N");
        a.historyCount = 1;
        insertAssignment(db, a, now);
        insertHistory(db, a, QStringLiteral("ADD"), kSystemOfficer, now);
        const qint64 refund = nextNumber(db, "RFND_NBR");
        db.run(QLatin1String(kInsertRefund),
               {refund, c.customer, a.number, c.receipt, c.amount, dbTimestamp(now)})
            .finish();
        out.append({refund, a.number});
    }
    return out;
}

BrokerReply handleRefundRequests(HandlerContext &ctx, const BrokerRequest &request)
{
    if (!ctx.fromOperator)
        throw RequestError(QStringLiteral("Refund requests come in only through the operator; "
                                          "a desk may not submit them."));
    const RecordSetPtr rs = request.recordSet(u"REFUND");
    if (!rs || rs->storageCount() == 0)
        throw RequestError(QStringLiteral("The submission carries no REFUND rows."));
    QList<RefundRequestLine> lines;
    for (int i = 0; i < rs->storageCount(); ++i) {
        const UpdateRow row(*rs, i);
        RefundRequestLine line{QStringLiteral("row %1").arg(i + 1), {}};
        for (const char *f : {"CUST_ID", "RCPT_NBR", "RFND_AMT", "OFCR_TO_ID", "ASGNMT_SBJCT_TXT",
                              "ASGNMT_CMMT_TXT"})
            line.values.insert(QLatin1String(f), row.text(f));
        lines.append(line);
    }
    Transaction tx(ctx.db);
    if (auto first = claimRequestKey(ctx, request))
        return *first;
    const QList<SubmittedRefund> done = submitRefundRequests(ctx.db, lines, ctx.today, ctx.now);
    auto out = RecordSet::create(QStringLiteral("REQ"),
                                 {Field{QStringLiteral("RFND_NBR"), FieldType::Integer},
                                  Field{QStringLiteral("ASGNMT_NBR"), FieldType::Integer}});
    for (const SubmittedRefund &s : done)
        out->appendStorageRow({QVariant(s.refund), QVariant(s.assignment)});
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("REQ"), out);
    recordRequestReply(ctx, request, reply);
    tx.commit();
    return reply;
}

} // namespace korva::server
