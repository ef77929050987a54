#include "database.h"

#include "schema.h"
#include "servererror.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSqlDriver>
#include <QSqlError>

#include <sqlite3.h>

namespace korva::server {

namespace {

// How often, in virtual-machine steps, SQLite asks whether a statement has run too long.
constexpr int kProgressSteps = 10000;

bool isTimeoutError(const QSqlError &e)
{
    // SQLite: SQLITE_INTERRUPT (9) from the progress handler; PostgreSQL: query_canceled.
    return e.nativeErrorCode() == u"9" || e.nativeErrorCode() == u"57014" ||
           e.databaseText().contains(u"statement timeout", Qt::CaseInsensitive) ||
           e.databaseText().contains(u"interrupted", Qt::CaseInsensitive);
}

bool isReadOnlyError(const QSqlError &e)
{
    // SQLite: SQLITE_READONLY (8) and its extended codes.
    return e.nativeErrorCode() == u"8" ||
           e.databaseText().contains(u"readonly database", Qt::CaseInsensitive);
}

bool isConnectionGone(const QSqlError &e)
{
    // PostgreSQL: connection_exception (class 08) and the server shutting a session down.
    const QString code = e.nativeErrorCode();
    return code.startsWith(u"08") || code == u"57P01" || code == u"57P02" || code == u"57P03" ||
           e.text().contains(u"server closed the connection", Qt::CaseInsensitive) ||
           e.text().contains(u"no connection to the server", Qt::CaseInsensitive) ||
           e.text().contains(u"terminating connection", Qt::CaseInsensitive);
}

bool isLockError(const QSqlError &e)
{
    const QString code = e.nativeErrorCode();
    const QString text = e.databaseText();
    // SQLite: SQLITE_BUSY (5), SQLITE_LOCKED (6); PostgreSQL: lock_not_available, deadlock.
    return code == u"5" || code == u"6" || code == u"55P03" || code == u"40P01" ||
           text.contains(u"database is locked", Qt::CaseInsensitive) ||
           text.contains(u"lock timeout", Qt::CaseInsensitive);
}

} // namespace

QStringList sqliteReadPragmas()
{
    // A page cache and a memory map large enough for a heavy officer's list, so that a fetch
    // of tens of thousands of rows reads memory rather than making a system call per page.
    return {QStringLiteral("PRAGMA cache_size = -65536"),
            QStringLiteral("PRAGMA mmap_size = 1073741824")};
}

QVariant dbDate(const QDate &date)
{
    return date.isValid() ? QVariant(date.toString(Qt::ISODate)) : QVariant();
}

QVariant dbTimestamp(const QDateTime &ts)
{
    return ts.isValid() ? QVariant(ts.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")))
                        : QVariant();
}

Database::Database(ServerSettings settings, QString connectionName)
    : m_settings(std::move(settings))
    , m_address(StoreAddress::parse(m_settings.connection))
    , m_name(std::move(connectionName))
{}

Database::~Database()
{
    close();
}

QSqlDatabase Database::handle() const
{
    return QSqlDatabase::database(m_name, false);
}

void Database::close()
{
    m_statements.clear();
    m_open = false;
    m_inTransaction = false;
    if (QSqlDatabase::contains(m_name)) {
        {
            QSqlDatabase db = QSqlDatabase::database(m_name, false);
            db.close();
        }
        QSqlDatabase::removeDatabase(m_name);
    }
}

void Database::openConnection()
{
    if (QSqlDatabase::contains(m_name))
        QSqlDatabase::removeDatabase(m_name);
    if (m_address.dialect == Dialect::Sqlite) {
        const QFileInfo file(m_address.path);
        if (!file.absoluteDir().exists())
            throw DatabaseError(QStringLiteral("The database %1 cannot be reached: its folder "
                                               "does not exist.")
                                    .arg(m_address.display()),
                                true);
        if (!file.exists() && !m_settings.createIfMissing)
            throw DatabaseError(
                QStringLiteral("The database %1 does not exist.").arg(m_address.display()), true);
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
        db.setDatabaseName(m_address.path);
        db.setConnectOptions(
            QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(m_settings.busyTimeoutMs));
        if (!db.open())
            throw DatabaseError(QStringLiteral("The database %1 cannot be opened: %2")
                                    .arg(m_address.display(), db.lastError().text()),
                                true);
        if (auto *h = *static_cast<sqlite3 *const *>(db.driver()->handle().constData()))
            sqlite3_progress_handler(h, kProgressSteps, &Database::sqliteProgress, this);
        execute(QStringLiteral("PRAGMA foreign_keys = ON"));
        execute(QStringLiteral("PRAGMA journal_mode = WAL"));
        execute(QStringLiteral("PRAGMA synchronous = NORMAL"));
        for (const QString &pragma : sqliteReadPragmas())
            execute(pragma);
    } else {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), m_name);
        db.setHostName(m_address.host);
        db.setPort(m_address.port);
        db.setUserName(m_address.user);
        db.setPassword(m_address.password);
        db.setDatabaseName(m_address.database);
        // Keep-alives find a peer that vanished without closing (a half-open connection)
        // within about a minute instead of the system's two hours.
        db.setConnectOptions(QStringLiteral("connect_timeout=%1;keepalives=1;keepalives_idle=30;"
                                            "keepalives_interval=10;keepalives_count=3")
                                 .arg(m_settings.connectTimeoutSec));
        if (!db.open())
            throw DatabaseError(QStringLiteral("The database %1 cannot be reached: %2")
                                    .arg(m_address.display(), db.lastError().text().trimmed()),
                                true);
        execute(QStringLiteral("SET lock_timeout = %1").arg(m_settings.busyTimeoutMs));
        execute(QStringLiteral("SET client_min_messages = warning"));
        execute(QStringLiteral("SET statement_timeout = %1").arg(m_settings.statementTimeoutMs));
        // A transaction left open by a desk that died must not keep its row locks.
        execute(QStringLiteral("SET idle_in_transaction_session_timeout = %1")
                    .arg(std::max(m_settings.statementTimeoutMs, 60000)));
    }
}

