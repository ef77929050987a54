#include "session.h"

#include <QRegularExpression>

namespace korva::server {

Session Session::fromContext(const QString &context)
{
    Session s;
    static const QRegularExpression separators(QStringLiteral("[;,]"));
    const QStringList pairs = context.split(separators, Qt::SkipEmptyParts);
    for (const QString &pair : pairs) {
        const qsizetype eq = pair.indexOf(u'=');
        if (eq <= 0)
            continue;
        const QString key = pair.left(eq).trimmed().toUpper();
        const QString value = pair.mid(eq + 1).trimmed();
        s.values.insert(key, value);
    }
    bool ok = false;
    const qint64 id = s.values.value(QStringLiteral("INSP_ID")).toLongLong(&ok);
    if (ok && id > 0)
        s.officerId = id;
    s.region = s.values.value(QStringLiteral("REGION")).toUpper();
    return s;
}

QString Session::contextText(qint64 officerId, const QString &region)
{
    return QStringLiteral("INSP_ID=%1;REGION=%2").arg(officerId).arg(region);
}

} // namespace korva::server
