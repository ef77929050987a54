#pragma once

#include <QList>
#include <QString>
#include <QVariant>

#include <initializer_list>

struct sqlite3_stmt;

namespace korva::server {

class Database;

// Loads many rows into one table inside the caller's transaction. On SQLite the rows go
// straight through the library's own prepared statement (binding through Qt costs more than
// the insert itself at a million rows); on PostgreSQL through a prepared multi-row statement.
class BulkInsert {
public:
    BulkInsert(Database &db, const char *table, const char *columns, int columnCount,
               int batchRows);
    ~BulkInsert();
    BulkInsert(const BulkInsert &) = delete;
    BulkInsert &operator=(const BulkInsert &) = delete;

    void add(std::initializer_list<QVariant> row);
    void finish(); // writes what is still buffered
    qint64 count() const { return m_count; }

private:
    void flushBatch();

    Database &m_db;
    int m_columns;
    int m_batch;
    QString m_single;
    QString m_multi;
    QList<QVariant> m_values;
    qint64 m_count = 0;
    sqlite3_stmt *m_stmt = nullptr;
};

} // namespace korva::server
