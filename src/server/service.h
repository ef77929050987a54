#pragma once

#include "serversettings.h"

#include <platform/natsbroker.h>

#include <memory>

namespace korva::server {

// Kind 97: how a service is (STATUS: VERSION, SCHEMA, UPTIME_S, ANSWERED, SESSIONS), asked
// only with an operator's key. One service of the queue group answers.
inline constexpr int kServiceStatusKind = 98;

struct ServiceOptions {
    ServerSettings server;
    NatsSettings bus;
    // Every process of the group shares one queue: each request goes to one of them, and one
    // that stops or dies is simply passed over.
    QString queue = QStringLiteral("korva-service");
    int workers = 1; // requests answered at once by this process, each on its own connection
};

// The back end as a service on the message bus. Requests must carry a live session; replies
// go to the asker's inbox; an assignment sent, forwarded or answered raises a notice on the
// receiving officer's subject.
class BrokerService {
public:
    // Connects and subscribes; throws ProcError when the bus cannot be reached.
    explicit BrokerService(ServiceOptions options);
    ~BrokerService();
    BrokerService(const BrokerService &) = delete;
    BrokerService &operator=(const BrokerService &) = delete;

    // Takes no new requests, answers those already taken, then lets go of the bus. The
    // requests still queued go to the group's other processes.
    void stop();
    qint64 answered() const;

    struct Impl;

private:
    std::unique_ptr<Impl> d;
};

} // namespace korva::server
