#include "natsbroker.h"

#include "asyncbroker.h"
#include "errors.h"
#include "nkeys.h"
#include "wire.h"
#include "wirebytes.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QHash>
#include <QJsonDocument>
#include <QMutex>
#include <QPointer>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTimer>

#include <nats/nats.h>

#include <csignal>

namespace korva {

namespace {

[[noreturn]] void busFailure(const QString &what, natsStatus status)
{
    raiseError(kComponentError, QStringLiteral("%1: %2 (%3).")
                                    .arg(what, QString::fromUtf8(natsStatus_GetText(status)),
                                         QString::fromUtf8(nats_GetLastError(nullptr))));
}

void check(natsStatus status, const QString &what)
{
    if (status != NATS_OK)
        busFailure(what, status);
}

QByteArray encode(const BrokerRequest &request)
{
    return QJsonDocument(wire::toJson(request)).toJson(QJsonDocument::Compact);
}

BrokerReply decode(const BrokerRequest &request, const char *data, int length)
{
    try {
        return wire::replyFromBytes(QByteArray::fromRawData(data, length));
    } catch (const ProcError &e) {
        return BrokerReply::failure(
            request,
            QStringLiteral("The broker service sent an unreadable reply: %1").arg(e.description()));
    }
}

// 128 random bits: a reply subject no other desk can name ahead of its request.
QByteArray randomId()
{
    return nkeys::generate().seed.left(16).toBase64(QByteArray::Base64UrlEncoding |
                                                    QByteArray::OmitTrailingEquals);
}

// A request in its wire form, signed: the message is the caller's to publish and destroy.
natsMsg *signedMessage(const QByteArray &subject, const QByteArray &reply, const QByteArray &body,
                       const nkeys::KeyPair &key, const QString &desk)
{
    natsMsg *msg = nullptr;
    check(natsMsg_Create(&msg, subject.constData(), reply.constData(), body.constData(),
                         int(body.size())),
          QStringLiteral("The request message"));
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    const QByteArray signature =
        nkeys::sign(key, NatsSettings::signedText(subject, reply, now, body)).toBase64();
    natsMsgHeader_Set(msg, kTimeHeader, QByteArray::number(now).constData());
    natsMsgHeader_Set(msg, kSignatureHeader, signature.constData());
    if (!desk.isEmpty())
        natsMsgHeader_Set(msg, kDeskHeader, desk.toUtf8().constData());
    return msg;
}

} // namespace

bool NatsSettings::validDeskName(const QString &desk)
{
    static const QRegularExpression form(QStringLiteral("^[a-z0-9][a-z0-9-]{0,31}$"));
    return form.match(desk).hasMatch();
}

QString NatsSettings::replyPrefix(const QString &desk)
{
    return QStringLiteral("kd.%1.r").arg(desk);
}

QByteArray NatsSettings::signedText(const QByteArray &subject, const QByteArray &reply,
                                    qint64 timeMs, const QByteArray &body)
{
    return "korva-request\n" + subject + '\n' + reply + '\n' + QByteArray::number(timeMs) + '\n' +
           body;
}

QString NatsSettings::sessionTokenHash(const QString &token)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(token.toLatin1(), QCryptographicHash::Sha256).toHex());
}

QString NatsSettings::noticeSubject(const QString &desk, const QString &sessionTokenHash)
{
    // Hashed once more, so that the subject does not give away the key the store holds.
    const QByteArray id = QCryptographicHash::hash("notice:" + sessionTokenHash.toLatin1(),
                                                   QCryptographicHash::Sha256);
    return QStringLiteral("kd.%1.n.").arg(desk) + QString::fromLatin1(id.toHex().left(32));
}

