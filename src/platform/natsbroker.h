#pragma once

#include "broker.h"

#include <QObject>

#include <functional>
#include <memory>

namespace korva {

inline constexpr char kStartedSuffix[] = ".started";

// How a desk or a service process reaches the message bus.
struct NatsSettings {
    QString url = QStringLiteral("nats://127.0.0.1:4222"); // several may be given, comma-separated
    QString subject = QStringLiteral("korva.broker");      // where the service listens
    QString name;                                          // shown in the bus's monitoring
    QString user;                                          // bus credentials, when it asks
    QString password;
    QString credentialsFile; // a .creds file (JWT and seed), instead of user and password
    QString caFile;          // TLS: the authority the bus's certificate must come from
    QString certFile;        // TLS: this side's certificate and key, when the bus asks for one
    QString keyFile;
    int connectTimeoutMs = 5000;

    bool tls() const { return !caFile.isEmpty() || !certFile.isEmpty(); }
    // How a session token is kept by the service: its SHA-256, in hex.
    static QString sessionTokenHash(const QString &token);
    // The subject on which one signed-on desk hears that something arrived for its officer.
    // It is drawn from the session's token, which only that desk and the service know, so a
    // desk listening on every notice learns neither whose notice it is nor what it is about.
    static QString noticeSubject(const QString &sessionTokenHash);
    // Where a service says it has begun a request whose reply goes to `replySubject`.
    static QByteArray startedSubject(const char *replySubject);
};

// One connection to the bus. Throws ProcError with the bus's own words when it cannot connect.
class NatsConnection {
public:
    explicit NatsConnection(const NatsSettings &settings);
    ~NatsConnection();
    NatsConnection(const NatsConnection &) = delete;
    NatsConnection &operator=(const NatsConnection &) = delete;

    void *handle() const { return m_nc; } // the client library's natsConnection
    const NatsSettings &settings() const { return m_settings; }
    void publish(const QString &subject, const QByteArray &data);

private:
    NatsSettings m_settings;
    void *m_nc = nullptr;
};

// The broker over the bus: each request goes to the service's subject in its wire form, and
// the reply comes back to this desk's own inbox. The time-out is the request's, counted from
// when a service begins it (a request may wait as long again in a queue before): past it the
// receiver gets MsgTimeout and the error reply, and a late reply is dropped, as with the
// embedded broker. The session token set at sign-on goes with every request.
class NatsBroker : public QObject, public Broker {
    Q_OBJECT
public:
    explicit NatsBroker(const NatsSettings &settings, QObject *parent = nullptr);
    ~NatsBroker() override;

    void setTimeout(int milliseconds) { m_timeoutMs = milliseconds; }
    int timeout() const { return m_timeoutMs; }
    void setSessionToken(const QString &token) { m_token = token; }
    const QString &sessionToken() const { return m_token; }
    // What the service counts failed sign-ons by, besides the officer.
    const QString &clientId() const { return m_clientId; }

    void send(const BrokerRequest &request, BrokerMessage *receiver) override;
    BrokerReply call(const BrokerRequest &request) override;

    // Notices for the signed-on session (the token set last) reach `onNotice` on the UI
    // thread, until the broker ends or it listens again.
    void listenForNotices(std::function<void(const QString &)> onNotice);

    static QString noServiceText();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
    int m_timeoutMs = 30000;
    QString m_token;
    QString m_clientId;
};

} // namespace korva
