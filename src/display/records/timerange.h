#pragma once

#include <QMetaType>

/// A stretch of time in microseconds since the epoch, `to` excluded. Empty when it has no length.
struct TimeRange
{
    quint64 from = 0;
    quint64 to = 0;

    bool isEmpty() const { return to <= from; }
    quint64 length() const { return isEmpty() ? 0 : to - from; }
    bool contains(quint64 time) const { return time >= from && time < to; }

    friend bool operator==(const TimeRange &a, const TimeRange &b) { return a.from == b.from && a.to == b.to; }
    friend bool operator!=(const TimeRange &a, const TimeRange &b) { return !(a == b); }
};

/// How times are written on axes and in readouts; one setting for the whole program.
enum class TimeMode { Utc, Local, Elapsed };
Q_DECLARE_METATYPE(TimeMode)
