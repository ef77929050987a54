#pragma once

#include "../server/serverfixture.h"

#include <platform/natsbroker.h>
#include <server/service.h>

#include <QProcess>

#include <memory>

namespace korva::network::test {

// A throwaway nats-server on a free loopback port, ended with the object. `available()` is
// false when the program is not installed (the test then skips).
class NatsServer {
public:
    // `config`: a configuration file's text (TLS, accounts); the address comes from the
    // command line.
    explicit NatsServer(const QString &config = QString());
    ~NatsServer();
    bool available() const { return m_running; }
    QString url() const { return QStringLiteral("nats://127.0.0.1:%1").arg(m_port); }
    NatsSettings settings(const QString &subject = QStringLiteral("korva.test")) const;

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
    ServiceProcess(const NatsServer &bus, const QString &connection, const QString &subject);
    ~ServiceProcess();
    bool started() const { return m_started; }
    qint64 pid() const { return m_process.processId(); }
    // SIGTERM, then waits: the number of requests it answered, from its last line.
    int stop();
    void kill();

private:
    QProcess m_process;
    bool m_started = false;
};

// Signs on through `broker` and keeps the token there; the reply's error when refused.
QString signOn(NatsBroker &broker, qint64 officer, const QString &password,
               const QString &client = QString());
BrokerRequest request(int kind, qint64 officer, const QString &region = QStringLiteral("NE"));

inline constexpr auto kPassword = "correct horse 7";

} // namespace korva::network::test

#define KORVA_NEEDS_NATS(bus)                                                                      \
    if (!(bus).available())                                                                        \
    QSKIP("nats-server is not installed (scripts/bootstrap.sh installs it)")
