#pragma once

#include <QStringList>
#include <QTextStream>

namespace korva::server {

// The operator's command line (korva-broker):
//   run  --db <connection> --officer <id> [--region <region>] <request.json | ->
//        runs one request in its JSON wire form as that officer and prints the reply as JSON;
//        exit status 0 for a good reply, 2 for a reply with an error text.
//   demo --db <connection> [--size <assignments>] [--force] [--seed <n>]
//        creates a demo database, showing its progress.
//   serve --db <connection> --nats <url> [...]
//        answers requests from the message bus until SIGTERM or SIGINT, then drains.
//   passwd --db <connection> --officer <id>
//        sets the officer's password, read from standard input, and ends their sessions.
// Usage errors exit with 1.
int runOperatorCommand(const QStringList &arguments, QTextStream &out, QTextStream &err);

} // namespace korva::server
