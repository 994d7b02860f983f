#include "recipe/configurationfields.h"

#include <QTextStream>

#include <algorithm>

namespace {

using Configuration = SensorConfiguration;

ConfigurationField field(const char *key, const char *label, ConfigurationMember member)
{
    return {QLatin1String(key), QLatin1String(key), QLatin1String(label), member};
}

} // namespace

const std::array<ConfigurationField, 25> &configurationFields()
{
    static const std::array<ConfigurationField, 25> fields = {{
        field("signal_base_threshold", "Signal Base Threshold", &Configuration::signalBaseThreshold),
        field("refresh_rate", "Refresh Rate", &Configuration::refreshRate),
        field("event_points", "Event Points", &Configuration::eventPoints),
        field("voltage_factor", "Voltage Factor", &Configuration::voltageFactor),
        field("current_factor", "Current Factor", &Configuration::currentFactor),
        field("frequency_limit", "Frequency Limit",
              ConfigurationLimits{&Configuration::frequencyLimitLow, &Configuration::frequencyLimitHigh}),
        // The sensor answers with one name and listens to the other.
        {QLatin1String("signal_lock"), QLatin1String("signalLock"), QLatin1String("Signal Lock"),
         &Configuration::signalLock},
        field("noise_filter_length", "Noise Filter Length", &Configuration::noiseFilterLength),
        field("event_max_length_1", "Event1 Max Length", &Configuration::event1MaxLength),
        field("event_min_amplitude_1", "Event1 Min Amplitude", &Configuration::event1MinAmplitude),
        field("event_max_length_2", "Event2 Max Length", &Configuration::event2MaxLength),
        field("event_min_amplitude_2", "Event2 Min Amplitude", &Configuration::event2MinAmplitude),
        field("event_max_length_3", "Event3 Max Length", &Configuration::event3MaxLength),
        field("event_min_amplitude_3", "Event3 Min Amplitude", &Configuration::event3MinAmplitude),
        field("capture_switch_on_events", "Switch Event", &Configuration::captureSwitchOnEvents),
        field("min_switch_off_length", "Min Switch Off Length", &Configuration::minSwitchOffLength),
        field("glitch_period_time", "", &Configuration::glitchPeriodTime),
        field("pulse_event_resolution", "", &Configuration::pulseEventResolution),
        field("pulse_period_min", "Pulse Period Min", &Configuration::pulsePeriodMin),
        field("pulse_period_max", "Pulse Period Max", &Configuration::pulsePeriodMax),
        field("pulse_on_min", "", &Configuration::pulseOnMin),
        field("pulse_on_max", "", &Configuration::pulseOnMax),
        field("capture_all_pulses", "", &Configuration::captureAllPulses),
        field("skip_start_time", "", &Configuration::skipStartTime),
        field("ignore_time_after_start", "IgnoreTimeAfterOn", &Configuration::ignoreTimeAfterStart),
    }};
    return fields;
}

QJsonValue configurationValue(const QJsonObject &object, const ConfigurationField &field)
{
    const QJsonValue value = object.value(field.readKey);
    return value.isUndefined() ? object.value(field.writtenKey) : value;
}

void readConfigurationLines(QTextStream &stream, const std::function<void(int, const QStringList &)> &take)
{
    QString line;
    while (stream.readLineInto(&line)) {
        if (line.contains(QLatin1String("End Config")) || line.contains(QLatin1String("End Block Config")))
            break;
        const auto &fields = configurationFields();
        const auto named = std::find_if(fields.begin(), fields.end(), [&line](const ConfigurationField &field) {
            return !field.label.isEmpty() && line.contains(field.label);
        });
        if (named != fields.end())
            take(int(named - fields.begin()), line.split(QLatin1Char(';')));
    }
}
