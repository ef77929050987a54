// Kind 93: the customer picker's search, by the start of a name or of an identifier.
#include "database.h"
#include "handlers.h"
#include "rows.h"

namespace korva::server {

namespace {

constexpr int kDefaultLimit = 50;
constexpr int kMaxLimit = 500;

constexpr Column kCustomerColumns[] = {
    {"CUST_ID", FieldType::Text}, {"CUST_NM", FieldType::Text}, {"HAS_ALRT", FieldType::Text}};

// Both searches are range scans of an index that also gives their order, so a search costs
// the rows it returns, not the size of the table: names over CUSTOMER_UNM_IX (UPPER(CUST_NM),
// CUST_ID), identifiers over the primary key. The range alone is exact in byte order; the LIKE
// keeps it exact under a server collation that sorts punctuation otherwise. A customer has
// alerts while any of its forms is active with money still owed: the picker warns before an
// officer refers to it.
constexpr char kSearchByName[] = R"sql(
SELECT C.CUST_ID, C.CUST_NM,
       CASE WHEN EXISTS (SELECT 1 FROM CUST_FORM F WHERE F.CUST_ID = C.CUST_ID
                        AND F.CTTN_STTS_CD = 'A' AND F.BAL_DUE > 0) THEN 'Y' ELSE 'N' END AS HAS_ALRT
FROM CUSTOMER C
WHERE UPPER(C.CUST_NM) >= ? AND UPPER(C.CUST_NM) < ? AND UPPER(C.CUST_NM) LIKE ? ESCAPE '!'
ORDER BY UPPER(C.CUST_NM), C.CUST_ID LIMIT ?)sql";

constexpr char kSearchById[] = R"sql(
SELECT C.CUST_ID, C.CUST_NM,
       CASE WHEN EXISTS (SELECT 1 FROM CUST_FORM F WHERE F.CUST_ID = C.CUST_ID
                        AND F.CTTN_STTS_CD = 'A' AND F.BAL_DUE > 0) THEN 'Y' ELSE 'N' END AS HAS_ALRT
FROM CUSTOMER C
WHERE C.CUST_ID >= ? AND C.CUST_ID < ? AND C.CUST_ID LIKE ? ESCAPE '!'
ORDER BY C.CUST_ID LIMIT ?)sql";

QString likePrefix(QString text)
{
    text.replace(u'!', QStringLiteral("!!"))
        .replace(u'%', QStringLiteral("!%"))
        .replace(u'_', QStringLiteral("!_"));
    return text + u'%';
}

// The least text greater than every text that starts with `prefix`.
QString prefixEnd(QString prefix)
{
    while (!prefix.isEmpty() && prefix.back().unicode() == 0xFFFF)
        prefix.chop(1);
    if (prefix.isEmpty())
        return QString(4, QChar(0xFFFF));
    prefix.back() = QChar(prefix.back().unicode() + 1);
    return prefix;
}

// SQLite's UPPER folds ASCII letters only; the text searched for must be folded alike or a
// name with an accented letter could never be found by it.
QString foldCase(const QString &text, Dialect dialect)
{
    if (dialect != Dialect::Sqlite)
        return text.toUpper();
    QString out = text;
    for (QChar &c : out) {
        if (c >= u'a' && c <= u'z')
            c = QChar(c.unicode() - 'a' + 'A');
    }
    return out;
}

void search(Database &db, const char *sql, const QString &prefix, int limit, RecordSet &into)
{
    QSqlQuery &q =
        db.run(QLatin1String(sql), {prefix, prefixEnd(prefix), likePrefix(prefix), limit});
    appendRows(q, into, kCustomerColumns);
}

} // namespace

// Name matches come first, in name order; identifier matches follow, in identifier order,
// unless a name match already brought them.
BrokerReply handleCustomerSearch(HandlerContext &ctx, const BrokerRequest &request)
{
    const QString text = request.keyValue(u"TEXT").trimmed();
    bool ok = false;
    int limit = request.keyValue(u"LIMIT").trimmed().toInt(&ok);
    if (!ok || limit <= 0)
        limit = kDefaultLimit;
    limit = qMin(limit, kMaxLimit);

    const QString name = QStringLiteral("CUSTOMER");
    RecordSetPtr found = RecordSet::create(name, fieldsOf(kCustomerColumns));
    if (!text.isEmpty()) {
        search(ctx.db, kSearchByName, foldCase(text, ctx.db.dialect()), limit, *found);
        RecordSet byId(name, fieldsOf(kCustomerColumns));
        search(ctx.db, kSearchById, text, limit, byId);
        for (int r = 0; r < byId.count() && found->count() < limit; ++r) {
            const QString id = byId.textAt(r, 0);
            bool seen = false;
            for (int k = 0; k < found->count() && !seen; ++k)
                seen = found->textAt(k, 0) == id;
            if (!seen)
                found->appendStorageRow(byId.storageRow(byId.storageIndex(r)));
        }
    }
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(name, found);
    return reply;
}

} // namespace korva::server
