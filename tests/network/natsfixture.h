#pragma once

#include "../server/serverfixture.h"

#include <platform/natsbroker.h>
#include <platform/nkeys.h>
#include <server/service.h>

#include <QProcess>
#include <QTemporaryDir>

#include <memory>
#include <optional>

typedef struct __natsConnection natsConnection;
typedef struct __natsSubscription natsSubscription;

namespace korva::network::test {

// A throwaway nats-server on a free loopback port with the packaged configuration, ended with
// the object. Its users come from the store given, as an administrator makes them:
// `korva-broker bus init` and `desk add` for "desk-a" (the victim) and "desk-b" (the
// attacker), and `desk add --operator` for "ops". `available()` is false when the program is not
// installed (the test then skips).
class NatsServer {
public:
    // `tls`: the text of the packaged configuration's tls.conf (none: plain).
    explicit NatsServer(const QString &connection, const QString &tls = QString());
    ~NatsServer();
    bool available() const { return m_running; }
    QString url() const { return QStringLiteral("nats://127.0.0.1:%1").arg(m_port); }
    QString dir() const { return m_dir.path(); }
    NatsSettings desk(const QString &name = QStringLiteral("desk-a")) const;
    NatsSettings service() const;
    // Reads its configuration again, as `systemctl reload` makes it.
    void reload();
    void stop();

    static QString program(); // empty when not installed

private:
    QTemporaryDir m_dir;
    QProcess m_process;
    int m_port = 0;
    bool m_running = false;
};

// One `korva-broker serve` process over the store.
class ServiceProcess {
public:
    ServiceProcess(const NatsServer &bus, const QString &connection);
    ~ServiceProcess();
    bool started() const { return m_started; }
    qint64 pid() const { return m_process.processId(); }
    // SIGTERM, then waits: the number of requests it answered, from its last line.
    int stop();
    void kill();

private:
    QTemporaryDir m_logs; // its journal: a pipe nobody reads would stop it once full
    QProcess m_process;
    bool m_started = false;
};

// A desk whose bus key is in an attacker's hands: a bare client of the bus that signs what it
// likes with the keys it holds and names any reply subject it likes.
class RawDesk {
public:
    RawDesk(const NatsServer &bus, const QString &desk);
    ~RawDesk();
    RawDesk(const RawDesk &) = delete;
    RawDesk &operator=(const RawDesk &) = delete;

    const QString desk;
    nkeys::KeyPair deskKey;    // from the desk's key file
    nkeys::KeyPair sessionKey; // made at its last sign-on
    QString token;

    // A fresh reply subject under this desk's own prefix.
    QByteArray inbox() const;
    // Listens on `subject`, whether or not the bus lets it; the subscription ends with the desk.
    natsSubscription *listen(const QByteArray &subject);
    // How many messages arrive on `sub` within `ms`.
    static int received(natsSubscription *sub, int ms);
    // Publishes `r` to the service's subject, signed with `key`; a sign-on names `signOnDesk`.
    void publish(const BrokerRequest &r, const QByteArray &reply, const nkeys::KeyPair &key,
                 const QString &signOnDesk = QString());
    // Publishes anything anywhere, as far as the bus lets it.
    void publishRaw(const QByteArray &subject, const QByteArray &data);
    // Signs on over its own inbox and keeps the token and key; the refusal's text.
    QString signOn(qint64 officer, const QString &password);
    // A request signed with the session key over its own inbox (or `reply`); the reply, or
    // none when nothing came within `ms`.
    std::optional<BrokerReply> call(BrokerRequest r, int ms = 3000);

private:
    natsConnection *m_nc = nullptr;
    QList<natsSubscription *> m_subs;
};

// Signs on through `broker` and keeps the token there; the reply's error when refused.
QString signOn(NatsBroker &broker, qint64 officer, const QString &password);
// Runs korva-broker with these arguments; its exit status, and its output in `out`.
int korvaBroker(const QStringList &arguments, QString *out = nullptr);
BrokerRequest request(int kind, qint64 officer, const QString &region = QStringLiteral("NE"));

inline constexpr auto kPassword = "correct horse 7";

} // namespace korva::network::test

#define KORVA_NEEDS_NATS(bus)                                                                      \
    if (!(bus).available())                                                                        \
    QSKIP("nats-server is not installed (scripts/bootstrap.sh installs it)")
