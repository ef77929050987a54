#pragma once

#include <QString>

#include <optional>

typedef struct __natsMsg natsMsg;

namespace korva {
class BrokerRequest;
}

namespace korva::server {

class Database;

// Who a request on the bus provably comes from. The bus tells a service nothing of the sender,
// so the request says it: a sign-on is signed with its desk's registered bus key, every other
// request with the key pair its session was opened with, and each signature covers the reply
// subject and a time. A request answers only to "kd.<desk>.r.<id>" of the desk it is proven
// to come from.
struct Caller {
    QString desk;
    QString sessionKey; // a sign-on's: the key its session will be bound to
    qint64 officer = 0; // any other request's: its session's officer
    // Signed by a desk key registered as an operator's, with no session: never from what the
    // request itself says.
    bool fromOperator = false;
};

inline constexpr qint64 kSignatureAgeMs = 120'000; // either way, for clocks a little apart

// Empty when the request is not proven: then it must be neither run nor answered.
std::optional<Caller> proveCaller(Database &db, const natsMsg *msg, const BrokerRequest &request,
                                  qint64 nowMs);

} // namespace korva::server
