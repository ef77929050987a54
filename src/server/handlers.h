#pragma once

#include "session.h"

#include <platform/broker.h>

#include <QDate>
#include <QDateTime>

namespace korva::server {

class Database;
class CodeTables;

// Everything one request's handler may use. `today` and `now` are taken once per request so
// that every row and history entry of one request carries the same moment.
struct HandlerContext {
    Database &db;
    CodeTables &codes;
    Session session;
    QDate today;
    QDateTime now;
    // The request comes from the operator: the operator's own command, or (on the bus) a
    // request whose credential is the operator's. Desks never set it, whatever they send.
    bool fromOperator = false;
};

// Request kinds of the platform beyond the screens' own.
inline constexpr int kCustomerSearchKind = 93;

// One handler per request kind; each returns the reply or throws RequestError.
BrokerReply handleQuery(HandlerContext &ctx, const BrokerRequest &request);            // 62
BrokerReply handleAssignmentUpdate(HandlerContext &ctx, const BrokerRequest &request); // 15
BrokerReply handleCustomerForms(HandlerContext &ctx, const BrokerRequest &request);    // 50
BrokerReply handleWorksheetDetails(HandlerContext &ctx, const BrokerRequest &request); // 74
BrokerReply handleWorksheetSave(HandlerContext &ctx, const BrokerRequest &request);    // 75
BrokerReply handleReferenceData(HandlerContext &ctx, const BrokerRequest &request);    // 90
BrokerReply handleCodeList(HandlerContext &ctx, const BrokerRequest &request);         // 91
BrokerReply handleNumber(HandlerContext &ctx, const BrokerRequest &request);           // 92
BrokerReply handleCustomerSearch(HandlerContext &ctx, const BrokerRequest &request);   // 93
BrokerReply handleWorkload(HandlerContext &ctx, const BrokerRequest &request);         // 97

} // namespace korva::server
