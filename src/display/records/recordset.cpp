#include "display/records/recordset.h"

#include "data/norvexdata.h"
#include "display/records/plotsource.h"
#include "display/records/typenumbers.h"
#include "export/exportevents.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <limits>

namespace {

constexpr quint64 lateness = 60000000; // events closer to the newest may still come in any order
constexpr quint64 leadTime = 100000;   // a stored run begins this long before its first sample with RF on
constexpr quint64 second = 1000000;
constexpr quint64 shortestPiece = 3600 * second;
constexpr quint64 mostPieces = 2000;
constexpr quint64 endOfTime = ~quint64(0);

EventRow rowOf(const EventRecord &event, TypeNumbers &numbers)
{
    EventRow row;
    row.time = event.time;
    row.end = event.endTime();
    row.peak = event.snapshot1.time;
    row.typeCode = event.typeCode;
    const qint32 code = event.effectiveCode();
    const bool builtIn = (!event.named || event.name.isEmpty()) && code >= 0 && code < eventtype::builtInCount;
    row.own = builtIn ? code : numbers.numberOf(eventtype::nameOf(event));
    row.type = row.own;
    row.measured = event.snapshot1.time != 0 || event.snapshot2.time != 0;
    row.base = event.snapshot2.voltage;
    row.amplitude = event.snapshot1.voltage - event.snapshot2.voltage;
    return row;
}

bool startsEarlier(const RunRow &a, const RunRow &b)
{
    return a.record.start < b.record.start;
}

/// One reading of a store.
class Reader
{
public:
    Reader(const norvexData &store, const RecordReading &reading, const std::atomic<bool> &cancelled)
        : m_store(store), m_reading(reading), m_cancelled(cancelled),
          m_numbers(reading.numbers ? *reading.numbers : m_own)
    {
        m_set.userTypes = reading.userTypes;
    }

    RecordSet read()
    {
        const RecordSet *known = m_reading.known.get();
        quint64 from = 0;
        if (known && !m_reading.again && !known->events.isEmpty()) {
            const quint64 last = known->events.last().time;
            from = last - std::min(last, lateness);
            m_set.events = known->events.mid(0, known->firstEvent(from));
        }
        readEvents(from);
        std::sort(m_set.events.begin() + (from == 0 ? 0 : known->firstEvent(from)), m_set.events.end());
        if (known)
            takeOver(*known);
        nameEvents();
        readRuns();
        m_set.typeNames = m_numbers.names();
        m_set.link();
        return std::move(m_set);
    }

private:
    void readEvents(quint64 from)
    {
        const quint64 first = std::max(from, m_store.firstTime());
        const quint64 last = std::max(first, m_store.lastTime());
        const quint64 piece = std::max(shortestPiece, (last - first) / mostPieces);
        const auto take = [&](quint64 begin, quint64 end) {
            const QVector<EventRecord> events = m_store.eventsInRange(begin, end);
            for (const EventRecord &event : events)
                m_set.events.append(rowOf(event, m_numbers));
        };
        take(from, first);
        quint64 begin = first;
        for (; begin < last && !m_cancelled; begin += piece)
            take(begin, begin + piece);
        if (!m_cancelled)
            take(begin, endOfTime);
    }

    void readRuns()
    {
        quint64 from = 0;
        if (m_reading.known && !m_reading.again && !m_reading.known->runs.isEmpty()) {
            from = m_reading.known->runs.last().record.start;
            m_set.runs = m_reading.known->runs;
        }
        const QVector<RunRecord> runs = m_cancelled ? QVector<RunRecord>() : m_store.runsInRange(from, endOfTime);
        for (const RunRecord &run : runs)
            if (m_set.findRun(run.start) < 0)
                m_set.runs.append({run, 0, {}});
        std::sort(m_set.runs.begin(), m_set.runs.end(), startsEarlier);
    }

    /// What comparing has brought for the events that are known; of types that are tried no longer it is forgotten.
    void takeOver(const RecordSet &known)
    {
        const bool sameTypes = known.userTypes == m_reading.userTypes;
        const auto isTried = [this](const QString &name) {
            return std::any_of(m_reading.userTypes.begin(), m_reading.userTypes.end(),
                               [&name](const eventType &type) { return type.name == name; });
        };
        auto at = known.events.begin();
        for (EventRow &event : m_set.events) {
            while (at != known.events.end() && *at < event)
                ++at;
            if (at == known.events.end() || event < *at)
                continue;
            event.compared = sameTypes && at->compared;
            event.type = at->type != at->own && (sameTypes || isTried(known.nameOf(*at))) ? at->type : event.own;
        }
    }

    void nameEvents()
    {
        QElapsedTimer clock;
        clock.start();
        for (EventRow &event : m_set.events) {
            if (!event.compared && clock.elapsed() < m_reading.patienceMs && !m_cancelled)
                compare(event);
            m_set.compared += event.compared ? 1 : 0;
        }
    }

    void compare(EventRow &event)
    {
        event.compared = true;
        event.type = event.own;
        const double first = event.measured ? event.base : std::numeric_limits<double>::quiet_NaN();
        if (!eventtype::canMatch(m_reading.userTypes, first, event.base + event.amplitude))
            return;
        const QString name = eventtype::firstMatch(m_reading.userTypes, m_store.waveform({event.time, event.typeCode}));
        if (!name.isEmpty())
            event.type = m_numbers.numberOf(name);
    }

