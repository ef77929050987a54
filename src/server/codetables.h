#pragma once

#include <platform/recordset.h>

#include <QElapsedTimer>
#include <QString>

#include <memory>

namespace korva::server {

class Database;

// The two code tables as every copy of them holds them: the service's read-only copy and a
// networked desk's local one.
extern const char kCodeCopySchema[];

// The code-list service's own connection: an in-memory SQLite copy that holds only
// ZTB_ASGNMT_TYPE and ZTB_CODE, reloaded whenever the store's code tables changed. Queries run
// there under an authorizer that lets them read those two tables and nothing else, so a write
// or a read of any other table is refused whatever the text, and the same translation serves
// both back ends.
class CodeTables {
public:
    // `statementTimeoutMs` bounds each query as the store's own statements are bounded: the
    // copy is in memory, but a recursive query over it can run for ever.
    CodeTables(QString connectionName, int statementTimeoutMs);
    ~CodeTables();
    CodeTables(const CodeTables &) = delete;
    CodeTables &operator=(const CodeTables &) = delete;

    void refresh(Database &store);
    // Runs a code-list query text as the screens write it; the reply's "CODELIST" rows.
    RecordSetPtr query(const QString &queryText);

    struct Guard; // the authorizer's and the progress handler's state

private:
    void open();
    void load(Database &store);

    QString m_name;
    int m_statementTimeoutMs;
    qint64 m_version = -1;
    bool m_open = false;
    std::unique_ptr<Guard> m_guard;
};

// Marks the code tables as changed, so that every code-list copy reloads; call inside the
// transaction that changed them.
void touchCodeTables(Database &store);

// The query text made fit for SQLite: "#date#" literals (in any common date form) become
// 'yyyy-mm-dd' texts. Throws RequestError for anything but one Select statement.
QString translateCodeListQuery(const QString &queryText);

} // namespace korva::server