void Database::open()
{
    if (m_open) {
        // An open SQLite connection goes on writing to a file that was deleted under it, and
        // everything it then saves is lost with the file.
        if (m_address.dialect == Dialect::Sqlite && !QFileInfo::exists(m_address.path)) {
            close();
            throw DatabaseError(
                QStringLiteral("The database %1 does not exist.").arg(m_address.display()), true);
        }
        return;
    }
    try {
        openConnection();
        m_open = true;
        migrate(*this);
        catchUpSequences(*this);
    } catch (...) {
        close();
        throw;
    }
}

void Database::armStatementTimer()
{
    m_statementTimer.start();
}

int Database::sqliteProgress(void *self)
{
    const auto *db = static_cast<const Database *>(self);
    return db->m_statementTimer.isValid() &&
                   db->m_statementTimer.elapsed() > db->m_settings.statementTimeoutMs
               ? 1
               : 0;
}

QString statementStoppedText(int timeoutMs)
{
    return QStringLiteral("The request took longer than %1 seconds and was stopped. "
                          "Please narrow your search and try again.")
        .arg(timeoutMs / 1000.0);
}

QString Database::describe(const QSqlError &error) const
{
    if (isReadOnlyError(error))
        return QStringLiteral("The database %1 is read-only; nothing was saved.")
            .arg(m_address.display());
    if (isTimeoutError(error))
        return statementStoppedText(m_settings.statementTimeoutMs);
    if (isLockError(error))
        return QStringLiteral("The database is busy: another user holds a lock on it. "
                              "Please try again.");
    QString text = error.databaseText().trimmed();
    if (text.isEmpty())
        text = error.text().trimmed();
    return QStringLiteral("Database error: %1").arg(text);
}

void Database::checkError(const QSqlError &error, const QString &what)
{
    if (error.type() == QSqlError::NoError)
        return;
    // The SQLite driver reports every failed step as a connection error; only PostgreSQL
    // really loses its connection.
    const bool lost =
        m_address.dialect == Dialect::Postgres && (error.type() == QSqlError::ConnectionError ||
                                                !handle().isOpen() || isConnectionGone(error));
    QString text = describe(error);
    if (lost)
        text = QStringLiteral("The database %1 cannot be reached: %2")
                   .arg(m_address.display(), error.text().trimmed());
    Q_UNUSED(what);
    throw DatabaseError(text, lost);
}

void Database::fail(const QSqlQuery &query, const QString &what)
{
    checkError(query.lastError(), what);
    throw DatabaseError(QStringLiteral("Database error while %1.").arg(what));
}

QSqlQuery &Database::statement(const QString &sql)
{
    auto it = m_statements.find(sql);
    if (it != m_statements.end())
        return it.value();
    QSqlQuery q(handle());
    q.setForwardOnly(true);
    if (!q.prepare(sql))
        fail(q, QStringLiteral("preparing a statement"));
    return m_statements.insert(sql, std::move(q)).value();
}

QSqlQuery &Database::run(const QString &sql, std::initializer_list<QVariant> values)
{
    return run(sql, QVariantList(values));
}

QSqlQuery &Database::run(const QString &sql, const QVariantList &values)
{
    QSqlQuery &q = statement(sql);
    armStatementTimer();
    int i = 0;
    for (const QVariant &v : values)
        q.bindValue(i++, v);
    if (!q.exec())
        fail(q, QStringLiteral("running a statement"));
    return q;
}

QVariant Database::scalar(const QString &sql, std::initializer_list<QVariant> values)
{
    QSqlQuery &q = run(sql, values);
    QVariant v;
    if (q.next())
        v = q.value(0);
    q.finish();
    return v;
}

void Database::execute(const QString &sql)
{
    QSqlQuery q(handle());
    armStatementTimer();
    if (!q.exec(sql))
        fail(q, QStringLiteral("running \"%1\"").arg(sql.left(60)));
}

void Database::begin()
{
    m_commitSent = false;
    execute(m_address.dialect == Dialect::Sqlite ? QStringLiteral("BEGIN IMMEDIATE")
                                              : QStringLiteral("BEGIN"));
    m_inTransaction = true;
}

void Database::commit()
{
    for (auto &q : m_statements)
        q.finish();
    m_commitSent = true;
    execute(QStringLiteral("COMMIT"));
    m_inTransaction = false;
}

void Database::rollback() noexcept
{
    if (!m_inTransaction)
        return;
    m_inTransaction = false;
    for (auto &q : m_statements)
        q.finish();
    if (!m_open)
        return;
    QSqlQuery q(handle());
    q.exec(QStringLiteral("ROLLBACK"));
}

bool Database::tableExists(const QString &table)
{
    const QSqlDatabase db = handle();
    const QStringList tables = db.tables(QSql::Tables);
    for (const QString &t : tables) {
        if (t.compare(table, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

} // namespace korva::server
