#pragma once

#include "broker.h"

#include <QObject>

#include <functional>
#include <memory>

namespace korva {

// The headers that prove who sent a request: its time (milliseconds since the epoch), an
// Ed25519 signature in base64, and for a sign-on the desk whose bus key signed it.
inline constexpr char kTimeHeader[] = "Korva-Time";
inline constexpr char kSignatureHeader[] = "Korva-Sig";
inline constexpr char kDeskHeader[] = "Korva-Desk";

// How a desk or a service process reaches the message bus.
struct NatsSettings {
    QString url = QStringLiteral("nats://127.0.0.1:4222"); // several may be given, comma-separated
    QString subject = QStringLiteral("korva.broker");      // where the service listens
    QString name;                                          // shown in the bus's monitoring
    QString user;                                          // bus credentials, when it asks
    QString password;
    QString credentialsFile; // a .creds file (JWT and seed), instead of user and password
    QString seedFile;        // this side's bus key (an NKey user seed)
    QString desk;            // the desk's registered name; empty for the service
    // An operator's connection has no session: it signs every request with its bus key.
    bool operatorKey = false;
    QString caFile;   // TLS: the authority the bus's certificate must come from
    QString certFile; // TLS: this side's certificate and key, when the bus asks for one
    QString keyFile;
    int connectTimeoutMs = 5000;

    bool tls() const { return !caFile.isEmpty() || !certFile.isEmpty(); }
    // How a session token is kept by the service: its SHA-256, in hex.
    static QString sessionTokenHash(const QString &token);
    // Every subject a desk may listen on starts with "kd.<desk>."; the bus lets no other
    // desk listen there. Replies come to "kd.<desk>.r.<id>", notices to "kd.<desk>.n.<id>".
    static bool validDeskName(const QString &desk);
    static QString replyPrefix(const QString &desk);
    // The subject on which one signed-on desk hears that something arrived for its officer,
    // drawn from the session's token so that it says nothing of whose notice it is.
    static QString noticeSubject(const QString &desk, const QString &sessionTokenHash);
    // What a request's signature covers: the reply subject ties it to the desk's inbox, the
    // time limits how long it could be sent again.
    static QByteArray signedText(const QByteArray &subject, const QByteArray &reply, qint64 timeMs,
                                 const QByteArray &body);
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
// embedded broker. A sign-on is signed with the desk's bus key and carries the public half of
// a key pair made for the session, held in memory only; every later request carries the
// session's token and is signed with that key, so a token seen elsewhere acts for nobody.
class NatsBroker : public QObject, public Broker {
    Q_OBJECT
public:
    explicit NatsBroker(const NatsSettings &settings, QObject *parent = nullptr);
    ~NatsBroker() override;

    void setTimeout(int milliseconds) { m_timeoutMs = milliseconds; }
    int timeout() const { return m_timeoutMs; }
    // Takes the session's key made for the last sign-on along with its token.
    void setSessionToken(const QString &token);
    const QString &sessionToken() const { return m_token; }

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
};

} // namespace korva
