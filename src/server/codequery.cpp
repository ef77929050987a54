#include "codetables.h"
#include "servererror.h"

#include <platform/datetext.h>

#include <QLocale>

namespace korva::server {

namespace {

QDate parseLiteralDate(const QString &text)
{
    const QString t = text.trimmed();
    QDate d = parseDateText(t);
    if (d.isValid())
        return d;
    const QLocale c = QLocale::c();
    for (const char *f : {"d MMM yyyy", "MMM d yyyy", "MMM d, yyyy", "d-MMM-yyyy", "dd-MMM-yy",
                          "yyyyMMdd", "d.M.yyyy", "MMMM d, yyyy", "d MMMM yyyy"}) {
        d = c.toDate(t, QLatin1String(f));
        if (d.isValid()) {
            if (d.year() < 1930)
                d = d.addYears(100);
            return d;
        }
    }
    return {};
}

} // namespace

QString translateCodeListQuery(const QString &queryText)
{
    const QString text = queryText.trimmed();
    if (!text.startsWith(u"select", Qt::CaseInsensitive) ||
        (text.size() > 6 && !text.at(6).isSpace()))
        throw RequestError(QStringLiteral("The code-list service is read-only: only a Select "
                                          "query on the code tables is accepted."));
    QString out;
    out.reserve(text.size() + 16);
    bool inText = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (inText) {
            out += c;
            if (c == u'\'')
                inText = false; // a doubled quote reopens at once on the next character
            continue;
        }
        if (c == u'\'') {
            inText = true;
            out += c;
        } else if (c == u'#') {
            const qsizetype end = text.indexOf(u'#', i + 1);
            if (end < 0)
                throw RequestError(QStringLiteral("The code-list query has a date literal "
                                                  "without its closing \"#\"."));
            const QString literal = text.mid(i + 1, end - i - 1);
            const QDate d = parseLiteralDate(literal);
            if (!d.isValid())
                throw RequestError(
                    QStringLiteral("#%1# in the code-list query is not a date.").arg(literal));
            out += u'\'' + d.toString(Qt::ISODate) + u'\'';
            i = end;
        } else if (c == u';') {
            if (!text.mid(i + 1).trimmed().isEmpty())
                throw RequestError(QStringLiteral("The code-list service runs one Select "
                                                  "statement at a time."));
            break;
        } else {
            out += c;
        }
    }
    if (inText)
        throw RequestError(QStringLiteral("The code-list query has a text without its closing "
                                          "quote."));
    return out;
}

} // namespace korva::server
