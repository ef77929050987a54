#include "bulkinsert.h"

#include "database.h"
#include "servererror.h"

#include <QSqlDriver>

#include <sqlite3.h>

namespace korva::server {

namespace {

sqlite3 *sqliteOf(const Database &db)
{
    const QVariant v = db.handle().driver()->handle();
    if (!v.isValid() || qstrcmp(v.typeName(), "sqlite3*") != 0)
        return nullptr;
    return *static_cast<sqlite3 *const *>(v.constData());
}

int bind(sqlite3_stmt *stmt, int index, const QVariant &v)
{
    if (v.isNull())
        return sqlite3_bind_null(stmt, index);
    switch (v.typeId()) {
    case QMetaType::QString: {
        // The row's values outlive the step, so the text is bound without a copy.
        const QString &s = *static_cast<const QString *>(v.constData());
        return sqlite3_bind_text16(stmt, index, s.utf16(), int(s.size() * 2), SQLITE_STATIC);
    }
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return sqlite3_bind_int64(stmt, index, v.toLongLong());
    case QMetaType::Double:
        return sqlite3_bind_double(stmt, index, v.toDouble());
    default: {
        const QString s = v.toString();
        return sqlite3_bind_text16(stmt, index, s.utf16(), int(s.size() * 2), SQLITE_TRANSIENT);
    }
    }
}

} // namespace

BulkInsert::BulkInsert(Database &db, const char *table, const char *columns, int columnCount,
                       int batchRows)
    : m_db(db)
    , m_columns(columnCount)
    , m_batch(batchRows)
{
    const QString one = QStringLiteral("(") + QStringLiteral("?, ").repeated(columnCount - 1) +
                        QStringLiteral("?)");
    const QString head = QStringLiteral("INSERT INTO %1 (%2) VALUES ")
                             .arg(QLatin1String(table), QLatin1String(columns));
    m_single = head + one;
    db.pauseStatementTimer();
    if (db.dialect() == Dialect::Postgres)
        db.execute(QStringLiteral("SET statement_timeout = 0"));
    if (db.dialect() == Dialect::Sqlite) {
        sqlite3 *h = sqliteOf(db);
        if (!h ||
            sqlite3_prepare_v2(h, m_single.toUtf8().constData(), -1, &m_stmt, nullptr) != SQLITE_OK)
            throw DatabaseError(
                QStringLiteral("The demo rows of %1 cannot be written: %2")
                    .arg(QLatin1String(table), h ? QString::fromUtf8(sqlite3_errmsg(h))
                                                 : QStringLiteral("no SQLite handle")));
        return;
    }
    QStringList rows;
    for (int i = 0; i < batchRows; ++i)
        rows.append(one);
    m_multi = head + rows.join(QStringLiteral(", "));
    m_values.reserve(qsizetype(columnCount) * batchRows);
}

BulkInsert::~BulkInsert()
{
    if (m_stmt)
        sqlite3_finalize(m_stmt);
}

void BulkInsert::add(std::initializer_list<QVariant> row)
{
    Q_ASSERT(int(row.size()) == m_columns);
    ++m_count;
    if (m_stmt) {
        m_db.pauseStatementTimer();
        int i = 0;
        for (const QVariant &v : row)
            bind(m_stmt, ++i, v);
        const int rc = sqlite3_step(m_stmt);
        sqlite3_reset(m_stmt);
        if (rc != SQLITE_DONE)
            throw DatabaseError(QStringLiteral("A demo row could not be written: %1")
                                    .arg(QString::fromUtf8(sqlite3_errstr(rc))));
        return;
    }
    for (const QVariant &v : row)
        m_values.append(v);
    if (m_values.size() == qsizetype(m_columns) * m_batch)
        flushBatch();
}

void BulkInsert::flushBatch()
{
    QSqlQuery &q = m_db.statement(m_multi);
    for (qsizetype i = 0; i < m_values.size(); ++i)
        q.bindValue(int(i), m_values.at(i));
    if (!q.exec())
        m_db.fail(q, QStringLiteral("loading demo rows"));
    q.finish();
    m_values.clear();
}

void BulkInsert::finish()
{
    if (m_stmt || m_values.isEmpty())
        return;
    QSqlQuery &q = m_db.statement(m_single);
    for (qsizetype r = 0; r < m_values.size() / m_columns; ++r) {
        for (int c = 0; c < m_columns; ++c)
            q.bindValue(c, m_values.at(r * m_columns + c));
        if (!q.exec())
            m_db.fail(q, QStringLiteral("loading demo rows"));
    }
    q.finish();
    m_values.clear();
}

} // namespace korva::server
