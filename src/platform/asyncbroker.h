#pragma once

#include "broker.h"

#include <QObject>
#include <QThread>

#include <functional>
#include <memory>

namespace korva {

using BackendFactory = std::function<std::unique_ptr<BrokerBackend>()>;

// Runs requests on a worker thread with its own back end and delivers each reply as an
// event on the UI thread. The time-out counts from when the worker takes the request up, not
// while it waits behind others; past it the receiver gets MsgTimeout followed by an error
// reply, and the late real reply is then dropped. A receiver that is gone gets nothing.
class AsyncBroker : public QObject, public Broker {
    Q_OBJECT
public:
    explicit AsyncBroker(BackendFactory factory, QObject *parent = nullptr);
    ~AsyncBroker() override;

    void setTimeout(int milliseconds) { m_timeoutMs = milliseconds; }
    int timeout() const { return m_timeoutMs; }

    void send(const BrokerRequest &request, BrokerMessage *receiver) override;
    BrokerReply call(const BrokerRequest &request) override;

    static QString timeoutText();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
    int m_timeoutMs = 30000;
};

} // namespace korva
