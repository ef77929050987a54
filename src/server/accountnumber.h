#pragma once

#include <QString>

namespace korva::server {

// How a reference document type's account numbers are formed; ZTB_CODE rows of table
// "REFDOCTYP" name their form in ADDL_INFO:
//   "CITATION": seven digits and the citation check digit, written "nnnnnnn-c" (the dash and
//               blanks around are optional; leading zeros count as digits);
//   "ACCOUNT":  one to nine digits, dashes allowed anywhere and ignored;
//   "TEXT" or empty: any text of up to 20 characters.
// Returns an empty text when the number fits, otherwise the message to show.
QString checkAccountNumber(const QString &form, const QString &number);

} // namespace korva::server
