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
INSERT INTO KORVA_SESSION (TOKEN_HASH, INSP_ID, CLIENT_ID, CRTD_MS, LAST_MS, EXPR_MS, DESK_ID,
                           SESS_KEY)
VALUES (?, ?, ?, ?, ?, ?, ?, ?))sql";
constexpr char kSelectSession[] = R"sql(
SELECT INSP_ID, LAST_MS, EXPR_MS, RVKD_MS FROM KORVA_SESSION WHERE TOKEN_HASH = ?)sql";
constexpr char kTouchSession[] =
    R"sql(UPDATE KORVA_SESSION SET LAST_MS = ? WHERE TOKEN_HASH = ?)sql";
constexpr char kRevokeSession[] =
    R"sql(UPDATE KORVA_SESSION SET RVKD_MS = ? WHERE TOKEN_HASH = ? AND RVKD_MS IS NULL)sql";
constexpr char kPurgeSessions[] = R"sql(DELETE FROM KORVA_SESSION WHERE EXPR_MS < ?)sql";

// One statement per attempt counts it and says how many came before within the window, so
// that parallel workers and service processes each see their own count and none is lost.
// Bound: subject, now (three times), window start (twice), now.
constexpr char kCountTry[] = R"sql(
INSERT INTO SIGNON_LIMIT (SUBJ, CNT, FIRST_MS, LAST_MS, PREV_MS) VALUES (?, 1, ?, ?, ?)
ON CONFLICT (SUBJ) DO UPDATE SET
    CNT = CASE WHEN SIGNON_LIMIT.FIRST_MS < ? THEN 1 ELSE SIGNON_LIMIT.CNT + 1 END,
    FIRST_MS = CASE WHEN SIGNON_LIMIT.FIRST_MS < ? THEN EXCLUDED.FIRST_MS
                    ELSE SIGNON_LIMIT.FIRST_MS END,
    PREV_MS = SIGNON_LIMIT.LAST_MS,
    LAST_MS = ?
RETURNING CNT, PREV_MS)sql";
constexpr char kClearFails[] = R"sql(DELETE FROM SIGNON_LIMIT WHERE SUBJ = ?)sql";
constexpr char kPurgeFails[] = R"sql(DELETE FROM SIGNON_LIMIT WHERE LAST_MS < ?)sql";

// A session is written back as used at most this often: every request would otherwise be a
// write.
constexpr qint64 kTouchEveryMs = 60'000;

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

QString deskSubject(const QString &desk)
{
    return QStringLiteral("DESK:%1").arg(desk);
}

struct Tries {
    qint64 count = 0;  // this attempt included
    qint64 prevMs = 0; // the attempt before, or now for the first
};

// Counted and committed before anything is evaluated: a worker that dies mid-way has still
// spent the attempt.
Tries countTry(Database &db, const QString &subject, qint64 nowMs, qint64 windowStart)
{
    Transaction tx(db);
    QSqlQuery &q = db.run(QLatin1String(kCountTry),
                          {subject, nowMs, nowMs, nowMs, windowStart, windowStart, nowMs});
    Tries t;
    if (q.next()) {
        t.count = q.value(0).toLongLong();
        t.prevMs = q.value(1).toLongLong();
    }
    q.finish();
    tx.commit();
    return t;
}

// Past the officer's allowance each attempt must wait after the one before: one second, then
// two, four… up to the policy's longest. A stranger's guesses hold the officer back by no more
// than that after the last of them, instead of locking the officer out.
bool mustWait(const Tries &t, qint64 nowMs, const AuthPolicy &policy)
{
    const qint64 over = t.count - policy.maxFailsPerOfficer;
    if (over <= 0)
        return false;
    const qint64 delayMs =
        qMin<qint64>(qint64(policy.maxDelaySeconds) * 1000, 1000LL << qMin<qint64>(over - 1, 20));
    return nowMs - t.prevMs < delayMs;
}

bool validSessionKey(const QString &key)
{
    return QByteArray::fromBase64(key.toLatin1()).size() == crypto_sign_PUBLICKEYBYTES;
}

} // namespace

const QString &badCredentials()
{
    static const QString text = QStringLiteral("The officer number or the password is not right.");
    return text;
}

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
                         const AuthPolicy &policy, const SignOnOrigin &origin)
{
    Database &db = ctx.db;
    if (origin.desk.isEmpty() || !validSessionKey(origin.sessionKey))
        throw RequestError(QStringLiteral("A sign-on must come from a registered desk with the "
                                          "key of its session."));
    const QString number = request.keyValue(u"OFFICER").trimmed();
    bool ok = false;
    const qint64 officerId = number.toLongLong(&ok);
    const QString password = request.keyValue(u"PASSWORD");
    const qint64 nowMs = ctx.now.toMSecsSinceEpoch();
    const qint64 windowStart = nowMs - qint64(policy.failWindowMinutes) * 60'000;

    // The desk is the one that proved itself by its bus key, and its limit holds before any
    // hash is evaluated: guesses cost the guesser, not every desk.
    if (countTry(db, deskSubject(origin.desk), nowMs, windowStart).count > policy.maxTriesPerDesk)
        throw RequestError(QStringLiteral("Too many sign-ons from this desk: try again in %1 "
                                          "minutes.")
                               .arg(policy.failWindowMinutes));
    // Counted by the number given, whether or not such an officer exists.
    const Tries tries =
        countTry(db, officerSubject(ok ? officerId : 0).left(80), nowMs, windowStart);
    const auto officer = ok && officerId > 0 ? findOfficer(db, officerId) : std::nullopt;
    const QString stored =
        officer ? db.scalar(QLatin1String(kSelectHash), {officerId}).toString() : QString();
    // Every refusal below costs one hash, so that the time taken tells no more than the words.
    static const QString decoy = hashPassword(QStringLiteral("decoy password"));
    const bool held = mustWait(tries, nowMs, policy);
    const bool matches = verifyPassword(stored.isEmpty() || held ? decoy : stored, password);
    if (!matches || held || stored.isEmpty() || ended(*officer, ctx.today))
        throw RequestError(badCredentials());

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
    db.run(QLatin1String(kInsertSession),
           {tokenHash(token), officerId, origin.desk, nowMs, nowMs, expires.toMSecsSinceEpoch(),
            origin.desk, origin.sessionKey})
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