NatsConnection::NatsConnection(const NatsSettings &settings)
    : m_settings(settings)
{
    // TLS writes go through plain write(): a bus that closes the connection while the library
    // writes (a key it refuses, a restart) must end the connection, not the program.
    std::signal(SIGPIPE, SIG_IGN);
    natsOptions *opts = nullptr;
    check(natsOptions_Create(&opts), QStringLiteral("The message bus options"));
    const auto release = qScopeGuard([opts] { natsOptions_Destroy(opts); });
    const QByteArray url = settings.url.toUtf8();
    check(natsOptions_SetURL(opts, url.constData()), QStringLiteral("The message bus address"));
    check(natsOptions_SetTimeout(opts, settings.connectTimeoutMs),
          QStringLiteral("The message bus time-out"));
    if (!settings.name.isEmpty())
        natsOptions_SetName(opts, settings.name.toUtf8().constData());
    // A desk or service that lost the bus keeps trying; the requests in between time out.
    natsOptions_SetAllowReconnect(opts, true);
    natsOptions_SetMaxReconnect(opts, -1);
    if (!settings.user.isEmpty())
        check(natsOptions_SetUserInfo(opts, settings.user.toUtf8().constData(),
                                      settings.password.toUtf8().constData()),
              QStringLiteral("The message bus user"));
    if (!settings.seedFile.isEmpty()) {
        // The seed stays in its file: the library reads it each time the bus asks for a
        // signature, and only the public key goes over the wire.
        const QString key =
            nkeys::encodeUserPublic(nkeys::readSeedFile(settings.seedFile).publicKey);
        check(natsOptions_SetNKeyFromSeed(opts, key.toLatin1().constData(),
                                          settings.seedFile.toUtf8().constData()),
              QStringLiteral("The message bus key %1").arg(settings.seedFile));
    }
    if (!settings.desk.isEmpty()) {
        // Whatever inbox the library makes for itself stays inside what this desk may hear.
        check(natsOptions_SetCustomInboxPrefix(
                  opts, NatsSettings::replyPrefix(settings.desk).toUtf8().constData()),
              QStringLiteral("The desk's inbox prefix"));
    }
    if (!settings.credentialsFile.isEmpty())
        check(natsOptions_SetUserCredentialsFromFiles(
                  opts, settings.credentialsFile.toUtf8().constData(), nullptr),
              QStringLiteral("The message bus credentials file"));
    if (settings.tls()) {
        check(natsOptions_SetSecure(opts, true), QStringLiteral("TLS on the message bus"));
        if (!settings.caFile.isEmpty())
            check(natsOptions_LoadCATrustedCertificates(opts, settings.caFile.toUtf8().constData()),
                  QStringLiteral("The message bus certificate authority %1").arg(settings.caFile));
        if (!settings.certFile.isEmpty())
            check(natsOptions_LoadCertificatesChain(opts, settings.certFile.toUtf8().constData(),
                                                    settings.keyFile.toUtf8().constData()),
                  QStringLiteral("The certificate %1").arg(settings.certFile));
    }
    natsConnection *nc = nullptr;
    natsStatus s = natsConnection_Connect(&nc, opts);
    // The bus library now and then signs the bus's challenge wrongly, whatever the key (about
    // 3 connects in 1,000 when many connect at once); a new connection brings a new challenge.
    // A key the bus does not know is refused every time.
    for (int retry = 0;
         retry < 2 && s == NATS_CONNECTION_AUTH_FAILED && !settings.seedFile.isEmpty(); ++retry)
        s = natsConnection_Connect(&nc, opts);
    if (s != NATS_OK)
        busFailure(QStringLiteral("The message bus at %1 could not be reached").arg(settings.url),
                   s);
    m_nc = nc;
}

NatsConnection::~NatsConnection()
{
    auto *nc = static_cast<natsConnection *>(m_nc);
    if (nc) {
        natsConnection_Close(nc);
        natsConnection_Destroy(nc);
    }
}

void NatsConnection::publish(const QString &subject, const QByteArray &data)
{
    check(natsConnection_Publish(static_cast<natsConnection *>(m_nc), subject.toUtf8().constData(),
                                 data.constData(), int(data.size())),
          QStringLiteral("Publishing on %1").arg(subject));
}

// Subscriptions deliver on the client library's threads; they reach the broker through queued
// calls, so every receiver still sees its replies on the UI thread.
struct NatsBroker::Impl {
    std::unique_ptr<NatsConnection> connection;
    QByteArray inbox; // "kd.<desk>.r": each request's reply goes to inbox + ".<random id>"
    QByteArray subject;
    QString desk;
    bool operatorKey = false;
    nkeys::KeyPair deskKey;    // signs sign-ons
    nkeys::KeyPair sessionKey; // signs everything else, once signed on
    nkeys::KeyPair offered;    // sent with the last sign-on, taken with its token
    natsSubscription *replies = nullptr;
    natsSubscription *notices = nullptr;
    NatsBroker *owner = nullptr;
    std::function<void(const QString &)> onNotice;

    struct Pending {
        QPointer<BrokerMessage> receiver;
        BrokerRequest request;
        QTimer *timer = nullptr;
    };
    QHash<QByteArray, Pending> pending;

    natsConnection *nc() const { return static_cast<natsConnection *>(connection->handle()); }
    void arrived(const QByteArray &id, const QByteArray &data, bool noResponders);
    void started(const QByteArray &id);
    void expire(const QByteArray &id, const QString &text);
    // The request as it goes on the bus, with the key that signs it; a sign-on gets a fresh
    // session key pair, whose public half it carries.
    natsMsg *prepare(BrokerRequest &request, const QByteArray &reply, const QString &token);

