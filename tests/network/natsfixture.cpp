#include "natsfixture.h"

#include <platform/wire.h>
#include <platform/wirebytes.h>

#include <QDateTime>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QThread>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nats/nats.h>

namespace korva::network::test {

namespace {

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

int korvaBroker(const QStringList &arguments, QString *out)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(QStringLiteral(KORVA_BROKER_EXE), arguments);
    p.waitForFinished(60'000);
    if (out)
        *out = QString::fromUtf8(p.readAll());
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
}

NatsServer::NatsServer(const QString &connection, const QString &tls)
{
    const QString exe = program();
    if (exe.isEmpty())
        return;
    const QString dir = m_dir.path();
    QString out;
    if (korvaBroker({QStringLiteral("bus"), QStringLiteral("init"), QStringLiteral("--db"),
                     connection, QStringLiteral("--conf-dir"), dir},
                    &out) != 0)
        qFatal("korva-broker bus init failed: %s", qPrintable(out));
    for (const char *desk : {"desk-a", "desk-b"}) {
        if (korvaBroker({QStringLiteral("desk"), QStringLiteral("add"), QLatin1String(desk),
                         QStringLiteral("--db"), connection, QStringLiteral("--conf-dir"), dir},
                        &out) != 0)
            qFatal("korva-broker desk add failed: %s", qPrintable(out));
    }
    if (korvaBroker({QStringLiteral("desk"), QStringLiteral("add"), QStringLiteral("ops"),
                     QStringLiteral("--operator"), QStringLiteral("--db"), connection,
                     QStringLiteral("--conf-dir"), dir},
                    &out) != 0)
        qFatal("korva-broker desk add --operator failed: %s", qPrintable(out));
    QFile tlsFile(m_dir.filePath(QStringLiteral("tls.conf")));
    if (!tlsFile.open(QIODevice::WriteOnly) || tlsFile.write(tls.toUtf8()) < 0)
        qFatal("cannot write tls.conf");
    tlsFile.close();
    const QString config = m_dir.filePath(QStringLiteral("nats-server.conf"));
    if (!QFile::copy(QStringLiteral(KORVA_SOURCE_DIR "/packaging/nats-server.conf"), config))
        qFatal("cannot copy the packaged bus configuration");
    // The server picks a free port itself and says which in its log: a port picked here could
    // be taken by another test's server before this one binds it.
    const QString log = m_dir.filePath(QStringLiteral("nats.log"));
    const QStringList arguments{QStringLiteral("-c"), config,
                                QStringLiteral("-a"), QStringLiteral("127.0.0.1"),
                                QStringLiteral("-p"), QStringLiteral("-1"),
                                QStringLiteral("-l"), log};
    // A test that crashes must not leave its server behind.
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.start(exe, arguments);
    if (!m_process.waitForStarted(5000))
        qFatal("nats-server did not start");
    const QDeadlineTimer deadline(10'000);
    static const QByteArray marker = "Listening for client connections on 127.0.0.1:";
    while (m_port == 0) {
        if (deadline.hasExpired() || m_process.state() != QProcess::Running)
            qFatal("nats-server did not listen");
        QFile file(log);
        if (file.open(QIODevice::ReadOnly)) {
            const QByteArray text = file.readAll();
            const qsizetype at = text.indexOf(marker);
            const qsizetype end = text.indexOf('\n', at);
            if (at >= 0 && end > at)
                m_port = text.mid(at + marker.size(), end - at - marker.size()).trimmed().toInt();
        }
        if (m_port == 0)
            QThread::msleep(20);
    }
    while (!accepts(m_port)) {
        if (deadline.hasExpired())
            qFatal("nats-server did not listen on port %d", m_port);
        QThread::msleep(20);
    }
    m_running = true;
}

NatsServer::~NatsServer()
{
    stop();
}

void NatsServer::stop()
{
    if (m_process.state() == QProcess::Running) {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(2000);
    }
}

NatsSettings NatsServer::desk(const QString &name) const
{
    NatsSettings s;
    s.url = url();
    s.connectTimeoutMs = 3000;
    s.desk = name;
    s.seedFile = m_dir.filePath(QStringLiteral("desks/%1.nk").arg(name));
    return s;
}

void NatsServer::reload()
{
    ::kill(pid_t(m_process.processId()), SIGHUP);
    QThread::msleep(300); // the server answers nothing to say it is done
}

NatsSettings NatsServer::service() const
{
    NatsSettings s;
    s.url = url();
    s.connectTimeoutMs = 3000;
    s.seedFile = m_dir.filePath(QStringLiteral("service.nk"));
    return s;
}

ServiceProcess::ServiceProcess(const NatsServer &bus, const QString &connection)
{
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.setStandardErrorFile(m_logs.filePath(QStringLiteral("service.log")));
    m_process.start(QStringLiteral(KORVA_BROKER_EXE),
                    {QStringLiteral("serve"), QStringLiteral("--db"), connection,
                     QStringLiteral("--nats"), bus.url(), QStringLiteral("--nats-seed"),
                     bus.service().seedFile});
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
    QFile log(m_logs.filePath(QStringLiteral("service.log")));
    log.open(QIODevice::ReadOnly);
    qWarning("korva-broker serve did not start: %s %s", out.constData(), log.readAll().constData());
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

QString signOn(NatsBroker &broker, qint64 officer, const QString &password)
{
    BrokerRequest r = request(RequestKind::SignOn, officer);
    r.setContext(QString());
    r.addParameter(RequestParameter::key(QStringLiteral("OFFICER"), QString::number(officer)));
    r.addParameter(RequestParameter::key(QStringLiteral("PASSWORD"), password));
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

RawDesk::RawDesk(const NatsServer &bus, const QString &name)
    : desk(name)
{
    const NatsSettings s = bus.desk(name);
    deskKey = nkeys::readSeedFile(s.seedFile);
    natsOptions *opts = nullptr;
    natsOptions_Create(&opts);
    natsOptions_SetURL(opts, s.url.toUtf8().constData());
    natsOptions_SetNKeyFromSeed(opts, nkeys::encodeUserPublic(deskKey.publicKey).toLatin1(),
                                s.seedFile.toUtf8().constData());
    if (natsConnection_Connect(&m_nc, opts) != NATS_OK)
        qFatal("the raw desk could not connect");
    natsOptions_Destroy(opts);
}

RawDesk::~RawDesk()
{
    for (natsSubscription *sub : std::as_const(m_subs))
        natsSubscription_Destroy(sub);
    natsConnection_Close(m_nc);
    natsConnection_Destroy(m_nc);
}

QByteArray RawDesk::inbox() const
{
    return NatsSettings::replyPrefix(desk).toUtf8() + '.' +
           nkeys::generate().seed.left(16).toBase64(QByteArray::Base64UrlEncoding |
                                                    QByteArray::OmitTrailingEquals);
}

natsSubscription *RawDesk::listen(const QByteArray &subject)
{
    natsSubscription *sub = nullptr;
    natsConnection_SubscribeSync(&sub, m_nc, subject.constData());
    m_subs.append(sub);
    natsConnection_Flush(m_nc);
    return sub;
}

int RawDesk::received(natsSubscription *sub, int ms)
{
    int n = 0;
    const QDeadlineTimer deadline(ms);
    natsMsg *msg = nullptr;
    while (!deadline.hasExpired() &&
           natsSubscription_NextMsg(&msg, sub, qMax<qint64>(1, deadline.remainingTime())) ==
               NATS_OK) {
        natsMsg_Destroy(msg);
        ++n;
    }
    return n;
}

void RawDesk::publish(const BrokerRequest &r, const QByteArray &reply, const nkeys::KeyPair &key,
                      const QString &signOnDesk)
{
    const QByteArray subject = NatsSettings().subject.toUtf8();
    const QByteArray body = QJsonDocument(wire::toJson(r)).toJson(QJsonDocument::Compact);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    natsMsg *msg = nullptr;
    natsMsg_Create(&msg, subject.constData(), reply.constData(), body.constData(),
                   int(body.size()));
    natsMsgHeader_Set(msg, kTimeHeader, QByteArray::number(now).constData());
    natsMsgHeader_Set(msg, kSignatureHeader,
                      nkeys::sign(key, NatsSettings::signedText(subject, reply, now, body))
                          .toBase64()
                          .constData());
    if (!signOnDesk.isEmpty())
        natsMsgHeader_Set(msg, kDeskHeader, signOnDesk.toUtf8().constData());
    natsConnection_PublishMsg(m_nc, msg);
    natsMsg_Destroy(msg);
    natsConnection_Flush(m_nc);
}

void RawDesk::publishRaw(const QByteArray &subject, const QByteArray &data)
{
    natsConnection_Publish(m_nc, subject.constData(), data.constData(), int(data.size()));
    natsConnection_Flush(m_nc);
}

std::optional<BrokerReply> RawDesk::call(BrokerRequest r, int ms)
{
    const QByteArray reply = inbox();
    natsSubscription *sub = listen(reply);
    if (r.kind() == RequestKind::SignOn) {
        publish(r, reply, deskKey, desk);
    } else {
        if (r.sessionToken().isEmpty())
            r.setSessionToken(token);
        publish(r, reply, sessionKey);
    }
    // A desk holds few subscriptions at once: the bus refuses more than its limit.
    const auto done = qScopeGuard([this, sub] {
        natsSubscription_Unsubscribe(sub);
        natsSubscription_Destroy(sub);
        m_subs.removeOne(sub);
    });
    natsMsg *msg = nullptr;
    const QDeadlineTimer deadline(ms);
    while (natsSubscription_NextMsg(&msg, sub, qMax<qint64>(1, deadline.remainingTime())) ==
           NATS_OK) {
        const QByteArray data(natsMsg_GetData(msg), natsMsg_GetDataLength(msg));
        natsMsg_Destroy(msg);
        if (!data.isEmpty()) // not the "begun" message
            return wire::replyFromBytes(data);
    }
    return std::nullopt;
}

QString RawDesk::signOn(qint64 officer, const QString &password)
{
    BrokerRequest r = request(RequestKind::SignOn, officer);
    r.setContext(QString());
    const nkeys::KeyPair offered = nkeys::generate();
    r.addParameter(RequestParameter::key(QStringLiteral("OFFICER"), QString::number(officer)));
    r.addParameter(RequestParameter::key(QStringLiteral("PASSWORD"), password));
    r.addParameter(RequestParameter::key(QStringLiteral("SESSION_KEY"),
                                         QString::fromLatin1(offered.publicKey.toBase64())));
    const std::optional<BrokerReply> reply = call(r);
    if (!reply)
        return QStringLiteral("no answer");
    if (!reply->error.isEmpty())
        return reply->error;
    const RecordSetPtr rs = reply->recordSet(QStringLiteral("SESSION"));
    rs->moveFirst();
    token = rs->text(u"TOKEN");
    sessionKey = offered;
    return {};
}

} // namespace korva::network::test
