#include "broker.h"

#include "errors.h"
#include "platform.h"

#include <QAtomicInteger>

namespace korva {

RequestParameter RequestParameter::key(const QString &field, const QString &value)
{
    return RequestParameter{QLatin1String(kApplicationKey), QStringLiteral("key:") + field,
                            QStringLiteral("="), value};
}

namespace {
QAtomicInteger<quint64> g_nextTag{1};
} // namespace

BrokerRequest::BrokerRequest()
    : m_tag(QStringLiteral("REQ%1").arg(g_nextTag.fetchAndAddOrdered(1), 8, 10, QLatin1Char('0')))
{}

QString BrokerRequest::keyValue(QStringView field) const
{
    for (const auto &p : m_parameters) {
        if (p.name.startsWith(u"key:") &&
            QStringView(p.name).mid(4).compare(field, Qt::CaseInsensitive) == 0)
            return p.value.isNull() ? QStringLiteral("") : p.value;
    }
    return QString();
}

bool BrokerRequest::hasKey(QStringView field) const
{
    return !keyValue(field).isNull();
}

void BrokerRequest::addRecordSet(const QString &name, RecordSetPtr rs)
{
    m_recordSets.append({name, std::move(rs)});
}

RecordSetPtr BrokerRequest::recordSet(QStringView name) const
{
    for (const auto &[n, rs] : m_recordSets) {
        if (n.compare(name, Qt::CaseInsensitive) == 0)
            return rs;
    }
    return nullptr;
}

BrokerRequest BrokerRequest::detached() const
{
    BrokerRequest copy(*this);
    for (auto &entry : copy.m_recordSets) {
        if (entry.second)
            entry.second = entry.second->clone();
    }
    return copy;
}

RecordSetPtr BrokerReply::recordSet(const QString &name) const
{
    for (auto it = recordSets.cbegin(); it != recordSets.cend(); ++it) {
        if (it.key().compare(name, Qt::CaseInsensitive) == 0)
            return it.value();
    }
    return nullptr;
}

BrokerReply BrokerReply::failure(const BrokerRequest &request, const QString &error)
{
    BrokerReply r = success(request);
    r.error = error.isEmpty() ? QStringLiteral("The request failed.") : error;
    return r;
}

BrokerReply BrokerReply::success(const BrokerRequest &request)
{
    BrokerReply r;
    r.identity = request.messageId();
    r.tag = request.readBack();
    return r;
}

QString normalisedIdentity(QStringView identity)
{
    return identity.trimmed().toString().toUpper();
}

BrokerMessage::BrokerMessage(QObject *parent)
    : BrokerMessage(Platform::current().broker, parent)
{}

BrokerMessage::BrokerMessage(Broker *broker, QObject *parent)
    : QObject(parent)
    , m_broker(broker)
{}

QString BrokerMessage::send(const BrokerRequest &request)
{
    if (!m_broker)
        raiseError(kComponentError, QStringLiteral("No message broker is available."));
    m_broker->send(request, this);
    return request.readBack();
}

const BrokerReply *BrokerMessage::reply(const QString &identity) const
{
    const auto it = m_byIdentity.constFind(normalisedIdentity(identity));
    return it == m_byIdentity.cend() ? nullptr : &it.value();
}

const BrokerReply *BrokerMessage::replyByTag(const QString &tag) const
{
    const auto it = m_identityByTag.constFind(tag);
    if (it == m_identityByTag.cend())
        return nullptr;
    const BrokerReply *r = reply(it.value());
    return r && r->tag == tag ? r : nullptr;
}

RecordSetPtr BrokerMessage::recordSet(const QString &identity, const QString &name) const
{
    const BrokerReply *r = reply(identity);
    return r ? r->recordSet(name) : nullptr;
}

void BrokerMessage::release(const QString &identity)
{
    const QString key = normalisedIdentity(identity);
    const auto it = m_byIdentity.constFind(key);
    if (it != m_byIdentity.cend()) {
        m_identityByTag.remove(it->tag);
        m_byIdentity.erase(it);
    }
}

void BrokerMessage::deliver(const BrokerReply &reply)
{
    const QString key = normalisedIdentity(reply.identity);
    if (const auto old = m_byIdentity.constFind(key); old != m_byIdentity.cend())
        m_identityByTag.remove(old->tag);
    m_byIdentity.insert(key, reply);
    m_identityByTag.insert(reply.tag, key);
    emit DataReady(reply.identity);
}

void BrokerMessage::deliverTimeout(const QString &identity)
{
    emit MsgTimeout(identity);
}

QString ReplyCheck(const QString &messageId, const QString &source, const BrokerMessage &message)
{
    Q_UNUSED(source)
    const BrokerReply *r = message.reply(messageId);
    if (!r)
        return QStringLiteral("No reply has arrived for %1.").arg(messageId.trimmed());
    return r->error;
}

} // namespace korva
