#include "serversettings.h"

#include "servererror.h"

#include <QUrl>

namespace korva::server {

ConnectionSpec ConnectionSpec::parse(const QString &text)
{
    const QString t = text.trimmed();
    if (t.isEmpty())
        throw RequestError(QStringLiteral("No database connection is configured."));
    ConnectionSpec spec;
    if (t.startsWith(u"postgres://", Qt::CaseInsensitive) ||
        t.startsWith(u"postgresql://", Qt::CaseInsensitive)) {
        const QUrl url(t, QUrl::StrictMode);
        if (!url.isValid() || url.host().isEmpty())
            throw RequestError(QStringLiteral("The database connection \"%1\" is not a valid "
                                              "postgres://user@host:port/database text.")
                                   .arg(t));
        spec.dialect = Dialect::Postgres;
        spec.host = url.host();
        spec.port = url.port(5432);
        spec.user = url.userName();
        spec.password = url.password();
        spec.database = url.path().mid(1);
        if (spec.database.isEmpty())
            throw RequestError(
                QStringLiteral("The database connection \"%1\" names no database.").arg(t));
        return spec;
    }
    spec.dialect = Dialect::Sqlite;
    spec.path = t.startsWith(u"sqlite:", Qt::CaseInsensitive) ? t.mid(7) : t;
    if (spec.path.startsWith(u"//"))
        spec.path = spec.path.mid(2); // "sqlite:///abs/path" written URL-style
    if (spec.path.isEmpty())
        throw RequestError(QStringLiteral("The database connection \"%1\" names no file.").arg(t));
    return spec;
}

QString ConnectionSpec::display() const
{
    if (dialect == Dialect::Sqlite)
        return QStringLiteral("sqlite:") + path;
    return QStringLiteral("postgres://%1@%2:%3/%4").arg(user, host).arg(port).arg(database);
}

} // namespace korva::server
