#include "display/plot/timeaxis.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <iterator>

namespace {

constexpr quint64 ms = 1000;
constexpr quint64 second = 1000 * ms;
constexpr quint64 minute = 60 * second;
constexpr quint64 hour = 60 * minute;
constexpr quint64 day = 24 * hour;
constexpr quint64 microsecondAxis = 5 * ms;
constexpr int mostMinor = 200;

struct Step
{
    quint64 length; // 0 for calendar steps
    int minor;      // parts
};

constexpr Step evenSteps[] = {
    {1, 1},         {2, 2},          {5, 5},          {10, 5},          {20, 4},          {50, 5},
    {100, 5},       {200, 4},        {500, 5},        {ms, 5},          {2 * ms, 4},      {5 * ms, 5},
    {10 * ms, 5},   {20 * ms, 4},    {50 * ms, 5},    {100 * ms, 5},    {200 * ms, 4},    {500 * ms, 5},
    {second, 5},    {2 * second, 4}, {5 * second, 5}, {10 * second, 5}, {15 * second, 3}, {30 * second, 3},
    {minute, 6},    {2 * minute, 4}, {5 * minute, 5}, {10 * minute, 5}, {15 * minute, 3}, {30 * minute, 3},
    {hour, 6},      {2 * hour, 4},   {3 * hour, 3},   {6 * hour, 6},    {12 * hour, 4},   {day, 4},
    {2 * day, 2},   {5 * day, 5},    {10 * day, 5},   {20 * day, 4},    {50 * day, 5},    {100 * day, 5},
    {200 * day, 4}, {500 * day, 5},  {1000 * day, 5}, {2000 * day, 4},  {5000 * day, 5},
};

/// Steps of the wall clock and the calendar; one of the three is set.
struct WallStep
{
    int hours;
    int days;
    int months;
    quint64 about;
};

constexpr WallStep wallSteps[] = {
    {2, 0, 0, 2 * hour},   {3, 0, 0, 3 * hour},       {6, 0, 0, 6 * hour},         {12, 0, 0, 12 * hour},
    {0, 1, 0, day},        {0, 2, 0, 2 * day},        {0, 7, 0, 7 * day},          {0, 14, 0, 14 * day},
    {0, 0, 1, 31 * day},   {0, 0, 2, 61 * day},       {0, 0, 3, 92 * day},         {0, 0, 6, 183 * day},
    {0, 0, 12, 366 * day}, {0, 0, 60, 5 * 366 * day}, {0, 0, 120, 10 * 366 * day},
};

QString inEnglish(const QDateTime &moment, const char *format)
{
    return QLocale::c().toString(moment, QLatin1String(format));
}

QString fraction(quint64 time, quint64 step)
{
    const quint64 rest = time % second;
    for (int digits = 1; digits <= 6; ++digits) {
        quint64 unit = second;
        for (int i = 0; i < digits; ++i)
            unit /= 10;
        if (step % unit == 0)
            return QStringLiteral(".%1").arg(rest / unit, digits, 10, QLatin1Char('0'));
    }
    return QString();
}

QString grouped(qint64 number)
{
    QString text = QString::number(number);
    for (int at = text.size() - 3; at > (number < 0 ? 1 : 0); at -= 3)
        text.insert(at, QChar(0x2009));
    return text;
}

} // namespace

bool TimeAxis::countsMicroseconds(const TimeRange &range) const
{
    return range.length() < microsecondAxis;
}

int TimeAxis::offsetAt(quint64 time) const
{
    if (m_mode != TimeMode::Local || !m_zone.isValid())
        return 0;
    return m_zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(qint64(time / ms), Qt::UTC));
}

QDateTime TimeAxis::shown(quint64 time) const
{
    // A UTC value moved by the offset: it prints the wall clock and never meets a missing or a double hour.
    return QDateTime::fromMSecsSinceEpoch(qint64(time / ms) + qint64(offsetAt(time)) * 1000, Qt::UTC);
}

