#include "codetables.h"

#include "database.h"
#include "rows.h"
#include "servererror.h"

#include <QScopeGuard>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlRecord>

#include <sqlite3.h>

namespace korva::server {

const char kCodeCopySchema[] = R"sql(
CREATE TABLE ZTB_CODE (
    REGION TEXT, CD_TBL_ID TEXT, CD_TBL_CD TEXT, CD_TBL_DES TEXT, ADDL_INFO TEXT,
    EFCTV_DT TEXT, END_DT TEXT);
CREATE INDEX ZTB_CODE_IX ON ZTB_CODE (REGION, CD_TBL_ID);
CREATE TABLE ZTB_ASGNMT_TYPE (
    REGION TEXT, ASGNMT_CD TEXT, ASGNMT_DES TEXT, CRTR_CLS_IND TEXT, DUE_DY_CNT INTEGER,
    EXPRTN_DY_CNT INTEGER, RSN_FOR_CHNG_TXT TEXT, SYS_IND TEXT);
CREATE INDEX ZTB_ASGNMT_TYPE_IX ON ZTB_ASGNMT_TYPE (REGION, ASGNMT_CD)
)sql";

namespace {

constexpr int kProgressSteps = 10000; // virtual machine steps between looks at the clock

constexpr char kCodeVersion[] =
    R"sql(SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'CODE_TABLES')sql";
constexpr char kBumpCodeVersion[] =
    R"sql(UPDATE KORVA_SEQ SET NEXT_VAL = NEXT_VAL + 1 WHERE SEQ_NM = 'CODE_TABLES')sql";

constexpr char kReadCodes[] = R"sql(
SELECT REGION, CD_TBL_ID, CD_TBL_CD, CD_TBL_DES, ADDL_INFO, EFCTV_DT, END_DT FROM ZTB_CODE)sql";
constexpr char kWriteCodes[] = R"sql(
INSERT INTO ZTB_CODE (REGION, CD_TBL_ID, CD_TBL_CD, CD_TBL_DES, ADDL_INFO, EFCTV_DT, END_DT)
VALUES (?, ?, ?, ?, ?, ?, ?))sql";
constexpr char kReadTypes[] = R"sql(
SELECT REGION, ASGNMT_CD, ASGNMT_DES, CRTR_CLS_IND, DUE_DY_CNT, EXPRTN_DY_CNT,
       RSN_FOR_CHNG_TXT, SYS_IND FROM ZTB_ASGNMT_TYPE)sql";
constexpr char kWriteTypes[] = R"sql(
INSERT INTO ZTB_ASGNMT_TYPE (REGION, ASGNMT_CD, ASGNMT_DES, CRTR_CLS_IND, DUE_DY_CNT,
    EXPRTN_DY_CNT, RSN_FOR_CHNG_TXT, SYS_IND)
VALUES (?, ?, ?, ?, ?, ?, ?, ?))sql";

bool isInterrupted(const QSqlError &e)
{
    return e.nativeErrorCode() == u"9" || e.databaseText().contains(u"interrupted");
}

sqlite3 *sqliteHandle(const QSqlDatabase &db)
{
    const QVariant v = db.driver()->handle();
    if (!v.isValid() || qstrcmp(v.typeName(), "sqlite3*") != 0)
        return nullptr;
    return *static_cast<sqlite3 *const *>(v.constData());
}

void copyTable(Database &store, QSqlQuery &insert, const char *readSql, int dateFrom, int columns)
{
    QSqlQuery &read = store.run(QLatin1String(readSql));
    while (read.next()) {
        for (int i = 0; i < columns; ++i) {
            QVariant v = read.value(i);
            if (i >= dateFrom && !v.isNull())
                v = dbDate(fromDb(v, FieldType::Date).toDate());
            insert.bindValue(i, v);
        }
        if (!insert.exec())
            throw DatabaseError(QStringLiteral("The code tables could not be copied: %1")
                                    .arg(insert.lastError().text()));
    }
    read.finish();
}

} // namespace

struct CodeTables::Guard {
    bool active = false;
    QString deniedTable;
    bool deniedWrite = false;
    QElapsedTimer running;
    int limitMs = 0;

    static int progress(void *self)
    {
        const auto *g = static_cast<const Guard *>(self);
        return g->running.isValid() && g->running.elapsed() > g->limitMs ? 1 : 0;
    }

    static int authorize(void *self, int action, const char *a1, const char *, const char *,
                         const char *)
    {
        auto *g = static_cast<Guard *>(self);
        if (!g->active)
            return SQLITE_OK;
        switch (action) {
        case SQLITE_SELECT:
        case SQLITE_FUNCTION:
        case SQLITE_RECURSIVE:
            return SQLITE_OK;
        case SQLITE_READ: {
            const QString table = QString::fromUtf8(a1);
            if (table.compare(u"ZTB_CODE", Qt::CaseInsensitive) == 0 ||
                table.compare(u"ZTB_ASGNMT_TYPE", Qt::CaseInsensitive) == 0)
                return SQLITE_OK;
            g->deniedTable = table;
            return SQLITE_DENY;
        }
        default:
            g->deniedWrite = true;
            return SQLITE_DENY;
        }
    }
};

void touchCodeTables(Database &store)
{
    store.run(QLatin1String(kBumpCodeVersion)).finish();
}

