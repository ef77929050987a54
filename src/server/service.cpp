#include "service.h"

#include "admin.h"
#include "backend.h"
#include "database.h"
#include "requestproof.h"
#include "schema.h"
#include "servererror.h"
#include "servicelog.h"

#include <platform/errors.h>
#include <platform/wire.h>
#include <platform/wirebytes.h>

#include <QAtomicInteger>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QSemaphore>
#include <QSet>
#include <QSqlQuery>

#include <nats/nats.h>

namespace korva::server {

namespace {

constexpr char kLiveSessions[] = R"sql(
SELECT TOKEN_HASH, DESK_ID FROM KORVA_SESSION
WHERE INSP_ID = ? AND RVKD_MS IS NULL AND EXPR_MS > ? AND DESK_ID IS NOT NULL)sql";
constexpr char kAssignmentParties[] =
    R"sql(SELECT OFCR_FRM_ID, OFCR_TO_ID FROM ASGNMT WHERE ASGNMT_NBR = ?)sql";

// Who should hear of a saved update: the receiver a row names, and for a change to a stored
// assignment (a reply, a close) both of its parties. Never the officer who made it.
QSet<qint64> noticeRecipients(Database &db, const BrokerRequest &request, qint64 me)
{
    QSet<qint64> to;
    const RecordSetPtr rs = request.recordSet(u"ASSIGNMENT");
    if (!rs)
        return to;
    const int toColumn = rs->fieldIndex(u"OFCR_TO_ID");
    const int numberColumn = rs->fieldIndex(u"ASGNMT_NBR");
    for (int r = 0; r < rs->storageCount(); ++r) {
        if (toColumn >= 0)
            to.insert(rs->storageRow(r).at(toColumn).toLongLong());
        const qint64 number =
            numberColumn >= 0 ? rs->storageRow(r).at(numberColumn).toLongLong() : 0;
        if (number <= 0)
            continue;
        QSqlQuery &q = db.run(QLatin1String(kAssignmentParties), {number});
        if (q.next()) {
            to.insert(q.value(0).toLongLong());
            to.insert(q.value(1).toLongLong());
        }
        q.finish();
    }
    to.remove(0);
    to.remove(me);
    return to;
}

constexpr char kOpenSessions[] = R"sql(
SELECT COUNT(*) FROM KORVA_SESSION WHERE RVKD_MS IS NULL AND EXPR_MS > ?)sql";

BrokerReply statusReply(Database &db, const BrokerRequest &request, qint64 startedMs,
                        qint64 answered)
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    auto rs = RecordSet::create(QStringLiteral("STATUS"),
                                {Field{QStringLiteral("VERSION"), FieldType::Text},
                                 Field{QStringLiteral("SCHEMA"), FieldType::Integer},
                                 Field{QStringLiteral("UPTIME_S"), FieldType::Integer},
                                 Field{QStringLiteral("ANSWERED"), FieldType::Integer},
                                 Field{QStringLiteral("SESSIONS"), FieldType::Integer}});
    rs->appendStorageRow({QStringLiteral(KORVA_VERSION_TEXT), schemaVersion(db),
                          (now - startedMs) / 1000, answered,
                          db.scalar(QLatin1String(kOpenSessions), {now}).toLongLong()});
    BrokerReply reply = BrokerReply::success(request);
    reply.recordSets.insert(QStringLiteral("STATUS"), rs);
    return reply;
}

QByteArray encode(const BrokerReply &reply)
{
    return wire::replyBytes(reply);
}

} // namespace

struct Worker {
    BrokerService::Impl *owner = nullptr;
    natsSubscription *sub = nullptr;
    // Made on the subscription's own delivery thread and ended there, as the database
    // connection requires.
    std::unique_ptr<ServerBackend> backend;
    // Released once the drained subscription's last callback has returned.
    QSemaphore drained;
};

struct BrokerService::Impl {
    ServiceOptions options;
    std::unique_ptr<NatsConnection> connection;
    std::vector<std::unique_ptr<Worker>> workers;
    QAtomicInteger<qint64> answered{0};
    qint64 startedMs = QDateTime::currentMSecsSinceEpoch();
    bool stopped = false;

    natsConnection *nc() const { return static_cast<natsConnection *>(connection->handle()); }
    void answer(Worker &w, natsMsg *msg);

    static void onRequest(natsConnection *, natsSubscription *, natsMsg *msg, void *closure)
    {
        auto *w = static_cast<Worker *>(closure);
        w->owner->answer(*w, msg);
        natsMsg_Destroy(msg);
    }
    static void onDrained(void *closure)
    {
        auto *w = static_cast<Worker *>(closure);
        w->backend.reset();
        w->drained.release();
    }
};

