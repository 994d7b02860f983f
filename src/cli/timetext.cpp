#include "cli/timetext.h"

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>
#include <limits>

namespace {

bool isNumber(const QString &text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(),
                                          [](QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); });
}

/// "25" -> 250000: the digits after the second's decimal sign, cut after six.
quint64 fractionUs(const QString &digits)
{
    return digits.leftJustified(6, QLatin1Char('0'), true).toULongLong();
}

bool fromIso(const QString &text, quint64 &us, QString *reason)
{
    static const QRegularExpression form(
        QStringLiteral("^(\\d{4}-\\d\\d-\\d\\d)[T ](\\d\\d:\\d\\d)(:\\d\\d)?(?:[.,](\\d+))?(Z|[+-]\\d\\d:?\\d\\d)?$"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch()) {
        *reason = QStringLiteral("is neither microseconds nor a time like 2024-05-01T12:00:00Z");
        return false;
    }
    const QString zone = match.captured(5);
    if (zone.isEmpty()) {
        *reason = QStringLiteral("has no time zone; add Z for UTC, or an offset like +02:00");
        return false;
    }
    const QString seconds = match.captured(3).isEmpty() ? QStringLiteral(":00") : match.captured(3);
    const QDateTime time =
        QDateTime::fromString(match.captured(1) + QLatin1Char('T') + match.captured(2) + seconds + zone, Qt::ISODate);
    if (!time.isValid() || time.toMSecsSinceEpoch() < 0) {
        *reason = QStringLiteral("is no date after 1970");
        return false;
    }
    us = quint64(time.toMSecsSinceEpoch()) * 1000 + fractionUs(match.captured(4));
    return true;
}

} // namespace

bool timetext::parse(const QString &text, quint64 &us, QString *reason)
{
    QString why;
    bool ok = false;
    if (isNumber(text)) {
        const quint64 value = text.toULongLong(&ok);
        ok = ok && value <= quint64(std::numeric_limits<qint64>::max());
        if (ok)
            us = value;
        else
            why = QStringLiteral("is too large");
    } else {
        ok = fromIso(text, us, &why);
    }
    if (!ok && reason)
        *reason = QStringLiteral("the time '%1' %2").arg(text, why);
    return ok;
}

QString timetext::utc(quint64 us)
{
    if (us == 0)
        return QStringLiteral("-");
    return QDateTime::fromMSecsSinceEpoch(qint64(us / 1000), Qt::UTC).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) +
           QStringLiteral(" UTC");
}

QString timetext::span(quint64 us)
{
    const quint64 seconds = us / 1000000;
    const auto two = [](quint64 large, const char *largeUnit, quint64 small, const char *smallUnit) {
        return QStringLiteral("%1 %2 %3 %4")
            .arg(large)
            .arg(QLatin1String(largeUnit))
            .arg(small)
            .arg(QLatin1String(smallUnit));
    };
    if (us < 1000000)
        return QStringLiteral("%1 ms").arg(us / 1000);
    if (seconds < 60)
        return QStringLiteral("%1 s").arg(seconds);
    if (seconds < 3600)
        return two(seconds / 60, "min", seconds % 60, "s");
    if (seconds < 86400)
        return two(seconds / 3600, "h", seconds % 3600 / 60, "min");
    return two(seconds / 86400, "d", seconds % 86400 / 3600, "h");
}