QString TimeAxis::offsetText(int seconds)
{
    if (seconds == 0)
        return QStringLiteral("UTC");
    const int minutes = std::abs(seconds) / 60;
    QString text = QStringLiteral("UTC%1%2").arg(QLatin1Char(seconds < 0 ? '-' : '+')).arg(minutes / 60);
    if (minutes % 60)
        text += QStringLiteral(":%1").arg(minutes % 60, 2, 10, QLatin1Char('0'));
    return text;
}

QString TimeAxis::zoneText(quint64 time) const
{
    if (m_mode == TimeMode::Elapsed)
        return QStringLiteral("elapsed");
    if (m_mode == TimeMode::Utc)
        return QStringLiteral("UTC");
    const QString name = QString::fromLatin1(m_zone.id());
    const QString offset = offsetText(offsetAt(time));
    return name.isEmpty() || name.endsWith(QLatin1String("UTC")) ? offset : name + QStringLiteral(", ") + offset;
}

void TimeAxis::placeEven(const TimeRange &range, quint64 step, quint64 anchor, TimeTicks &ticks) const
{
    const auto found =
        std::find_if(std::begin(evenSteps), std::end(evenSteps), [step](const Step &s) { return s.length == step; });
    const quint64 part = std::max<quint64>(1, step / quint64(found->minor));
    // Multiples counted from the anchor, which may lie after the range.
    const quint64 shift = part - anchor % part;
    quint64 tick = (range.from + shift + part - 1) / part * part - shift;
    for (; tick <= range.to && ticks.minor.size() < mostMinor; tick += part) {
        const bool major = tick >= anchor ? (tick - anchor) % step == 0 : (anchor - tick) % step == 0;
        (major ? ticks.major : ticks.minor).append(tick);
    }
}

quint64 TimeAxis::placeWall(const TimeRange &range, std::size_t stepIndex, TimeTicks &ticks) const
{
    const WallStep &step = wallSteps[stepIndex];
    QDateTime wall(shown(range.from).date(), QTime(0, 0), Qt::UTC);
    if (step.months) {
        const int months = wall.date().year() * 12 + wall.date().month() - 1;
        wall.setDate(QDate(months / step.months * step.months / 12, months / step.months * step.months % 12 + 1, 1));
    } else if (step.days > 1) {
        wall = wall.addDays(-(wall.date().toJulianDay() % step.days)); // by weeks: on Mondays
    }
    for (int i = 0; i < 64; ++i) {
        // The offset of that wall time: taken near it, then at the moment it gives.
        const qint64 wallMs = std::max<qint64>(0, wall.toMSecsSinceEpoch());
        const qint64 near = std::max<qint64>(0, wallMs - qint64(offsetAt(quint64(wallMs) * ms)) * 1000);
        const qint64 moment = std::max<qint64>(0, wallMs - qint64(offsetAt(quint64(near) * ms)) * 1000);
        const quint64 tick = quint64(moment) * ms;
        if (tick > range.to)
            break;
        // A wall time that the clock change left out has no tick.
        if (tick >= range.from && shown(tick) == wall)
            ticks.major.append(tick);
        wall = step.months ? wall.addMonths(step.months)
               : step.days ? wall.addDays(step.days)
                           : wall.addSecs(qint64(step.hours) * 3600);
    }
    return step.about;
}

quint64 TimeAxis::placeTicks(const TimeRange &range, int most, TimeTicks &ticks) const
{
    const quint64 coarse = std::max<quint64>(range.length(), 1) / quint64(std::clamp(most, 1, mostTicks));
    if (m_mode != TimeMode::Elapsed && coarse > hour) {
        std::size_t index = 0;
        while (index + 1 < std::size(wallSteps) && wallSteps[index].about < coarse)
            ++index;
        quint64 step = placeWall(range, index, ticks);
        while (ticks.major.size() > mostTicks && ++index < std::size(wallSteps)) {
            ticks.major.clear();
            step = placeWall(range, index, ticks);
        }
        return step;
    }
    std::size_t index = 0;
    while (index + 1 < std::size(evenSteps) && evenSteps[index].length < coarse)
        ++index;
    quint64 anchor = 0;
    if (m_mode == TimeMode::Elapsed)
        anchor = m_origin;
    else if (m_mode == TimeMode::Local)
        anchor = quint64(qint64(2 * day / second) - offsetAt(range.from)) * second;
    placeEven(range, evenSteps[index].length, anchor, ticks);
    while (ticks.major.size() > mostTicks && ++index < std::size(evenSteps)) {
        ticks.major.clear();
        ticks.minor.clear();
        placeEven(range, evenSteps[index].length, anchor, ticks);
    }
    return evenSteps[std::min(index, std::size(evenSteps) - 1)].length;
}

