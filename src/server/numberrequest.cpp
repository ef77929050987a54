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
