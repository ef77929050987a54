#include "auth.h"

#include "database.h"
#include "lookups.h"
#include "servererror.h"
#include "updaterow.h"

#include <platform/natsbroker.h>

#include <QCryptographicHash>

#include <sodium.h>

namespace korva::server {

namespace {

// Times are kept as milliseconds since the epoch, so that both databases compare them alike.
constexpr char kSelectHash[] = R"sql(SELECT PWD_HASH FROM OFFICER_PWD WHERE INSP_ID = ?)sql";
constexpr char kDeleteHash[] = R"sql(DELETE FROM OFFICER_PWD WHERE INSP_ID = ?)sql";
constexpr char kInsertHash[] =
    R"sql(INSERT INTO OFFICER_PWD (INSP_ID, PWD_HASH, CHNG_MS) VALUES (?, ?, ?))sql";
constexpr char kRevokeOfficer[] =
    R"sql(UPDATE KORVA_SESSION SET RVKD_MS = ? WHERE INSP_ID = ? AND RVKD_MS IS NULL)sql";

constexpr char kInsertSession[] = R"sql(
INSERT INTO KORVA_SESSION (TOKEN_HASH, INSP_ID, CLIENT_ID, CRTD_MS, LAST_MS, EXPR_MS)
VALUES (?, ?, ?, ?, ?, ?))sql";
constexpr char kSelectSession[] = R"sql(
SELECT INSP_ID, LAST_MS, EXPR_MS, RVKD_MS FROM KORVA_SESSION WHERE TOKEN_HASH = ?)sql";
constexpr char kTouchSession[] =
    R"sql(UPDATE KORVA_SESSION SET LAST_MS = ? WHERE TOKEN_HASH = ?)sql";
constexpr char kRevokeSession[] =
    R"sql(UPDATE KORVA_SESSION SET RVKD_MS = ? WHERE TOKEN_HASH = ? AND RVKD_MS IS NULL)sql";
constexpr char kPurgeSessions[] = R"sql(DELETE FROM KORVA_SESSION WHERE EXPR_MS < ?)sql";

constexpr char kCountFails[] =
    R"sql(SELECT COUNT(*) FROM SIGNON_FAIL WHERE SUBJ = ? AND FAIL_MS >= ?)sql";
constexpr char kInsertFail[] = R"sql(INSERT INTO SIGNON_FAIL (SUBJ, FAIL_MS) VALUES (?, ?))sql";
constexpr char kClearFails[] = R"sql(DELETE FROM SIGNON_FAIL WHERE SUBJ = ?)sql";
constexpr char kPurgeFails[] = R"sql(DELETE FROM SIGNON_FAIL WHERE FAIL_MS < ?)sql";

// A session is written back as used at most this often: every request would otherwise be a
// write.
constexpr qint64 kTouchEveryMs = 60'000;

const QString &badCredentials()
{
    // The same words for an unknown officer, one without a password and a wrong password: the
    // answer must not tell which officer numbers exist.
    static const QString text = QStringLiteral("The officer number or the password is not right.");
    return text;
}

bool ended(const OfficerRow &officer, const QDate &today)
{
    return officer.activeTo.isValid() && officer.activeTo < today;
}

QString endedText(const OfficerRow &officer)
{
    return QStringLiteral("Officer %1's record ended on %2: the officer can no longer sign on.")
        .arg(officer.id)
        .arg(officer.activeTo.toString(QStringLiteral("MM/dd/yyyy")));
}

void sodiumReady()
{
    if (sodium_init() < 0)
        throw RequestError(QStringLiteral("The password library could not start."));
}

QString officerSubject(qint64 officer)
{
    return QStringLiteral("OFFICER:%1").arg(officer);
}

QString clientSubject(const QString &client)
{
    return QStringLiteral("CLIENT:%1").arg(client.left(64));
}

