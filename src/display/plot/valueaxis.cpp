#include "display/plot/valueaxis.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

struct Prefix
{
    double size;
    const char *text;
};

constexpr std::array<Prefix, 8> prefixes{
    {{1e-9, "n"}, {1e-6, "µ"}, {1e-3, "m"}, {1.0, ""}, {1e3, "k"}, {1e6, "M"}, {1e9, "G"}, {1e12, "T"}}};

constexpr double largestValue = 1e30;
constexpr double finestRelative = 1e-5; // values are kept in single precision

double roundStep(double coarse)
{
    const double power = std::pow(10.0, std::floor(std::log10(coarse)));
    const double lead = coarse / power;
    return power * (lead <= 1.0 ? 1.0 : lead <= 2.0 ? 2.0 : lead <= 5.0 ? 5.0 : 10.0);
}

QString trimmed(QString text)
{
    if (text.contains(QLatin1Char('.')) && !text.contains(QLatin1Char('e'))) {
        while (text.endsWith(QLatin1Char('0')))
            text.chop(1);
        if (text.endsWith(QLatin1Char('.')))
            text.chop(1);
    }
    return text;
}

} // namespace

UnitScale unitScale(double largest, const QString &unit)
{
    if (unit.isEmpty() || unit == QLatin1String("%"))
        return {1.0, unit};
    const bool micro = unit.startsWith(QChar(0xb5)); // kept in millionths
    const double base = micro ? 1e-6 : 1.0;
    const QString bare = micro ? unit.mid(1) : unit;
    const double size = std::abs(largest) * base;
    const Prefix *best = &prefixes[3];
    if (std::isfinite(size) && size > 0) {
        best = &prefixes.front();
        for (const Prefix &prefix : prefixes)
            if (size >= prefix.size * 0.9999999)
                best = &prefix;
    } else if (micro) {
        best = &prefixes[1];
    }
    // Seconds end at seconds.
    if (bare == QLatin1String("s") && best->size > 1.0)
        best = &prefixes[3];
    return {base / best->size, QString::fromUtf8(best->text) + bare};
}

QString valueText(double value, const QString &unit, int digits)
{
    if (!std::isfinite(value))
        return QCoreApplication::translate("valueaxis", "no value");
    const UnitScale scale = unitScale(value, unit);
    const double shown = value * scale.factor;
    const double size = std::abs(shown);
    if (size != 0 && (size >= 1e7 || size < 1e-4))
        return (QString::number(shown, 'e', digits - 1) + QLatin1Char(' ') + scale.unit).trimmed();
    const int whole = size < 1 ? 1 : int(std::floor(std::log10(size))) + 1;
    QString text = QString::number(shown, 'f', std::clamp(digits - whole, 0, 9));
    if (unit.isEmpty())
        text = trimmed(text);
    return unit.isEmpty() ? text : text + QLatin1Char(' ') + scale.unit;
}

ValueTicks valueTicks(const ValueSpan &span, const QString &unit, int most)
{
    ValueTicks result;
    const double length = span.length();
    if (!(length > 0) || !std::isfinite(length))
        return result;
    double step = roundStep(length / std::max(most, 1));
    const auto ticksOf = [&span](double s) {
        return std::floor(span.high / s + 1e-9) - std::ceil(span.low / s - 1e-9) + 1;
    };
    while (ticksOf(step) > most)
        step = roundStep(step * 1.5);
    const double power = std::pow(10.0, std::floor(std::log10(step * 1.0000001)));
    const int parts = std::lround(step / power) == 2 ? 4 : 5;
    const double first = std::floor(span.low / step);
    const UnitScale scale = unitScale(std::max(std::abs(span.low), std::abs(span.high)) * 0.999, unit);
    const double shownStep = step * scale.factor;
    const int decimals = std::clamp(int(std::ceil(-std::log10(shownStep) - 1e-9)), 0, 12);
    result.unit = scale.unit;
    for (int i = 0; i <= (most + 2) * parts; ++i) {
        const double value = (first + double(i) / parts) * step;
        if (value < span.low - length * 1e-9 || value > span.high + length * 1e-9)
            continue;
        if (i % parts) {
            result.minor.append(value);
            continue;
        }
        const double tick = std::abs(value) < step * 1e-6 ? 0.0 : value;
        result.major.append(tick);
        const double shown = tick * scale.factor;
        result.labels.append(std::abs(shown) >= 1e7 || (shownStep < 1e-9) ? QString::number(shown, 'g', 6)
                                                                          : QString::number(shown, 'f', decimals));
    }
    return result;
}

ValueSpan automaticSpan(double low, double high, const ValueSpan *present)
{
    if (!(low <= high))
        return present ? *present : ValueSpan{0.0, 1.0};
    low = std::clamp(low, -largestValue, largestValue);
    high = std::clamp(high, -largestValue, largestValue);
    const double size = std::max(std::abs(low), std::abs(high));
    double length = high - low;
    if (length <= size * finestRelative) {
        length = size > 0 ? size * 0.1 : 1.0;
        low -= length / 2;
        high += length / 2;
    }
    if (present && low >= present->low && high <= present->high && high - low >= 0.55 * present->length())
        return *present;
    ValueSpan result{low - length * 0.05, high + length * 0.08};
    if (low >= 0 && low < 0.6 * high)
        result.low = 0;
    else if (high <= 0 && high > 0.6 * low)
        result.high = 0;
    const double step = roundStep((result.high - result.low) / 10);
    return {std::floor(result.low / step + 1e-9) * step, std::ceil(result.high / step - 1e-9) * step};
}

ValueSpan clampedSpan(ValueSpan span)
{
    if (!std::isfinite(span.low) || !std::isfinite(span.high))
        return {0.0, 1.0};
    if (span.low > span.high)
        std::swap(span.low, span.high);
    span.low = std::max(span.low, -largestValue);
    span.high = std::min(span.high, largestValue);
    const double size = std::max(std::abs(span.low), std::abs(span.high));
    const double least = std::max(size * finestRelative, 1e-12);
    if (span.length() < least) {
        const double middle = span.low / 2 + span.high / 2;
        span = {middle - least / 2, middle + least / 2};
    }
    return span;
}
