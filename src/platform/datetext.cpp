#include "datetext.h"

#include <QLocale>

namespace korva {

QDate parseDateText(QStringView text)
{
    const QString t = text.trimmed().toString();
    if (t.isEmpty())
        return {};
    static const char *const formats[] = {"yyyy-MM-dd", "M/d/yyyy", "M-d-yyyy", "yyyy/M/d"};
    for (const char *f : formats) {
        const QDate d = QDate::fromString(t, QLatin1String(f));
        if (d.isValid())
            return d;
    }
    // Two-digit years read as 1930..2029, the window the users have always typed in.
    for (const char *f : {"M/d/yy", "M-d-yy"}) {
        QDate d = QDate::fromString(t, QLatin1String(f));
        if (d.isValid()) {
            if (d.year() < 1930)
                d = d.addYears(100);
            return d;
        }
    }
    const QDateTime dt = parseDateTimeText(t);
    return dt.isValid() ? dt.date() : QDate();
}

QDateTime parseDateTimeText(QStringView text)
{
    const QString t = text.trimmed().toString();
    QDateTime dt = QDateTime::fromString(t, Qt::ISODateWithMs);
    if (!dt.isValid())
        dt = QDateTime::fromString(t, Qt::ISODate);
    if (!dt.isValid())
        dt = QDateTime::fromString(t, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!dt.isValid())
        dt = QDateTime::fromString(t, QStringLiteral("M/d/yyyy h:mm:ss AP"));
    if (!dt.isValid())
        dt = QDateTime::fromString(t, QStringLiteral("MM/dd/yyyy HH:mm:ss"));
    if (!dt.isValid()) {
        const QDate d = QDate::fromString(t, QStringLiteral("yyyy-MM-dd"));
        if (d.isValid())
            dt = d.startOfDay();
    }
    return dt;
}

QString displayDate(const QDate &date)
{
    return date.isValid() ? date.toString(QStringLiteral("MM/dd/yyyy")) : QString();
}

QString displayTimestamp(const QDateTime &ts)
{
    return ts.isValid() ? ts.toString(QStringLiteral("MM/dd/yyyy HH:mm:ss")) : QString();
}

void cacheLocalTimeZone()
{
    if (qEnvironmentVariableIsEmpty("TZ"))
        qputenv("TZ", ":/etc/localtime");
}

} // namespace korva
