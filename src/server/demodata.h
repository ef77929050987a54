#pragma once

#include "serversettings.h"

#include <QDate>
#include <QString>

#include <functional>

namespace korva::server {

// Who is who in every demo database, whatever its size.
namespace DemoOfficer {
inline constexpr qint64 System = 1000;  // creator and sender of system-generated assignments
inline constexpr qint64 Demo = 1001;    // the sign-on officer: "Assignment", ASSIGNMENTCLOSERS
inline constexpr qint64 Plain = 1002;   // no rights, no groups
inline constexpr qint64 Heavy = 1003;   // receives every 20th assignment (50,000 of 1,000,000)
inline constexpr qint64 Typical = 1004; // receives an even share: about 500 of 1,000,000
inline constexpr qint64 Retired = 1007; // left the service 30 days ago
} // namespace DemoOfficer

struct DemoOptions {
    qint64 assignments = 400;
    bool force = false; // replace an existing database
    quint64 seed = 20261122;
    QDate today = QDate::currentDate();
};

struct DemoSummary {
    qint64 officers = 0;
    qint64 customers = 0;
    qint64 forms = 0;
    qint64 assignments = 0;
    qint64 history = 0;
    qint64 refunds = 0;
};

// stage, done, total
using DemoProgress = std::function<void(const QString &, qint64, qint64)>;

// Fills a new database with varied, deterministic data (same seed and size, same rows).
// Throws RequestError when the database exists and `force` is not set, or cannot be written.
DemoSummary generateDemo(const ServerSettings &settings, const DemoOptions &options,
                         const DemoProgress &progress = {});

// The demo's list query range: every assignment of the demo lies within it.
QDate demoRangeStart(const QDate &today);

} // namespace korva::server
