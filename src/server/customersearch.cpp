// Kind 93: the customer picker's search, by the start of a name or of an identifier.
#include "database.h"
#include "handlers.h"
#include "rows.h"

namespace korva::server {

namespace {

constexpr int kDefaultLimit = 50;
constexpr int kMaxLimit = 500;

constexpr Column kCustomerColumns[] = {{"CUST_ID", FieldType::Text}, {"CUST_NM", FieldType::Text}};
constexpr char kSearch[] = R"sql(
SELECT CUST_ID, CUST_NM FROM CUSTOMER
WHERE UPPER(CUST_NM) LIKE ? ESCAPE '!' OR CUST_ID LIKE ? ESCAPE '!'
ORDER BY CUST_NM, CUST_ID LIMIT ?)sql";

QString likePrefix(QString text)
{
    text.replace(u'!', QStringLiteral("!!"))
        .replace(u'%', QStringLiteral("!%"))
        .replace(u'_', QStringLiteral("!_"));
    return text + u'%';
}

} // namespace

BrokerReply handleCustomerSearch(HandlerContext &ctx, const BrokerRequest &request)
{
    const QString text = request.keyValue(u"TEXT").trimmed();
    bool ok = false;
    int limit = request.keyValue(u"LIMIT").trimmed().toInt(&ok);
    if (!ok || limit <= 0)
        limit = kDefaultLimit;
    limit = qMin(limit, kMaxLimit);
    const QString pattern = likePrefix(text);
    QSqlQuery &q = ctx.db.run(QLatin1String(kSearch), {pattern.toUpper(), pattern, limit});
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("CUSTOMER"),
                            readRecordSet(q, QStringLiteral("CUSTOMER"), kCustomerColumns));
    return reply;
}

} // namespace korva::server
