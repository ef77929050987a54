#include "nkeys.h"

#include "errors.h"

#include <QFile>

#include <cstring>

#include <sodium.h>

namespace korva::nkeys {

namespace {

constexpr quint8 kPrefixSeed = 18 << 3;
constexpr quint8 kPrefixUser = 20 << 3;
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

void sodiumReady()
{
    if (sodium_init() < 0)
        raiseError(kComponentError, QStringLiteral("The signing library could not start."));
}

// CRC-16/XMODEM, appended low byte first.
quint16 crc16(const QByteArray &data)
{
    quint16 crc = 0;
    for (const char c : data) {
        crc ^= quint16(quint8(c)) << 8;
        for (int i = 0; i < 8; ++i)
            crc = (crc & 0x8000) ? quint16((crc << 1) ^ 0x1021) : quint16(crc << 1);
    }
    return crc;
}

QString base32(const QByteArray &data)
{
    QString out;
    quint32 buffer = 0;
    int bits = 0;
    for (const char c : data) {
        buffer = (buffer << 8) | quint8(c);
        bits += 8;
        while (bits >= 5) {
            out += QLatin1Char(kAlphabet[(buffer >> (bits - 5)) & 31]);
            bits -= 5;
        }
    }
    if (bits > 0)
        out += QLatin1Char(kAlphabet[(buffer << (5 - bits)) & 31]);
    return out;
}

QByteArray unbase32(const QString &text)
{
    QByteArray out;
    quint32 buffer = 0;
    int bits = 0;
    for (const QChar c : text) {
        const char *at = c.unicode() < 128 ? std::strchr(kAlphabet, char(c.unicode())) : nullptr;
        if (!at || c.unicode() == 0)
            return {};
        buffer = (buffer << 5) | quint32(at - kAlphabet);
        bits += 5;
        if (bits >= 8) {
            out += char((buffer >> (bits - 8)) & 0xff);
            bits -= 8;
        }
    }
    return out;
}

QString withChecksum(QByteArray raw)
{
    const quint16 crc = crc16(raw);
    raw += char(crc & 0xff);
    raw += char(crc >> 8);
    return base32(raw);
}

// The payload after `prefix` when the checksum holds, else empty.
QByteArray checked(const QString &text, const QByteArray &prefix)
{
    const QByteArray raw = unbase32(text.trimmed());
    if (raw.size() != prefix.size() + 32 + 2 || !raw.startsWith(prefix))
        return {};
    const QByteArray body = raw.left(raw.size() - 2);
    const quint16 crc = crc16(body);
    if (quint8(raw.at(raw.size() - 2)) != (crc & 0xff) || quint8(raw.back()) != (crc >> 8))
        return {};
    return body.mid(prefix.size());
}

QByteArray seedPrefix()
{
    const char prefix[] = {char(kPrefixSeed | (kPrefixUser >> 5)), char((kPrefixUser & 31) << 3)};
    return QByteArray(prefix, sizeof prefix);
}

} // namespace

KeyPair fromSeed(const QByteArray &seed)
{
    KeyPair k;
    if (seed.size() != crypto_sign_SEEDBYTES)
        return k;
    sodiumReady();
    k.seed = seed;
    k.publicKey.resize(crypto_sign_PUBLICKEYBYTES);
    k.secretKey.resize(crypto_sign_SECRETKEYBYTES);
    crypto_sign_seed_keypair(reinterpret_cast<unsigned char *>(k.publicKey.data()),
                             reinterpret_cast<unsigned char *>(k.secretKey.data()),
                             reinterpret_cast<const unsigned char *>(seed.constData()));
    return k;
}

KeyPair generate()
{
    sodiumReady();
    QByteArray seed(crypto_sign_SEEDBYTES, Qt::Uninitialized);
    randombytes_buf(seed.data(), size_t(seed.size()));
    return fromSeed(seed);
}

QString encodeUserPublic(const QByteArray &publicKey)
{
    return withChecksum(QByteArray(1, char(kPrefixUser)) + publicKey);
}

QString encodeUserSeed(const QByteArray &seed)
{
    return withChecksum(seedPrefix() + seed);
}

QByteArray decodeUserPublic(const QString &text)
{
    return checked(text, QByteArray(1, char(kPrefixUser)));
}

QByteArray decodeUserSeed(const QString &text)
{
    return checked(text, seedPrefix());
}

KeyPair readSeedFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        raiseError(kComponentError, QStringLiteral("The bus key file %1 cannot be read: %2.")
                                        .arg(path, file.errorString()));
    // The seed is the file's first line that reads as one; comments may stand around it.
    while (!file.atEnd()) {
        const QByteArray seed = decodeUserSeed(QString::fromLatin1(file.readLine()));
        if (!seed.isEmpty())
            return fromSeed(seed);
    }
    raiseError(kComponentError,
               QStringLiteral("The bus key file %1 holds no user seed.").arg(path));
}

QByteArray sign(const KeyPair &key, const QByteArray &message)
{
    QByteArray signature(crypto_sign_BYTES, Qt::Uninitialized);
    crypto_sign_detached(reinterpret_cast<unsigned char *>(signature.data()), nullptr,
                         reinterpret_cast<const unsigned char *>(message.constData()),
                         quint64(message.size()),
                         reinterpret_cast<const unsigned char *>(key.secretKey.constData()));
    return signature;
}

bool verify(const QByteArray &publicKey, const QByteArray &message, const QByteArray &signature)
{
    if (publicKey.size() != crypto_sign_PUBLICKEYBYTES || signature.size() != crypto_sign_BYTES)
        return false;
    sodiumReady();
    return crypto_sign_verify_detached(
               reinterpret_cast<const unsigned char *>(signature.constData()),
               reinterpret_cast<const unsigned char *>(message.constData()),
               quint64(message.size()),
               reinterpret_cast<const unsigned char *>(publicKey.constData())) == 0;
}

} // namespace korva::nkeys
