#include "fuzz.h"
#include "sensor/webservice.h"

#include <QDataStream>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace {

// A short input cannot fill what it announces: the rest is zeros, which take their time to look at.
std::ptrdiff_t filled(const EventWebservice &event, const QByteArray &reply)
{
    return static_cast<std::ptrdiff_t>(std::min<std::size_t>(event.voltage.size(), std::size_t(reply.size())));
}

float orZero(float value)
{
    return std::isfinite(value) ? value : 0.0F;
}

/// The binary form against the toolkit's own reader of such records, as far as whole samples go.
void checkBinary(const EventWebservice &event, const QByteArray &reply)
{
    QDataStream in(reply);
    in.setByteOrder(QDataStream::LittleEndian);
    in.setFloatingPointPrecision(QDataStream::SinglePrecision);
    qint64 time = 0;
    float volts = 0;
    float amperes = 0;
    qint16 type = 0;
    quint16 samples = 0;
    quint8 nameLength = 0;
    in >> time >> volts >> amperes >> type >> samples >> nameLength;
    if (in.status() != QDataStream::Ok)
        return;
    const qint64 wanted = in.device()->pos() + nameLength + qint64(samples) * 6;
    FUZZ_CHECK(event.rawTimeUs == time && event.typeCode == type && event.increment == 1);
    FUZZ_CHECK(event.voltage.size() == samples);
    FUZZ_CHECK(event.missingBytes == std::max<qint64>(0, wanted - reply.size()));
    FUZZ_CHECK(event.excessBytes == std::max<qint64>(0, reply.size() - wanted));
    in.skipRawData(nameLength);
    for (std::size_t i = 0; i < samples; ++i) {
        qint16 voltage = 0;
        qint16 real = 0;
        qint16 imaginary = 0;
        in >> voltage >> real >> imaginary;
        if (in.status() != QDataStream::Ok)
            break;
        FUZZ_CHECK(event.voltage[i] == orZero(float(voltage) * volts));
        FUZZ_CHECK(event.currentReal[i] == orZero(float(real) * amperes));
        FUZZ_CHECK(event.currentImaginary[i] == orZero(float(imaginary) * amperes));
    }
}

QByteArray listOf(const std::vector<float> &values, std::ptrdiff_t count)
{
    QByteArray text;
    for (std::ptrdiff_t i = 0; i < count; ++i)
        text += (i > 0 ? "," : "") + QByteArray::number(double(values[std::size_t(i)]), 'g', 9);
    return '[' + text + "],\r\n";
}

/// What was read comes out of the textual form again.
void checkText(const EventWebservice &event, std::ptrdiff_t count, qint64 timeBaseUs)
{
    const QByteArray text = "{\r\n\"Time_us\":" + QByteArray::number(event.rawTimeUs) +
                            ",\r\n\"Time_Increment_us\":" + QByteArray::number(event.increment) +
                            ",\r\n\"Voltage\":" + listOf(event.voltage, count) +
                            "\"Current_Ir\":" + listOf(event.currentReal, count) +
                            "\"Current_Ii\":" + listOf(event.currentImaginary, count) +
                            "\"type\":" + QByteArray::number(event.typeCode) + ",\r\n}";
    EventWebservice again;
    FUZZ_CHECK(again.decode(text, timeBaseUs));
    FUZZ_CHECK(again.time == event.time && again.rawTimeUs == event.rawTimeUs);
    FUZZ_CHECK(again.increment == event.increment && again.typeCode == event.typeCode);
    FUZZ_CHECK(again.voltage.size() == std::size_t(count));
    FUZZ_CHECK(std::equal(again.voltage.begin(), again.voltage.end(), event.voltage.begin()));
    FUZZ_CHECK(std::equal(again.currentReal.begin(), again.currentReal.end(), event.currentReal.begin()));
    FUZZ_CHECK(
        std::equal(again.currentImaginary.begin(), again.currentImaginary.end(), event.currentImaginary.begin()));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // One time base an input, chosen by it: a record may announce 65,535 samples, which takes its time.
    constexpr qint64 bases[] = {0, 1'700'000'000'000'000, std::numeric_limits<qint64>::max()};
    const qint64 base = bases[size > 0 ? data[0] % 3 : 0];
    const QByteArray reply = bytesOf(data, size);
    EventWebservice event;
    FUZZ_CHECK(event.decode(reply, base));
    FUZZ_CHECK(event.voltage.size() == event.currentReal.size());
    FUZZ_CHECK(event.voltage.size() == event.currentImaginary.size());
    FUZZ_CHECK(event.voltage.size() <= 65535);
    FUZZ_CHECK(event.missingBytes >= 0);
    const auto isFinite = [](float value) { return std::isfinite(value); };
    for (const auto *column : {&event.voltage, &event.currentReal, &event.currentImaginary})
        FUZZ_CHECK(std::all_of(column->begin(), column->begin() + filled(event, reply), isFinite));
    if (!reply.startsWith("{\r\n\"Time_us\":") && !reply.startsWith("{\r\n\"Event Count\":"))
        checkBinary(event, reply);
    checkText(event, std::min<std::ptrdiff_t>(filled(event, reply), 8), base);
    return 0;
}
