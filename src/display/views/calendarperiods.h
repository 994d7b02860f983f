#pragma once

#include "display/records/timerange.h"

#include <QString>
#include <QTimeZone>

/// Cuts time into minutes, hours, days or weeks as the chosen time mode counts them: those of UTC, those of a zone's
/// clock and calendar, or whole ones since an origin. On a clock-change day the day has 23 or 25 hours, the hour that
/// comes twice is two periods, and no moment belongs to none or to two. Weeks begin on Monday. A value without widgets;
/// asking for neighbouring times is cheap, so a long list is best gone through in order.
class CalendarPeriods
{
public:
    enum Period { Minute, Hour, Day, Week };

    explicit CalendarPeriods(Period period = Hour, TimeMode mode = TimeMode::Utc,
                             const QTimeZone &zone = QTimeZone::systemTimeZone(), quint64 origin = 0);

    Period period() const { return m_period; }
    /// What elapsed time counts from; 0 in the other modes.
    quint64 origin() const { return m_origin; }
    /// The period that a time belongs to.
    TimeRange at(quint64 time) const;
    /// The one after it.
    TimeRange after(const TimeRange &range) const { return at(range.to); }
    /// "Sun 27 Oct 2024 02:00 to 03:00, UTC+2", "Mon 5 Feb 2024", "Week from Mon 5 Feb 2024", "3 h to 4 h".
    QString text(const TimeRange &range) const;

    static QString name(Period period);

private:
    qint64 offsetAt(quint64 time) const; // us
    TimeRange evenAt(quint64 time, quint64 length) const;
    TimeRange daysAt(quint64 time) const;

    Period m_period;
    TimeMode m_mode;
    QTimeZone m_zone;
    quint64 m_origin;
    mutable TimeRange m_constant{1, 1}; // the offset does not change in it
    mutable qint64 m_offset = 0;
};
