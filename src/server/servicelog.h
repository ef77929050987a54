#pragma once

#include <QLoggingCategory>

namespace korva::server {

// What the service tells its operator: one line per event on standard error, which systemd
// keeps in the journal.
Q_DECLARE_LOGGING_CATEGORY(lcService)

// One line per answered request: who, what, how it ended and how long it took. Nothing the
// request carried goes in, so no password, token or taxpayer field can reach the journal.
void logRequest(qint64 officer, int kind, bool succeeded, qint64 milliseconds);

} // namespace korva::server
