// Making, copying and putting back a whole store, and the log of what administrators did.
#include "admin.h"

#include "admintables.h"
#include "database.h"
#include "lookups.h"
#include "schema.h"
#include "servererror.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>

#include <pwd.h>
#include <sqlite3.h>
#include <unistd.h>

namespace korva::server {

namespace {

// In the order their references need: officers before their rights, customers before forms.
const char *const kSeedOrder[] = {"codes",    "agencies", "types",     "troops", "templates",
                                  "officers", "rights",   "customers", "forms"};

constexpr char kNextLogId[] = R"sql(SELECT COALESCE(MAX(LOG_ID), 0) + 1 FROM KORVA_ADMIN_LOG)sql";
constexpr char kInsertLog[] = R"sql(
INSERT INTO KORVA_ADMIN_LOG (LOG_ID, DONE_TS, OS_USER, CMD, DETAIL) VALUES (?, ?, ?, ?, ?))sql";

qint64 storedRows(Database &db)
{
    qint64 n = 0;
    for (const char *table : {"OFFICER", "CUSTOMER", "ASGNMT", "REFUND"})
        n += db.scalar(QStringLiteral("SELECT COUNT(*) FROM %1").arg(QLatin1String(table)))
                 .toLongLong();
    return n;
}

void requireSqlite(const Database &db, const char *what, const char *tool)
{
    if (db.dialect() == Dialect::Postgres)
        throw RequestError(
            QStringLiteral("%1 works on SQLite stores; a PostgreSQL store is %2 "
                           "with %3 (see the README).")
                .arg(QLatin1String(what),
                     QLatin1String(qstrcmp(tool, "pg_dump") == 0 ? "backed up" : "restored"),
                     QLatin1String(tool)));
}

sqlite3 *sqliteOf(const QSqlDatabase &db)
{
    const QVariant v = db.driver()->handle();
    return v.isValid() && qstrcmp(v.typeName(), "sqlite3*") == 0
               ? *static_cast<sqlite3 *const *>(v.constData())
               : nullptr;
}

// A raw connection for the copy's own checks, that migrates nothing and writes nothing.
class RawSqlite {
public:
    RawSqlite(const QString &path, bool readOnly)
        : m_name(QStringLiteral("korva-raw-%1").arg(quintptr(this)))
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
        db.setDatabaseName(path);
        db.setConnectOptions(readOnly ? QStringLiteral("QSQLITE_OPEN_READONLY")
                                      : QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
        m_ok = db.open();
    }
    ~RawSqlite()
    {
        QSqlDatabase::database(m_name, false).close();
        QSqlDatabase::removeDatabase(m_name);
    }
    bool ok() const { return m_ok; }
    QSqlDatabase db() const { return QSqlDatabase::database(m_name, false); }
    QVariant scalar(const QString &sql) const
    {
        QSqlQuery q(db());
        return q.exec(sql) && q.next() ? q.value(0) : QVariant();
    }

private:
    QString m_name;
    bool m_ok = false;
};

// Throws unless `file` is a sound Korva store this program can serve.
void checkStoreFile(const QString &file)
{
    if (!QFileInfo(file).isFile())
        throw RequestError(QStringLiteral("There is no file %1.").arg(file));
    const RawSqlite copy(file, true);
    const QVariant check =
        copy.ok() ? copy.scalar(QStringLiteral("PRAGMA quick_check")) : QVariant();
    if (check.toString() != u"ok")
        throw RequestError(QStringLiteral("%1 is not a sound SQLite database.").arg(file));
    const QVariant version = copy.scalar(QStringLiteral("SELECT MAX(VERSION) FROM KORVA_SCHEMA"));
    if (version.isNull() || copy.scalar(QStringLiteral("SELECT COUNT(*) FROM OFFICER")).isNull())
        throw RequestError(QStringLiteral("%1 is not a Korva store.").arg(file));
    if (version.toInt() > latestSchemaVersion())
        throw RequestError(QStringLiteral("%1 is at schema version %2, newer than this program's "
                                          "%3; restore it with the program that made it.")
                               .arg(file)
                               .arg(version.toInt())
                               .arg(latestSchemaVersion()));
}

} // namespace

