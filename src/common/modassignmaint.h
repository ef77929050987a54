#pragma once

#include <QDate>
#include <QString>

namespace korva::modAssignMaint {

// Seven digits, an optional dash anywhere, and the check digit; blanks around are allowed.
bool IsCitationNumberValid(QString Number);
// An officer's display name from the parts of an officer row (suffix usually empty).
QString ProperName(QString lastName, QString firstName, QString middleName, QString suffix);
// An officer's display name by the officer's number (decimal text), through the common
// library's officer lookup and ProperName; empty for an unknown officer or a text that is no
// number.
QString OfficerDisplayName(const QString &idText);
// Whom a row is addressed to: the officer by OfficerDisplayName, else the agency's
// description (its code when the agency is not in the reference data), else "Troop T" or
// "Troop T, District D".
QString AddresseeDisplayName(const QString &officerIdText, const QString &agency,
                             const QString &troop, const QString &district);
// "yyyy-mm-dd", the form the broker expects in request parameters.
QString DB2Date(const QDate &date);

// The day counts of the assignment type looked up last (GetAdditionalInfoTxt), shared by the
// whole component: the forward dialog's date rules read them, not the offsets it was handed.
struct TypeDayCounts {
    qint16 DueDayCount = 0;
    qint16 ExpirationDayCount = 0;
};
TypeDayCounts &componentDayCounts();

} // namespace korva::modAssignMaint

namespace korva::modMessageTitle {

// The title of every message the screens show; the application sets it at start.
QString MessageTitle();
void setMessageTitle(const QString &title);

} // namespace korva::modMessageTitle