void TimeAxis::setZero(quint64 time, const QString &name)
{
    m_zero = time;
    m_zeroName = name;
}

TimeTicks TimeAxis::ticksFromZero(const TimeRange &range, int most) const
{
    TimeTicks result;
    const quint64 coarse = std::max<quint64>(range.length(), 1) / quint64(std::clamp(most, 1, mostTicks));
    std::size_t index = 0;
    while (index + 1 < std::size(evenSteps) && evenSteps[index].length < coarse)
        ++index;
    placeEven(range, evenSteps[index].length, *m_zero, result);
    for (const quint64 tick : qAsConst(result.major))
        result.labels.append(grouped(qint64(tick - *m_zero)));
    if (!m_zeroName.isEmpty())
        result.title = QStringLiteral("µs after %1").arg(m_zeroName);
    return result;
}

TimeTicks TimeAxis::ticks(const TimeRange &range, int most) const
{
    if (m_zero)
        return ticksFromZero(range, most);
    TimeTicks result;
    const quint64 step = placeTicks(range, most, result);
    const bool offsets = offsetAt(range.from) != offsetAt(range.to) && step <= hour;
    const bool counts = countsMicroseconds(range) && !result.major.isEmpty();
    const quint64 base = counts ? result.major.first() : 0;
    for (const quint64 tick : qAsConst(result.major)) {
        if (counts)
            result.labels.append(grouped(qint64(tick - base)));
        else if (m_mode == TimeMode::Elapsed)
            result.labels.append(elapsedLabel(tick, step));
        else
            result.labels.append(clockLabel(tick, step, offsets));
    }
    result.title = counts ? QStringLiteral("µs after %1").arg(moment(base)) : title(range, step);
    return result;
}

TimeTicks TimeAxis::fittingTicks(const TimeRange &range, int width,
                                 const std::function<int(const QString &)> &labelWidth) const
{
    TimeTicks result;
    for (int most = mostTicks; most >= 1; --most) {
        result = ticks(range, most);
        const double scale = double(width) / double(std::max<quint64>(range.length(), 1));
        const int blank = labelWidth(QStringLiteral("00"));
        bool fits = true;
        for (int i = 1; i < result.major.size() && fits; ++i) {
            const double distance = double(result.major[i] - result.major[i - 1]) * scale;
            fits = (labelWidth(result.labels[i]) + labelWidth(result.labels[i - 1])) / 2 + blank <= distance;
        }
        if (fits)
            return result;
    }
    result.major = result.major.mid(0, 1);
    result.labels = result.labels.mid(0, 1);
    return result;
}

QString TimeAxis::clockLabel(quint64 time, quint64 step, bool offsets) const
{
    const QDateTime moment = shown(time);
    if (step >= 365 * day)
        return inEnglish(moment, "yyyy");
    if (step >= 28 * day)
        return inEnglish(moment, "MMM yyyy");
    if (step >= day || (step >= minute && moment.time() == QTime(0, 0)))
        return inEnglish(moment, "d MMM");
    QString text = inEnglish(moment, step >= minute ? "HH:mm" : "HH:mm:ss");
    if (step < second)
        text += fraction(time, step);
    if (offsets)
        text += QStringLiteral(" (%1)").arg(offsetText(offsetAt(time)).mid(3));
    return text;
}

QString TimeAxis::elapsedLabel(quint64 time, quint64 step) const
{
    const bool negative = time < m_origin;
    const quint64 length = negative ? m_origin - time : time - m_origin;
    QString text = negative ? QStringLiteral("-") : QString();
    if (step >= day)
        return text + QStringLiteral("%1 d").arg(length / day);
    if (length >= day)
        text += QStringLiteral("%1 d ").arg(length / day);
    text += QStringLiteral("%1:%2").arg(length / hour % 24).arg(length / minute % 60, 2, 10, QLatin1Char('0'));
    text += QStringLiteral(":%1").arg(length / second % 60, 2, 10, QLatin1Char('0'));
    return step < second ? text + fraction(length, step) : text;
}

