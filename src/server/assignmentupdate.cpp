// Kind 15: the "ASSIGNMENT" updates. One request is one transaction: every row is checked and
// written in order, and the first refusal rolls back all rows before it.
#include "accountnumber.h"
#include "assignmentstore.h"
#include "database.h"
#include "handlers.h"
#include "lookups.h"
#include "servererror.h"
#include "updaterow.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <limits>

namespace korva::server {

namespace {

constexpr int kSubjectMax = 100;
constexpr int kCommentMax = 2000;
constexpr int kFormNumberMax = 20;
constexpr int kCodeMax = 12;
// One forward to a whole office is the largest update a desk sends; more rows than this is a
// runaway client, refused before it holds the write lock for long.
constexpr int kMaxRows = 500;
// What any desk puts in an ASSIGNMENT row; anything else is a forgery that asks to set a
// column the server keeps for itself (creator, history count, station).
constexpr const char *kKnownFields[] = {
    "ACTION",           "ASGNMT_NBR", "ASGNMT_TYP_CD", "ASGNMT_STTS_CD",  "OFCR_FRM_ID",
    "OFCR_TO_ID",       "AGNCY_CD",   "TRP_ID",        "TRP_DIST_ID",     "EFCTV_DT",
    "DUE_DT",           "EXPRTN_DT",  "CLSE_DT",       "ASGNMT_CMMT_TXT", "NTFY_IND",
    "ASGNMT_SBJCT_TXT", "FORM_NBR",   "FORM_TYP_CD"};

struct Addressee {
    std::optional<qint64> officer;
    QString agency;
    QString troop;
    QString district;
};

class AssignmentUpdate {
public:
    AssignmentUpdate(HandlerContext &ctx)
        : m_ctx(ctx)
        , m_db(ctx.db)
        , m_me(ctx.session.officerId)
    {}

    void apply(const UpdateRow &row)
    {
        checkFields(row);
        const QString action = row.trimmed("ACTION").toUpper();
        if (action == u"ADD") {
            if (row.has("ASGNMT_NBR"))
                addForwardCopy(row);
            else
                addNew(row);
        } else if (action == u"UPD") {
            update(row);
        } else {
            row.refuse(QStringLiteral("ACTION \"%1\" is not ADD or UPD.").arg(row.text("ACTION")));
        }
    }

private:
    static void checkFields(const UpdateRow &row)
    {
        for (const Field &f : row.recordSet().fields()) {
            const QByteArray name = f.name.toLatin1();
            if (!row.has(name.constData()))
                continue;
            const bool known = std::any_of(std::begin(kKnownFields), std::end(kKnownFields),
                                           [&](const char *k) { return name == k; });
            if (!known)
                row.refuse(
                    QStringLiteral("%1 is not a field an assignment update takes.").arg(f.name));
        }
    }

    // The sender named in a row must be the signed-on officer: nobody sends in another's name.
    void checkSender(const UpdateRow &row)
    {
        const auto from = row.id("OFCR_FRM_ID");
        if (from && *from != m_me)
            row.refuse(QStringLiteral("OFCR_FRM_ID %1 is not the signed-on officer %2.")
                           .arg(*from)
                           .arg(m_me));
    }

    void checkOfficer(const UpdateRow &row, qint64 id, const char *field)
    {
        const auto officer = findOfficer(m_db, id);
        if (!officer)
            row.refuse(
                QStringLiteral("%1: officer %2 is not known.").arg(QLatin1String(field)).arg(id));
        if (!officer->activeOn(m_ctx.today))
            row.refuse(QStringLiteral("%1: officer %2 is not active on %3.")
                           .arg(QLatin1String(field))
                           .arg(id)
                           .arg(m_ctx.today.toString(Qt::ISODate)));
    }