void recordFailure(Database &db, qint64 officer, const QString &client, qint64 nowMs)
{
    Transaction tx(db);
    if (officer > 0)
        db.run(QLatin1String(kInsertFail), {officerSubject(officer), nowMs}).finish();
    if (!client.isEmpty())
        db.run(QLatin1String(kInsertFail), {clientSubject(client), nowMs}).finish();
    tx.commit();
}

qint64 failures(Database &db, const QString &subject, qint64 sinceMs)
{
    return db.scalar(QLatin1String(kCountFails), {subject, sinceMs}).toLongLong();
}

} // namespace

QString hashPassword(const QString &password)
{
    sodiumReady();
    const QByteArray clear = password.toUtf8();
    char out[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str_alg(
            out, clear.constData(), quint64(clear.size()), crypto_pwhash_OPSLIMIT_INTERACTIVE,
            crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13) != 0)
        throw RequestError(QStringLiteral("The password could not be hashed: out of memory."));
    return QString::fromLatin1(out);
}

bool verifyPassword(const QString &hash, const QString &password)
{
    sodiumReady();
    const QByteArray stored = hash.toLatin1();
    const QByteArray clear = password.toUtf8();
    if (stored.isEmpty() || stored.size() >= crypto_pwhash_STRBYTES)
        return false;
    return crypto_pwhash_str_verify(stored.constData(), clear.constData(), quint64(clear.size())) ==
           0;
}

QString tokenHash(const QString &token)
{
    return NatsSettings::sessionTokenHash(token);
}

void setPassword(Database &db, qint64 officer, const QString &password, const QDateTime &now)
{
    if (password.size() < kMinPasswordLength)
        throw RequestError(
            QStringLiteral("A password needs at least %1 characters.").arg(kMinPasswordLength));
    db.open();
    if (!findOfficer(db, officer))
        throw RequestError(QStringLiteral("Officer %1 is not known.").arg(officer));
    const QString hash = hashPassword(password);
    Transaction tx(db);
    db.run(QLatin1String(kDeleteHash), {officer}).finish();
    db.run(QLatin1String(kInsertHash), {officer, hash, now.toMSecsSinceEpoch()}).finish();
    // Whoever knew the old password is signed off with it.
    db.run(QLatin1String(kRevokeOfficer), {now.toMSecsSinceEpoch(), officer}).finish();
    db.run(QLatin1String(kClearFails), {officerSubject(officer)}).finish();
    tx.commit();
}

