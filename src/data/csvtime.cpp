#include "data/csvtime.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace {

using csvsamples::TimeFormat;

constexpr double largestTime = 9e18; // us

bool toTime(double us, quint64 &timeUs)
{
    if (!(us >= 0 && us < largestTime))
        return false;
    timeUs = static_cast<quint64>(std::llround(us));
    return true;
}

/// Digits behind the point as microseconds: "5" is 500,000, further digits than six are dropped.
qint64 fraction(const QString &digits)
{
    return digits.leftJustified(6, QLatin1Char('0'), true).toLongLong();
}

bool assemble(const QDate &date, const QTime &time, qint64 us, const QTimeZone &zone, quint64 &timeUs)
{
    if (!date.isValid() || !time.isValid())
        return false;
    const QDateTime moment = zone.isValid() ? QDateTime(date, time, zone) : QDateTime(date, time, Qt::UTC);
    const qint64 seconds = moment.toSecsSinceEpoch();
    if (seconds < 0)
        return false;
    timeUs = static_cast<quint64>(seconds * 1000000 + us);
    return true;
}

/// "2024-02-05T13:45:10.123456+01:00"
bool parseIso(const QString &cell, const QTimeZone &zone, quint64 &timeUs)
{
    static const QRegularExpression pattern(
        QStringLiteral("^(\\d{4})-(\\d\\d)-(\\d\\d)[T ](\\d\\d):(\\d\\d)(?::(\\d\\d)(?:[.,](\\d+))?)?\\s*"
                       "(Z|UTC|([+-])(\\d\\d):?(\\d\\d))?$"));
    const QRegularExpressionMatch match = pattern.match(cell);
    if (!match.hasMatch())
        return false;
    const auto number = [&match](int group) { return match.captured(group).toInt(); };
    const int offset = (number(10) * 60 + number(11)) * 60 * (match.captured(9) == QLatin1String("-") ? -1 : 1);
    quint64 time = 0;
    if (!assemble({number(1), number(2), number(3)}, {number(4), number(5), number(6)}, fraction(match.captured(7)),
                  match.capturedLength(8) > 0 ? QTimeZone() : zone, time))
        return false;
    timeUs = time - static_cast<quint64>(offset * qint64(1000000));
    return offset <= 0 || time >= static_cast<quint64>(offset * qint64(1000000));
}

bool parseDate(const QString &cell, bool dayFirst, const QTimeZone &zone, quint64 &timeUs)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^(\\d{1,2})[./-](\\d{1,2})[./-](\\d{4})[T ]+(\\d{1,2}):(\\d\\d)(?::(\\d\\d)(?:[.,](\\d+))?)?$"));
    const QRegularExpressionMatch match = pattern.match(cell);
    if (!match.hasMatch())
        return false;
    const auto number = [&match](int group) { return match.captured(group).toInt(); };
    const QDate date(number(3), number(dayFirst ? 2 : 1), number(dayFirst ? 1 : 2));
    return assemble(date, {number(4), number(5), number(6)}, fraction(match.captured(7)), zone, timeUs);
}

/// "Mon-05-Feb-2024 13:45:10.1235": three digits of milliseconds, behind them the microseconds as a number.
bool parseExportCell(const QString &cell, quint64 &timeUs)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^[A-Z][a-z]{2}-(\\d\\d)-([A-Z][a-z]{2})-(\\d{4}) (\\d\\d):(\\d\\d):(\\d\\d)\\.(\\d{3})(\\d{1,3})$"));
    static const QStringList months{QStringLiteral("Jan"), QStringLiteral("Feb"), QStringLiteral("Mar"),
                                    QStringLiteral("Apr"), QStringLiteral("May"), QStringLiteral("Jun"),
                                    QStringLiteral("Jul"), QStringLiteral("Aug"), QStringLiteral("Sep"),
                                    QStringLiteral("Oct"), QStringLiteral("Nov"), QStringLiteral("Dec")};
    const QRegularExpressionMatch match = pattern.match(cell);
    if (!match.hasMatch())
        return false;
    const auto number = [&match](int group) { return match.captured(group).toInt(); };
    const QDate date(number(3), months.indexOf(match.captured(2)) + 1, number(1));
    return assemble(date, {number(4), number(5), number(6)}, number(7) * 1000 + number(8), QTimeZone(), timeUs);
}