void BrokerService::Impl::answer(Worker &w, natsMsg *msg)
{
    QElapsedTimer took;
    took.start();
    const char *replyTo = natsMsg_GetReply(msg);
    const QJsonDocument doc = QJsonDocument::fromJson(
        QByteArray::fromRawData(natsMsg_GetData(msg), natsMsg_GetDataLength(msg)));
    if (!replyTo || !doc.isObject())
        return;
    BrokerRequest request;
    try {
        request = wire::requestFromJson(doc.object());
    } catch (const ProcError &) {
        return;
    }
    if (!w.backend)
        w.backend = std::make_unique<ServerBackend>(options.server);
    // A request that cannot prove which desk sent it is neither run nor answered: its reply
    // subject could be any desk's, and its token anyone's.
    std::optional<Caller> caller;
    try {
        Database &db = w.backend->database();
        db.open();
        caller = proveCaller(db, msg, request, QDateTime::currentMSecsSinceEpoch());
    } catch (const std::exception &) {
    }
    if (!caller)
        return;
    // An operator's key acts for no officer: it is heard only for what is the operator's.
    const bool operatorKind =
        request.kind() == kRefundRequestsKind || request.kind() == kServiceStatusKind;
    if (caller->fromOperator && !operatorKind)
        return;
    // The desk's time-out counts from here, not from when the request joined the queue.
    natsConnection_Publish(nc(), replyTo, nullptr, 0);
    BrokerReply reply;
    if (request.kind() == RequestKind::CodeList) {
        // Query texts from desks run on the desks, over their own copy of the code tables.
        reply = BrokerReply::failure(
            request, QStringLiteral("The broker service does not run code-list queries: a desk "
                                    "reads its code lists from its own copy of the code tables."));
    } else if (request.kind() == kServiceStatusKind) {
        try {
            reply = caller->fromOperator
                        ? statusReply(w.backend->database(), request, startedMs, answered)
                        : BrokerReply::failure(request, QStringLiteral("Only an operator's key "
                                                                       "may ask how the service "
                                                                       "is."));
        } catch (const std::exception &) {
            reply = BrokerReply::failure(request, QStringLiteral("The store cannot be read."));
        }
    } else {
        w.backend->setOperator(caller->fromOperator);
        w.backend->setOrigin({caller->desk, caller->sessionKey});
        reply = w.backend->handle(request);
    }
    const QByteArray data = encode(reply);
    natsConnection_Publish(nc(), replyTo, data.constData(), int(data.size()));
    answered.fetchAndAddOrdered(1);
    // A sign-on is logged under the officer it tried, whether or not the password held.
    const qint64 officer = request.kind() == RequestKind::SignOn
                               ? request.keyValue(u"OFFICER").trimmed().toLongLong()
                           : request.kind() == kServiceStatusKind ? caller->officer
                                                                  : w.backend->lastOfficer();
    logRequest(officer, request.kind(), reply.error.isEmpty(), took.elapsed());
    if (!reply.error.isEmpty() || request.kind() != RequestKind::AssignmentUpdate)
        return;
    // The update is saved whatever happens here: a notice that cannot be made is only missed.
    try {
        static const QByteArray text = QByteArrayLiteral("ASSIGNMENT");
        Database &db = w.backend->database();
        const qint64 nowMs = QDateTime::currentMSecsSinceEpoch();
        for (const qint64 officer : noticeRecipients(db, request, caller->officer)) {
            // Each desk the officer is signed on at hears it on its own session's subject.
            QSqlQuery &q = db.run(QLatin1String(kLiveSessions), {officer, nowMs});
            while (q.next()) {
                const QByteArray subject =
                    NatsSettings::noticeSubject(q.value(1).toString(), q.value(0).toString())
                        .toUtf8();
                natsConnection_Publish(nc(), subject.constData(), text.constData(),
                                       int(text.size()));
            }
            q.finish();
        }
    } catch (const std::exception &) {
    }
}

BrokerService::BrokerService(ServiceOptions options)
    : d(std::make_unique<Impl>())
{
    d->options = std::move(options);
    d->options.server.requireSession = true;
    d->options.server.createIfMissing = false;
    if (d->options.bus.name.isEmpty())
        d->options.bus.name = QStringLiteral("korva-broker");
    d->connection = std::make_unique<NatsConnection>(d->options.bus);
    const QByteArray subject = d->options.bus.subject.toUtf8();
    const QByteArray queue = d->options.queue.toUtf8();
    for (int i = 0; i < qMax(1, d->options.workers); ++i) {
        auto w = std::make_unique<Worker>();
        w->owner = d.get();
        const natsStatus s = natsConnection_QueueSubscribe(
            &w->sub, d->nc(), subject.constData(), queue.constData(), &Impl::onRequest, w.get());
        if (s != NATS_OK)
            raiseError(kComponentError,
                       QStringLiteral("Listening on %1 failed: %2.")
                           .arg(d->options.bus.subject, QString::fromUtf8(natsStatus_GetText(s))));
        natsSubscription_SetOnCompleteCB(w->sub, &Impl::onDrained, w.get());
        d->workers.push_back(std::move(w));
    }
    natsConnection_Flush(d->nc());
}

BrokerService::~BrokerService()
{
    stop();
}

void BrokerService::stop()
{
    if (d->stopped)
        return;
    d->stopped = true;
    // Requests under way are finished and answered; with the bus gone nobody can hear the
    // answers, and waiting for it would keep an administrator's stop waiting for minutes.
    const bool connected = natsConnection_Status(d->nc()) == NATS_CONN_STATUS_CONNECTED;
    if (connected) {
        for (auto &w : d->workers)
            natsSubscription_Drain(w->sub);
    }
    QDeadlineTimer deadline(connected ? 30'000 : 0);
    for (auto &w : d->workers) {
        if (connected) {
            natsSubscription_WaitForDrainCompletion(w->sub,
                                                    qMax<qint64>(1, deadline.remainingTime()));
            // The drain can report done before its completion callback has run.
            w->drained.tryAcquire(1, int(qMax<qint64>(0, deadline.remainingTime())));
        }
        natsSubscription_Destroy(w->sub);
        w->sub = nullptr;
    }
    if (connected)
        natsConnection_FlushTimeout(d->nc(), 2'000);
    d->connection.reset();
}

qint64 BrokerService::answered() const
{
    return d->answered.loadAcquire();
}

} // namespace korva::server
