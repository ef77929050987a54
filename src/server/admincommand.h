#pragma once

#include <QStringList>
#include <QTextStream>

namespace korva::server {

// The administrator's commands of korva-broker (init, import, export, submit, officer, grant,
// revoke, sessions, log, backup, restore, help). Returns -1 for a command that is not one of
// them; otherwise the exit status: 0 done, 1 a usage error, 2 refused or failed.
int runAdminCommand(const QString &command, const QStringList &arguments, QTextStream &out,
                    QTextStream &err);

} // namespace korva::server