    Addressee readAddressee(const UpdateRow &row)
    {
        Addressee to;
        to.officer = row.id("OFCR_TO_ID");
        to.agency = row.optional("AGNCY_CD", kCodeMax).trimmed();
        to.troop = row.optional("TRP_ID", 1).trimmed().toUpper();
        to.district = row.optional("TRP_DIST_ID", 4).trimmed().toUpper();
        const int kinds =
            (to.officer ? 1 : 0) + (to.agency.isEmpty() ? 0 : 1) + (to.troop.isEmpty() ? 0 : 1);
        if (kinds == 0)
            row.refuse(QStringLiteral("The assignment has no addressee: give OFCR_TO_ID, "
                                      "AGNCY_CD or TRP_ID."));
        if (kinds > 1)
            row.refuse(QStringLiteral("The assignment names more than one addressee; give only "
                                      "one of OFCR_TO_ID, AGNCY_CD and TRP_ID."));
        if (!to.district.isEmpty() && to.troop.isEmpty())
            row.refuse(QStringLiteral("TRP_DIST_ID needs its TRP_ID."));
        if (to.officer)
            checkOfficer(row, *to.officer, "OFCR_TO_ID");
        if (!to.agency.isEmpty() &&
            !agencyExists(m_db, m_ctx.session.region, to.agency, m_ctx.today))
            row.refuse(QStringLiteral("The agency %1 could not be found.").arg(to.agency));
        if (!to.troop.isEmpty() && !troopExists(m_db, to.troop, to.district))
            row.refuse(to.district.isEmpty()
                           ? QStringLiteral("Troop %1 is not valid.").arg(to.troop)
                           : QStringLiteral("Troop/District %1%2 is not valid.")
                                 .arg(to.troop, to.district));
        return to;
    }

    static void setAddressee(AssignmentRecord &a, const Addressee &to)
    {
        a.toOfficer = to.officer;
        a.agency = to.agency.isEmpty() ? QString() : to.agency;
        a.troop = to.troop.isEmpty() ? QString() : to.troop;
        a.district = to.district.isEmpty() ? QString() : to.district;
    }

    void readDates(const UpdateRow &row, AssignmentRecord &a)
    {
        a.effective = row.requiredDate("EFCTV_DT");
        a.due = row.requiredDate("DUE_DT");
        a.expiration = row.requiredDate("EXPRTN_DT");
        if (a.due < a.effective)
            row.refuse(QStringLiteral("The due date must be on, or after, the effective date."));
        if (a.expiration < a.due)
            row.refuse(QStringLiteral("The expiration date must be on, or after, the due date."));
    }

    void readComment(const UpdateRow &row, AssignmentRecord &a)
    {
        if (row.has("ASGNMT_CMMT_TXT"))
            a.comment = row.optional("ASGNMT_CMMT_TXT", kCommentMax);
        if (row.has("NTFY_IND"))
            a.notify = row.optional("NTFY_IND", 1).trimmed().toUpper();
    }

    std::optional<AssignmentType> typeOf(const QString &code)
    {
        return findAssignmentType(m_db, m_ctx.session.region, code);
    }

    // An existing assignment keeps the rules of its own region's type, so a request that
    // names another region cannot switch them off.
    std::optional<AssignmentType> typeOf(const AssignmentRecord &a)
    {
        return findAssignmentType(m_db, assignmentRegion(m_db, a, m_me), a.type);
    }

    bool isCloser()
    {
        if (!m_closer)
            m_closer = hasRight(m_db, m_me, QLatin1String(kGroupClosers), 'G');
        return *m_closer;
    }

    void requireAddressee(const UpdateRow &row, const AssignmentRecord &a, const char *verb)
    {
        if (a.toOfficer != m_me)
            row.refuse(QStringLiteral("Only the addressee of assignment %1 can %2 it; officer %3 "
                                      "is not its addressee.")
                           .arg(a.number)
                           .arg(QLatin1String(verb))
                           .arg(m_me));
    }

    void requireParty(const UpdateRow &row, const AssignmentRecord &a, const char *verb)
    {
        if (!isParty(a, m_me) && !isCloser())
            row.refuse(QStringLiteral("Only the sender, the addressee or the creator of "
                                      "assignment %1, or a member of %2, can %3 it.")
                           .arg(a.number)
                           .arg(QLatin1String(kGroupClosers), QLatin1String(verb)));
    }

    // One forward names each addressee once, over its UPD row and all its ADD rows.
    void claimAddressee(const UpdateRow &row, qint64 original, const Addressee &to)
    {
        const QString key = to.officer ? QStringLiteral("officer %1").arg(*to.officer)
                            : !to.agency.isEmpty()
                                ? QStringLiteral("agency %1").arg(to.agency)
                                : QStringLiteral("troop/district %1%2").arg(to.troop, to.district);
        QSet<QString> &named = m_forwardedTo[original];
        if (named.contains(key))
            row.refuse(QStringLiteral("The forward of assignment %1 names %2 more than once.")
                           .arg(original)
                           .arg(key));
        named.insert(key);
    }

