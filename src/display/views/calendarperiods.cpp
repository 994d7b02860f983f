#include "display/views/calendarperiods.h"

#include "display/plot/timeaxis.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>

#include <limits>

namespace {

constexpr quint64 second = 1000000;
constexpr quint64 minute = 60 * second;
constexpr quint64 hour = 60 * minute;
constexpr quint64 day = 24 * hour;
constexpr quint64 mondayShift = 3 * day; // 1 January 1970 was a Thursday

QDateTime utc(quint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(time / 1000), Qt::UTC);
}

quint64 microseconds(const QDateTime &moment)
{
    return quint64(std::max<qint64>(0, moment.toMSecsSinceEpoch())) * 1000;
}

/// Where midnight is left out, the day begins with the first moment there is; a day that is left out altogether, as
/// when a zone moves across the date line, begins with the next one.
quint64 startOfDay(const QDate &date, const QTimeZone &zone)
{
    QDateTime start = date.startOfDay(zone);
    for (int days = 1; days < 3 && !start.isValid(); ++days)
        start = date.addDays(days).startOfDay(zone);
    return microseconds(start);
}

QString inEnglish(const QDateTime &moment, const char *format)
{
    return QLocale::c().toString(moment, QLatin1String(format));
}

} // namespace

CalendarPeriods::CalendarPeriods(Period period, TimeMode mode, const QTimeZone &zone, quint64 origin)
    : m_period(period), m_mode(mode), m_zone(zone), m_origin(mode == TimeMode::Elapsed ? origin : 0)
{
    if (mode != TimeMode::Local || !zone.isValid())
        m_constant = {0, std::numeric_limits<quint64>::max()};
}

QString CalendarPeriods::name(Period period)
{
    switch (period) {
    case Minute:
        return QCoreApplication::translate("CalendarPeriods", "minute");
    case Hour:
        return QCoreApplication::translate("CalendarPeriods", "hour");
    case Day:
        return QCoreApplication::translate("CalendarPeriods", "day");
    case Week:
        break;
    }
    return QCoreApplication::translate("CalendarPeriods", "week");
}

qint64 CalendarPeriods::offsetAt(quint64 time) const
{
    if (m_constant.contains(time))
        return m_offset;
    const QDateTime moment = utc(time);
    const QTimeZone::OffsetData next = m_zone.nextTransition(moment);
    // The transition at the very moment counts as before it.
    const QTimeZone::OffsetData last = m_zone.previousTransition(moment.addMSecs(1));
    m_offset = qint64(m_zone.offsetFromUtc(moment)) * qint64(second);
    m_constant.from = last.atUtc.isValid() ? microseconds(last.atUtc) : 0;
    m_constant.to = next.atUtc.isValid() ? microseconds(next.atUtc) : std::numeric_limits<quint64>::max();
    return m_offset;
}

TimeRange CalendarPeriods::at(quint64 time) const
{
    const bool calendar = m_mode == TimeMode::Local && m_zone.isValid();
    switch (m_period) {
    case Minute:
        return evenAt(time, minute);
    case Hour:
        return evenAt(time, hour);
    case Day:
        return calendar ? daysAt(time) : evenAt(time, day);
    case Week:
        break;
    }
    return calendar ? daysAt(time) : evenAt(time, 7 * day);
}

TimeRange CalendarPeriods::evenAt(quint64 time, quint64 length) const
{
    if (m_mode == TimeMode::Elapsed) {
        // Counted from the origin, which may lie after the time.
        const quint64 phase = m_origin % length;
        const quint64 start = time < phase ? 0 : (time - phase) / length * length + phase;
        return {start, start == 0 && phase > 0 ? phase : start + length};
    }
    const qint64 offset = offsetAt(time);
    const qint64 shift = offset + qint64(m_period == Week ? mondayShift : 0);
    const qint64 wall = qint64(time) + shift;
    const qint64 start = wall - wall % qint64(length);
    TimeRange range{quint64(std::max<qint64>(0, start - shift)), quint64(start - shift + qint64(length))};
    // A clock change inside ends one period and begins the next.
    range.from = std::max(range.from, m_constant.from);
    range.to = std::min(range.to, m_constant.to);
    return range;
}

TimeRange CalendarPeriods::daysAt(quint64 time) const
{
    const QDate date = utc(quint64(qint64(time) + offsetAt(time))).date();
    const QDate first = m_period == Week ? date.addDays(1 - date.dayOfWeek()) : date;
    return {startOfDay(first, m_zone), startOfDay(first.addDays(m_period == Week ? 7 : 1), m_zone)};
}

QString CalendarPeriods::text(const TimeRange &range) const
{
    if (m_mode == TimeMode::Elapsed) {
        const quint64 from = range.from - std::min(range.from, m_origin);
        return QCoreApplication::translate("calendarperiods", "%1 to %2 elapsed")
            .arg(durationText(from), durationText(from + range.length()));
    }
    const qint64 offset = offsetAt(range.from);
    const QDateTime from = utc(quint64(qint64(range.from) + offset));
    const QString date = inEnglish(from, "ddd d MMM yyyy");
    const QString zone = TimeAxis::offsetText(int(offset / qint64(second)));
    if (m_period == Day)
        return QStringLiteral("%1, %2").arg(date, zone);
    if (m_period == Week)
        return QCoreApplication::translate("calendarperiods", "Week from %1, %2").arg(date, zone);
    const QDateTime to = from.addMSecs(qint64(range.length() / 1000));
    return QStringLiteral("%1 %2 to %3, %4").arg(date, inEnglish(from, "HH:mm"), inEnglish(to, "HH:mm"), zone);
}
