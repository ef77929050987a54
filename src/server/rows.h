#pragma once

#include <platform/recordset.h>

#include <QSqlQuery>
#include <QVariant>

#include <span>

namespace korva::server {

// One reply field: its broker name and type. The statement that fills a record set selects
// its columns in the same order.
struct Column {
    const char *name;
    FieldType type;
};

QList<Field> fieldsOf(std::span<const Column> columns);

// A value read from either database in the record set's own form for the type: qlonglong,
// double, QDate, QDateTime or QString; an invalid QVariant for null.
QVariant fromDb(const QVariant &value, FieldType type);

// Reads every remaining row of the query into a new record set and finishes the query.
RecordSetPtr readRecordSet(QSqlQuery &query, const QString &name, std::span<const Column> columns);
// The same with the layout made once beforehand (fieldsOf(columns)), for the hot requests.
RecordSetPtr readRecordSet(QSqlQuery &query, const QString &name, std::span<const Column> columns,
                           const QList<Field> &fields);
// The same into an existing record set whose fields match the columns.
void appendRows(QSqlQuery &query, RecordSet &rs, std::span<const Column> columns);

} // namespace korva::server
