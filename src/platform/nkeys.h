#pragma once

#include <QByteArray>
#include <QString>

namespace korva {

// The bus's own key form for Ed25519 identities: a prefix byte naming the key's role, the key,
// a CRC-16 of both, in unpadded base32. A user's public key starts with "U", its seed with
// "SU". The message bus checks a desk's or the service's identity by these keys alone, so its
// configuration holds no secret.
namespace nkeys {

struct KeyPair {
    QByteArray seed;      // the 32 random bytes everything else is derived from
    QByteArray publicKey; // 32 bytes
    QByteArray secretKey; // 64 bytes, as libsodium signs with it
};

KeyPair generate();
KeyPair fromSeed(const QByteArray &seed); // empty when the seed is not 32 bytes

QString encodeUserPublic(const QByteArray &publicKey); // "U…", 56 characters
QString encodeUserSeed(const QByteArray &seed);        // "SU…", 58 characters
// The raw bytes again; empty for a text that is not a well-formed key of that kind.
QByteArray decodeUserPublic(const QString &text);
QByteArray decodeUserSeed(const QString &text);

// A seed file's key pair; throws ProcError naming the file when it cannot be read or holds no
// user seed.
KeyPair readSeedFile(const QString &path);

QByteArray sign(const KeyPair &key, const QByteArray &message); // 64 bytes
bool verify(const QByteArray &publicKey, const QByteArray &message, const QByteArray &signature);

} // namespace nkeys
} // namespace korva
