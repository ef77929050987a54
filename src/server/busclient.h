#pragma once

#include <QStringList>
#include <QTextStream>

namespace korva::server {

// The operator's commands that go to the running services over the bus, signed with a desk key
// registered as an operator's: status, and submit refund-requests with --nats. -1 when the
// command is not one of them.
int runBusClientCommand(const QString &command, const QStringList &arguments, QTextStream &out,
                        QTextStream &err);

} // namespace korva::server
