#include "requestproof.h"

#include "auth.h"
#include "database.h"
#include "deskregistry.h"

#include <platform/broker.h>
#include <platform/natsbroker.h>
#include <platform/nkeys.h>

#include <QRegularExpression>

#include <nats/nats.h>

namespace korva::server {

namespace {

constexpr char kSelectSessionKey[] =
    R"sql(SELECT DESK_ID, SESS_KEY, INSP_ID FROM KORVA_SESSION WHERE TOKEN_HASH = ?)sql";

QByteArray header(const natsMsg *msg, const char *key)
{
    const char *value = nullptr;
    if (natsMsgHeader_Get(const_cast<natsMsg *>(msg), key, &value) != NATS_OK || !value)
        return {};
    return QByteArray(value);
}

// The desk a reply subject belongs to, when it has the form of one of its replies.
QString replyDesk(const char *reply)
{
    static const QRegularExpression form(
        QStringLiteral("^kd\\.([a-z0-9][a-z0-9-]{0,31})\\.r\\.[A-Za-z0-9_-]{20,64}$"));
    const QRegularExpressionMatch m = form.match(QLatin1String(reply ? reply : ""));
    return m.hasMatch() ? m.captured(1) : QString();
}

} // namespace

std::optional<Caller> proveCaller(Database &db, const natsMsg *msg, const BrokerRequest &request,
                                  qint64 nowMs)
{
    auto *m = const_cast<natsMsg *>(msg);
    const char *reply = natsMsg_GetReply(m);
    const QString desk = replyDesk(reply);
    if (desk.isEmpty())
        return std::nullopt;
    bool ok = false;
    const qint64 timeMs = header(msg, kTimeHeader).toLongLong(&ok);
    if (!ok || qAbs(nowMs - timeMs) > kSignatureAgeMs)
        return std::nullopt;
    const QByteArray signature = QByteArray::fromBase64(header(msg, kSignatureHeader));
    const QByteArray text = NatsSettings::signedText(
        QByteArray(natsMsg_GetSubject(m)), QByteArray(reply), timeMs,
        QByteArray::fromRawData(natsMsg_GetData(m), natsMsg_GetDataLength(m)));

    Caller caller;
    caller.desk = desk;
    QByteArray key;
    if (request.kind() == RequestKind::SignOn) {
        if (QString::fromUtf8(header(msg, kDeskHeader)) != desk)
            return std::nullopt;
        key = deskPublicKey(db, desk);
        caller.sessionKey = request.keyValue(u"SESSION_KEY");
    } else if (request.sessionToken().isEmpty()) {
        if (QString::fromUtf8(header(msg, kDeskHeader)) != desk)
            return std::nullopt;
        key = operatorPublicKey(db, desk);
        caller.fromOperator = true;
    } else {
        QSqlQuery &q =
            db.run(QLatin1String(kSelectSessionKey), {tokenHash(request.sessionToken())});
        if (q.next() && q.value(0).toString() == desk) {
            key = QByteArray::fromBase64(q.value(1).toString().toLatin1());
            caller.officer = q.value(2).toLongLong();
        }
        q.finish();
    }
    if (!nkeys::verify(key, text, signature))
        return std::nullopt;
    return caller;
}

} // namespace korva::server