    const norvexData &m_store;
    const RecordReading &m_reading;
    const std::atomic<bool> &m_cancelled;
    TypeNumbers m_own;
    TypeNumbers &m_numbers;
    RecordSet m_set;
};

} // namespace

QVector<int> RecordSet::counts() const
{
    QVector<int> counts(typeNames.size());
    for (const EventRow &event : events)
        ++counts[event.type];
    counts[eventtype::RfOn] += runs.size();
    return counts;
}

void RecordSet::link()
{
    int run = -1;
    QVector<RunStep> steps;
    QVector<QVector<quint64>> starts(typeNames.size());
    QVector<QVector<quint64>> ends(typeNames.size());
    for (EventRow &event : events) {
        starts[event.type].append(event.time);
        ends[event.type].append(event.end);
        const int before = run;
        while (run + 1 < runs.size() && runs.at(run + 1).record.start <= event.time)
            ++run;
        event.run = run >= 0 && event.time <= runs.at(run).record.end ? run : -1;
        event.step = -1;
        if (run != before)
            steps = stepsOf(runs.at(run).record);
        for (int i = 0; event.run >= 0 && i < steps.size() && event.step < 0; ++i)
            event.step = steps.at(i).range.contains(event.time) ? i : -1;
    }
    for (int i = 0; i < runs.size(); ++i) {
        runs[i].number = i + 1;
        runs[i].counts.fill(0, typeNames.size());
    }
    for (int type = 0; type < typeNames.size(); ++type) {
        if (starts.at(type).isEmpty())
            continue;
        const ExportEvents::Overlaps overlaps(std::move(starts[type]), std::move(ends[type]));
        for (RunRow &row : runs)
            row.counts[type] = overlaps.count(row.record);
    }
}

int RecordSet::findRun(quint64 start) const
{
    const auto found = std::lower_bound(runs.begin(), runs.end(), start,
                                        [](const RunRow &row, quint64 time) { return row.record.start < time; });
    return found != runs.end() && found->record.start == start ? int(found - runs.begin()) : -1;
}

int RecordSet::firstEvent(quint64 time) const
{
    const auto found = std::lower_bound(events.begin(), events.end(), time,
                                        [](const EventRow &row, quint64 t) { return row.time < t; });
    return int(found - events.begin());
}

int RecordSet::findEvent(quint64 time, qint32 typeCode) const
{
    for (int i = firstEvent(time); i < events.size() && events.at(i).time == time; ++i)
        if (events.at(i).typeCode == typeCode)
            return i;
    return -1;
}

QString stepName(const RunRecord &run, int step)
{
    const QString name = run.recipe.stepName(step);
    return name.isEmpty() ? QCoreApplication::translate("recordset", "Step %1").arg(step + 1) : name;
}

QVector<RunStep> stepsOf(const RunRecord &run)
{
    QVector<RunStep> steps;
    quint64 from = run.start + leadTime;
    for (int i = 0; i < run.recipe.numberOfSteps() && from < run.end; ++i) {
        const auto length = quint64(std::max(0, run.recipe.duration(i))) * second;
        const quint64 to = std::min(run.end, from + length);
        steps.append({stepName(run, i), {from, to}});
        from = to;
    }
    return steps;
}

RecordSet recordsOf(const QVector<EventRecord> &events, const QVector<RunRecord> &runs)
{
    RecordSet set;
    TypeNumbers numbers;
    for (const EventRecord &event : events)
        set.events.append(rowOf(event, numbers));
    std::sort(set.events.begin(), set.events.end());
    for (const RunRecord &run : runs)
        set.runs.append({run, 0, {}});
    std::sort(set.runs.begin(), set.runs.end(), startsEarlier);
    set.typeNames = numbers.names();
    set.compared = set.events.size();
    set.link();
    return set;
}

RecordSet readRecords(const norvexData &store, const RecordReading &reading, const std::atomic<bool> &cancelled)
{
    return Reader(store, reading, cancelled).read();
}

bool addedEvents(const RecordSet &before, const RecordSet &after, QVector<EventRow> &added)
{
    auto old = before.events.begin();
    for (const EventRow &event : after.events) {
        if (old == before.events.end() || event < *old) {
            added.append(event);
            continue;
        }
        if (*old < event || old->type != event.type)
            return false;
        ++old;
    }
    return old == before.events.end();
}

bool walkSamples(const PlotSource &source, const TimeRange &range,
                 const std::function<bool(const QVector<SamplePoint> &)> &take)
{
    QVector<PlotSource::Stretch> stretches = source.stretches();
    std::sort(stretches.begin(), stretches.end(),
              [](const PlotSource::Stretch &a, const PlotSource::Stretch &b) { return a.first < b.first; });
    bool complete = true;
    QVector<SamplePoint> samples;
    for (const PlotSource::Stretch &stretch : qAsConst(stretches)) {
        if (stretch.last == 0 || stretch.last < range.from || stretch.first >= range.to)
            continue;
        samples.clear();
        complete = source.readSamples(stretch.key, range.from, range.to, samples) && complete;
        if (!take(samples))
            return complete;
    }
    return complete;
}