QString TimeAxis::title(const TimeRange &range, quint64 step) const
{
    if (m_mode == TimeMode::Elapsed)
        return QCoreApplication::translate("timeaxis", "Elapsed time since %1 UTC (%2)")
            .arg(inEnglish(QDateTime::fromMSecsSinceEpoch(qint64(m_origin / ms), Qt::UTC), "d MMM yyyy HH:mm:ss"),
                 step >= day ? QStringLiteral("days") : QStringLiteral("h:min:s"));
    const QDateTime from = shown(range.from);
    const QDateTime to = shown(range.to);
    QString zone = zoneText(range.from);
    if (offsetAt(range.from) != offsetAt(range.to))
        zone += QCoreApplication::translate("timeaxis", " then ") + offsetText(offsetAt(range.to));
    if (step >= 28 * day)
        return QCoreApplication::translate("timeaxis", "Time in %1").arg(zone);
    QString dates = inEnglish(from, from.date() == to.date() ? "ddd d MMM yyyy" : "d MMM yyyy");
    if (from.date() != to.date())
        dates += QCoreApplication::translate("timeaxis", " to ") + inEnglish(to, "d MMM yyyy");
    return QCoreApplication::translate("timeaxis", "%1, time in %2").arg(dates, zone);
}

QString TimeAxis::moment(quint64 time) const
{
    if (m_zero)
        return grouped(qint64(time - *m_zero)) + QStringLiteral(" µs");
    if (m_mode == TimeMode::Elapsed)
        return elapsedLabel(time, 1);
    const QString text = inEnglish(shown(time), "yyyy-MM-dd HH:mm:ss") + fraction(time, 1);
    return text + QLatin1Char(' ') + offsetText(offsetAt(time));
}

QString TimeAxis::shortMoment(quint64 time) const
{
    if (m_zero || m_mode == TimeMode::Elapsed)
        return moment(time);
    return inEnglish(shown(time), "d MMM HH:mm:ss") + fraction(time, ms);
}

QString TimeAxis::modeText() const
{
    switch (m_mode) {
    case TimeMode::Local:
        return QStringLiteral("local");
    case TimeMode::Elapsed:
        return QStringLiteral("elapsed");
    case TimeMode::Utc:
        break;
    }
    return QStringLiteral("UTC");
}

QString durationText(quint64 length)
{
    const auto two = [](quint64 whole, const char *wholeUnit, quint64 rest, const char *restUnit) {
        QString text = QString::number(whole) + QLatin1Char(' ') + QLatin1String(wholeUnit);
        if (rest)
            text += QStringLiteral(" %1 ").arg(rest) + QLatin1String(restUnit);
        return text;
    };
    if (length < ms)
        return QStringLiteral("%1 µs").arg(length);
    if (length < second)
        return QCoreApplication::translate("timeaxis", "%1 ms").arg(length / ms);
    if (length < minute)
        return QStringLiteral("%1 s").arg(length / second);
    if (length < hour)
        return two(length / minute, "min", length % minute / second, "s");
    if (length < day)
        return two(length / hour, "h", length % hour / minute, "min");
    return two(length / day, "d", length % day / hour, "h");
}

QString preciseDuration(quint64 length)
{
    if (length < ms)
        return QStringLiteral("%1 µs").arg(length);
    if (length < second)
        return QCoreApplication::translate("timeaxis", "%1.%2 ms")
            .arg(length / ms)
            .arg(length % ms, 3, 10, QLatin1Char('0'));
    if (length < minute)
        return QStringLiteral("%1.%2 s").arg(length / second).arg(length % second, 6, 10, QLatin1Char('0'));
    QString text;
    if (length >= day)
        text += QStringLiteral("%1 d ").arg(length / day);
    if (length >= hour)
        text += QStringLiteral("%1 h ").arg(length / hour % 24);
    return text + QStringLiteral("%1 min %2.%3 s")
                      .arg(length / minute % 60)
                      .arg(length % minute / second)
                      .arg(length % second / ms, 3, 10, QLatin1Char('0'));
}
