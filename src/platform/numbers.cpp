#include "numbers.h"

#include "errors.h"

#include <cmath>
#include <limits>
#include <optional>

namespace korva {

namespace {

// Strips what the number test allows around the digits; nullopt when the text is not numeric.
std::optional<double> parseNumeric(QStringView text)
{
    QString t = text.trimmed().toString();
    if (t.isEmpty())
        return std::nullopt;
    bool negative = false;
    auto takeSign = [&](QChar c) {
        if (c == u'-')
            negative = !negative;
        return c == u'-' || c == u'+';
    };
    if (takeSign(t.front()))
        t.remove(0, 1);
    else if (takeSign(t.back()))
        t.chop(1);
    t = t.trimmed();
    if (t.startsWith(u'$'))
        t.remove(0, 1);
    if (t.isEmpty())
        return std::nullopt;
    // Group separators only between digits.
    QString digits;
    for (int i = 0; i < t.size(); ++i) {
        const QChar c = t.at(i);
        if (c == u',') {
            if (i == 0 || !t.at(i - 1).isDigit())
                return std::nullopt;
            continue;
        }
        digits.append(c);
    }
    int pos = 0;
    int mantissaDigits = 0;
    while (pos < digits.size() && digits.at(pos).isDigit()) {
        ++pos;
        ++mantissaDigits;
    }
    if (pos < digits.size() && digits.at(pos) == u'.') {
        ++pos;
        while (pos < digits.size() && digits.at(pos).isDigit()) {
            ++pos;
            ++mantissaDigits;
        }
    }
    if (mantissaDigits == 0)
        return std::nullopt;
    if (pos < digits.size() && (digits.at(pos) == u'e' || digits.at(pos) == u'E')) {
        ++pos;
        if (pos < digits.size() && (digits.at(pos) == u'+' || digits.at(pos) == u'-'))
            ++pos;
        const int expStart = pos;
        while (pos < digits.size() && digits.at(pos).isDigit())
            ++pos;
        if (pos == expStart)
            return std::nullopt;
    }
    if (pos != digits.size())
        return std::nullopt;
    bool ok = false;
    const double v = digits.toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return negative ? -v : v;
}

template <class T> T roundToWhole(double value)
{
    if (!std::isfinite(value))
        raiseOverflow();
    const double r = std::nearbyint(value); // default rounding: half to even
    if (r < double(std::numeric_limits<T>::min()) || r > double(std::numeric_limits<T>::max()))
        raiseOverflow();
    return T(r);
}

double requireNumeric(QStringView text)
{
    const auto v = parseNumeric(text);
    if (!v)
        raiseError(kErrTypeMismatch,
                   QStringLiteral("Type mismatch: \"%1\" is not a number.").arg(text));
    return *v;
}

} // namespace

bool IsNumeric(QStringView text)
{
    return parseNumeric(text).has_value();
}

double numericValue(QStringView text)
{
    return parseNumeric(text).value_or(0.0);
}

qint16 toInteger16(double value)
{
    return roundToWhole<qint16>(value);
}

qint32 toInteger32(double value)
{
    return roundToWhole<qint32>(value);
}

qint16 toInteger16(QStringView numericText)
{
    return roundToWhole<qint16>(requireNumeric(numericText));
}

qint32 toInteger32(QStringView numericText)
{
    return roundToWhole<qint32>(requireNumeric(numericText));
}

} // namespace korva