    // What a copy repeats of its original must be the original's own.
    static void checkRepeated(const UpdateRow &row, const AssignmentRecord &original,
                              const char *field, const QString &value)
    {
        if (!row.has(field))
            return;
        const QString sent = row.trimmed(field);
        if (sent.compare(value.trimmed(), Qt::CaseInsensitive) != 0)
            row.refuse(QStringLiteral("The copy of assignment %1 gives %2 \"%3\", but the "
                                      "assignment's is \"%4\".")
                           .arg(original.number)
                           .arg(QLatin1String(field), sent, value.trimmed()));
    }

    void addNew(const UpdateRow &row)
    {
        if (!hasRight(m_db, m_me, QLatin1String(kRightAssignment), 'R'))
            row.refuse(QStringLiteral("You do not have the \"Assignment\" right needed to "
                                      "create an assignment."));
        checkSender(row);
        AssignmentRecord a;
        a.type = row.optional("ASGNMT_TYP_CD", 3).trimmed().toUpper();
        if (a.type.isEmpty())
            a.type = QLatin1String(kDefaultType);
        if (a.type != QLatin1String(kDefaultType) && !typeOf(a.type))
            row.refuse(QStringLiteral("The assignment type %1 could not be found.").arg(a.type));
        a.subject = row.optional("ASGNMT_SBJCT_TXT", kSubjectMax);
        a.formNumber = row.optional("FORM_NBR", kFormNumberMax).trimmed();
        a.formType = row.optional("FORM_TYP_CD", kCodeMax).trimmed();
        if (a.formNumber.isEmpty() != a.formType.isEmpty())
            row.refuse(QStringLiteral("FORM_NBR and FORM_TYP_CD are sent together or not at "
                                      "all."));
        if (!a.formType.isEmpty()) {
            const auto form =
                referenceTypeForm(m_db, m_ctx.session.region, a.formType, m_ctx.today);
            if (!form)
                row.refuse(QStringLiteral("The reference account type %1 could not be found.")
                               .arg(a.formType));
            const QString problem = checkAccountNumber(*form, a.formNumber);
            if (!problem.isEmpty())
                row.refuse(problem);
        }
        readDates(row, a);
        setAddressee(a, readAddressee(row));
        readComment(row, a);
        a.number = nextNumber(m_db, "ASGNMT_NBR");
        a.status = QStringLiteral("O");
        a.fromOfficer = m_me;
        a.creator = m_me;
        a.assigned = m_ctx.today;
        a.station = m_ctx.session.values.value(QStringLiteral("STATION_ID"));
        a.historyCount = 1;
        insertAssignment(m_db, a, m_ctx.now);
        insertHistory(m_db, a, QStringLiteral("ADD"), m_me, m_ctx.now);
    }

    AssignmentRecord existing(const UpdateRow &row)
    {
        const QString t = row.trimmed("ASGNMT_NBR");
        bool ok = false;
        const qint64 number = t.toLongLong(&ok);
        if (t.isEmpty())
            row.refuse(QStringLiteral("ASGNMT_NBR is required."));
        // The column is a 32-bit integer; a larger number would reach the database as a
        // type error instead of a plain "not valid".
        if (!ok || number <= 0 || number > std::numeric_limits<qint32>::max())
            row.refuse(
                QStringLiteral("ASGNMT_NBR \"%1\" is not a valid assignment number.").arg(t));
        auto a = loadAssignment(m_db, number);
        if (!a)
            row.refuse(QStringLiteral("Assignment %1 is not known.").arg(number));
        return *a;
    }

    void write(const UpdateRow &row, AssignmentRecord &a, const char *action)
    {
        const int seen = a.historyCount;
        a.historyCount += 1;
        if (!updateAssignment(m_db, a, seen, m_ctx.now))
            row.refuse(QStringLiteral("Assignment %1 was changed by someone else in the "
                                      "meantime; refresh the list and try again.")
                           .arg(a.number));
        insertHistory(m_db, a, QLatin1String(action), m_me, m_ctx.now);
    }

