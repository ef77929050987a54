#include "accountnumber.h"

#include <platform/checkdigit.h>

namespace korva::server {

namespace {

bool allDigits(QStringView s)
{
    for (QChar c : s) {
        if (!c.isDigit() || c.unicode() > 127)
            return false;
    }
    return !s.isEmpty();
}

} // namespace

QString checkAccountNumber(const QString &form, const QString &number)
{
    const QString f = form.trimmed().toUpper();
    QString n = number.trimmed();
    if (f == u"CITATION") {
        n.remove(u'-');
        if (n.size() != 8 || !allDigits(n))
            return QStringLiteral("The citation number %1 is invalid. Correct format is "
                                  "nnnnnnn-c (7 digits plus a check digit).")
                .arg(number.trimmed());
        if (CitationCheckDigit(QStringView(n).left(7)) != n.at(7).unicode() - u'0')
            return QStringLiteral("The citation number %1 has a wrong check digit.")
                .arg(number.trimmed());
        return {};
    }
    if (f == u"ACCOUNT") {
        n.remove(u'-');
        if (n.size() > 9 || !allDigits(n))
            return QStringLiteral("The account number %1 is invalid: it has one to nine digits.")
                .arg(number.trimmed());
        return {};
    }
    if (n.isEmpty() || n.size() > 20)
        return QStringLiteral("The reference number \"%1\" is invalid: it has one to 20 "
                              "characters.")
            .arg(number.trimmed());
    return {};
}

} // namespace korva::server
