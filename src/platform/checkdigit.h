#pragma once

#include <QStringView>

namespace korva {

// The citation number's check digit: Luhn (mod 10) over the seven digits. Counting from the
// rightmost digit, every first, third, ... digit is doubled (9 subtracted when the double is
// over 9); the check digit is what brings the sum to a multiple of ten. It catches every
// single mistyped digit and most swaps of neighbours, the errors officers make when copying a
// number from paper. Throws ProcError when the text is not seven digits.
int CitationCheckDigit(QStringView sevenDigits);

} // namespace korva
