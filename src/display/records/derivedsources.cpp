#include "display/records/derivedsources.h"

#include <QCoreApplication>

#include <algorithm>

QVector<PlotSource::Stretch> RangeSource::stretches() const
{
    const QVector<Stretch> all = m_source->stretches();
    QVector<Stretch> result;
    std::copy_if(all.begin(), all.end(), std::back_inserter(result),
                 [this](const Stretch &stretch) { return stretch.first < m_range.to && stretch.last >= m_range.from; });
    return result;
}

WaveformSource::WaveformSource(QVector<SamplePoint> waveform) : m_samples(std::move(waveform))
{
    std::stable_sort(m_samples.begin(), m_samples.end(),
                     [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; });
}

QVector<PlotSource::Stretch> WaveformSource::stretches() const
{
    if (m_samples.isEmpty())
        return {};
    return {{1, m_samples.first().time, m_samples.last().time, m_samples.size()}};
}

bool WaveformSource::readSamples(quintptr, quint64 from, quint64 to, QVector<SamplePoint> &out) const
{
    std::copy_if(m_samples.begin(), m_samples.end(), std::back_inserter(out), [&](const SamplePoint &sample) {
        return TimeRange{from, to}.contains(sample.time);
    });
    return true;
}

RecordSet waveformMarks(const QVector<SamplePoint> &waveform, quint64 peak)
{
    QVector<EventRecord> marks;
    if (waveform.isEmpty())
        return {};
    const auto [first, last] = std::minmax_element(
        waveform.begin(), waveform.end(), [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; });
    for (const auto &[time, name] :
         {std::pair{first->time, QCoreApplication::translate("derivedsources", "First point")},
          std::pair{peak, QCoreApplication::translate("derivedsources", "Peak")},
          std::pair{last->time, QCoreApplication::translate("derivedsources", "Last point")}}) {
        EventRecord mark;
        mark.time = time;
        mark.typeCode = eventtype::Snapshot;
        mark.named = true;
        mark.name = name;
        marks.append(mark);
    }
    return recordsOf(marks, {});
}
