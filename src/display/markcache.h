#pragma once

#include "display/plotsource.h"

#include <QColor>
#include <QObject>

#include <functional>
#include <memory>

class QThreadPool;

/// What a plot keeps of an event.
struct EventMark
{
    quint64 time = 0;
    quint64 end = 0;
    qint32 typeCode = 0; // with the time, the key of the event
    qint32 code = 0;     // effective
    QString name;        // of a user-defined type
    QColor colour;       // of a user-defined type; invalid: the theme's
    bool shown = true;   // passes the filter
};

struct RunMark
{
    quint64 from = 0;
    quint64 to = 0;
    int number = 0; // from 1, by start
    double meanVoltage = 0;
};

/// The events and runs of one sensor, in order of time, reduced to what is drawn. New ones are read on a pool thread
/// when the source's counts change. The filter and the colours are called there, so they must hold what they need by
/// value. GUI thread.
class MarkCache : public QObject
{
    Q_OBJECT

public:
    using Filter = std::function<bool(const EventRecord &)>;
    using Colours = std::function<QColor(const EventRecord &)>;

    MarkCache(std::shared_ptr<const PlotSource> source, QThreadPool *pool, QObject *parent = nullptr);
    ~MarkCache() override;

    void setRules(Filter filter, Colours colours);
    void refresh();

    const QVector<EventMark> &events() const { return m_events; }
    const QVector<RunMark> &runs() const { return m_runs; }
    /// Events that pass the filter.
    int shownEvents() const { return m_shown; }

signals:
    void changed();

private:
    struct Result;
    struct Mailbox;

    void start(quint64 from);
    void takeResult();
    void merge(QVector<EventMark> &&fresh, quint64 from);

    const std::shared_ptr<const PlotSource> m_source;
    QThreadPool *const m_pool;
    std::shared_ptr<Mailbox> m_mailbox;
    Filter m_filter;
    Colours m_colours;
    QVector<EventMark> m_events;
    QVector<RunMark> m_runs;
    int m_shown = 0;
    int m_seenEvents = 0; // counts of the source when it was last read
    int m_seenRuns = 0;
    bool m_all = false;     // read all again: the rules changed or an event came late
    bool m_running = false; // a job is under way
};
