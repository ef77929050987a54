#include "servicecodes.h"

#include "codetables.h"
#include "database.h"
#include "rows.h"
#include "servererror.h"

#include <platform/errors.h>

#include <QAtomicInteger>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

namespace korva::server {

namespace {

QAtomicInteger<quint64> g_copies{0};

// The columns copied, in the reference data's own field names.
const char *const kCodeColumns[] = {"REGION",    "CD_TBL_ID", "CD_TBL_CD", "CD_TBL_DES",
                                    "ADDL_INFO", "EFCTV_DT",  "END_DT"};
const char *const kTypeColumns[] = {"REGION",           "ASGNMT_CD",  "ASGNMT_DES",
                                    "CRTR_CLS_IND",     "DUE_DY_CNT", "EXPRTN_DY_CNT",
                                    "RSN_FOR_CHNG_TXT", "SYS_IND"};

[[noreturn]] void refuse(const QString &text)
{
    raiseError(kComponentError, text);
}

template <std::size_t N>
void copy(QSqlDatabase &db, const RecordSetPtr &rs, const char *table,
          const char *const (&columns)[N])
{
    if (!rs)
        return;
    QStringList names;
    QStringList marks;
    for (const char *c : columns) {
        names.append(QLatin1String(c));
        marks.append(QStringLiteral("?"));
    }
    QSqlQuery q(db);
    q.prepare(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                  .arg(QLatin1String(table), names.join(u','), marks.join(u',')));
    for (int r = 0; r < rs->storageCount(); ++r) {
        for (std::size_t c = 0; c < N; ++c) {
            const int at = rs->fieldIndex(names.at(qsizetype(c)));
            const QVariant v = at < 0 ? QVariant() : rs->storageRow(r).at(at);
            q.bindValue(int(c), v.typeId() == QMetaType::QDate ? dbDate(v.toDate()) : v);
        }
        if (!q.exec())
            refuse(QStringLiteral("The code tables could not be copied: %1")
                       .arg(q.lastError().text()));
    }
}

} // namespace

LocalCodeList::LocalCodeList(const BrokerReply &reference)
    : m_name(QStringLiteral("korva-local-codes-%1").arg(g_copies.fetchAndAddOrdered(1)))
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    db.setDatabaseName(QStringLiteral(":memory:"));
    if (!db.open())
        refuse(
            QStringLiteral("The code tables could not be opened: %1").arg(db.lastError().text()));
    QSqlQuery q(db);
    for (const QString &s : QString::fromLatin1(kCodeCopySchema).split(u';')) {
        if (!s.trimmed().isEmpty() && !q.exec(s))
            refuse(
                QStringLiteral("The code tables could not be made: %1").arg(q.lastError().text()));
    }
    db.transaction();
    copy(db, reference.recordSet(QStringLiteral("ZTB_CODE")), "ZTB_CODE", kCodeColumns);
    copy(db, reference.recordSet(QStringLiteral("ZTB_ASGNMT_TYPE")), "ZTB_ASGNMT_TYPE",
         kTypeColumns);
    db.commit();
    // From here on the copy is read only, whatever a query text asks.
    q.exec(QStringLiteral("PRAGMA query_only = 1"));
}

LocalCodeList::~LocalCodeList()
{
    QSqlDatabase::database(m_name, false).close();
    QSqlDatabase::removeDatabase(m_name);
}

RecordSetPtr LocalCodeList::openQuery(const QString &queryText)
{
    QString sql;
    try {
        sql = translateCodeListQuery(queryText);
    } catch (const RequestError &e) {
        refuse(e.text());
    }
    QSqlQuery q(QSqlDatabase::database(m_name, false));
    q.setForwardOnly(true);
    if (!q.prepare(sql) || !q.exec())
        refuse(QStringLiteral("The code-list query could not be run: %1")
                   .arg(q.lastError().databaseText()));
    const QSqlRecord rec = q.record();
    QList<Field> fields;
    for (int i = 0; i < rec.count(); ++i) {
        const QString name = rec.fieldName(i);
        // The same rule as the service's code lists: dates by their column names.
        fields.append(Field{name, name.endsWith(u"_DT", Qt::CaseInsensitive) ? FieldType::Date
                                                                             : FieldType::Text});
    }
    auto rs = RecordSet::create(QStringLiteral("CODELIST"), fields);
    while (q.next()) {
        QList<QVariant> row;
        row.reserve(fields.size());
        for (int i = 0; i < fields.size(); ++i)
            row.append(fromDb(q.value(i), fields.at(i).type));
        rs->appendStorageRow(std::move(row));
    }
    return rs;
}

} // namespace korva::server