CodeTables::CodeTables(QString connectionName, int statementTimeoutMs)
    : m_name(std::move(connectionName))
    , m_statementTimeoutMs(statementTimeoutMs)
    , m_guard(std::make_unique<Guard>())
{
    m_guard->limitMs = statementTimeoutMs;
}

CodeTables::~CodeTables()
{
    if (QSqlDatabase::contains(m_name)) {
        {
            QSqlDatabase db = QSqlDatabase::database(m_name, false);
            if (sqlite3 *h = sqliteHandle(db)) {
                sqlite3_set_authorizer(h, nullptr, nullptr);
                sqlite3_progress_handler(h, 0, nullptr, nullptr);
            }
            db.close();
        }
        QSqlDatabase::removeDatabase(m_name);
    }
}

void CodeTables::open()
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    db.setDatabaseName(QStringLiteral(":memory:"));
    if (!db.open())
        throw DatabaseError(
            QStringLiteral("The code-list service could not start: %1").arg(db.lastError().text()));
    sqlite3 *h = sqliteHandle(db);
    if (!h)
        throw DatabaseError(QStringLiteral("The code-list service could not start: no SQLite "
                                           "handle."));
    sqlite3_set_authorizer(h, &Guard::authorize, m_guard.get());
    sqlite3_progress_handler(h, kProgressSteps, &Guard::progress, m_guard.get());
    QSqlQuery q(db);
    const QStringList statements = QString::fromLatin1(kCodeCopySchema).split(u';');
    for (const QString &s : statements) {
        if (!s.trimmed().isEmpty() && !q.exec(s))
            throw DatabaseError(QStringLiteral("The code-list service could not start: %1")
                                    .arg(q.lastError().text()));
    }
    m_open = true;
}

void CodeTables::load(Database &store)
{
    QSqlDatabase db = QSqlDatabase::database(m_name, false);
    QSqlQuery q(db);
    q.exec(QStringLiteral("BEGIN"));
    q.exec(QStringLiteral("DELETE FROM ZTB_CODE"));
    q.exec(QStringLiteral("DELETE FROM ZTB_ASGNMT_TYPE"));
    try {
        QSqlQuery codes(db);
        codes.prepare(QLatin1String(kWriteCodes));
        copyTable(store, codes, kReadCodes, 5, 7);
        QSqlQuery types(db);
        types.prepare(QLatin1String(kWriteTypes));
        copyTable(store, types, kReadTypes, 99, 8);
    } catch (...) {
        q.exec(QStringLiteral("ROLLBACK"));
        throw;
    }
    q.exec(QStringLiteral("COMMIT"));
}

void CodeTables::refresh(Database &store)
{
    const qint64 version = store.scalar(QLatin1String(kCodeVersion)).toLongLong();
    if (m_open && version == m_version)
        return;
    if (!m_open)
        open();
    load(store);
    m_version = version;
}

RecordSetPtr CodeTables::query(const QString &queryText)
{
    const QString sql = translateCodeListQuery(queryText);
    QSqlQuery q(QSqlDatabase::database(m_name, false));
    q.setForwardOnly(true);
    m_guard->active = true;
    m_guard->deniedTable.clear();
    m_guard->deniedWrite = false;
    // Disarmed however this returns: the copy is reloaded with the handler in place.
    m_guard->running.start();
    const auto disarm = qScopeGuard([this] { m_guard->running.invalidate(); });
    const bool ok = q.prepare(sql) && q.exec();
    m_guard->active = false;
    if (!ok && isInterrupted(q.lastError()))
        throw RequestError(statementStoppedText(m_statementTimeoutMs));
    if (!ok) {
        const QString error = q.lastError().databaseText();
        if (!m_guard->deniedTable.isEmpty() || error.startsWith(u"no such table"))
            throw RequestError(QStringLiteral("The code-list service only reads the code tables "
                                              "ZTB_ASGNMT_TYPE and ZTB_CODE; it cannot read %1.")
                                   .arg(m_guard->deniedTable.isEmpty() ? error.mid(15).trimmed()
                                                                       : m_guard->deniedTable));
        if (m_guard->deniedWrite)
            throw RequestError(QStringLiteral("The code-list service is read-only: the query "
                                              "tries to change data and is refused."));
        throw RequestError(QStringLiteral("The code-list query could not be run: %1").arg(error));
    }
    const QSqlRecord rec = q.record();
    QList<Field> fields;
    QList<FieldType> types;
    for (int i = 0; i < rec.count(); ++i) {
        const QString name = rec.fieldName(i);
        const FieldType type =
            name.endsWith(u"_DT", Qt::CaseInsensitive) ? FieldType::Date : FieldType::Text;
        fields.append(Field{name, type});
        types.append(type);
    }
    auto rs = RecordSet::create(QStringLiteral("CODELIST"), fields);
    while (q.next()) {
        QList<QVariant> row;
        row.reserve(types.size());
        for (int i = 0; i < types.size(); ++i)
            row.append(fromDb(q.value(i), types.at(i)));
        rs->appendStorageRow(std::move(row));
    }
    // The rows are computed while they are read: a query can be stopped here as well.
    if (q.lastError().type() != QSqlError::NoError) {
        if (isInterrupted(q.lastError()))
            throw RequestError(statementStoppedText(m_statementTimeoutMs));
        throw RequestError(QStringLiteral("The code-list query could not be run: %1")
                               .arg(q.lastError().databaseText()));
    }
    return rs;
}

} // namespace korva::server
