#include "simulator/bodyfaults.h"

#include "simulator/randomsource.h"

#include <QList>
#include <QtEndian>

#include <algorithm>

namespace bodyfaults {

namespace {

constexpr int eventHeadSize = 21;

/// Where the value of a key stands: from behind the colon to the end of the line, without the comma.
struct Place
{
    int begin = -1;
    int size = 0;
    bool found() const { return begin >= 0; }
};

Place valueOf(const QByteArray &body, const QByteArray &key)
{
    const QByteArray name = '"' + key + "\":";
    const int at = body.indexOf(name);
    if (at < 0)
        return {};
    Place place;
    place.begin = at + name.size();
    int end = body.indexOf('\n', place.begin);
    if (end < 0)
        end = body.size();
    if (end > place.begin && body.at(end - 1) == '\r')
        --end;
    if (end > place.begin && body.at(end - 1) == ',')
        --end;
    place.size = end - place.begin;
    return place;
}

QByteArray withValue(QByteArray body, const QByteArray &key, const QByteArray &value)
{
    const Place place = valueOf(body, key);
    return place.found() ? body.replace(place.begin, place.size, value) : body;
}

QList<QByteArray> listValue(const QByteArray &body, const QByteArray &key)
{
    const Place place = valueOf(body, key);
    if (!place.found() || place.size <= 2)
        return {};
    return body.mid(place.begin + 1, place.size - 2).split(',');
}

QByteArray listText(const QList<QByteArray> &values)
{
    return '[' + values.join(',') + ']';
}

bool isBinaryEvent(const QByteArray &body)
{
    return body.size() >= eventHeadSize && !body.startsWith('{') && !body.startsWith('<');
}

} // namespace

QByteArray garbled(const FaultArgument &, const QByteArray &body)
{
    QByteArray result = body;
    RandomSource random(quint64(body.size()));
    for (int i = int(random.below(16)); i < result.size(); i += 1 + int(random.below(31)))
        result[i] = char(result[i] ^ char(1 + random.below(255)));
    return result;
}

QByteArray numberReplaced(const FaultArgument &replacement, const QByteArray &body)
{
    if (isBinaryEvent(body)) {
        const quint32 bits = replacement.text == "NaN" ? 0x7FC00000U : 0x7F800000U;
        QByteArray result = body;
        qToLittleEndian(bits, result.data() + 8);
        qToLittleEndian(bits, result.data() + 12);
        return result;
    }
    for (const char *key : {"Voltage", "pcb_temperature", "number_of_points", "signal_base_threshold"}) {
        QList<QByteArray> values = listValue(body, key);
        if (!values.isEmpty() && body.at(valueOf(body, key).begin) == '[') {
            values.first() = replacement.text;
            return withValue(body, key, listText(values));
        }
        if (valueOf(body, key).found())
            return withValue(body, key, replacement.text);
    }
    return body;
}

QByteArray lineRemoved(const FaultArgument &key, const QByteArray &body)
{
    const int begin = body.indexOf('"' + key.text + "\":");
    if (begin < 0)
        return body;
    const int end = body.indexOf('\n', begin);
    QByteArray result = body;
    return result.remove(begin, end < 0 ? body.size() - begin : end + 1 - begin);
}

QByteArray unequalColumns(const FaultArgument &, const QByteArray &body)
{
    QList<QByteArray> values = listValue(body, "Voltage");
    if (values.isEmpty())
        return body;
    values.removeLast();
    return withValue(body, "Voltage", listText(values));
}

QByteArray countsReplaced(const FaultArgument &count, const QByteArray &body)
{
    if (isBinaryEvent(body)) {
        QByteArray result = body;
        qToLittleEndian(quint16(65535), result.data() + 18);
        return result;
    }
    const QByteArray number = QByteArray::number(count.number);
    return withValue(withValue(body, "number_of_points", number), "number_of_events", number);
}

QByteArray shrunk(const FaultArgument &, const QByteArray &body)
{
    const Place place = valueOf(body, "number_of_points");
    const qint64 points = body.mid(place.begin, place.size).toLongLong();
    return withValue(body, "number_of_points", QByteArray::number(points / 2));
}

QByteArray deepJson(const FaultArgument &depth, const QByteArray &)
{
    const int levels = int(depth.number);
    return "{\r\n\"start\":" + QByteArray(levels, '[') + QByteArray(levels, ']') + "\r\n}";
}

QByteArray duplicateKeys(const FaultArgument &times, const QByteArray &body)
{
    const int begin = body.indexOf('{') + 1;
    const int end = body.lastIndexOf('}');
    if (begin <= 0 || end < begin)
        return body;
    const QByteArray lines = body.mid(begin, end - begin).trimmed();
    QByteArray result("{\r\n");
    for (qint64 i = 1; i < times.number; ++i)
        result.append(lines).append(",\r\n");
    return result.append(lines).append("\r\n}");
}

QByteArray timesBackwards(const FaultArgument &, const QByteArray &body)
{
    QList<QByteArray> times = listValue(body, "Time_ms");
    std::reverse(times.begin(), times.end());
    return withValue(body, "Time_ms", listText(times));
}

QByteArray timesEqual(const FaultArgument &, const QByteArray &body)
{
    QList<QByteArray> times = listValue(body, "Time_ms");
    if (!times.isEmpty())
        std::fill(times.begin(), times.end(), QByteArray(times.first()));
    return withValue(body, "Time_ms", listText(times));
}

QByteArray otherSerial(const FaultArgument &serial, const QByteArray &body)
{
    return withValue(body, "serial_number", '"' + serial.text + '"');
}

} // namespace bodyfaults
