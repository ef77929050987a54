#pragma once

#include <QString>

namespace korva {

struct StartOptions;

// The bus's and the TLS library's own words about a failed connection, turned into what to do
// about it: which setting to check, which file it names. The original text follows after a
// blank line for whoever helps; a text that is no connection problem (a refused password, a
// retired officer) comes back as it is.
QString explainSignOnProblem(const QString &raw, const StartOptions &options,
                             const QString &settingsFile);

} // namespace korva
