#include "checkdigit.h"

#include "errors.h"

namespace korva {

int CitationCheckDigit(QStringView sevenDigits)
{
    if (sevenDigits.size() != 7)
        raiseError(kErrInvalidArgument,
                   QStringLiteral("A citation check digit needs seven digits, not \"%1\".")
                       .arg(sevenDigits));
    int sum = 0;
    for (int i = 0; i < 7; ++i) {
        const QChar c = sevenDigits.at(6 - i);
        if (c < u'0' || c > u'9')
            raiseError(kErrInvalidArgument,
                       QStringLiteral("A citation check digit needs seven digits, not \"%1\".")
                           .arg(sevenDigits));
        int d = c.unicode() - u'0';
        if (i % 2 == 0) {
            d *= 2;
            if (d > 9)
                d -= 9;
        }
        sum += d;
    }
    return (10 - sum % 10) % 10;
}

} // namespace korva
