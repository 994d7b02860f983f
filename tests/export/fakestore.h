#pragma once

#include "data/abstractnorvexdata.h"
#include "data/eventtypelist.h"

#include <QAtomicInt>

#include <algorithm>
#include <cmath>

/// A sensor's data in memory, with the ways in which the real one can be slow or fail.
class FakeStore final : public abstractNorvexData
{
public:
    QString sensor = QStringLiteral("NX-0042");
    QString chamber = QStringLiteral("Chamber A");
    QVector<SamplePoint> samples; // by time
    QVector<EventRecord> events;  // by time
    QVector<RunRecord> runs;
    QHash<EventKey, QVector<SamplePoint>> waveforms;
    bool knowsGaps = false;
    mutable int failingReads = 0; // the next so many reads of samples fail
    mutable int reads = 0;
    mutable int largestRead = 0;
    mutable QAtomicInt waveformReads; // from any thread

    QString sensorSerial() const override { return sensor; }
    QString chamberSerial() const override { return chamber; }
    quint64 firstTime() const override { return samples.isEmpty() ? 0 : samples.first().time; }
    quint64 lastTime() const override { return samples.isEmpty() ? 0 : samples.last().time; }

    bool samplesInRange(quint64 from, quint64 to, QVector<SamplePoint> &out) const override
    {
        ++reads;
        if (failingReads > 0) {
            --failingReads;
            return false;
        }
        const auto before = [](const SamplePoint &sample, quint64 time) { return sample.time < time; };
        const auto begin = std::lower_bound(samples.begin(), samples.end(), from, before);
        const auto end = std::lower_bound(begin, samples.end(), to, before);
        std::copy(begin, end, std::back_inserter(out));
        largestRead = std::max(largestRead, static_cast<int>(end - begin));
        return true;
    }
    quint64 nextSampleTime(quint64 from) const override
    {
        if (!knowsGaps)
            return from;
        for (const SamplePoint &sample : samples) {
            if (sample.time >= from)
                return sample.time;
        }
        return from;
    }
    QVector<EventRecord> eventsInRange(quint64 from, quint64 to) const override
    {
        QVector<EventRecord> found;
        for (const EventRecord &event : events) {
            if (event.time >= from && event.time < to)
                found.append(event);
        }
        return found;
    }
    QVector<RunRecord> runsInRange(quint64 from, quint64 to) const override
    {
        QVector<RunRecord> found;
        for (const RunRecord &run : runs) {
            if (run.end >= from && run.start < to)
                found.append(run);
        }
        return found;
    }
    QVector<SamplePoint> waveform(const EventKey &event) const override
    {
        ++waveformReads;
        return waveforms.value(event);
    }

    void addSample(quint64 time, double voltage, double real = 0, double imaginary = 0)
    {
        SamplePoint sample;
        sample.time = time;
        sample.voltage = voltage;
        sample.currentReal = real;
        sample.currentImaginary = imaginary;
        samples.append(sample);
    }
    /// An event of `count` waveform samples 10 us apart, the first of them 5 us before it.
    EventRecord &addEvent(quint64 time, int code, int count, bool inMemory = false)
    {
        EventRecord event;
        event.time = time;
        event.typeCode = code;
        QVector<SamplePoint> waveform;
        for (int i = 0; i < count; ++i) {
            SamplePoint sample;
            sample.time = time + static_cast<quint64>(10 * i) - 5;
            sample.voltage = 100 + i;
            sample.currentReal = 3 * i;
            sample.currentImaginary = -4 * i;
            waveform.append(sample);
        }
        event.snapshot3.time = waveform.isEmpty() ? time : waveform.last().time;
        if (inMemory)
            event.samples = waveform;
        else
            waveforms.insert(keyOf(event), waveform);
        events.append(event);
        return events.last();
    }
    void addRun(quint64 start, quint64 end, double meanVoltage)
    {
        RunRecord run;
        run.start = start;
        run.end = end;
        run.meanVoltage = meanVoltage;
        runs.append(run);
    }
};
