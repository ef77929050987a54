#include "conventions.h"

#include "modassignmaint.h"

#include "platform/errors.h"
#include "platform/platform.h"
#include "platform/wire.h"

#include <QCryptographicHash>
#include <QHash>
#include <QJsonDocument>
#include <QRandomGenerator>

namespace korva {

namespace {

void fillHeader(BrokerRequest &request, const QString &messageId, int kind)
{
    const UserContext *user = platform().user;
    request.setMessageId(messageId);
    request.setVersion(user->versionText());
    request.setKind(kind);
    request.setContext(user->contextText());
}

// The update each screen sent last and has had no answer to, by normalised identity.
struct UnansweredUpdate {
    QString key;
    QByteArray content;
};

QHash<QString, UnansweredUpdate> &unanswered()
{
    static QHash<QString, UnansweredUpdate> updates;
    return updates;
}

QByteArray contentOf(const BrokerRequest &request)
{
    QJsonObject o = wire::toJson(request);
    o.remove(QStringLiteral("tag")); // a fresh read-back text per request object
    return QCryptographicHash::hash(QJsonDocument(o).toJson(QJsonDocument::Compact),
                                    QCryptographicHash::Sha256);
}

// Desks share message identities, so the number carries a part drawn once per process.
QString newRequestKey(const QString &messageId)
{
    static const QString desk = QString::number(QRandomGenerator::system()->generate64(), 36);
    static quint64 counter = 0;
    return QStringLiteral("%1.%2.%3").arg(messageId.trimmed(), desk).arg(++counter);
}

} // namespace

BrokerRequest composeQuery(const QString &messageId, int kind,
                           const QList<RequestParameter> &parameters)
{
    BrokerRequest request;
    fillHeader(request, messageId, kind);
    for (const auto &p : parameters)
        request.addParameter(p);
    return request;
}

BrokerRequest composeUpdate(const QString &messageId, int kind, const QString &recordSetName,
                            const RecordSetPtr &rows)
{
    BrokerRequest request;
    fillHeader(request, messageId, kind);
    request.addRecordSet(recordSetName, rows);
    const QByteArray content = contentOf(request);
    UnansweredUpdate &last = unanswered()[normalisedIdentity(messageId)];
    if (last.key.isEmpty() || last.content != content)
        last = {newRequestKey(messageId), content};
    request.setRequestKey(last.key);
    return request;
}

void updateAnswered(QStringView messageId)
{
    unanswered().remove(normalisedIdentity(messageId));
}

bool isOwnReply(QStringView identity, QStringView messageId)
{
    return normalisedIdentity(identity) == normalisedIdentity(messageId);
}

void requireOwnReply(QStringView identity, QStringView messageId)
{
    if (!isOwnReply(identity, messageId))
        raiseQuiet();
}

void handleDataReady(QStringView source, const QString &identity, const QString &messageId,
                     BrokerMessage &message, RequestFlags &flags, const ReplyRoutes &routes)
{
    const bool own = isOwnReply(identity, messageId);
    guard(
        source,
        [&] {
            platform().pointer->setBusy();
            if (!own)
                raiseQuiet();
            const QString error = ReplyCheck(messageId, source.toString(), message);
            // After a time-out the update may or may not have been applied: its key is kept
            // for the Save again.
            if (flags.UpdatePending && !flags.TimedOut)
                updateAnswered(messageId);
            if (!error.isEmpty()) {
                platform().messages->msgBox(error, MsgStyle::Critical,
                                            modMessageTitle::MessageTitle());
                if (flags.TimedOut) {
                    if (routes.enableTabs)
                        routes.enableTabs(true);
                    platform().status->StatusText(QLatin1String(StatusTexts::QueryTimedOut));
                } else {
                    flags.QueryFailed = true;
                    if (!flags.UpdatePending) {
                        platform().status->StatusText(
                            QLatin1String(StatusTexts::QueryNotSuccessful));
                    } else {
                        flags.UpdatePending = false;
                        if (routes.enableTabs)
                            routes.enableTabs(true);
                        platform().status->StatusText(
                            QLatin1String(StatusTexts::UpdateNotSuccessful));
                    }
                }
                flags.ReplyReceived = true;
                raiseQuiet();
            }
            flags.ReplyReceived = true;
            if (!flags.UpdatePending) {
                if (routes.goodQuery)
                    routes.goodQuery();
            } else {
                flags.UpdatePending = false;
                if (routes.enableTabs)
                    routes.enableTabs(true);
                if (routes.goodUpdate)
                    routes.goodUpdate();
            }
        },
        Quiet::Swallow,
        [&] {
            if (own)
                message.release(messageId);
        });
}

} // namespace korva
