#pragma once

#include "broker.h"

#include <QByteArray>

namespace korva::wire {

// The reply as it travels on the bus: the same content as toJson(reply), in CBOR (RFC 8949),
// written and read as a stream with Qt's own CBOR classes. A list of some hundred rows would
// otherwise cost more in building and walking a JSON document, and in parsing dates from
// text, than the query that filled it.
//
// A map of "identity", "tag", "error" (texts) and "recordSets": a map from name to a map of
// "name", "fields" (an array of [name, type name] pairs) and "rows" (an array of arrays, one
// value per field). Values are null or, by the field's type: text; integer; decimal as a
// double; date as tag 100 (days since 1970-01-01, RFC 8943); timestamp as [milliseconds since
// the epoch, offset from UTC in seconds, or null for local time].
QByteArray replyBytes(const BrokerReply &reply);
BrokerReply replyFromBytes(const QByteArray &data); // throws ProcError when malformed

} // namespace korva::wire
