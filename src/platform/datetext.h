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

// Every local-time conversion otherwise has the C library look at /etc/localtime again; a
// 500-row list spent half its time there. Called first thing by each program: the zone is
// read once, and a zone changed while a program runs is seen at its next start.
void cacheLocalTimeZone();

} // namespace korva
