#pragma once

#include "broker.h"

#include <QJsonObject>

namespace korva::wire {

// The broker's JSON wire form. Dates travel as "yyyy-MM-dd", timestamps as ISO 8601 with
// milliseconds, decimals as text so that amounts keep their exact digits.
QJsonObject toJson(const RecordSet &rs);
RecordSetPtr recordSetFromJson(const QJsonObject &o); // throws ProcError on a malformed form
QJsonObject toJson(const BrokerRequest &request);
BrokerRequest requestFromJson(const QJsonObject &o);
QJsonObject toJson(const BrokerReply &reply);
BrokerReply replyFromJson(const QJsonObject &o);

QString fieldTypeName(FieldType type);
FieldType fieldTypeFromName(const QString &name); // throws on an unknown name

} // namespace korva::wire