    static void onReply(natsConnection *, natsSubscription *, natsMsg *msg, void *closure);
    static void onNoticeMsg(natsConnection *, natsSubscription *, natsMsg *msg, void *closure);

    static void drain(natsSubscription *&sub)
    {
        if (!sub)
            return;
        // Once drained no callback runs any more, so the closure may go.
        if (natsSubscription_Drain(sub) == NATS_OK)
            natsSubscription_WaitForDrainCompletion(sub, 2000);
        natsSubscription_Destroy(sub);
        sub = nullptr;
    }
};

void NatsBroker::Impl::onReply(natsConnection *, natsSubscription *, natsMsg *msg, void *closure)
{
    auto *impl = static_cast<Impl *>(closure);
    const QByteArray subject(natsMsg_GetSubject(msg));
    const QByteArray id = subject.mid(subject.lastIndexOf('.') + 1);
    const QByteArray data(natsMsg_GetData(msg), natsMsg_GetDataLength(msg));
    const bool noResponders = natsMsg_IsNoResponders(msg);
    natsMsg_Destroy(msg);
    // A service says it has begun a request with an empty message before the reply.
    if (data.isEmpty() && !noResponders) {
        QMetaObject::invokeMethod(
            impl->owner, [impl, id] { impl->started(id); }, Qt::QueuedConnection);
        return;
    }
    QMetaObject::invokeMethod(
        impl->owner, [impl, id, data, noResponders] { impl->arrived(id, data, noResponders); },
        Qt::QueuedConnection);
}

void NatsBroker::Impl::started(const QByteArray &id)
{
    const auto it = pending.constFind(id);
    if (it != pending.cend())
        it->timer->start(owner->timeout());
}

void NatsBroker::Impl::onNoticeMsg(natsConnection *, natsSubscription *, natsMsg *msg,
                                   void *closure)
{
    auto *impl = static_cast<Impl *>(closure);
    const QString text =
        QString::fromUtf8(natsMsg_GetData(msg), natsMsg_GetDataLength(msg)).trimmed();
    natsMsg_Destroy(msg);
    QMetaObject::invokeMethod(
        impl->owner,
        [impl, text] {
            if (impl->onNotice)
                impl->onNotice(text);
        },
        Qt::QueuedConnection);
}

void NatsBroker::Impl::arrived(const QByteArray &id, const QByteArray &data, bool noResponders)
{
    if (noResponders) {
        expire(id, noServiceText());
        return;
    }
    const auto it = pending.find(id);
    if (it == pending.end())
        return; // timed out already, or never asked for by this desk
    Pending p = std::move(it.value());
    pending.erase(it);
    p.timer->stop();
    p.timer->deleteLater();
    if (p.receiver)
        p.receiver->deliver(decode(p.request, data.constData(), int(data.size())));
}

void NatsBroker::Impl::expire(const QByteArray &id, const QString &text)
{
    const auto it = pending.find(id);
    if (it == pending.end())
        return;
    Pending p = std::move(it.value());
    pending.erase(it);
    p.timer->stop();
    p.timer->deleteLater();
    if (p.receiver) {
        p.receiver->deliverTimeout(p.request.messageId());
        if (p.receiver)
            p.receiver->deliver(BrokerReply::failure(p.request, text));
    }
}

natsMsg *NatsBroker::Impl::prepare(BrokerRequest &request, const QByteArray &reply,
                                   const QString &token)
{
    if (operatorKey)
        return signedMessage(subject, reply, encode(request), deskKey, desk);
    if (request.kind() != RequestKind::SignOn) {
        if (request.sessionToken().isEmpty())
            request.setSessionToken(token);
        return signedMessage(subject, reply, encode(request), sessionKey, QString());
    }
    offered = nkeys::generate();
    request.addParameter(RequestParameter::key(QStringLiteral("SESSION_KEY"),
                                               QString::fromLatin1(offered.publicKey.toBase64())));
    return signedMessage(subject, reply, encode(request), deskKey, desk);
}

NatsBroker::NatsBroker(const NatsSettings &settings, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Impl>())
{
    d->owner = this;
    if (!NatsSettings::validDeskName(settings.desk))
        raiseError(kComponentError,
                   QStringLiteral("The desk needs its registered name on the bus (broker/desk): "
                                  "lower-case letters, digits and hyphens, \"%1\" is not one.")
                       .arg(settings.desk));
    if (settings.seedFile.isEmpty())
        raiseError(kComponentError, QStringLiteral("The desk needs its bus key file "
                                                   "(broker/seedFile)."));
    d->desk = settings.desk;
    d->operatorKey = settings.operatorKey;
    d->deskKey = nkeys::readSeedFile(settings.seedFile);
    d->connection = std::make_unique<NatsConnection>(settings);
    d->subject = settings.subject.toUtf8();
    d->inbox = NatsSettings::replyPrefix(settings.desk).toUtf8();
    check(natsConnection_Subscribe(&d->replies, d->nc(), (d->inbox + ".*").constData(),
                                   &Impl::onReply, d.get()),
          QStringLiteral("The reply inbox"));
    natsConnection_Flush(d->nc());
}

