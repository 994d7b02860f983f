#pragma once

#include <QMutex>
#include <QThread>

#include <functional>
#include <utility>

/// A thread that does one thing, started at once. join() and the destructor wait for it; the mutex tells the thread
/// sanitizer that what it did comes before what follows.
class Worker final : public QThread
{
public:
    explicit Worker(std::function<void()> work) : m_work(std::move(work)) { start(); }
    ~Worker() override { join(); }

    void join()
    {
        wait();
        const QMutexLocker locker(&m_end);
    }

private:
    void run() override
    {
        const QMutexLocker locker(&m_end);
        m_work();
    }

    QMutex m_end;
    std::function<void()> m_work;
};
