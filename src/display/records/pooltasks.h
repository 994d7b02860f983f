#pragma once

#include <QMutex>
#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>

/// Work on a pool thread whose result comes back to the thread of its owner. The work gets a flag that tells it to end;
/// it must hold what it reads. When the tasks go, or are cancelled, nothing is delivered any more; going waits for the
/// work under way. One thread, so tasks run in the order they were started.
class PoolTasks
{
public:
    explicit PoolTasks(QObject *receiver) : m_receiver(receiver) { m_pool.setMaxThreadCount(1); }
    ~PoolTasks()
    {
        cancel();
        m_pool.waitForDone();
    }
    PoolTasks(const PoolTasks &) = delete;
    PoolTasks &operator=(const PoolTasks &) = delete;

    /// `work(cancelled)` runs on the pool, `done(result)` in the receiver's thread.
    template <class Work, class Done>
    void start(Work work, Done done)
    {
        if (!m_batch)
            m_batch = std::make_shared<Batch>(m_receiver);
        m_pool.start([batch = m_batch, work = std::move(work), done = std::move(done)]() mutable {
            if (batch->cancelled)
                return;
            auto result = std::make_shared<decltype(work(batch->cancelled))>(work(batch->cancelled));
            batch->deliver([done = std::move(done), result]() mutable { done(std::move(*result)); });
        });
    }

    /// Ends what runs or waits at its next chance; its results are dropped.
    void cancel()
    {
        const std::shared_ptr<Batch> batch = std::move(m_batch);
        m_batch.reset();
        if (!batch)
            return;
        batch->cancelled = true;
        const QMutexLocker locker(&batch->lock);
        batch->receiver = nullptr;
    }

private:
    /// The tasks started since the last cancel(); outlives the owner as long as one of them runs.
    struct Batch : std::enable_shared_from_this<Batch>
    {
        explicit Batch(QObject *object) : receiver(object) {}

        void deliver(std::function<void()> call)
        {
            const QMutexLocker locker(&lock);
            if (receiver)
                QMetaObject::invokeMethod(
                    receiver,
                    [batch = this->shared_from_this(), call = std::move(call)] {
                        if (!batch->cancelled)
                            call();
                    },
                    Qt::QueuedConnection);
        }

        QMutex lock; // guards the receiver
        QObject *receiver;
        std::atomic<bool> cancelled{false};
    };

    QObject *const m_receiver;
    QThreadPool m_pool;
    std::shared_ptr<Batch> m_batch;
};
