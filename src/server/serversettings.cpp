#include "serversettings.h"

#include "servererror.h"

#include <QUrl>

namespace korva::server {

StoreAddress StoreAddress::parse(const QString &text)
{
    const QString t = text.trimmed();
    if (t.isEmpty())
        throw RequestError(QStringLiteral("No database connection is configured."));
    StoreAddress connection;
    if (t.startsWith(u"postgres://", Qt::CaseInsensitive) ||
        t.startsWith(u"postgresql://", Qt::CaseInsensitive)) {
        const QUrl url(t, QUrl::StrictMode);
        if (!url.isValid() || url.host().isEmpty())
            throw RequestError(QStringLiteral("The database connection \"%1\" is not a valid "
                                              "postgres://user@host:port/database text.")
                                   .arg(t));
        connection.dialect = Dialect::Postgres;
        connection.host = url.host();
        connection.port = url.port(5432);
        connection.user = url.userName();
        connection.password = url.password();
        connection.database = url.path().mid(1);
        if (connection.database.isEmpty())
            throw RequestError(
                QStringLiteral("The database connection \"%1\" names no database.").arg(t));
        return connection;
    }
    connection.dialect = Dialect::Sqlite;
    connection.path = t.startsWith(u"sqlite:", Qt::CaseInsensitive) ? t.mid(7) : t;
    if (connection.path.startsWith(u"//"))
        connection.path = connection.path.mid(2); // "sqlite:///abs/path" written URL-style
    if (connection.path.isEmpty())
        throw RequestError(QStringLiteral("The database connection \"%1\" names no file.").arg(t));
    return connection;
}

QString StoreAddress::display() const
{
    if (dialect == Dialect::Sqlite)
        return QStringLiteral("sqlite:") + path;
    return QStringLiteral("postgres://%1@%2:%3/%4").arg(user, host).arg(port).arg(database);
}

} // namespace korva::server
