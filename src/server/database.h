#pragma once

#include "serversettings.h"

#include <QElapsedTimer>
#include <QHash>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

#include <initializer_list>

namespace korva::server {

// One named Qt SQL connection of one back-end instance (so of one thread), with a cache of
// prepared statements and error texts that a screen can show. Every failure throws
// DatabaseError.
class Database {
public:
    Database(ServerSettings settings, QString connectionName);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // Opens the connection and brings the schema up to date; a no-op when already open.
    void open();
    void close();
    bool isOpen() const { return m_open; }
    Dialect dialect() const { return m_address.dialect; }
    const StoreAddress &connectionInfo() const { return m_address; }
    const ServerSettings &settings() const { return m_settings; }
    QSqlDatabase handle() const;
    const QString &connectionName() const { return m_name; }

    // A prepared, forward-only statement kept for reuse. Callers bind, run and finish() it;
    // the same text must not be used twice at once.
    QSqlQuery &statement(const QString &sql);
    // Binds the values in order and runs the statement. Returns it, positioned before row one.
    QSqlQuery &run(const QString &sql, std::initializer_list<QVariant> values = {});
    QSqlQuery &run(const QString &sql, const QVariantList &values);
    // Runs a statement text once, unprepared (schema changes, pragmas).
    void execute(const QString &sql);
    // The first column of the first row, or a null value when there is no row.
    QVariant scalar(const QString &sql, std::initializer_list<QVariant> values = {});

    // Write transactions take the write lock at their start so that two writers queue for it
    // instead of failing halfway.
    void begin();
    void commit();
    void rollback() noexcept;
    bool inTransaction() const { return m_inTransaction; }
    // Whether the last transaction's COMMIT was sent: after a lost connection, whether its
    // outcome is unknown.
    bool commitSent() const { return m_commitSent; }

    [[noreturn]] void fail(const QSqlQuery &query, const QString &what);
    QString describe(const class QSqlError &error) const;
    bool tableExists(const QString &table);

private:
    void openConnection();
    void armStatementTimer();
    static int sqliteProgress(void *self);

public:
    // Bulk loading steps its own statements for minutes; it is not a request and runs
    // without the statement time-out.
    void pauseStatementTimer() { m_statementTimer.invalidate(); }

private:
    void checkError(const QSqlError &error, const QString &what);

    ServerSettings m_settings;
    StoreAddress m_address;
    QString m_name;
    bool m_open = false;
    bool m_inTransaction = false;
    bool m_commitSent = false;
    QHash<QString, QSqlQuery> m_statements;
    QElapsedTimer m_statementTimer; // SQLite's statement time-out; PostgreSQL keeps its own
};

// Rolls back unless committed; one per request that writes.
class Transaction {
public:
    explicit Transaction(Database &db)
        : m_db(db)
    {
        m_db.begin();
    }
    ~Transaction()
    {
        if (!m_done)
            m_db.rollback();
    }
    void commit()
    {
        m_db.commit();
        m_done = true;
    }

private:
    Database &m_db;
    bool m_done = false;
};

// The read settings every SQLite connection of the back end gets.
QStringList sqliteReadPragmas();

// What the desk reads when a statement ran past the limit and was stopped.
QString statementStoppedText(int timeoutMs);

// Dates and timestamps travel to both databases as ISO texts: SQLite keeps them as text that
// sorts by time, PostgreSQL casts them to its own types.
QVariant dbDate(const class QDate &date);
QVariant dbTimestamp(const class QDateTime &ts);

} // namespace korva::server
