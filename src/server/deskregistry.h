#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace korva::server {

class Database;

// The desks allowed on the bus, each by its name and the public half of its bus key (the seed
// stays with the desk). The bus's list of users is written from here, so that a desk the store
// does not know can neither connect nor sign on.
struct DeskEntry {
    QString name;
    QString nkey; // "U…"
    bool isOperator = false;
};

// Throws RequestError for a name that is not a subject-safe one or is taken, and for a key that
// is not a user's public key.
void addDesk(Database &db, const QString &name, const QString &nkey, qint64 nowMs,
             bool isOperator = false);
// Also ends every session signed on at the desk. False when no such desk.
bool removeDesk(Database &db, const QString &name, qint64 nowMs);
QList<DeskEntry> listDesks(Database &db);
// The desk's raw public key; empty when it is not registered.
QByteArray deskPublicKey(Database &db, const QString &name);
// The same, only for a desk key registered as an operator's.
QByteArray operatorPublicKey(Database &db, const QString &name);

// The bus's users: the service may take requests on `subject`, answer only the requests it
// took (at most twice each: "begun" and the reply) and publish notices; each desk may ask on
// `subject` and listen only under its own "kd.<desk>." prefix.
QString busUsersConf(const QString &serviceNkey, const QList<DeskEntry> &desks,
                     const QString &subject);

} // namespace korva::server
