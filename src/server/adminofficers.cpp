// Officers, rights and sessions from the operator's command. The texts say what was done or
// why not in the words a desk would show, so that an administrator reads the same reasons.
#include "admin.h"

#include "database.h"
#include "lookups.h"
#include "servererror.h"

#include <QRegularExpression>
#include <QSqlQuery>

namespace korva::server {

namespace {

struct KnownRight {
    const char *name;
    char kind;
    const char *what;
};
const KnownRight kRights[] = {
    {"Assignment", 'R', "create assignments"},
    {"AssignmentListAll", 'R', "list another officer's assignments"},
    {"RefundPrepare", 'R', "prepare a refund"},
    {"RefundVerify", 'R', "verify a refund"},
    {"RefundApprove", 'R', "approve a refund"},
    {"RefundIssue", 'R', "refund, transfer and mail a refund"},
    {"RefundVoid", 'R', "void a refund"},
    {"ASSIGNMENTCLOSERS", 'G', "close any assignment"},
};

constexpr int kLastMax = 40, kFirstMax = 30, kRegionMax = 4;

const KnownRight *findRight(const QString &name)
{
    for (const KnownRight &r : kRights) {
        if (name.compare(QLatin1String(r.name), Qt::CaseInsensitive) == 0)
            return &r;
    }
    return nullptr;
}

OfficerRow requireOfficer(Database &db, qint64 id)
{
    const auto o = findOfficer(db, id);
    if (!o)
        throw RequestError(QStringLiteral("Officer %1 is not known.").arg(id));
    return *o;
}

QString msText(const QVariant &ms)
{
    return QDateTime::fromMSecsSinceEpoch(ms.toLongLong())
        .toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString dateText(const QVariant &v)
{
    if (v.isNull())
        return QString();
    return v.typeId() == QMetaType::QDate ? v.toDate().toString(Qt::ISODate)
                                          : v.toString().left(10);
}

constexpr char kOpen[] = "RVKD_MS IS NULL AND EXPR_MS > ?";

} // namespace

QStringList knownRights()
{
    QStringList out;
    for (const KnownRight &r : kRights)
        out << QStringLiteral("%1 (%2: %3)")
                   .arg(QLatin1String(r.name),
                        r.kind == 'G' ? QStringLiteral("group") : QStringLiteral("right"),
                        QLatin1String(r.what));
    return out;
}

QString checkRightName(const QString &name, const QString &kind)
{
    const KnownRight *right = findRight(name);
    if (!right) {
        QStringList names;
        for (const KnownRight &r : kRights)
            names << QLatin1String(r.name);
        return QStringLiteral("\"%1\" is neither a right nor a group (they are %2)")
            .arg(name, names.join(u' '));
    }
    if (name != QLatin1String(right->name))
        return QStringLiteral("\"%1\" is spelt %2").arg(name, QLatin1String(right->name));
    if (kind != QString(QLatin1Char(right->kind)))
        return QStringLiteral("%1 is a %2, of KIND %3")
            .arg(name, right->kind == 'G' ? QStringLiteral("group") : QStringLiteral("right"),
                 QString(QLatin1Char(right->kind)));
    return QString();
}

QString addOfficer(AdminContext &ctx, const OfficerFields &o)
{
    if (o.id <= 0 || o.id > std::numeric_limits<qint32>::max())
        throw RequestError(QStringLiteral("%1 is not an officer number.").arg(o.id));
    const QString last = o.last.trimmed(), first = o.first.trimmed(), middle = o.middle.trimmed(),
                  region = o.region.trimmed().toUpper();
    if (last.isEmpty())
        throw RequestError(QStringLiteral("The officer's last name is required (--last)."));
    if (last.size() > kLastMax || first.size() > kFirstMax || middle.size() > kFirstMax)
        throw RequestError(QStringLiteral("A last name takes at most %1 characters, a first or "
                                          "middle name %2.")
                               .arg(kLastMax)
                               .arg(kFirstMax));
    if (region.isEmpty() || region.size() > kRegionMax)
        throw RequestError(QStringLiteral("The officer's region is required (--region), at most "
                                          "%1 characters.")
                               .arg(kRegionMax));
    Transaction tx(ctx.db);
    if (findOfficer(ctx.db, o.id))
        throw RequestError(QStringLiteral("Officer %1 is already on file.").arg(o.id));
    // An officer of a region without assignment types could sign on but do nothing.
    if (ctx.db
            .scalar(QStringLiteral("SELECT COUNT(*) FROM ZTB_ASGNMT_TYPE WHERE REGION = ?"),
                    {region})
            .toLongLong() == 0)
        throw RequestError(
            QStringLiteral("Region %1 has no assignment types; import them first.").arg(region));
    const QDate from = o.from.isValid() ? o.from : ctx.today();
    ctx.db
        .run(QStringLiteral("INSERT INTO OFFICER (INSP_ID, INSP_NME_LST, INSP_NME_FRST, "
                            "INSP_NME_MDL_INT, REGION, EFCTV_DT) VALUES (?, ?, ?, ?, ?, ?)"),
             {o.id, last, first.isEmpty() ? QVariant() : QVariant(first),
              middle.isEmpty() ? QVariant() : QVariant(middle), region, dbDate(from)})
        .finish();
    const QString done = QStringLiteral("officer %1 (%2) added in region %3 from %4")
                             .arg(o.id)
                             .arg(last, region, from.toString(Qt::ISODate));
    recordAdministration(ctx.db, ctx.now, ctx.user, QStringLiteral("officer add"), done);
    tx.commit();
    return done;
}

QString retireOfficer(AdminContext &ctx, qint64 id, const QDate &lastDay)
{
    if (id == kSystemOfficer)
        throw RequestError(QStringLiteral("Officer %1 sends the system's refund requests and "
                                          "cannot be retired.")
                               .arg(id));
    Transaction tx(ctx.db);
    const OfficerRow o = requireOfficer(ctx.db, id);
    const QDate day = lastDay.isValid() ? lastDay : ctx.today();
    if (!o.activeTo.isNull())
        throw RequestError(QStringLiteral("Officer %1 is already retired (last day %2).")
                               .arg(id)
                               .arg(o.activeTo.toString(Qt::ISODate)));
    if (day < o.activeFrom)
        throw RequestError(QStringLiteral("Officer %1 started on %2; the last day cannot be "
                                          "before it.")
                               .arg(id)
                               .arg(o.activeFrom.toString(Qt::ISODate)));
    ctx.db.run(QStringLiteral("UPDATE OFFICER SET END_DT = ? WHERE INSP_ID = ?"), {dbDate(day), id})
        .finish();
    // A retired officer's desk stops at its next request rather than at the session's end.
    ctx.db
        .run(QStringLiteral("UPDATE KORVA_SESSION SET RVKD_MS = ? WHERE INSP_ID = ? AND ") +
                 QLatin1String(kOpen),
             {ctx.now.toMSecsSinceEpoch(), id, ctx.now.toMSecsSinceEpoch()})
        .finish();
    const QString done = QStringLiteral("officer %1 retired, last day %2; their sessions ended")
                             .arg(id)
                             .arg(day.toString(Qt::ISODate));
    recordAdministration(ctx.db, ctx.now, ctx.user, QStringLiteral("officer retire"), done);
    tx.commit();
    return done;
}

QStringList showOfficer(AdminContext &ctx, qint64 id)
{
    QSqlQuery &q = ctx.db.run(QStringLiteral("SELECT INSP_NME_LST, INSP_NME_FRST, "
                                             "INSP_NME_MDL_INT, REGION, EFCTV_DT, END_DT FROM "
                                             "OFFICER WHERE INSP_ID = ?"),
                              {id});
    if (!q.next()) {
        q.finish();
        throw RequestError(QStringLiteral("Officer %1 is not known.").arg(id));
    }
    QStringList out{QStringLiteral("officer %1: %2, %3 %4")
                        .arg(id)
                        .arg(q.value(0).toString().trimmed(), q.value(1).toString().trimmed(),
                             q.value(2).toString().trimmed()),
                    QStringLiteral("region:   %1").arg(q.value(3).toString().trimmed()),
                    QStringLiteral("in service: %1 to %2")
                        .arg(dateText(q.value(4)), q.value(5).isNull() ? QStringLiteral("(active)")
                                                                       : dateText(q.value(5)))};
    q.finish();
    QStringList rights, groups;
    QSqlQuery &r = ctx.db.run(
        QStringLiteral("SELECT NAME, KIND FROM USR_RGHT WHERE INSP_ID = ? ORDER BY KIND, NAME"),
        {id});
    while (r.next())
        (r.value(1).toString() == u"G" ? groups : rights) << r.value(0).toString().trimmed();
    r.finish();
    out << QStringLiteral("rights:   %1")
               .arg(rights.isEmpty() ? QStringLiteral("(none)") : rights.join(u' '))
        << QStringLiteral("groups:   %1")
               .arg(groups.isEmpty() ? QStringLiteral("(none)") : groups.join(u' '))
        << QStringLiteral("password: %1")
               .arg(ctx.db.scalar(QStringLiteral("SELECT COUNT(*) FROM OFFICER_PWD WHERE "
                                                 "INSP_ID = ?"),
                                  {id})
                                .toLongLong() > 0
                        ? QStringLiteral("set")
                        : QStringLiteral("not set"))
        << QStringLiteral("sessions: %1 open").arg(openSessions(ctx, id).size());
    return out;
}

QStringList listOfficers(AdminContext &ctx, const QString &region, bool withRetired)
{
    QString sql = QStringLiteral("SELECT INSP_ID, INSP_NME_LST, INSP_NME_FRST, REGION, END_DT "
                                 "FROM OFFICER WHERE 1 = 1");
    QVariantList bind;
    if (const QString r = region.trimmed().toUpper(); !r.isEmpty()) {
        sql += QStringLiteral(" AND REGION = ?");
        bind << r;
    }
    if (!withRetired) {
        sql += QStringLiteral(" AND (END_DT IS NULL OR END_DT >= ?)");
        bind << dbDate(ctx.today());
    }
    sql += QStringLiteral(" ORDER BY INSP_ID");
    QSqlQuery &q = ctx.db.run(sql, bind);
    QStringList out;
    while (q.next())
        out << QStringLiteral("%1  %2  %3%4")
                   .arg(q.value(0).toLongLong(), 6)
                   .arg(q.value(3).toString().trimmed(), -4)
                   .arg(
                       QStringList{q.value(1).toString().trimmed(), q.value(2).toString().trimmed()}
                           .filter(QRegularExpression(QStringLiteral(".")))
                           .join(QStringLiteral(", ")),
                       q.value(4).isNull()
                           ? QString()
                           : QStringLiteral("  (last day %1)").arg(dateText(q.value(4))));
    q.finish();
    return out;
}

QString changeRight(AdminContext &ctx, qint64 id, const QString &name, bool grant)
{
    const KnownRight *right = findRight(name.trimmed());
    if (!right)
        throw RequestError(QStringLiteral("\"%1\" is neither a right nor a group; they are: %2.")
                               .arg(name.trimmed(), knownRights().join(QStringLiteral(", "))));
    const QString rightName = QLatin1String(right->name);
    const QString kind = QString(QLatin1Char(right->kind));
    const QString what = right->kind == 'G' ? QStringLiteral("group") : QStringLiteral("right");
    Transaction tx(ctx.db);
    requireOfficer(ctx.db, id);
    const bool holds = hasRight(ctx.db, id, rightName, right->kind);
    if (grant && holds)
        throw RequestError(
            QStringLiteral("Officer %1 already holds the %2 %3.").arg(id).arg(what, rightName));
    if (!grant && !holds)
        throw RequestError(
            QStringLiteral("Officer %1 does not hold the %2 %3.").arg(id).arg(what, rightName));
    if (grant)
        ctx.db
            .run(QStringLiteral("INSERT INTO USR_RGHT (INSP_ID, NAME, KIND) VALUES (?, ?, ?)"),
                 {id, rightName, kind})
            .finish();
    else
        ctx.db
            .run(QStringLiteral("DELETE FROM USR_RGHT WHERE INSP_ID = ? AND NAME = ? AND "
                                "KIND = ?"),
                 {id, rightName, kind})
            .finish();
    const QString done =
        QStringLiteral("officer %1 %2 the %3 %4")
            .arg(id)
            .arg(grant ? QStringLiteral("granted") : QStringLiteral("lost"), what, rightName);
    recordAdministration(ctx.db, ctx.now, ctx.user,
                         grant ? QStringLiteral("grant") : QStringLiteral("revoke"), done);
    tx.commit();
    return done;
}

QStringList openSessions(AdminContext &ctx, qint64 officer)
{
    QSqlQuery &q = ctx.db.run(
        QStringLiteral("SELECT INSP_ID, CLIENT_ID, CRTD_MS, LAST_MS, EXPR_MS FROM KORVA_SESSION "
                       "WHERE (? = 0 OR INSP_ID = ?) AND ") +
            QLatin1String(kOpen) + QStringLiteral(" ORDER BY INSP_ID, CRTD_MS"),
        {officer, officer, ctx.now.toMSecsSinceEpoch()});
    QStringList out;
    while (q.next())
        out << QStringLiteral("officer %1  desk %2  signed on %3  last request %4  ends by %5")
                   .arg(q.value(0).toLongLong())
                   .arg(q.value(1).toString().isEmpty() ? QStringLiteral("-")
                                                        : q.value(1).toString(),
                        msText(q.value(2)), msText(q.value(3)), msText(q.value(4)));
    q.finish();
    return out;
}

QString endSessions(AdminContext &ctx, qint64 officer)
{
    Transaction tx(ctx.db);
    if (officer != 0)
        requireOfficer(ctx.db, officer);
    const qint64 ms = ctx.now.toMSecsSinceEpoch();
    QSqlQuery &q = ctx.db.run(QStringLiteral("UPDATE KORVA_SESSION SET RVKD_MS = ? WHERE "
                                             "(? = 0 OR INSP_ID = ?) AND ") +
                                  QLatin1String(kOpen),
                              {ms, officer, officer, ms});
    const int ended = q.numRowsAffected();
    q.finish();
    if (ended <= 0)
        return officer ? QStringLiteral("officer %1 has no open session").arg(officer)
                       : QStringLiteral("there is no open session");
    const QString done =
        officer ? QStringLiteral("%1 session(s) of officer %2 ended").arg(ended).arg(officer)
                : QStringLiteral("%1 session(s) of every officer ended").arg(ended);
    recordAdministration(ctx.db, ctx.now, ctx.user, QStringLiteral("sessions end"), done);
    tx.commit();
    return done;
}

} // namespace korva::server
