#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace korva::server {

class Database;

// The kinds of rows an office brings in and takes out as comma-separated files, by the
// store's own column names.
QStringList importKinds();
// The columns of a kind in file order, required ones marked with "*"; empty for an unknown kind.
QStringList importColumns(const QString &kind);

struct ImportResult {
    qint64 rows = 0;
    qint64 added = 0;
    qint64 replaced = 0; // rows whose key was already there, written over
    QStringList errors;  // "file, line n, column C: what is wrong"; nothing written if any
};

// Validates every record of `data` (header row first) and writes them all in one transaction,
// keyed rows replacing the stored ones, or writes nothing and says why. `fileName` names the
// file in the errors.
ImportResult importRows(Database &db, const QString &kind, const QByteArray &data,
                        const QString &fileName);
// Inside the caller's transaction; throws RequestError with the errors joined.
ImportResult importRowsInTransaction(Database &db, const QString &kind, const QByteArray &data,
                                     const QString &fileName);
// The kind's stored rows in the form importRows reads.
QByteArray exportRows(Database &db, const QString &kind);

// Checks on one text value shared with the refund requests' import; empty when fine.
QString checkAmount(const QString &text);

} // namespace korva::server
