#pragma once

#include <QString>
#include <QStringView>

namespace korva {

// The general number test of the platform: blanks around, a leading or trailing sign, a "$",
// group separators, one decimal point and an exponent may all pass, so "+1234567", "1,234"
// and "1.5" are numeric while "", "12a" and "1.2.3" are not.
bool IsNumeric(QStringView text);
// The value of a numeric text (the test above); 0 for anything else.
double numericValue(QStringView text);
// Whole-number conversions that round half to even and raise Overflow past their range.
qint16 toInteger16(double value);
qint32 toInteger32(double value);
qint16 toInteger16(QStringView numericText); // Type mismatch when not numeric
qint32 toInteger32(QStringView numericText);

} // namespace korva
