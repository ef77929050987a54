#pragma once

#include <QStringList>
#include <QTextStream>

namespace korva::server {

// The operator's commands for the bus's identities:
//   bus init --db <connection> --conf-dir <dir> [--subject <s>]
//        makes the service's bus key (<dir>/service.nk) unless there is one, and writes the
//        bus's users (<dir>/bus-users.conf) from the desks the store knows.
//   desk add <name> --db <connection> --conf-dir <dir> [--subject <s>]
//        makes a desk's bus key (<dir>/desks/<name>.nk), registers its public half and writes
//        the bus's users again; the key file goes to that desk alone.
//   desk remove <name> --db <connection> --conf-dir <dir> [--subject <s>]
//        unregisters the desk, ends its sessions and writes the bus's users again.
//   desk list --db <connection>
// Returns -1 for a command that is none of these, else the exit status.
int runBusCommand(const QString &command, const QStringList &arguments, QTextStream &out,
                  QTextStream &err);

} // namespace korva::server
