#include "sensor/webservice.h"

#include "base/json.h"
#include "sensor/linepage.h"
#include "sensor/sensorrequest.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <algorithm>
#include <limits>

namespace {

std::string_view viewOf(const QByteArray &bytes)
{
    return {bytes.constData(), std::size_t(bytes.size())};
}

QString latin1(const std::string &text)
{
    return QString::fromLatin1(text.data(), int(text.size()));
}

template <typename T>
T bounded(double value)
{
    constexpr double low = double(std::numeric_limits<T>::min());
    constexpr double high = double(std::numeric_limits<T>::max());
    if (!(value > low))
        return value <= low ? std::numeric_limits<T>::min() : T(0);
    return value >= high ? std::numeric_limits<T>::max() : T(value);
}

/// A number, or a text that holds a decimal integer.
bool wholeValue(const QJsonValue &json, qint64 &value)
{
    if (json.isDouble()) {
        value = bounded<qint64>(json.toDouble());
        return true;
    }
    bool ok = false;
    const qint64 number = json.toString().trimmed().toLongLong(&ok);
    if (ok)
        value = number;
    return ok;
}

qint32 count(const QJsonValue &json)
{
    return std::max(bounded<qint32>(json.toDouble()), 0);
}

bool parseObject(const QByteArray &reply, QJsonObject &object)
{
    const QJsonDocument document = parseJson(reply);
    object = document.object();
    return document.isObject();
}

} // namespace

QString InfoWebservice::page() const
{
    return sensorrequest::page(eMessage::Info);
}

bool InfoWebservice::decode(const QByteArray &reply)
{
    InfoWebservice read;
    bool revisionByFullName = false;
    bool any = false;
    linepage::Lines lines(viewOf(reply));
    while (lines.next()) {
        const std::string_view name = lines.name();
        const auto text = [&lines] { return latin1(linepage::text(lines.value())); };
        if (linepage::containsKey(name, "serial_number")) {
            read.serial_number = text();
        } else if (linepage::containsKey(name, "sensor_type")) {
            read.sensor_type = text();
        } else if (linepage::containsKey(name, "firmware")) {
            read.firmware = text();
        } else if (linepage::containsKey(name, "rev")) {
            // Sensors name the revision "rev" or "fpga_rev"; where both are sent the longer name is the precise one.
            const bool fullName = linepage::containsKey(name, "fpga_rev");
            if (fullName || !revisionByFullName)
                read.fpga_rev = text();
            revisionByFullName = revisionByFullName || fullName;
        } else if (linepage::containsKey(name, "frequency")) {
            read.frequency.clear();
            for (const std::string &entry : linepage::list(lines.value()))
                read.frequency.append(bounded<qint32>(linepage::number(entry)));
        } else if (linepage::containsKey(name, "build_date")) {
            // A date with a time of day ends at its first colon, like every value of a line.
            read.build_date = text();
        } else {
            continue;
        }
        any = true;
    }
    if (any)
        *this = read;
    return any;
}

QString FrameWebservice::page() const
{
    return sensorrequest::page(eMessage::Frame);
}

bool FrameWebservice::decode(const QByteArray &reply)
{
    QJsonObject object;
    qint64 first = 0;
    if (!parseObject(reply, object) || !wholeValue(object.value(QLatin1String("start")), first))
        return false;
    start = first;
    max_transaction_points = count(object.value(QLatin1String("max_transaction_points")));
    number_of_points = count(object.value(QLatin1String("number_of_points")));
    number_of_events = count(object.value(QLatin1String("number_of_events")));
    return true;
}

QString StatusWebservice::page() const
{
    return sensorrequest::page(eMessage::Status);
}

bool StatusWebservice::decode(const QByteArray &reply)
{
    QJsonObject object;
    if (!parseObject(reply, object))
        return false;
    pcb_temperature = object.value(QLatin1String("pcb_temperature")).toDouble();
    sensor_temperature = object.value(QLatin1String("sensor_temperature")).toDouble();
    configuration_access = object.value(QLatin1String("configuration_access")).toString();
    const QJsonValue up = object.value(QLatin1String("uptime"));
    qint64 said = -1;
    uptime = wholeValue(up, said) ? QString::number(said) : up.toString();
    uptimeMs = std::max<qint64>(said, -1);
    sensor_time = object.value(QLatin1String("sensor_time")).toString();
    fifo_resets = bounded<qint32>(object.value(QLatin1String("fifo_resets")).toDouble());
    return true;
}
