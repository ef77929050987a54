#include "natsfixture.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace korva::network::test {

namespace {

int freePort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    socklen_t len = sizeof addr;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    ::close(fd);
    return port;
}

bool accepts(int port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(quint16(port));
    const bool ok = ::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
    ::close(fd);
    return ok;
}

} // namespace

QString NatsServer::program()
{
    return QStandardPaths::findExecutable(QStringLiteral("nats-server"),
                                          {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin"),
                                           QStringLiteral("/usr/local/bin")});
}

NatsServer::NatsServer(const QString &config)
{
    const QString exe = program();
    if (exe.isEmpty())
        return;
    m_port = freePort();
    QStringList arguments{QStringLiteral("-a"), QStringLiteral("127.0.0.1"), QStringLiteral("-p"),
                          QString::number(m_port)};
    if (!config.isEmpty()) {
        QFile file(m_dir.filePath(QStringLiteral("bus.conf")));
        if (!file.open(QIODevice::WriteOnly) || file.write(config.toUtf8()) < 0)
            qFatal("cannot write the bus configuration");
        file.close();
        arguments << QStringLiteral("-c") << file.fileName();
    }
    // A test that crashes must not leave its server behind.
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.start(exe, arguments);
    if (!m_process.waitForStarted(5000))
        qFatal("nats-server did not start");
    const QDeadlineTimer deadline(10'000);
    while (!accepts(m_port)) {
        if (deadline.hasExpired() || m_process.state() != QProcess::Running)
            qFatal("nats-server did not listen on port %d", m_port);
        QThread::msleep(20);
    }
    m_running = true;
}

NatsServer::~NatsServer()
{
    if (m_process.state() == QProcess::Running) {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(2000);
    }
}

NatsSettings NatsServer::settings(const QString &subject) const
{
    NatsSettings s;
    s.url = url();
    s.subject = subject;
    s.connectTimeoutMs = 3000;
    return s;
}

ServiceProcess::ServiceProcess(const NatsServer &bus, const QString &connection,
                               const QString &subject)
{
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start(QStringLiteral(KORVA_BROKER_EXE),
                    {QStringLiteral("serve"), QStringLiteral("--db"), connection,
                     QStringLiteral("--nats"), bus.url(), QStringLiteral("--subject"), subject});
    if (!m_process.waitForStarted(5000))
        return;
    // Subscribed once it says it serves.
    const QDeadlineTimer deadline(20'000);
    QByteArray out;
    while (!deadline.hasExpired() && m_process.state() == QProcess::Running) {
        m_process.waitForReadyRead(100);
        out += m_process.readAllStandardOutput();
        if (out.contains("serving")) {
            m_started = true;
            return;
        }
    }
    qWarning("korva-broker serve did not start: %s %s", out.constData(),
             m_process.readAllStandardError().constData());
}

ServiceProcess::~ServiceProcess()
{
    if (m_process.state() == QProcess::Running)
        kill();
}

int ServiceProcess::stop()
{
    m_process.terminate();
    if (!m_process.waitForFinished(30'000))
        return -1;
    const QList<QByteArray> lines = m_process.readAllStandardOutput().trimmed().split('\n');
    const QByteArray last = lines.isEmpty() ? QByteArray() : lines.last();
    // "korva-broker: stopped after N request(s)"
    const qsizetype at = last.indexOf("after ");
    return at < 0 ? -1 : last.mid(at + 6).split(' ').value(0).toInt();
}

void ServiceProcess::kill()
{
    m_process.kill();
    m_process.waitForFinished(5000);
}

BrokerRequest request(int kind, qint64 officer, const QString &region)
{
    BrokerRequest r;
    r.setMessageId(QStringLiteral("KORVA.Test"));
    r.setVersion(QStringLiteral("1.0"));
    r.setKind(kind);
    r.setContext(QStringLiteral("INSP_ID=%1;REGION=%2").arg(officer).arg(region));
    return r;
}

QString signOn(NatsBroker &broker, qint64 officer, const QString &password, const QString &client)
{
    BrokerRequest r = request(RequestKind::SignOn, officer);
    r.setContext(QString());
    r.addParameter(RequestParameter::key(QStringLiteral("OFFICER"), QString::number(officer)));
    r.addParameter(RequestParameter::key(QStringLiteral("PASSWORD"), password));
    r.addParameter(RequestParameter::key(QStringLiteral("CLIENT"),
                                         client.isEmpty() ? broker.clientId() : client));
    const BrokerReply reply = broker.call(r);
    if (!reply.error.isEmpty())
        return reply.error;
    const RecordSetPtr rs = reply.recordSet(QStringLiteral("SESSION"));
    if (!rs || rs->count() != 1)
        return QStringLiteral("no SESSION in the sign-on reply");
    rs->moveFirst();
    broker.setSessionToken(rs->text(u"TOKEN"));
    return {};
}

} // namespace korva::network::test
