#include "display/derivedsources.h"

#include "data/eventtypelist.h"

#include <algorithm>

namespace {

template <class Record, class Time>
QVector<Record> within(const QVector<Record> &all, const TimeRange &range, Time time)
{
    QVector<Record> result;
    std::copy_if(all.begin(), all.end(), std::back_inserter(result),
                 [&](const Record &record) { return range.contains(time(record)); });
    return result;
}

} // namespace

QVector<PlotSource::Stretch> RangeSource::stretches() const
{
    const QVector<Stretch> all = m_source->stretches();
    QVector<Stretch> result;
    std::copy_if(all.begin(), all.end(), std::back_inserter(result),
                 [this](const Stretch &stretch) { return stretch.first < m_range.to && stretch.last >= m_range.from; });
    return result;
}

QVector<EventRecord> RangeSource::events(const TimeRange &range) const
{
    return m_source->events({std::max(range.from, m_range.from), std::min(range.to, m_range.to)});
}

WaveformSource::WaveformSource(quint64 peak, QVector<SamplePoint> waveform) : m_samples(std::move(waveform))
{
    if (m_samples.isEmpty())
        return;
    std::stable_sort(m_samples.begin(), m_samples.end(),
                     [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; });
    const std::pair<quint64, QString> marks[] = {{m_samples.first().time, QStringLiteral("First point")},
                                                 {peak, QStringLiteral("Peak")},
                                                 {m_samples.last().time, QStringLiteral("Last point")}};
    for (const auto &[time, name] : marks) {
        EventRecord mark;
        mark.time = time;
        mark.typeCode = eventtype::Snapshot;
        mark.named = true;
        mark.name = name;
        m_snapshots.append(mark);
    }
}

QVector<PlotSource::Stretch> WaveformSource::stretches() const
{
    if (m_samples.isEmpty())
        return {};
    return {{1, m_samples.first().time, m_samples.last().time, m_samples.size()}};
}

bool WaveformSource::readSamples(quintptr, quint64 from, quint64 to, QVector<SamplePoint> &out) const
{
    const TimeRange range{from, to};
    out += within(m_samples, range, [](const SamplePoint &sample) { return sample.time; });
    return true;
}

QVector<EventRecord> WaveformSource::events(const TimeRange &range) const
{
    return within(m_snapshots, range, [](const EventRecord &event) { return event.time; });
}
