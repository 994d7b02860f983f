#pragma once

#include "display/records/timerange.h"

#include <QString>
#include <QTimeZone>
#include <QVector>

#include <functional>
#include <optional>

/// Where a time axis has its ticks and what they say.
struct TimeTicks
{
    QVector<quint64> major;
    QVector<quint64> minor;
    QStringList labels; // of the major ones
    QString title;      // with the zone, and with the date or base time that the labels leave out
};

/// How times are written: in UTC, in the zone of this computer or as elapsed time, from a microsecond to decades. Below
/// about 5 ms an axis counts microseconds after a base time that its title names. A value without widgets; texts are in
/// English whatever the locale.
class TimeAxis
{
public:
    static constexpr int mostTicks = 8;

    explicit TimeAxis(TimeMode mode = TimeMode::Utc, const QTimeZone &zone = QTimeZone::systemTimeZone())
        : m_mode(mode), m_zone(zone)
    {}

    TimeMode mode() const { return m_mode; }
    void setMode(TimeMode mode) { m_mode = mode; }
    /// What elapsed time counts from.
    void setOrigin(quint64 time) { m_origin = time; }
    quint64 origin() const { return m_origin; }
    /// Counts microseconds from this moment instead, whatever the mode; the title calls it `name`, and there is none
    /// without a name.
    void setZero(quint64 time, const QString &name);

    /// At most `most` major ticks, at round times.
    TimeTicks ticks(const TimeRange &range, int most = mostTicks) const;
    /// As many as fit on `width` pixels so that no two labels touch. `labelWidth` measures a text.
    TimeTicks fittingTicks(const TimeRange &range, int width,
                           const std::function<int(const QString &)> &labelWidth) const;

    /// A moment in full, to the microsecond, with its zone: for readouts.
    QString moment(quint64 time) const;
    /// The same to the millisecond, without year and zone: for the columns of lists. A header has to name the zone.
    QString shortMoment(quint64 time) const;
    /// "UTC", "local" or "elapsed": that zone's word for a header.
    QString modeText() const;
    /// "UTC", "Europe/Berlin, UTC+1" or "elapsed".
    QString zoneText(quint64 time) const;
    /// The zone where it matters to a person: "UTC+1", "UTC".
    static QString offsetText(int seconds);

private:
    TimeTicks ticksFromZero(const TimeRange &range, int most) const;
    bool countsMicroseconds(const TimeRange &range) const;
    int offsetAt(quint64 time) const; // seconds east of UTC
    QDateTime shown(quint64 time) const;
    void placeEven(const TimeRange &range, quint64 step, quint64 anchor, TimeTicks &ticks) const;
    quint64 placeWall(const TimeRange &range, std::size_t stepIndex, TimeTicks &ticks) const;
    quint64 placeTicks(const TimeRange &range, int most, TimeTicks &ticks) const;
    QString clockLabel(quint64 time, quint64 step, bool offsets) const;
    QString elapsedLabel(quint64 time, quint64 step) const;
    QString title(const TimeRange &range, quint64 step) const;

    TimeMode m_mode;
    QTimeZone m_zone;
    quint64 m_origin = 0;
    std::optional<quint64> m_zero;
    QString m_zeroName;
};

/// A length of time as people say it: "14 s", "3 min 20 s", "2 h 5 min", "4 d 3 h", "250 ms".
QString durationText(quint64 microseconds);
/// The same with all its digits, for measurements: "1.234567 s", "12.345 ms".
QString preciseDuration(quint64 microseconds);
