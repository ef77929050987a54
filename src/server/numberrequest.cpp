// Kind 92: generated numbers. "U" is the next refund number.
#include "database.h"
#include "handlers.h"
#include "lookups.h"
#include "servererror.h"

namespace korva::server {

BrokerReply handleNumber(HandlerContext &ctx, const BrokerRequest &request)
{
    const QString kind = request.keyValue(u"KIND").trimmed().toUpper();
    if (kind != u"U")
        throw RequestError(QStringLiteral("\"%1\" is not a kind of number the server issues "
                                          "(U: refund number).")
                               .arg(kind));
    // A refund number is the start of a preparation; nobody else needs to use one up.
    if (!hasRight(ctx.db, ctx.session.officerId, QStringLiteral("RefundPrepare"), 'R'))
        throw RequestError(QStringLiteral("Officer %1 does not hold the right RefundPrepare "
                                          "needed for a new refund number.")
                               .arg(ctx.session.officerId));
    Transaction tx(ctx.db);
    const qint64 number = nextNumber(ctx.db, "RFND_NBR");
    tx.commit();
    auto rs =
        RecordSet::create(QStringLiteral("REQ"), {Field{QStringLiteral("U"), FieldType::Integer}});
    rs->appendStorageRow({QVariant(number)});
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("REQ"), rs);
    return reply;
}

} // namespace korva::server
