#pragma once

#include "broker.h"

#include <QByteArray>

namespace korva::wire {

// The reply's wire form (the same JSON as toJson(reply)) written straight into bytes and read
// straight back. The networked service writes one per request and a desk reads it: a list of
// some hundred rows would otherwise cost more in building and walking a document than in the
// query that filled it.
QByteArray replyBytes(const BrokerReply &reply);
BrokerReply replyFromBytes(const QByteArray &data); // throws ProcError when malformed

} // namespace korva::wire
