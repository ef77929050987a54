// Kind 91: a code-list query text, as the screens write it, over the code tables only.
#include "codetables.h"
#include "handlers.h"
#include "servererror.h"

namespace korva::server {

BrokerReply handleCodeList(HandlerContext &ctx, const BrokerRequest &request)
{
    const QString text = request.keyValue(u"QUERY");
    if (text.trimmed().isEmpty())
        throw RequestError(QStringLiteral("The code-list request needs the key QUERY."));
    ctx.codes.refresh(ctx.db);
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("CODELIST"), ctx.codes.query(text));
    return reply;
}

} // namespace korva::server
