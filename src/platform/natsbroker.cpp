#include "natsbroker.h"

#include "asyncbroker.h"
#include "errors.h"
#include "wire.h"
#include "wirebytes.h"

#include <QCryptographicHash>
#include <QHash>
#include <QJsonDocument>
#include <QMutex>
#include <QPointer>
#include <QScopeGuard>
#include <QTimer>
#include <QUuid>

#include <nats/nats.h>

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

} // namespace

QByteArray NatsSettings::startedSubject(const char *replySubject)
{
    return QByteArray(replySubject) + kStartedSuffix;
}

QString NatsSettings::sessionTokenHash(const QString &token)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(token.toLatin1(), QCryptographicHash::Sha256).toHex());
}

QString NatsSettings::noticeSubject(const QString &sessionTokenHash)
{
    // Hashed once more, so that the subject does not give away the key the store holds.
    const QByteArray id = QCryptographicHash::hash("notice:" + sessionTokenHash.toLatin1(),
                                                   QCryptographicHash::Sha256);
    return QStringLiteral("korva.notice.") + QString::fromLatin1(id.toHex().left(32));
}

NatsConnection::NatsConnection(const NatsSettings &settings)
    : m_settings(settings)
{
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
    const natsStatus s = natsConnection_Connect(&nc, opts);
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
    QByteArray inbox; // "<unique inbox>": each request's reply goes to inbox + ".<id>"
    QByteArray subject;
    natsSubscription *replies = nullptr;
    natsSubscription *notices = nullptr;
    NatsBroker *owner = nullptr;
    std::function<void(const QString &)> onNotice;

    struct Pending {
        QPointer<BrokerMessage> receiver;
        BrokerRequest request;
        QTimer *timer = nullptr;
    };
    QHash<quint64, Pending> pending;
    quint64 nextId = 1;

    natsConnection *nc() const { return static_cast<natsConnection *>(connection->handle()); }
    void arrived(quint64 id, const QByteArray &data, bool noResponders);
    void started(quint64 id);
    void expire(quint64 id, const QString &text);

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
    QByteArray subject(natsMsg_GetSubject(msg));
    const bool started = subject.endsWith(kStartedSuffix);
    if (started)
        subject.chop(qsizetype(sizeof kStartedSuffix) - 1);
    const quint64 id = subject.mid(subject.lastIndexOf('.') + 1).toULongLong();
    const QByteArray data(natsMsg_GetData(msg), natsMsg_GetDataLength(msg));
    const bool noResponders = natsMsg_IsNoResponders(msg);
    natsMsg_Destroy(msg);
    if (started) {
        QMetaObject::invokeMethod(
            impl->owner, [impl, id] { impl->started(id); }, Qt::QueuedConnection);
        return;
    }
    QMetaObject::invokeMethod(
        impl->owner, [impl, id, data, noResponders] { impl->arrived(id, data, noResponders); },
        Qt::QueuedConnection);
}

void NatsBroker::Impl::started(quint64 id)
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

void NatsBroker::Impl::arrived(quint64 id, const QByteArray &data, bool noResponders)
{
    if (noResponders) {
        expire(id, noServiceText());
        return;
    }
    const auto it = pending.find(id);
    if (it == pending.end())
        return; // timed out already: the screen had its error reply
    Pending p = std::move(it.value());
    pending.erase(it);
    p.timer->stop();
    p.timer->deleteLater();
    if (p.receiver)
        p.receiver->deliver(decode(p.request, data.constData(), int(data.size())));
}

void NatsBroker::Impl::expire(quint64 id, const QString &text)
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

NatsBroker::NatsBroker(const NatsSettings &settings, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Impl>())
    , m_clientId(QUuid::createUuid().toString(QUuid::WithoutBraces))
{
    d->owner = this;
    d->connection = std::make_unique<NatsConnection>(settings);
    d->subject = settings.subject.toUtf8();
    natsInbox *inbox = nullptr;
    check(natsInbox_Create(&inbox), QStringLiteral("The reply inbox"));
    d->inbox = QByteArray(inbox);
    natsInbox_Destroy(inbox);
    check(natsConnection_Subscribe(&d->replies, d->nc(), (d->inbox + ".>").constData(),
                                   &Impl::onReply, d.get()),
          QStringLiteral("The reply inbox"));
    natsConnection_Flush(d->nc());
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
    const quint64 id = d->nextId++;
    Impl::Pending entry{receiver, request.detached(), new QTimer(this)};
    if (entry.request.sessionToken().isEmpty())
        entry.request.setSessionToken(m_token);
    entry.timer->setSingleShot(true);
    connect(entry.timer, &QTimer::timeout, this,
            [this, id] { d->expire(id, AsyncBroker::timeoutText()); });
    const QByteArray data = encode(entry.request);
    // Until a service takes the request up it may wait in that service's queue; it is given
    // as long again for that, and its own time-out starts over when the service says it began.
    entry.timer->start(2 * m_timeoutMs);
    d->pending.insert(id, std::move(entry));
    const QByteArray reply = d->inbox + '.' + QByteArray::number(id);
    const natsStatus s = natsConnection_PublishRequest(
        d->nc(), d->subject.constData(), reply.constData(), data.constData(), int(data.size()));
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
    if (work.sessionToken().isEmpty())
        work.setSessionToken(m_token);
    const QByteArray data = encode(work);
    natsMsg *reply = nullptr;
    const natsStatus s = natsConnection_Request(&reply, d->nc(), d->subject.constData(),
                                                data.constData(), int(data.size()), m_timeoutMs);
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
    const QString subject = NatsSettings::noticeSubject(NatsSettings::sessionTokenHash(m_token));
    check(natsConnection_Subscribe(&d->notices, d->nc(), subject.toUtf8().constData(),
                                   &Impl::onNoticeMsg, d.get()),
          QStringLiteral("The officer's notices"));
    // Listening from the moment this returns: a notice sent just after is not missed.
    natsConnection_Flush(d->nc());
}

} // namespace korva
