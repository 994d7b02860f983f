#include "events/eventmatching.h"

#include "base/jobprogress.h"
#include "data/eventtypelist.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr quint64 margin = 3600ULL * 1000000; // events may lie a little outside the samples
constexpr quint64 firstWindow = 60ULL * 1000000;
constexpr int fewEvents = 2000;
constexpr int manyEvents = 20000;
constexpr int progressMs = 100;

QString nameOf(const EventRecord &event)
{
    return event.named && !event.name.isEmpty() ? event.name : eventtype::name(event.effectiveCode());
}

class Pass
{
public:
    Pass(const abstractNorvexData &data, const QVector<eventType> &types, JobProgress &progress,
         const EventMatches &known)
        : m_data(data), m_types(types), m_progress(progress), m_known(known)
    {}

    EventMatches run()
    {
        const quint64 first = m_data.firstTime() - std::min(m_data.firstTime(), margin);
        const quint64 last = m_data.lastTime() + margin;
        m_progress.begin(QStringLiteral("Matching events"), static_cast<qint64>((last - first) / 1000));
        take(0, first);
        // The window follows the density, so that neither long silence nor a burst makes a piece of the wrong size.
        quint64 window = firstWindow;
        for (quint64 from = first; from < last && !m_progress.isCancelled();) {
            const quint64 to = std::min(last, from + window);
            const int events = take(from, to);
            m_progress.advance(static_cast<qint64>((to - from) / 1000));
            from = to;
            if (events < fewEvents && window < (1ULL << 60))
                window *= 2;
            else if (events > manyEvents)
                window = std::max<quint64>(1000, window / 4);
        }
        take(last, ~quint64(0));
        m_matches.cancelled = m_progress.isCancelled();
        return std::move(m_matches);
    }

private:
    int take(quint64 from, quint64 to)
    {
        if (m_progress.isCancelled() || from >= to)
            return 0;
        const QVector<EventRecord> events = m_data.eventsInRange(from, to);
        for (const EventRecord &event : events) {
            if (m_progress.isCancelled())
                break;
            const QString name = canMatch(event, m_types) ? matchOf(event) : QString();
            ++m_matches.counts[name.isEmpty() ? nameOf(event) : name];
        }
        return events.size();
    }

    QString matchOf(const EventRecord &event)
    {
        const EventKey key = keyOf(event);
        QString name = m_known.names.value(key);
        if (name.isEmpty() && !m_known.unmatched.contains(key))
            name = eventtype::firstMatch(m_types, event.samples.isEmpty() ? m_data.waveform(key) : event.samples);
        if (name.isEmpty())
            m_matches.unmatched.insert(key);
        else
            m_matches.names.insert(key, name);
        return name;
    }

    const abstractNorvexData &m_data;
    const QVector<eventType> &m_types;
    JobProgress &m_progress;
    const EventMatches &m_known;
    EventMatches m_matches;
};

} // namespace

bool canMatch(const EventRecord &event, const QVector<eventType> &types)
{
    const auto isOfUser = [](const eventType &type) { return type.direction >= 0; };
    if (event.snapshot1.time == 0 && event.snapshot2.time == 0)
        return std::any_of(types.begin(), types.end(), isOfUser);
    const double peak = event.snapshot1.voltage;
    const double start = event.snapshot2.voltage;
    // Snapshots may come from text of six digits.
    const double bound = 2 * std::fabs(peak - start) + 1e-4 * (std::fabs(peak) + std::fabs(start));
    return std::any_of(types.begin(), types.end(),
                       [&](const eventType &type) { return isOfUser(type) && !(type.magnitude > bound); });
}

EventMatches matchEvents(const abstractNorvexData &data, const QVector<eventType> &types, JobProgress &progress,
                         const EventMatches &known)
{
    return Pass(data, types, progress, known).run();
}

EventMatchJob::EventMatchJob(QObject *parent) : QObject(parent)
{
    qRegisterMetaType<EventMatches>();
    m_pool.setMaxThreadCount(1);
    m_timer.setInterval(progressMs);
    connect(&m_timer, &QTimer::timeout, this, [this] { emit progress(m_progress->done(), m_progress->total()); });
}

EventMatchJob::~EventMatchJob()
{
    cancel();
    m_pool.waitForDone();
}

void EventMatchJob::start(const std::shared_ptr<const abstractNorvexData> &data, const QVector<eventType> &types)
{
    cancel();
    if (m_types != types || m_data.lock() != data)
        m_known = {};
    m_types = types;
    m_data = data;
    m_progress = std::make_shared<JobProgress>();
    m_timer.start();
    m_pool.start([this, data, types, known = m_known, progress = m_progress] {
        auto matches = std::make_shared<EventMatches>(matchEvents(*data, types, *progress, known));
        // Asked in the owner's thread: only there is it known whether this job still counts.
        QMetaObject::invokeMethod(this, [this, matches, progress] {
            if (progress != m_progress)
                return;
            m_progress.reset();
            m_timer.stop();
            m_known = *matches;
            emit finished(*matches);
        });
    });
}

void EventMatchJob::cancel()
{
    if (!m_progress)
        return;
    m_progress->cancel();
    m_progress.reset();
    m_timer.stop();
}
