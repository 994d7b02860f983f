#include "events/eventtype.h"

#include "base/numbers.h"

#include <QTextStream>

#include <algorithm>
#include <cmath>

namespace {

const QLatin1String nameKey("name");
const QLatin1String magnitudeKey("magnitude");
const QLatin1String durationKey("duration");
const QLatin1String directionKey("direction");
const QLatin1String endKey("endEvent");

QString oneLine(QString text)
{
    return text.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
}

// Six digits as everywhere, unless they would change the value.
QString exactNumber(double value)
{
    const QString text = streamNumber(value);
    const double read = text.toDouble();
    return read < value || read > value ? QString::number(value, 'g', 17) : text;
}

double finiteNumber(const QString &text)
{
    const double value = text.toDouble();
    return std::isfinite(value) ? value : 0;
}

QString directionSymbol(qint32 direction)
{
    switch (direction) {
    case eventType::Superior:
        return QStringLiteral(">");
    case eventType::Inferior:
        return QStringLiteral("<");
    case eventType::Either:
        return QStringLiteral("><");
    default:
        return QString();
    }
}

double baseVoltage(const QVector<SamplePoint> &waveform)
{
    const int count = qMax(1, waveform.size() / 10);
    double sum = 0;
    for (int i = 0; i < count; ++i)
        sum += waveform.at(i).voltage;
    return sum / count;
}

double deviation(qint32 direction, double voltage, double base)
{
    switch (direction) {
    case eventType::Superior:
        return voltage - base;
    case eventType::Inferior:
        return base - voltage;
    default:
        return std::fabs(voltage - base);
    }
}

} // namespace

eventType eventType::builtIn(const QString &name)
{
    eventType type;
    type.direction = None;
    type.name = name;
    return type;
}

bool eventType::toText(QTextStream &stream) const
{
    stream << nameKey << ';' << oneLine(name) << '\n';
    stream << magnitudeKey << ';' << exactNumber(magnitude) << '\n';
    stream << durationKey << ';' << duration << '\n';
    stream << directionKey << ';' << direction << '\n';
    stream << endKey << ";\n";
    return true;
}

bool eventType::fromText(QTextStream &stream)
{
    QString line;
    while (stream.readLineInto(&line)) {
        if (takeLine(line))
            return true;
    }
    return false;
}

bool eventType::takeLine(const QString &line)
{
    if (line.startsWith(endKey))
        return true;
    const int end = line.indexOf(QLatin1Char(';'));
    if (end < 0)
        return false;
    const QStringRef key = line.leftRef(end);
    const QString value = line.mid(end + 1);
    if (key == nameKey)
        name = value;
    else if (key == magnitudeKey)
        magnitude = finiteNumber(value);
    else if (key == durationKey)
        duration = value.toInt();
    else if (key == directionKey)
        direction = value.toInt();
    return false;
}

QString eventType::description() const
{
    return QStringLiteral("Type : %1 Mag : %2 Min-dur : %3 us Dir :%4")
        .arg(name, streamNumber(magnitude), QString::number(duration), directionSymbol(direction));
}

bool eventType::matches(const QVector<SamplePoint> &waveform) const
{
    if (waveform.isEmpty() || direction < Superior || direction > Either)
        return false;
    const double base = baseVoltage(waveform);
    const qint64 needed = qMax(0, duration);
    const SamplePoint *start = nullptr; // of the stretch that is still away from the base
    for (const SamplePoint &sample : waveform) {
        if (!(deviation(direction, sample.voltage, base) >= magnitude)) {
            start = nullptr;
            continue;
        }
        if (!start)
            start = &sample;
        if (static_cast<qint64>(sample.time - start->time) >= needed)
            return true;
    }
    return false;
}

bool operator==(const eventType &a, const eventType &b)
{
    return !(a.magnitude < b.magnitude) && !(b.magnitude < a.magnitude) && a.duration == b.duration &&
           a.direction == b.direction && a.name == b.name;
}

QString eventtype::firstMatch(const QVector<eventType> &types, const QVector<SamplePoint> &waveform)
{
    for (const eventType &type : types) {
        if (type.matches(waveform))
            return type.name;
    }
    return QString();
}

bool eventtype::canMatch(const QVector<eventType> &types, double first, double peak)
{
    // Either may come from text of six digits.
    const double bound = 2 * std::fabs(peak - first) + 1e-4 * (std::fabs(peak) + std::fabs(first));
    return std::any_of(types.begin(), types.end(), [bound](const eventType &type) {
        return type.direction != eventType::None && !(type.magnitude > bound);
    });
}
