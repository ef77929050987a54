#include "asyncbroker.h"

#include <QElapsedTimer>
#include <QHash>
#include <QPointer>
#include <QTimer>

#include <future>

namespace korva {

namespace {

BrokerReply answer(BrokerBackend *backend, const BrokerRequest &request)
{
    try {
        if (!backend)
            return BrokerReply::failure(request, QStringLiteral("The broker has no back end."));
        return backend->handle(request);
    } catch (const std::exception &e) {
        return BrokerReply::failure(request, QString::fromUtf8(e.what()));
    } catch (...) {
        return BrokerReply::failure(request, QStringLiteral("The back end failed."));
    }
}

} // namespace

// Lives on the worker thread; the back end is made and used there only.
class BrokerWorker : public QObject {
public:
    explicit BrokerWorker(BackendFactory factory)
        : m_factory(std::move(factory))
    {}

    BrokerReply handle(const BrokerRequest &request)
    {
        if (!m_backend && m_factory) {
            try {
                m_backend = m_factory();
            } catch (const std::exception &e) {
                return BrokerReply::failure(request, QString::fromUtf8(e.what()));
            }
        }
        return answer(m_backend.get(), request);
    }

    void shutdown() { m_backend.reset(); }

private:
    BackendFactory m_factory;
    std::unique_ptr<BrokerBackend> m_backend;
};

struct AsyncBroker::Impl {
    QThread thread;
    BrokerWorker *worker = nullptr;
    struct Pending {
        QPointer<BrokerMessage> receiver;
        QString identity;
        BrokerRequest request;
        QTimer *timer = nullptr;
    };
    QHash<quint64, Pending> pending;
    quint64 nextId = 1;
};

AsyncBroker::AsyncBroker(BackendFactory factory, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Impl>())
{
    d->worker = new BrokerWorker(std::move(factory));
    d->worker->moveToThread(&d->thread);
    d->thread.setObjectName(QStringLiteral("korva-broker"));
    d->thread.start();
}

AsyncBroker::~AsyncBroker()
{
    BrokerWorker *worker = d->worker;
    QMetaObject::invokeMethod(
        worker, [worker] { worker->shutdown(); }, Qt::BlockingQueuedConnection);
    d->thread.quit();
    d->thread.wait();
    delete worker;
}

QString AsyncBroker::timeoutText()
{
    return QStringLiteral("The message broker did not answer in time.");
}

void AsyncBroker::send(const BrokerRequest &request, BrokerMessage *receiver)
{
    const quint64 id = d->nextId++;
    Impl::Pending entry{receiver, request.messageId(), request.detached(), new QTimer(this)};
    entry.timer->setSingleShot(true);
    connect(entry.timer, &QTimer::timeout, this, [this, id] {
        const auto it = d->pending.find(id);
        if (it == d->pending.end())
            return;
        Impl::Pending p = std::move(it.value());
        d->pending.erase(it);
        p.timer->deleteLater();
        if (p.receiver) {
            p.receiver->deliverTimeout(p.identity);
            if (p.receiver)
                p.receiver->deliver(BrokerReply::failure(p.request, timeoutText()));
        }
    });
    const BrokerRequest work = entry.request;
    d->pending.insert(id, std::move(entry));

    BrokerWorker *worker = d->worker;
    QPointer<AsyncBroker> self(this);
    const int timeoutMs = m_timeoutMs;
    QMetaObject::invokeMethod(
        worker,
        [worker, work, id, self, timeoutMs] {
            // The clock starts when the request does: a request waiting behind another is
            // not failed for the other's time.
            QElapsedTimer started;
            started.start();
            if (self)
                QMetaObject::invokeMethod(
                    self.data(),
                    [self, id, timeoutMs, started] {
                        if (!self)
                            return;
                        const auto it = self->d->pending.constFind(id);
                        if (it != self->d->pending.cend())
                            it->timer->start(int(qMax<qint64>(0, timeoutMs - started.elapsed())));
                    },
                    Qt::QueuedConnection);
            BrokerReply reply = worker->handle(work);
            if (!self)
                return;
            QMetaObject::invokeMethod(
                self.data(),
                [self, id, reply] {
                    if (!self)
                        return;
                    const auto it = self->d->pending.find(id);
                    if (it == self->d->pending.end())
                        return; // timed out already: the screen had its error reply
                    Impl::Pending p = std::move(it.value());
                    self->d->pending.erase(it);
                    p.timer->stop();
                    p.timer->deleteLater();
                    if (p.receiver)
                        p.receiver->deliver(reply);
                },
                Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

BrokerReply AsyncBroker::call(const BrokerRequest &request)
{
    auto promise = std::make_shared<std::promise<BrokerReply>>();
    auto future = promise->get_future();
    BrokerWorker *worker = d->worker;
    const BrokerRequest work = request.detached();
    QMetaObject::invokeMethod(
        worker, [worker, work, promise] { promise->set_value(worker->handle(work)); },
        Qt::QueuedConnection);
    if (future.wait_for(std::chrono::milliseconds(m_timeoutMs)) != std::future_status::ready)
        return BrokerReply::failure(request, timeoutText());
    return future.get();
}

} // namespace korva
