#pragma once

#include <QStringList>

namespace korva::server {

class Database;

// The schema's history: each version is applied once, in order, inside one transaction, and
// recorded in KORVA_SCHEMA. The same texts serve SQLite and PostgreSQL.
struct Migration {
    int version;
    QStringList statements;
    QStringList postgresOnly = {}; // run after `statements`, on PostgreSQL only
};

const QList<Migration> &migrations();
int latestSchemaVersion();
int schemaVersion(Database &db); // 0 for an empty database
void migrate(Database &db);
// Removes every table of the schema (the demo generator's --force).
void dropSchema(Database &db);
// After rows were loaded with their own ids (the demo generator), moves PostgreSQL's id
// sequences past them; never moves one back.
void catchUpSequences(Database &db);

} // namespace korva::server