QString operatingUser()
{
    const passwd *pw = getpwuid(geteuid());
    QString user = pw ? QString::fromLocal8Bit(pw->pw_name) : QString::number(geteuid());
    const QString sudo = qEnvironmentVariable("SUDO_USER");
    if (!sudo.isEmpty() && sudo != user)
        user = QStringLiteral("%1 (as %2)").arg(sudo, user);
    return user.left(64);
}

void recordAdministration(Database &db, const QDateTime &now, const QString &user,
                          const QString &command, const QString &detail)
{
    const qint64 id = db.scalar(QLatin1String(kNextLogId)).toLongLong();
    db.run(QLatin1String(kInsertLog),
           {id, dbTimestamp(now), user, command.left(40), detail.left(2000)})
        .finish();
}

QStringList administrationLog(Database &db, qint64 officer, int limit)
{
    const QRegularExpression names(QStringLiteral("\\bofficer %1\\b").arg(officer));
    QSqlQuery &q = db.run(QStringLiteral("SELECT DONE_TS, OS_USER, CMD, DETAIL FROM "
                                         "KORVA_ADMIN_LOG ORDER BY LOG_ID DESC"));
    QStringList out;
    while (q.next() && (limit <= 0 || out.size() < limit)) {
        const QString detail = q.value(3).toString();
        if (officer != 0 && !names.match(detail).hasMatch())
            continue;
        const QVariant when = q.value(0);
        const QString ts = when.typeId() == QMetaType::QDateTime
                               ? when.toDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
                               : when.toString().left(19);
        out.prepend(QStringLiteral("%1  %2  %3: %4")
                        .arg(ts, q.value(1).toString(), q.value(2).toString(), detail));
    }
    q.finish();
    return out;
}

QStringList initStore(const ServerSettings &settings, const QString &seedFolder, bool force,
                      const QString &user)
{
    const QDir seed(seedFolder);
    if (!seed.exists(QStringLiteral("officers.csv")) || !seed.exists(QStringLiteral("types.csv")))
        throw RequestError(QStringLiteral("The seed folder %1 has no officers.csv and types.csv.")
                               .arg(seedFolder));
    ServerSettings s = settings;
    s.createIfMissing = true;
    Database db(s, QStringLiteral("korva-init"));
    const StoreAddress &address = db.connectionInfo();
    if (address.dialect == Dialect::Sqlite && QFileInfo::exists(address.path)) {
        checkStoreFile(address.path);
        db.open();
        if (storedRows(db) > 0 && !force)
            throw RequestError(QStringLiteral("The store %1 already holds data; use --force to "
                                              "replace it.")
                                   .arg(address.display()));
        db.close();
        for (const char *suffix : {"", "-wal", "-shm", "-journal"})
            QFile::remove(address.path + QLatin1String(suffix));
    } else if (address.dialect == Dialect::Postgres) {
        db.open();
        if (storedRows(db) > 0 && !force)
            throw RequestError(QStringLiteral("The store %1 already holds data; use --force to "
                                              "replace it.")
                                   .arg(address.display()));
        dropSchema(db);
        db.close();
    }
    db.open();
    QStringList loaded;
    Transaction tx(db);
    for (const char *kind : kSeedOrder) {
        const QString name = QLatin1String(kind) + QStringLiteral(".csv");
        if (!seed.exists(name))
            continue;
        QFile f(seed.filePath(name));
        if (!f.open(QIODevice::ReadOnly))
            throw RequestError(QStringLiteral("%1 cannot be read.").arg(f.fileName()));
        const ImportResult r =
            importRowsInTransaction(db, QLatin1String(kind), f.readAll(), f.fileName());
        loaded << QStringLiteral("%1: %2 rows").arg(QLatin1String(kind)).arg(r.rows);
    }
    if (!findOfficer(db, kSystemOfficer))
        throw RequestError(QStringLiteral("The seed has no officer %1, from whom refund requests "
                                          "come; add them to officers.csv.")
                               .arg(kSystemOfficer));
    recordAdministration(db, QDateTime::currentDateTime(), user, QStringLiteral("init"),
                         QStringLiteral("empty store at schema %1 from %2")
                             .arg(latestSchemaVersion())
                             .arg(seed.absolutePath()));
    tx.commit();
    return loaded;
}