BrokerReply handleSignOn(HandlerContext &ctx, const BrokerRequest &request,
                         const AuthPolicy &policy)
{
    Database &db = ctx.db;
    bool ok = false;
    const qint64 officerId = request.keyValue(u"OFFICER").trimmed().toLongLong(&ok);
    const QString password = request.keyValue(u"PASSWORD");
    const QString client = request.keyValue(u"CLIENT").trimmed();
    const qint64 nowMs = ctx.now.toMSecsSinceEpoch();
    const qint64 windowStart = nowMs - qint64(policy.failWindowMinutes) * 60'000;

    // Counted before the password is looked at, so that a guesser learns nothing more once
    // the limit is reached, not even from a right guess.
    if (!client.isEmpty() &&
        failures(db, clientSubject(client), windowStart) >= policy.maxFailsPerClient)
        throw RequestError(QStringLiteral("Too many failed sign-ons from this desk: try again "
                                          "in %1 minutes.")
                               .arg(policy.failWindowMinutes));
    if (ok && officerId > 0 &&
        failures(db, officerSubject(officerId), windowStart) >= policy.maxFailsPerOfficer)
        throw RequestError(QStringLiteral("Too many failed sign-ons for officer %1: try again "
                                          "in %2 minutes.")
                               .arg(officerId)
                               .arg(policy.failWindowMinutes));

    const auto officer = ok && officerId > 0 ? findOfficer(db, officerId) : std::nullopt;
    const QString stored =
        officer ? db.scalar(QLatin1String(kSelectHash), {officerId}).toString() : QString();
    // An unknown officer costs a hash as well, so that the time taken does not tell either.
    static const QString decoy = hashPassword(QStringLiteral("decoy password"));
    const bool right =
        verifyPassword(stored.isEmpty() ? decoy : stored, password) && !stored.isEmpty();
    if (!right) {
        recordFailure(db, officer ? officerId : 0, client, nowMs);
        throw RequestError(badCredentials());
    }
    if (ended(*officer, ctx.today))
        throw RequestError(endedText(*officer));

    unsigned char raw[32];
    randombytes_buf(raw, sizeof raw);
    const QString token = QString::fromLatin1(
        QByteArray(reinterpret_cast<const char *>(raw), sizeof raw)
            .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    sodium_memzero(raw, sizeof raw);
    const QDateTime expires = ctx.now.addSecs(qint64(policy.lifetimeHours) * 3600);

    Transaction tx(db);
    db.run(QLatin1String(kPurgeSessions), {nowMs}).finish();
    db.run(QLatin1String(kPurgeFails), {windowStart}).finish();
    purgeRequestKeys(db, ctx.now);
    db.run(QLatin1String(kInsertSession), {tokenHash(token), officerId, client.left(64), nowMs,
                                           nowMs, expires.toMSecsSinceEpoch()})
        .finish();
    db.run(QLatin1String(kClearFails), {officerSubject(officerId)}).finish();
    tx.commit();

    auto rs = RecordSet::create(QStringLiteral("SESSION"),
                                {Field{QStringLiteral("TOKEN"), FieldType::Text},
                                 Field{QStringLiteral("INSP_ID"), FieldType::Integer},
                                 Field{QStringLiteral("REGION"), FieldType::Text},
                                 Field{QStringLiteral("EXPR_TS"), FieldType::Timestamp}});
    rs->appendStorageRow({token, officerId, officer->region, expires});
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("SESSION"), rs);
    return reply;
}

BrokerReply handleSignOff(HandlerContext &ctx, const BrokerRequest &request)
{
    Transaction tx(ctx.db);
    ctx.db
        .run(QLatin1String(kRevokeSession),
             {ctx.now.toMSecsSinceEpoch(), tokenHash(request.sessionToken())})
        .finish();
    tx.commit();
    return BrokerReply::success(request);
}

Session sessionFromToken(Database &db, const QString &token, const QDateTime &now,
                         const QDate &today, const AuthPolicy &policy)
{
    if (token.isEmpty())
        throw RequestError(QStringLiteral("The request carries no session: sign on first."));
    const QString key = tokenHash(token);
    QSqlQuery &q = db.run(QLatin1String(kSelectSession), {key});
    if (!q.next()) {
        q.finish();
        throw RequestError(QStringLiteral("The request's session is not known: sign on again."));
    }
    const qint64 officerId = q.value(0).toLongLong();
    const qint64 lastMs = q.value(1).toLongLong();
    const qint64 expiresMs = q.value(2).toLongLong();
    const bool revoked = !q.value(3).isNull();
    q.finish();
    const qint64 nowMs = now.toMSecsSinceEpoch();
    if (revoked)
        throw RequestError(QStringLiteral("The session has been ended: sign on again."));
    if (nowMs >= expiresMs || nowMs - lastMs >= qint64(policy.idleMinutes) * 60'000)
        throw RequestError(QStringLiteral("The session has expired: sign on again."));
    const auto officer = findOfficer(db, officerId);
    if (!officer)
        throw RequestError(QStringLiteral("The session's officer %1 is not known.").arg(officerId));
    if (ended(*officer, today))
        throw RequestError(endedText(*officer));
    if (nowMs - lastMs >= kTouchEveryMs) {
        Transaction tx(db);
        db.run(QLatin1String(kTouchSession), {nowMs, key}).finish();
        tx.commit();
    }
    Session s;
    s.officerId = officerId;
    s.region = officer->region.trimmed().toUpper();
    return s;
}

} // namespace korva::server
