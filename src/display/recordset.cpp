#include "display/recordset.h"

#include "data/norvexdata.h"
#include "display/plotsource.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr quint64 lateness = 60000000; // events closer to the newest may still come in any order
constexpr quint64 leadTime = 100000;   // a stored run begins this long before its first sample with RF on
constexpr quint64 second = 1000000;
constexpr quint64 shortestPiece = 3600 * second;
constexpr quint64 mostPieces = 2000;
constexpr quint64 endOfTime = ~quint64(0);

EventRow rowOf(const EventRecord &event)
{
    EventRow row;
    row.time = event.time;
    row.end = event.endTime();
    row.peak = event.snapshot1.time;
    row.typeCode = event.typeCode;
    row.code = event.effectiveCode();
    row.base = event.snapshot2.voltage;
    row.amplitude = event.snapshot1.voltage - event.snapshot2.voltage;
    if (event.named)
        row.name = event.name;
    return row;
}

bool startsEarlier(const RunRow &a, const RunRow &b)
{
    return a.record.start < b.record.start;
}

void readEvents(const norvexData &store, quint64 from, const std::atomic<bool> &cancelled, QVector<EventRow> &out)
{
    const quint64 first = std::max(from, store.firstTime());
    const quint64 last = std::max(first, store.lastTime());
    const quint64 piece = std::max(shortestPiece, (last - first) / mostPieces);
    const auto read = [&](quint64 begin, quint64 end) {
        const QVector<EventRecord> events = store.eventsInRange(begin, end);
        for (const EventRecord &event : events)
            out.append(rowOf(event));
    };
    read(from, first);
    quint64 begin = first;
    for (; begin < last && !cancelled; begin += piece)
        read(begin, begin + piece);
    if (!cancelled)
        read(begin, endOfTime);
}

} // namespace

int RunRow::events() const
{
    return std::accumulate(counts.begin(), counts.end(), 0);
}

void RecordSet::link()
{
    for (int i = 0; i < runs.size(); ++i) {
        runs[i].number = i + 1;
        runs[i].counts.fill(0);
    }
    int run = -1;
    QVector<RunStep> steps;
    for (EventRow &event : events) {
        const int before = run;
        while (run + 1 < runs.size() && runs.at(run + 1).record.start <= event.time)
            ++run;
        event.run = run >= 0 && event.time <= runs.at(run).record.end ? run : -1;
        event.step = -1;
        if (run != before)
            steps = stepsOf(runs.at(run).record);
        if (event.run < 0)
            continue;
        for (int i = 0; i < steps.size() && event.step < 0; ++i)
            event.step = steps.at(i).range.contains(event.time) ? i : -1;
        if (event.code >= 0 && event.code < eventtype::builtInCount)
            ++runs[run].counts[std::size_t(event.code)];
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
    return name.isEmpty() ? QStringLiteral("Step %1").arg(step + 1) : name;
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

RecordSet readRecords(const norvexData &store, const RecordSet *known, const std::atomic<bool> &cancelled)
{
    RecordSet set;
    quint64 eventsFrom = 0;
    quint64 runsFrom = 0;
    if (known && !known->events.isEmpty()) {
        const quint64 last = known->events.last().time;
        eventsFrom = last - std::min(last, lateness);
        set.events = known->events.mid(0, known->firstEvent(eventsFrom));
    }
    if (known && !known->runs.isEmpty()) {
        runsFrom = known->runs.last().record.start;
        set.runs = known->runs;
    }
    readEvents(store, eventsFrom, cancelled, set.events);
    std::sort(set.events.begin(), set.events.end());
    if (!cancelled) {
        const QVector<RunRecord> runs = store.runsInRange(runsFrom, endOfTime);
        for (const RunRecord &run : runs)
            if (set.findRun(run.start) < 0)
                set.runs.append({run, 0, {}});
        std::sort(set.runs.begin(), set.runs.end(), startsEarlier);
    }
    set.link();
    return set;
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