qint64 backupStore(const ServerSettings &settings, const QString &file, const QString &user)
{
    ServerSettings s = settings;
    s.createIfMissing = false;
    Database db(s, QStringLiteral("korva-backup"));
    requireSqlite(db, "backup", "pg_dump");
    if (QFileInfo::exists(file))
        throw RequestError(
            QStringLiteral("%1 already exists; name a new file for the copy.").arg(file));
    if (!QFileInfo(file).absoluteDir().exists())
        throw RequestError(QStringLiteral("The folder of %1 does not exist.").arg(file));
    db.open();
    db.pauseStatementTimer();
    // One read transaction: the copy is the store as of one moment, whatever desks write.
    db.run(QStringLiteral("VACUUM INTO ?"), {QFileInfo(file).absoluteFilePath()}).finish();
    checkStoreFile(file);
    Transaction tx(db);
    recordAdministration(db, QDateTime::currentDateTime(), user, QStringLiteral("backup"),
                         QStringLiteral("copy to %1").arg(QFileInfo(file).absoluteFilePath()));
    tx.commit();
    return QFileInfo(file).size();
}

void restoreStore(const QString &file, const ServerSettings &settings, bool force,
                  const QString &user)
{
    const StoreAddress address = StoreAddress::parse(settings.connection);
    if (address.dialect == Dialect::Postgres)
        throw RequestError(QStringLiteral("restore works on SQLite stores; a PostgreSQL store is "
                                          "restored with pg_restore (see the README)."));
    checkStoreFile(file);
    if (QFileInfo::exists(address.path) && !force)
        throw RequestError(QStringLiteral("The store %1 exists; use --force to replace it with "
                                          "%2.")
                               .arg(address.display(), file));
    if (!QFileInfo(address.path).absoluteDir().exists())
        throw RequestError(
            QStringLiteral("The folder of %1 does not exist.").arg(address.display()));
    {
        // Page by page into the live file, under its write lock: a service that has it open
        // reads the restored store from its next request on, never half of each.
        const RawSqlite source(file, true);
        const RawSqlite target(address.path, false);
        sqlite3 *from = sqliteOf(source.db());
        sqlite3 *to = sqliteOf(target.db());
        if (!source.ok() || !target.ok() || !from || !to)
            throw RequestError(QStringLiteral("The store %1 cannot be opened for the restore.")
                                   .arg(address.display()));
        sqlite3_backup *copy = sqlite3_backup_init(to, "main", from, "main");
        int rc = copy ? SQLITE_OK : sqlite3_errcode(to);
        for (int tries = 0; copy && tries < 100; ++tries) {
            rc = sqlite3_backup_step(copy, -1);
            if (rc != SQLITE_BUSY && rc != SQLITE_LOCKED)
                break;
            sqlite3_sleep(100);
        }
        if (copy)
            sqlite3_backup_finish(copy);
        if (rc != SQLITE_DONE)
            throw RequestError(QStringLiteral("The restore into %1 failed: %2")
                                   .arg(address.display(), QString::fromUtf8(sqlite3_errstr(rc))));
    }
    ServerSettings s = settings;
    s.createIfMissing = false;
    Database db(s, QStringLiteral("korva-restore"));
    db.open(); // brings an older copy up to the current schema
    Transaction tx(db);
    recordAdministration(
        db, QDateTime::currentDateTime(), user, QStringLiteral("restore"),
        QStringLiteral("store replaced by %1").arg(QFileInfo(file).absoluteFilePath()));
    tx.commit();
}

} // namespace korva::server
