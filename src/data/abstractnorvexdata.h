#pragma once

#include "data/eventrecord.h"

#include <QString>
#include <QVector>

/// What displays and exports read of one sensor's data. Every operation may be called from any thread and returns
/// copies; times are microseconds since the epoch, ranges include `from` and exclude `to`.
class abstractNorvexData
{
public:
    virtual ~abstractNorvexData() = default;

    virtual QString sensorSerial() const = 0;
    virtual QString chamberSerial() const = 0;
    /// Earliest and latest sample time, 0 while there is none.
    virtual quint64 firstTime() const = 0;
    virtual quint64 lastTime() const = 0;

    /// Samples in time order, from every block that can hold the range. False when a block could not be read within
    /// its bounded wait or its file is damaged (`out` then holds all others).
    virtual bool samplesInRange(quint64 from, quint64 to, QVector<SamplePoint> &out) const = 0;
    /// Where to go on after a stretch without samples: not later than the first sample at or after `from`, and `from`
    /// itself when that is not known without reading.
    virtual quint64 nextSampleTime(quint64 from) const { return from; }
    /// Events by time, runs excluded, waveforms as far as they are in memory.
    virtual QVector<EventRecord> eventsInRange(quint64 from, quint64 to) const = 0;
    /// Runs that overlap the range, by start.
    virtual QVector<RunRecord> runsInRange(quint64 from, quint64 to) const = 0;
    /// The waveform of an event, read from its file when it is not in memory; empty when there is none.
    virtual QVector<SamplePoint> waveform(const EventKey &event) const = 0;
};
