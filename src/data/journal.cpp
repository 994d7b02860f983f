#include "data/journal.h"

#include <algorithm>

namespace {

constexpr qint64 gatheredBytes = 256 * 1024; // written at once, whoever waits

} // namespace

Journal::Journal(const QString &sessionFolder, QObject *parent, const QStringList &replayed)
    : Journal(sessionFolder, Timings(), parent, replayed)
{}

Journal::Journal(const QString &sessionFolder, const Timings &timings, QObject *parent, const QStringList &replayed)
    : QObject(parent), m_timings(timings),
      m_writer(std::make_unique<Writer>(*this, journalfile::folderOf(sessionFolder), replayed))
{
    m_writer->start();
}

Journal::~Journal()
{
    {
        const std::lock_guard locker(m_lock);
        m_stop = true;
        m_wake.notify_all();
    }
    m_writer->wait();
    const std::lock_guard locker(m_lock); // the writer's last words come before what is destroyed here
    for (const auto &answer : qAsConst(m_answers))
        m_waiting.append(answer.first);
    for (const Waiter &waiter : qAsConst(m_waiting)) {
        if (waiter.context)
            QMetaObject::invokeMethod(
                waiter.context, [done = waiter.done] { done(false); }, Qt::QueuedConnection);
    }
}

void Journal::append(const QString &sensorFolder, Record type, const QByteArray &payload)
{
    const QByteArray sensor = sensorFolder.toUtf8();
    const std::lock_guard locker(m_lock);
    m_queue.append({{sensor, type, payload}, m_generation, ++m_lastPosition});
    m_queuedBytes += payload.size();
    if (m_queuedBytes >= gatheredBytes)
        m_wake.notify_all();
}

void Journal::whenDurable(QObject *context, std::function<void(bool)> done)
{
    Q_ASSERT(context->thread() == thread());
    const std::lock_guard locker(m_lock);
    m_waiting.append({context, std::move(done), m_lastPosition});
    if (m_durablePosition >= m_lastPosition)
        answerLocked(m_durablePosition, false);
    else
        m_wake.notify_all();
}

bool Journal::takesMore() const
{
    const std::lock_guard locker(m_lock);
    return m_queuedBytes + m_unsyncedBytes < m_timings.backlogBytes;
}

qint64 Journal::rotate()
{
    const std::lock_guard locker(m_lock);
    m_generationEnds.insert(m_generation, m_lastPosition);
    return m_generation++;
}

void Journal::commit(qint64 generation)
{
    const std::lock_guard locker(m_lock);
    m_committed = std::max(m_committed, generation);
    auto end = m_generationEnds.begin();
    while (end != m_generationEnds.end() && end.key() <= generation) {
        m_durablePosition = std::max(m_durablePosition, end.value());
        end = m_generationEnds.erase(end);
    }
    answerLocked(m_durablePosition, false);
    m_wake.notify_all();
}

QString Journal::error() const
{
    const std::lock_guard locker(m_lock);
    return m_error;
}

bool Journal::hasWorkLocked() const
{
    return m_stop || !m_waiting.isEmpty() || m_queuedBytes >= gatheredBytes;
}

/// Answers those whose records are durable and, when the journal is failing, all others with no.
void Journal::answerLocked(qint64 durable, bool failing)
{
    const auto first = std::stable_partition(m_waiting.begin(), m_waiting.end(), [&](const Waiter &waiter) {
        return waiter.position > durable && !failing;
    });
    if (first == m_waiting.end())
        return;
    for (auto waiter = first; waiter != m_waiting.end(); ++waiter)
        m_answers.append({*waiter, waiter->position <= durable});
    m_waiting.erase(first, m_waiting.end());
    QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
}

void Journal::deliver()
{
    QVector<QPair<Waiter, bool>> answers;
    bool failingNow = false;
    bool changed = false;
    QString reason;
    {
        const std::lock_guard locker(m_lock);
        answers.swap(m_answers);
        failingNow = m_failing;
        changed = failingNow != m_told;
        m_told = failingNow;
        reason = m_error;
    }
    if (changed && failingNow)
        emit failed(reason);
    else if (changed)
        emit recovered();
    for (const auto &[waiter, ok] : qAsConst(answers)) {
        if (waiter.context)
            waiter.done(ok);
    }
}
