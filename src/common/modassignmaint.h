#pragma once

#include <QDate>
#include <QString>

namespace korva::modAssignMaint {

// Seven digits, an optional dash anywhere, and the check digit; blanks around are allowed.
bool IsCitationNumberValid(QString Number);
// An officer's display name from the parts of an officer row (suffix usually empty).
QString ProperName(QString lastName, QString firstName, QString middleName, QString suffix);
// "yyyy-mm-dd", the form the broker expects in request parameters.
QString DB2Date(const QDate &date);

} // namespace korva::modAssignMaint

namespace korva::modMessageTitle {

// The title of every message the screens show; the application sets it at start.
QString MessageTitle();
void setMessageTitle(const QString &title);

} // namespace korva::modMessageTitle
