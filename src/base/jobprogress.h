#pragma once

#include <QMutex>
#include <QString>

#include <atomic>

/// What a long job shares with the one who waits for it: how far it is, what it is at, and the wish to end it. The job
/// runs on one thread, which alone calls begin() and setName(), and may have helpers that call advance(); everything
/// else may be called from any thread. The one who waits owns it and keeps it until the job has ended; it is polled, it
/// signals nothing.
class JobProgress
{
public:
    JobProgress() = default;
    JobProgress(const JobProgress &) = delete;
    JobProgress &operator=(const JobProgress &) = delete;

    enum class Unit { Pieces, Bytes };

    /// A new step of `total` units, named for the user; a total of 0 is a step of unknown length.
    void begin(const QString &step, qint64 total, Unit unit = Unit::Pieces)
    {
        m_done = 0;
        m_total = total;
        m_unit = unit;
        const QMutexLocker locker(&m_nameLock);
        m_step = step;
        m_name.clear();
    }
    void advance(qint64 units = 1) { m_done += units; }
    /// What is being worked on, as a file name.
    void setName(const QString &name)
    {
        const QMutexLocker locker(&m_nameLock);
        m_name = name;
    }

    /// The job ends at the next chance, with what its outcome says of a cancelled one.
    void cancel() { m_cancelled = true; }
    bool isCancelled() const { return m_cancelled; }

    qint64 done() const { return m_done; }
    qint64 total() const { return m_total; }
    Unit unit() const { return m_unit; }
    QString step() const
    {
        const QMutexLocker locker(&m_nameLock);
        return m_step;
    }
    QString name() const
    {
        const QMutexLocker locker(&m_nameLock);
        return m_name;
    }

private:
    std::atomic<qint64> m_done{0};
    std::atomic<qint64> m_total{0};
    std::atomic<Unit> m_unit{Unit::Pieces};
    std::atomic<bool> m_cancelled{false};
    mutable QMutex m_nameLock; // guards the texts
    QString m_step;
    QString m_name;
};
