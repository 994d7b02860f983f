#pragma once

#include "data/samplepoint.h"

#include <QString>
#include <QStringList>
#include <QVector>

/// A small language for lists of samples: "0:0 1:50 2.5:-3" is three samples at 0, 1 and 2.5 seconds with 0, 50 and
/// -3 volts. A time alone ("7") is a sample of 0 volts.
inline QVector<SamplePoint> samples(const QString &text)
{
    QVector<SamplePoint> list;
    for (const QString &item : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        SamplePoint sample;
        sample.time = static_cast<quint64>(item.section(QLatin1Char(':'), 0, 0).toDouble() * 1e6 + 0.5);
        sample.voltage = item.section(QLatin1Char(':'), 1, 1).toDouble();
        list.append(sample);
    }
    return list;
}

inline QVector<SamplePoint> samples(const char *text)
{
    return samples(QString::fromLatin1(text));
}

/// The times of a list in the same language: "0 1 2.5".
inline QString timesOf(const QVector<SamplePoint> &list)
{
    QStringList times;
    for (const SamplePoint &sample : list)
        times.append(QString::number(static_cast<double>(sample.time) * 1e-6, 'g', 12));
    return times.join(QLatin1Char(' '));
}

/// A sample with a different value in every field, so that exchanged fields show.
inline SamplePoint distinctSample(int seed = 1)
{
    const double d = seed;
    SamplePoint s;
    s.time = 1700000000000000ULL + static_cast<quint64>(seed);
    s.frequency = 13560000.25 + d;
    s.voltage = 101.5 * d;
    s.currentReal = -2.25 * d;
    s.currentImaginary = 3.125 * d;
    s.numberOfPulses = 7 * seed;
    s.pulsePeriod = 10000.5 + d;
    s.slot1OnTime = 5000 + seed;
    s.slot2OnTime = -600 - seed;
    s.slot1VoltageAvg = 11 * d;
    s.slot1VoltageMax = 12 * d;
    s.slot1VoltageMin = 13 * d;
    s.slot1CurrentAvg = 14 * d;
    s.slot1CurrentMax = 15 * d;
    s.slot1CurrentMin = 16 * d;
    s.slot2VoltageAvg = 21 * d;
    s.slot2VoltageMax = 22 * d;
    s.slot2VoltageMin = 23 * d;
    s.slot2CurrentAvg = 24 * d;
    s.slot2CurrentMax = 25 * d;
    s.slot2CurrentMin = 26 * d;
    for (std::size_t i = 0; i < s.eventCounts.size(); ++i)
        s.eventCounts[i] = 1000 * seed + static_cast<qint32>(i);
    return s;
}
