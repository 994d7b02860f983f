#include "recipe/timelinelayout.h"

#include <algorithm>

namespace timelinelayout {

namespace {

constexpr qint64 roundSteps[] = {1,    2,    5,    10,    15,    30,    60,    120,    300,    600,    900,
                                 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800, 345600, 864000, 1728000};

// Between the lowest and the highest of the recipe, with room above and below; one frequency lies in the middle.
double frequencyPlace(const Layout &layout, qint32 frequency)
{
    const double span = static_cast<double>(layout.highestFrequency) - layout.lowestFrequency;
    return span > 0 ? 0.15 + 0.7 * (static_cast<double>(frequency) - layout.lowestFrequency) / span : 0.5;
}

} // namespace

Layout layoutOf(const Recipe &recipe)
{
    Layout layout;
    const int count = recipe.numberOfSteps();
    for (int i = 0; i < count; ++i) {
        layout.totalSeconds += std::max(recipe.duration(i), 0);
        const qint32 frequency = recipe.frequency(i);
        layout.lowestFrequency = i == 0 ? frequency : std::min(layout.lowestFrequency, frequency);
        layout.highestFrequency = i == 0 ? frequency : std::max(layout.highestFrequency, frequency);
        layout.highestThreshold = std::max(layout.highestThreshold, recipe.threshold(i));
    }
    const double total = static_cast<double>(std::max<qint64>(layout.totalSeconds, 1));
    qint64 start = 0;
    for (int i = 0; i < count; ++i) {
        Step step;
        step.startSeconds = start;
        step.seconds = std::max(recipe.duration(i), 0);
        step.left = static_cast<double>(start) / total;
        start += step.seconds;
        step.right = static_cast<double>(start) / total;
        const qint64 skipped = std::min<qint64>(std::max(recipe.skipTime(i), 0), step.seconds);
        step.skipRight = static_cast<double>(step.startSeconds + skipped) / total;
        step.frequency = frequencyPlace(layout, recipe.frequency(i));
        if (layout.highestThreshold > 0)
            step.threshold = std::max(0.0, static_cast<double>(recipe.threshold(i)) / layout.highestThreshold);
        layout.steps.append(step);
    }
    return layout;
}

int Layout::stepAt(double place) const
{
    for (int i = 0; i < steps.size(); ++i) {
        if (place >= steps.at(i).left && place < steps.at(i).right)
            return i;
    }
    return -1;
}

QVector<Tick> ticks(qint64 totalSeconds, int most)
{
    QVector<Tick> list;
    if (totalSeconds <= 0 || most < 1)
        return list;
    const auto fits = [=](qint64 step) { return totalSeconds / step <= most; };
    const qint64 *step = std::find_if(std::begin(roundSteps), std::end(roundSteps), fits);
    if (step == std::end(roundSteps))
        step = std::end(roundSteps) - 1;
    for (qint64 time = 0; time <= totalSeconds && list.size() <= most; time += *step)
        list.append({static_cast<double>(time) / static_cast<double>(totalSeconds), duration(time)});
    return list;
}

QString duration(qint64 seconds)
{
    const auto two = [](qint64 n) { return QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0')); };
    if (seconds < 60)
        return QStringLiteral("%1 s").arg(seconds);
    if (seconds < 3600)
        return seconds % 60 == 0 ? QStringLiteral("%1 min").arg(seconds / 60)
                                 : QStringLiteral("%1 min %2 s").arg(seconds / 60).arg(two(seconds % 60));
    return seconds % 3600 < 60 ? QStringLiteral("%1 h").arg(seconds / 3600)
                               : QStringLiteral("%1 h %2 min").arg(seconds / 3600).arg(two(seconds / 60 % 60));
}

QString frequencyText(qint32 hz)
{
    if (hz >= 1000000)
        return QStringLiteral("%1 MHz").arg(QString::number(hz / 1e6, 'g', 7));
    return hz >= 1000 ? QStringLiteral("%1 kHz").arg(QString::number(hz / 1e3, 'g', 6))
                      : QStringLiteral("%1 Hz").arg(hz);
}

} // namespace timelinelayout