    void update(const UpdateRow &row)
    {
        AssignmentRecord a = existing(row);
        // A forward always carries its new dates or a non-officer addressee; a reply carries
        // only the swapped officers; close and reopen carry only the status.
        if (row.has("ASGNMT_STTS_CD"))
            closeOrReopen(row, a);
        else if (row.has("EFCTV_DT") || row.has("AGNCY_CD") || row.has("TRP_ID"))
            forward(row, a);
        else if (row.has("OFCR_FRM_ID") || row.has("OFCR_TO_ID"))
            reply(row, a);
        else
            row.refuse(QStringLiteral("The update of assignment %1 is neither a forward, a "
                                      "reply, a close nor a reopen.")
                           .arg(a.number));
    }

    void closeOrReopen(const UpdateRow &row, AssignmentRecord &a)
    {
        const QString status = row.trimmed("ASGNMT_STTS_CD").toUpper();
        if (status == u"C") {
            requireParty(row, a, "close");
            if (a.status == u"C")
                row.refuse(QStringLiteral("Assignment %1 is already closed.").arg(a.number));
            const auto type = typeOf(a);
            if (type && type->creatorCloses && a.creator != m_me && !isCloser())
                row.refuse(QStringLiteral("You are not authorized to close this assignment. It "
                                          "can only be closed by the assignment creator."));
            a.status = status;
            a.closed = row.date("CLSE_DT").value_or(m_ctx.today);
            if (a.closed > m_ctx.today)
                row.refuse(QStringLiteral("The close date cannot be after today."));
            if (a.closed < a.assigned)
                row.refuse(QStringLiteral("The close date must be on, or after, the assigned "
                                          "date."));
            readComment(row, a);
            write(row, a, "CLOSE");
        } else if (status == u"O") {
            requireParty(row, a, "reopen");
            // A forwarded or replied-to assignment is reopened to "O", which the screen's
            // Close then takes; only an assignment already open has nothing to reopen.
            if (a.status != u"C" && a.status != u"F" && a.status != u"R")
                row.refuse(QStringLiteral("Assignment %1 is not closed, so it cannot be reopened.")
                               .arg(a.number));
            a.status = status;
            a.closed = QDate();
            readComment(row, a);
            write(row, a, "REOPEN");
        } else {
            row.refuse(QStringLiteral("ASGNMT_STTS_CD \"%1\" is not a status an update sets "
                                      "(C closes, O reopens).")
                           .arg(status));
        }
    }

    void forward(const UpdateRow &row, AssignmentRecord &a)
    {
        if (a.status == u"C")
            row.refuse(QStringLiteral("Assignment %1 is closed; reopen it before forwarding.")
                           .arg(a.number));
        requireAddressee(row, a, "forward");
        checkSender(row);
        readDates(row, a);
        const Addressee to = readAddressee(row);
        claimAddressee(row, a.number, to);
        setAddressee(a, to);
        readComment(row, a);
        a.fromOfficer = m_me;
        a.status = QStringLiteral("F");
        write(row, a, "FORWARD");
        m_forwarded.insert(a.number, to.officer.has_value());
    }

    void reply(const UpdateRow &row, AssignmentRecord &a)
    {
        const auto type = typeOf(a);
        if (type && type->systemGenerated)
            row.refuse(QStringLiteral("A system-generated assignment (type %1) cannot be "
                                      "replied to.")
                           .arg(a.type));
        if (a.status == u"C")
            row.refuse(QStringLiteral("Assignment %1 is closed; reopen it before replying.")
                           .arg(a.number));
        requireAddressee(row, a, "reply to");
        // A reply swaps the two officers: exactly the addressee back to exactly the sender.
        const qint64 from = row.requiredId("OFCR_FRM_ID");
        const qint64 to = row.requiredId("OFCR_TO_ID");
        if (from != m_me)
            row.refuse(QStringLiteral("OFCR_FRM_ID %1 is not the addressee of assignment %2: a "
                                      "reply comes from the officer it was sent to.")
                           .arg(from)
                           .arg(a.number));
        if (a.fromOfficer != to)
            row.refuse(QStringLiteral("OFCR_TO_ID %1 is not the sender of assignment %2: a reply "
                                      "goes back to the officer who sent it.")
                           .arg(to)
                           .arg(a.number));
        checkOfficer(row, to, "OFCR_TO_ID");
        a.fromOfficer = from;
        a.toOfficer = to;
        a.agency = a.troop = a.district = QString();
        readComment(row, a);
        a.status = QStringLiteral("R");
        write(row, a, "REPLY");
    }

