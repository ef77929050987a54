#include "deskregistry.h"

#include "admin.h"
#include "database.h"
#include "servererror.h"

#include <platform/natsbroker.h>
#include <platform/nkeys.h>

namespace korva::server {

namespace {

constexpr char kInsertDesk[] =
    R"sql(INSERT INTO KORVA_DESK (DESK_ID, NKEY, CRTD_MS, OPRTR) VALUES (?, ?, ?, ?))sql";
constexpr char kDeleteDesk[] = R"sql(DELETE FROM KORVA_DESK WHERE DESK_ID = ?)sql";
constexpr char kRevokeDeskSessions[] =
    R"sql(UPDATE KORVA_SESSION SET RVKD_MS = ? WHERE DESK_ID = ? AND RVKD_MS IS NULL)sql";
constexpr char kSelectDesks[] =
    R"sql(SELECT DESK_ID, NKEY, OPRTR FROM KORVA_DESK ORDER BY DESK_ID)sql";
constexpr char kSelectDesk[] = R"sql(SELECT NKEY FROM KORVA_DESK WHERE DESK_ID = ?)sql";
constexpr char kSelectOperator[] =
    R"sql(SELECT NKEY FROM KORVA_DESK WHERE DESK_ID = ? AND OPRTR = 1)sql";
constexpr char kCountDesk[] =
    R"sql(SELECT COUNT(*) FROM KORVA_DESK WHERE DESK_ID = ? OR NKEY = ?)sql";

} // namespace

void addDesk(Database &db, const QString &name, const QString &nkey, qint64 nowMs, bool isOperator)
{
    if (!NatsSettings::validDeskName(name))
        throw RequestError(QStringLiteral("A desk's name is 1 to 32 lower-case letters, digits "
                                          "and hyphens, starting with a letter or digit: \"%1\" "
                                          "is not one.")
                               .arg(name));
    if (nkeys::decodeUserPublic(nkey).isEmpty())
        throw RequestError(QStringLiteral("\"%1\" is not a user's public bus key.").arg(nkey));
    db.open();
    Transaction tx(db);
    if (db.scalar(QLatin1String(kCountDesk), {name, nkey}).toLongLong() > 0)
        throw RequestError(QStringLiteral("Desk %1 or its key is registered already.").arg(name));
    db.run(QLatin1String(kInsertDesk), {name, nkey, nowMs, isOperator ? 1 : 0}).finish();
    recordAdministration(
        db, QDateTime::fromMSecsSinceEpoch(nowMs), operatingUser(), QStringLiteral("desk add"),
        QStringLiteral("%1 %2 registered, key %3")
            .arg(isOperator ? QStringLiteral("operator desk") : QStringLiteral("desk"), name,
                 nkey));
    tx.commit();
}

bool removeDesk(Database &db, const QString &name, qint64 nowMs)
{
    db.open();
    Transaction tx(db);
    QSqlQuery &q = db.run(QLatin1String(kDeleteDesk), {name});
    const bool removed = q.numRowsAffected() > 0;
    q.finish();
    db.run(QLatin1String(kRevokeDeskSessions), {nowMs, name}).finish();
    if (removed)
        recordAdministration(db, QDateTime::fromMSecsSinceEpoch(nowMs), operatingUser(),
                             QStringLiteral("desk remove"),
                             QStringLiteral("desk %1 removed and its sessions ended").arg(name));
    tx.commit();
    return removed;
}

QList<DeskEntry> listDesks(Database &db)
{
    db.open();
    QList<DeskEntry> out;
    QSqlQuery &q = db.run(QLatin1String(kSelectDesks));
    while (q.next())
        out.append(
            {q.value(0).toString(), q.value(1).toString().trimmed(), q.value(2).toInt() == 1});
    q.finish();
    return out;
}

QByteArray deskPublicKey(Database &db, const QString &name)
{
    if (!NatsSettings::validDeskName(name))
        return {};
    return nkeys::decodeUserPublic(db.scalar(QLatin1String(kSelectDesk), {name}).toString());
}

QByteArray operatorPublicKey(Database &db, const QString &name)
{
    if (!NatsSettings::validDeskName(name))
        return {};
    return nkeys::decodeUserPublic(db.scalar(QLatin1String(kSelectOperator), {name}).toString());
}

QString busUsersConf(const QString &serviceNkey, const QList<DeskEntry> &desks,
                     const QString &subject)
{
    QString out =
        QStringLiteral("# Written by korva-broker (bus init, desk add, desk remove): run those "
                       "again rather than\n# editing it, then reload nats-server.\n"
                       "# One account for the service and every desk: its limits hold for all of "
                       "them together,\n# the server's own (max_connections, max_subscriptions) "
                       "for each connection.\n"
                       "accounts {\n  KORVA: {\n"
                       "  limits: {max_connections: 500, max_subscriptions: 5000}\n"
                       "  users = [\n"
                       "    # the service\n"
                       "    {nkey: \"%1\", permissions: {\n"
                       "      subscribe: [\"%2\"]\n"
                       "      publish: [\"kd.*.n.*\"]\n"
                       "      allow_responses: {max: 2}\n"
                       "    }}\n")
            .arg(serviceNkey, subject);
    for (const DeskEntry &d : desks)
        out += QStringLiteral("    # desk %1\n"
                              "    {nkey: \"%2\", permissions: {publish: [\"%3\"], "
                              "subscribe: [\"kd.%1.>\"]}}\n")
                   .arg(d.name, d.nkey, subject);
    out += QStringLiteral("  ]\n  }\n}\n");
    return out;
}

} // namespace korva::server