void NatsBroker::setSessionToken(const QString &token)
{
    m_token = token;
    d->sessionKey = token.isEmpty() ? nkeys::KeyPair() : d->offered;
    d->offered = nkeys::KeyPair();
}

NatsBroker::~NatsBroker()
{
    Impl::drain(d->notices);
    Impl::drain(d->replies);
    d->connection.reset();
    for (auto &p : d->pending)
        delete p.timer;
}

QString NatsBroker::noServiceText()
{
    return QStringLiteral("No broker service is answering on the message bus.");
}

void NatsBroker::send(const BrokerRequest &request, BrokerMessage *receiver)
{
    const QByteArray id = randomId();
    Impl::Pending entry{receiver, request.detached(), new QTimer(this)};
    entry.timer->setSingleShot(true);
    connect(entry.timer, &QTimer::timeout, this,
            [this, id] { d->expire(id, AsyncBroker::timeoutText()); });
    BrokerRequest work = entry.request;
    const QByteArray reply = d->inbox + '.' + id;
    natsMsg *msg = d->prepare(work, reply, m_token);
    // Until a service takes the request up it may wait in that service's queue; it is given
    // as long again for that, and its own time-out starts over when the service says it began.
    entry.timer->start(2 * m_timeoutMs);
    d->pending.insert(id, std::move(entry));
    const natsStatus s = natsConnection_PublishMsg(d->nc(), msg);
    natsMsg_Destroy(msg);
    if (s != NATS_OK) {
        // Screens expect the outcome later, never inside their own send.
        const QString text = QStringLiteral("The request could not be sent on the message bus: %1.")
                                 .arg(QString::fromUtf8(natsStatus_GetText(s)));
        QMetaObject::invokeMethod(
            this, [this, id, text] { d->expire(id, text); }, Qt::QueuedConnection);
    }
}

BrokerReply NatsBroker::call(const BrokerRequest &request)
{
    BrokerRequest work = request;
    const QByteArray replySubject = d->inbox + '.' + randomId();
    natsSubscription *sub = nullptr;
    natsStatus s = natsConnection_SubscribeSync(&sub, d->nc(), replySubject.constData());
    const auto unsubscribe = qScopeGuard([&sub] { natsSubscription_Destroy(sub); });
    natsMsg *msg = d->prepare(work, replySubject, m_token);
    if (s == NATS_OK)
        s = natsConnection_PublishMsg(d->nc(), msg);
    natsMsg_Destroy(msg);
    natsMsg *reply = nullptr;
    // As with send: twice the time to be taken up, then the whole time once begun.
    int wait = 2 * m_timeoutMs;
    while (s == NATS_OK) {
        s = natsSubscription_NextMsg(&reply, sub, wait);
        if (s != NATS_OK)
            break;
        if (natsMsg_IsNoResponders(reply)) {
            s = NATS_NO_RESPONDERS;
        } else if (natsMsg_GetDataLength(reply) == 0) {
            wait = m_timeoutMs;
        } else {
            break;
        }
        natsMsg_Destroy(reply);
        reply = nullptr;
    }
    if (s == NATS_TIMEOUT)
        return BrokerReply::failure(request, AsyncBroker::timeoutText());
    if (s == NATS_NO_RESPONDERS)
        return BrokerReply::failure(request, noServiceText());
    if (s != NATS_OK)
        return BrokerReply::failure(request, QStringLiteral("The message bus failed: %1.")
                                                 .arg(QString::fromUtf8(natsStatus_GetText(s))));
    BrokerReply out = decode(request, natsMsg_GetData(reply), natsMsg_GetDataLength(reply));
    natsMsg_Destroy(reply);
    return out;
}

void NatsBroker::listenForNotices(std::function<void(const QString &)> onNotice)
{
    Impl::drain(d->notices);
    d->onNotice = std::move(onNotice);
    const QString subject =
        NatsSettings::noticeSubject(d->desk, NatsSettings::sessionTokenHash(m_token));
    check(natsConnection_Subscribe(&d->notices, d->nc(), subject.toUtf8().constData(),
                                   &Impl::onNoticeMsg, d.get()),
          QStringLiteral("The officer's notices"));
    // Listening from the moment this returns: a notice sent just after is not missed.
    natsConnection_Flush(d->nc());
}

} // namespace korva
