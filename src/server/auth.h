#pragma once

#include "handlers.h"

#include <QDateTime>
#include <QString>

namespace korva::server {

class Database;

// Passwords are kept only as Argon2id hashes in libsodium's string form (algorithm, limits and
// salt travel inside it), so a later change of limits still verifies the old hashes.
QString hashPassword(const QString &password);
bool verifyPassword(const QString &hash, const QString &password);
// Sets or replaces an officer's password; throws RequestError for an unknown officer or a
// password too short to stand a guess.
void setPassword(Database &db, qint64 officer, const QString &password, const QDateTime &now);
inline constexpr int kMinPasswordLength = 8;

// How long sessions live and how many failed sign-ons are let through.
struct AuthPolicy {
    int idleMinutes = 30;   // a session unused this long has ended
    int lifetimeHours = 12; // and none outlives a working day
    int failWindowMinutes = 15;
    int maxFailsPerOfficer = 5; // then each attempt waits twice as long as the one before
    int maxTriesPerDesk = 20;
    int maxDelaySeconds = 900;
};

// Where a sign-on came from, as the service proved it: the registered desk whose bus key
// signed the request, and the public half of the key pair that desk made for the session.
struct SignOnOrigin {
    QString desk;
    QString sessionKey; // base64 of 32 bytes
};

// Kind 94: key OFFICER and PASSWORD in; the record set SESSION (TOKEN, INSP_ID, REGION,
// EXPR_TS) out. The token is 256 random bits, shown once: the store keeps only its hash, with
// the desk and the session's key that every later request must be signed with.
BrokerReply handleSignOn(HandlerContext &ctx, const BrokerRequest &request,
                         const AuthPolicy &policy, const SignOnOrigin &origin);

// The same words for an unknown officer, a wrong password, a retired officer and one whose
// guesses wait: the answer must not tell which officer numbers exist or which are held.
const QString &badCredentials();
// Kind 95: the session the request carries ends now.
BrokerReply handleSignOff(HandlerContext &ctx, const BrokerRequest &request);

// Who a token belongs to: the officer and region from the store, never from the request.
// Throws RequestError with the reason for an unknown, ended or revoked token and for an
// officer whose record has ended. Keeps the session alive while it is used.
Session sessionFromToken(Database &db, const QString &token, const QDateTime &now,
                         const QDate &today, const AuthPolicy &policy);

// The token's stored form.
QString tokenHash(const QString &token);

} // namespace korva::server
