#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>

namespace korva {

// Dates as users and the broker write them: "yyyy-MM-dd", "M/d/yyyy", "M/d/yy", "MM-dd-yyyy".
// An invalid QDate when the text is none of these.
QDate parseDateText(QStringView text);
QDateTime parseDateTimeText(QStringView text);

// How dates and timestamps read in grids and labels.
QString displayDate(const QDate &date);
QString displayTimestamp(const QDateTime &ts);

} // namespace korva
