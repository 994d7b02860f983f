#pragma once

#include "data/seriesblock.h"
#include "display/records/plotsource.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>

#include <memory>
#include <unordered_map>

class QThreadPool;

/// The pyramids of one sensor: one SeriesBlock for each stretch of its source, for the quantities on display. New
/// samples are appended and unknown stretches read on pool threads, newest and visible ones first; results come through
/// a mailbox. Once a stretch is known, no view but one that shows single samples ever reads it again. Samples beyond a
/// memory budget are released, the least recently needed first; their buckets stay. GUI thread.
class SeriesCache : public QObject
{
    Q_OBJECT

public:
    SeriesCache(std::shared_ptr<const PlotSource> source, QThreadPool *pool, QObject *parent = nullptr);
    ~SeriesCache() override;

    const PlotSource &source() const { return *m_source; }
    void setQuantities(const QVector<int> &quantities);
    void setBudget(qint64 bytes);

    /// Looks at the source for changes and starts what has to be read for it and for the view.
    void refresh(const ColumnGrid &view);

    PixelColumns columns(int quantity, const ColumnGrid &grid) const;
    /// The sample next to a range on its left (before `time`) or right, for the line that leads into view.
    PixelColumn neighbour(int quantity, quint64 time, bool before) const;
    ValueRange extremes(int quantity, const TimeRange &range) const;
    SeriesStatistics statistics(int quantity, const TimeRange &range) const;
    /// The sample nearest to a time, no further away than `reach`; false when there is none.
    bool nearest(int quantity, quint64 time, quint64 reach, quint64 &sampleTime, float &value) const;

    /// Of the source, whether it has been read or not.
    TimeRange range() const;
    /// Where stretches wait to be read for the first time, inside `range`.
    QVector<TimeRange> unread(const TimeRange &range) const;
    /// Stretches known and all.
    int stretchesRead() const { return m_read; }
    int stretchCount() const { return int(m_order.size()); }
    qint64 memory() const;

signals:
    /// Something was read: draw again.
    void changed();
    void progress(int done, int total);

private:
    struct Entry;
    struct Result;
    struct Mailbox;
    enum class Job { None, Tail, Whole };

    void lookAtSource();
    Job needed(const Entry &entry, const ColumnGrid *view) const;
    void pump();
    void start(Entry &entry, Job job);
    void takeResults();
    void apply(Result &result);
    void releaseBeyondBudget();
    void count();

    const std::shared_ptr<const PlotSource> m_source;
    QThreadPool *const m_pool;
    std::shared_ptr<Mailbox> m_mailbox;
    QVector<int> m_quantities;
    std::unordered_map<quintptr, std::unique_ptr<Entry>> m_entries;
    std::vector<Entry *> m_order; // by first time
    ColumnGrid m_view{0, 1, 1};
    QElapsedTimer m_age;
    quint64 m_seenRevision = ~quint64(0);
    quint64 m_tick = 0; // counts refreshes; the clock of "least recently needed"
    qint64 m_budget = qint64(160) << 20;
    int m_running = 0;
    int m_read = 0;
    int m_announced = -1;
    bool m_idle = false; // nothing to start until something changes
};