constexpr TimeFormat datedFormats[] = {TimeFormat::ExportCell, TimeFormat::Iso, TimeFormat::DayMonthYear,
                                       TimeFormat::MonthDayYear};

quint8 bitOf(TimeFormat format)
{
    return static_cast<quint8>(1U << static_cast<unsigned>(format));
}

/// Which unit the numbers of a column have since 1970, by their size.
TimeFormat formatOfNumber(double value)
{
    if (value >= 1e14)
        return TimeFormat::Microseconds;
    if (value >= 1e11)
        return TimeFormat::Milliseconds;
    return value >= 1e8 ? TimeFormat::Seconds : TimeFormat::ElapsedSeconds;
}

} // namespace

bool csvtime::isMost(qint64 count, int all)
{
    constexpr int tenths = 8;
    return count > 0 && count * 10 >= qint64(all) * tenths;
}

bool csvtime::parseNumber(const QString &cell, QChar decimalSign, double &value)
{
    QString text = cell.trimmed();
    if (decimalSign != QLatin1Char('.')) {
        if (text.contains(QLatin1Char('.')))
            return false;
        text.replace(decimalSign, QLatin1Char('.'));
    }
    bool ok = false;
    value = text.toDouble(&ok); // of the C locale
    return ok && std::isfinite(value);
}

bool csvtime::mayLackZone(TimeFormat format)
{
    return format == TimeFormat::Iso || format == TimeFormat::DayMonthYear || format == TimeFormat::MonthDayYear;
}

bool csvtime::parse(QString cell, TimeFormat format, QChar decimalSign, quint64 startUs, quint64 &timeUs,
                    const QTimeZone &zone)
{
    cell = cell.trimmed();
    switch (format) {
    case TimeFormat::ExportCell:
        return parseExportCell(cell, timeUs);
    case TimeFormat::Iso:
        return parseIso(cell, zone, timeUs);
    case TimeFormat::DayMonthYear:
        return parseDate(cell, true, zone, timeUs);
    case TimeFormat::MonthDayYear:
        return parseDate(cell, false, zone, timeUs);
    default:
        break;
    }
    double number = 0;
    bool whole = false;
    timeUs = cell.toULongLong(&whole); // exact beyond what a double holds
    if (format == TimeFormat::Microseconds && whole)
        return timeUs < static_cast<quint64>(largestTime);
    if (!parseNumber(cell, decimalSign, number))
        return false;
    const double factor = format == TimeFormat::Microseconds ? 1 : format == TimeFormat::Milliseconds ? 1e3 : 1e6;
    const double start = format == TimeFormat::ElapsedSeconds ? static_cast<double>(startUs) : 0;
    return toTime(start + number * factor, timeUs);
}

csvtime::CellTraits csvtime::traitsOf(const QString &cell, QChar decimalSign)
{
    CellTraits traits;
    traits.isNumber = parseNumber(cell, decimalSign, traits.number);
    constexpr int shortestDate = 13; // "1/2/2024 1:00"
    if (traits.isNumber || cell.size() < shortestDate || !cell.contains(QLatin1Char(':')))
        return traits;
    quint64 unused = 0;
    for (const TimeFormat format : datedFormats) {
        if (parse(cell, format, decimalSign, 0, unused))
            traits.formats |= bitOf(format);
    }
    return traits;
}

QVector<csvsamples::TimeFormat> csvtime::formatsOf(const QVector<CellTraits> &cells)
{
    QVector<QPair<qint64, TimeFormat>> found; // how many cells fit
    for (const TimeFormat format : datedFormats) {
        const qint64 fitting = std::count_if(
            cells.begin(), cells.end(), [&](const CellTraits &cell) { return (cell.formats & bitOf(format)) != 0; });
        if (isMost(fitting, cells.size()))
            found.append({fitting, format});
    }
    std::stable_sort(found.begin(), found.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
    QVector<TimeFormat> formats;
    for (const auto &each : qAsConst(found))
        formats.append(each.second);
    double largest = 0;
    const qint64 numbers = std::count_if(cells.begin(), cells.end(), [&](const CellTraits &cell) {
        const bool fits = cell.isNumber && cell.number >= 0;
        largest = fits ? std::max(largest, cell.number) : largest;
        return fits;
    });
    if (formats.isEmpty() && isMost(numbers, cells.size()))
        formats.append(formatOfNumber(largest));
    return formats;
}