    // Further officers of a forward get their own assignment, carrying the original's type,
    // subject and reference document. It is tied to the first assignment of its line, so a
    // refund request's refund stays with every copy; that assignment's history lists it.
    void addForwardCopy(const UpdateRow &row)
    {
        const AssignmentRecord original = existing(row);
        if (!m_forwarded.contains(original.number))
            row.refuse(QStringLiteral("An ADD row tied to assignment %1 must follow its "
                                      "forward (an UPD row) in the same request.")
                           .arg(original.number));
        // Copies are how one forward reaches several officers; an agency or a troop/district
        // is always the one addressee.
        if (!m_forwarded.value(original.number))
            row.refuse(QStringLiteral("The forward of assignment %1 goes to an agency or a "
                                      "troop/district, which takes no copies.")
                           .arg(original.number));
        checkSender(row);
        row.optional("ASGNMT_SBJCT_TXT", kSubjectMax);
        checkRepeated(row, original, "ASGNMT_SBJCT_TXT", original.subject);
        checkRepeated(row, original, "ASGNMT_TYP_CD", original.type);
        checkRepeated(row, original, "FORM_NBR", original.formNumber);
        checkRepeated(row, original, "FORM_TYP_CD", original.formType);
        AssignmentRecord copy = original;
        readDates(row, copy);
        const Addressee to = readAddressee(row);
        if (!to.officer)
            row.refuse(QStringLiteral("A copy of assignment %1 goes to an officer: give "
                                      "OFCR_TO_ID.")
                           .arg(original.number));
        claimAddressee(row, original.number, to);
        setAddressee(copy, to);
        copy.comment = QString();
        copy.notify = QString();
        readComment(row, copy);
        copy.number = nextNumber(m_db, "ASGNMT_NBR");
        copy.status = QStringLiteral("F");
        copy.fromOfficer = m_me;
        copy.assigned = m_ctx.today;
        copy.closed = QDate();
        copy.original = original.original.value_or(original.number);
        copy.historyCount = 1;
        insertAssignment(m_db, copy, m_ctx.now);
        insertHistory(m_db, copy, QStringLiteral("FORWARD"), m_me, m_ctx.now);
    }

    HandlerContext &m_ctx;
    Database &m_db;
    qint64 m_me;
    QHash<qint64, bool> m_forwarded; // forwarded in this request; true when to an officer
    QHash<qint64, QSet<QString>> m_forwardedTo;
    std::optional<bool> m_closer;
};

// Every row is read again after its lock is held, so the rules judge the assignment as it
// is now, not as another request's commit left it a moment before.
void lockRows(Database &db, const RecordSet &rs)
{
    bool adds = false;
    QList<qint64> numbers;
    for (int i = 0; i < rs.storageCount(); ++i) {
        const UpdateRow row(rs, i);
        adds = adds || row.trimmed("ACTION").compare(u"ADD", Qt::CaseInsensitive) == 0;
        bool ok = false;
        const qint64 n = row.trimmed("ASGNMT_NBR").toLongLong(&ok);
        if (ok && n > 0 && n <= std::numeric_limits<qint32>::max())
            numbers.append(n);
    }
    lockForUpdate(db, adds, numbers);
}

} // namespace

BrokerReply handleAssignmentUpdate(HandlerContext &ctx, const BrokerRequest &request)
{
    const RecordSetPtr rs = request.recordSet(u"ASSIGNMENT");
    if (!rs)
        throw RequestError(QStringLiteral("The update carries no ASSIGNMENT record set."));
    if (rs->storageCount() == 0)
        throw RequestError(QStringLiteral("The ASSIGNMENT record set has no rows."));
    if (rs->storageCount() > kMaxRows)
        throw RequestError(QStringLiteral("The ASSIGNMENT record set carries %1 rows; one update "
                                          "takes at most %2.")
                               .arg(rs->storageCount())
                               .arg(kMaxRows));
    Transaction tx(ctx.db);
    if (auto first = claimRequestKey(ctx, request))
        return *first;
    lockRows(ctx.db, *rs);
    AssignmentUpdate update(ctx);
    for (int i = 0; i < rs->storageCount(); ++i)
        update.apply(UpdateRow(*rs, i));
    const BrokerReply reply = BrokerReply::success(request);
    recordRequestReply(ctx, request, reply);
    tx.commit();
    return reply;
}

} // namespace korva::server
