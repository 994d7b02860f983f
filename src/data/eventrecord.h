#pragma once

#include "data/samplepoint.h"
#include "recipe/recipe.h"

#include <QHash>
#include <QString>
#include <QVector>

/// One detected event. The waveform samples are held only while `loaded`; abstractNorvexData::waveform() brings them.
struct EventRecord
{
    quint64 time = 0;         // us, same clock as SamplePoint::time
    QString filePath;         // of the event's own file; empty while it exists only in memory
    bool loaded = false;      // samples are in memory
    bool named = false;       // assigned to a user-defined type; looked up in the dictionary
    qint32 typeCode = 0;      // index into the event type list
    bool isOverridden = false;
    qint32 overrideCode = 0;  // effective when isOverridden
    SamplePoint snapshot1;    // peak: largest deviation from the first sample; of a run: its means
    SamplePoint snapshot2;    // first waveform sample; of a run: its start
    SamplePoint snapshot3;    // last waveform sample; of a run: its end
    QVector<SamplePoint> samples;
    QString name;             // of a user-defined type, when named
    Recipe recipe;            // of a run, else empty

    qint32 effectiveCode() const { return isOverridden ? overrideCode : typeCode; }
    /// The time of the last waveform sample.
    quint64 endTime() const { return snapshot3.time > time ? snapshot3.time : time; }
    bool isSaved() const { return !filePath.isEmpty(); }
};

/// Identifies a stored event: no two have the same time and type code.
struct EventKey
{
    quint64 time = 0;
    qint32 typeCode = 0;

    friend bool operator==(const EventKey &a, const EventKey &b) { return a.time == b.time && a.typeCode == b.typeCode; }
};

inline EventKey keyOf(const EventRecord &event) { return {event.time, event.typeCode}; }
/// Mixed with the seed from the start, so that no file can hold many keys of the same hash.
inline uint qHash(const EventKey &key, uint seed = 0)
{
    quint64 bits = key.time * 0x9E3779B97F4A7C15U + (quint64(seed) << 32 | quint32(key.typeCode));
    bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EBU;
    return uint(bits ^ bits >> 31);
}

/// What the run detector reports: one RF-ON period and the recipe that was followed.
struct RunSummary
{
    quint64 start = 0; // us
    quint64 end = 0;
    QVector<SamplePoint> stepMeans;
    Recipe recipe;
};

/// What a search by voltage threshold reports.
struct RunStretch
{
    quint64 start = 0; // us
    quint64 end = 0;
    double meanVoltage = 0;
    double meanCurrent = 0;
};

/// A stored run, as displays and exports use it. Kept on disk as an "E_ON" event.
struct RunRecord
{
    quint64 start = 0; // us
    quint64 end = 0;
    double meanVoltage = 0; // of the stored samples of the run
    double meanCurrent = 0;
    QVector<SamplePoint> stepMeans;
    Recipe recipe;
};
