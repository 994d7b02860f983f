#include "recipe/configurationlimits.h"

#include "base/coretext.h"
#include "recipe/configurationfields.h"

#include <QCoreApplication>
#include <QLocale>

#include <cmath>

namespace {

constexpr double maximumUnsigned = 4294967295.0;

/// The values of a field as numbers; the frequency window has two.
struct Numbers
{
    const SensorConfiguration &configuration;

    template <typename T>
    QVector<double> operator()(T SensorConfiguration::*member) const
    {
        return {static_cast<double>(configuration.*member)};
    }
    QVector<double> operator()(const ConfigurationLimits &limits) const
    {
        return {double(configuration.*limits.low), double(configuration.*limits.high)};
    }
};

int indexOf(const char *key)
{
    const auto &fields = configurationFields();
    for (int i = 0; i < int(fields.size()); ++i) {
        if (fields[size_t(i)].readKey == QLatin1String(key))
            return i;
    }
    return 0;
}

QString number(double value)
{
    return QLocale::c().toString(value, 'g', 10);
}

void checkOrder(QVector<ConfigurationProblem> &problems, bool wrong, const char *key, const char *reason)
{
    if (wrong)
        problems.append({indexOf(key), QCoreApplication::translate("ConfigurationText", reason)});
}

} // namespace

const std::array<ConfigurationText, 25> &configurationTexts()
{
    static const std::array<ConfigurationText, 25> texts = {{
        {"Signal base threshold", "V", 0, 10000, "RF counts as on at or above this voltage."},
        {"Refresh rate", "ms", 1, 60000, "Time between two samples of the sensor."},
        {"Points per event", "", 1, 1000000, "Waveform samples captured for each event."},
        {"Voltage factor", "", -1000000, 1000000, "Scale from the sensor's voltage reading to volts."},
        {"Current factor", "", -1000000, 1000000, "Scale from the sensor's current reading to amperes."},
        {"Frequency window", "Hz", 0, 2147483647, "Lowest and highest RF frequency that the sensor follows."},
        {"Lock to signal", "", 0, 255, "The sensor locks to the frequency of the signal."},
        {"Noise filter length", "samples", 0, 1024, "Samples averaged before an event is looked for."},
        {"Level 1: maximum length", "µs", 0, maximumUnsigned, "Longest event of the first length level."},
        {"Level 1: minimum amplitude", "%", 0, 100, "Smallest deviation of the first amplitude level."},
        {"Level 2: maximum length", "µs", 0, maximumUnsigned, "Longest event of the second length level."},
        {"Level 2: minimum amplitude", "%", 0, 100, "Smallest deviation of the second amplitude level."},
        {"Level 3: maximum length", "µs", 0, maximumUnsigned, "Longest event of the third length level."},
        {"Level 3: minimum amplitude", "%", 0, 100, "Smallest deviation of the third amplitude level."},
        {"Capture switch-on events", "", 0, 255, "RF being switched on is captured as an event."},
        {"Minimum switch-off length", "ms", 0, maximumUnsigned,
         "RF has to stay off this long before a run counts as ended."},
        {"Glitch period time", "µs", 0, maximumUnsigned, "Shorter disturbances of the pulse period are ignored."},
        {"Pulse event resolution", "µs", 0, maximumUnsigned, "One stored point for every so many microseconds."},
        {"Pulse period: minimum", "µs", 0, maximumUnsigned, "A shorter period is a pulse event."},
        {"Pulse period: maximum", "µs", 0, maximumUnsigned, "A longer period is a pulse event."},
        {"Pulse on-time: minimum", "µs", 0, maximumUnsigned, "A shorter on-time is a pulse event."},
        {"Pulse on-time: maximum", "µs", 0, maximumUnsigned, "A longer on-time is a pulse event."},
        {"Capture all pulses", "", 0, 255, "Every pulse is captured, not only those outside the limits."},
        {"Skip at start", "s", 0, 3600, "Time after RF comes on in which nothing is detected."},
        {"Ignore after start", "s", 0, 3600, "Time after the start of a recipe step in which nothing is detected."},
    }};
    return texts;
}

QString configurationTitle(int field)
{
    return QCoreApplication::translate("ConfigurationText", configurationTexts()[size_t(field)].title);
}

QString configurationProblem(int field, double value)
{
    const ConfigurationText &text = configurationTexts()[size_t(field)];
    if (!std::isfinite(value) || value < text.minimum || value > text.maximum) {
        return CoreText::tr("%1 must lie between %2 and %3 %4")
            .arg(configurationTitle(field), number(text.minimum), number(text.maximum), QString::fromUtf8(text.unit))
            .trimmed();
    }
    const bool isWhole =
        !std::holds_alternative<double SensorConfiguration::*>(configurationFields()[size_t(field)].member);
    const bool hasDecimals = value > std::floor(value);
    return isWhole && hasDecimals ? CoreText::tr("%1 must be a whole number").arg(configurationTitle(field))
                                  : QString();
}

QVector<ConfigurationProblem> configurationProblems(const SensorConfiguration &configuration)
{
    QVector<ConfigurationProblem> problems;
    for (size_t i = 0; i < configurationFields().size(); ++i) {
        const QVector<double> values = std::visit(Numbers{configuration}, configurationFields()[i].member);
        for (const double value : values) {
            const QString problem = configurationProblem(int(i), value);
            if (problem.isEmpty())
                continue;
            problems.append({int(i), problem});
            break;
        }
    }
    const SensorConfiguration &c = configuration;
    checkOrder(problems, c.frequencyLimitLow > c.frequencyLimitHigh, "frequency_limit",
               "The lower end of the frequency window lies above the upper end");
    checkOrder(problems, c.event1MaxLength > c.event2MaxLength, "event_max_length_2",
               "The maximum lengths must not fall from level 1 to level 2");
    checkOrder(problems, c.event2MaxLength > c.event3MaxLength, "event_max_length_3",
               "The maximum lengths must not fall from level 2 to level 3");
    checkOrder(problems, c.event1MinAmplitude > c.event2MinAmplitude, "event_min_amplitude_2",
               "The minimum amplitudes must not fall from level 1 to level 2");
    checkOrder(problems, c.event2MinAmplitude > c.event3MinAmplitude, "event_min_amplitude_3",
               "The minimum amplitudes must not fall from level 2 to level 3");
    checkOrder(problems, c.pulsePeriodMin > c.pulsePeriodMax, "pulse_period_max",
               "The maximum pulse period lies below the minimum");
    checkOrder(problems, c.pulseOnMin > c.pulseOnMax, "pulse_on_max", "The maximum on-time lies below the minimum");
    return problems;
}
