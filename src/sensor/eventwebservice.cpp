#include "data/eventtypelist.h"
#include "sensor/linepage.h"
#include "sensor/sensorrequest.h"
#include "sensor/webservice.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

// A binary record, little-endian, 21 + L + 6 N bytes:
//
//   offset  size
//        0     8  event time in us, signed, relative to the time base
//        8     4  volts per raw voltage unit, float
//       12     4  amperes per raw current unit, float
//       16     2  event type code, signed
//       18     2  N, number of waveform samples, unsigned
//       20     1  L, length of the type name, unsigned
//       21     L  type name, ASCII, ends at a NUL if there is one
//   21 + L   6 N  per sample: voltage, real current, imaginary current, each 2 bytes, signed

namespace {

constexpr int headerSize = 21;
constexpr std::size_t mostSamples = 65535; // that a binary record can announce; a textual one holds no more either

/// Little-endian fields of a buffer that may end early; what is missing is zero.
class Bytes
{
public:
    explicit Bytes(const QByteArray &bytes) : m_bytes(bytes) {}

    template <typename T>
    T at(int offset) const
    {
        quint64 value = 0;
        for (int i = 0; i < int(sizeof(T)); ++i)
            value |= quint64(byte(offset + i)) << (8 * i);
        return T(value);
    }

    float floatAt(int offset) const
    {
        static_assert(sizeof(float) == sizeof(quint32), "single precision is four bytes");
        const quint32 bits = at<quint32>(offset);
        float value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

private:
    quint8 byte(int offset) const { return offset < m_bytes.size() ? quint8(m_bytes.at(offset)) : quint8(0); }

    const QByteArray &m_bytes;
};

quint64 onTimeBase(qint64 raw, qint64 base)
{
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    if (raw > 0 && base > most - raw)
        return quint64(most);
    if (raw < 0 && base < std::numeric_limits<qint64>::min() - raw)
        return 0;
    return quint64(std::max<qint64>(raw + base, 0));
}

// A scaled value that is no finite number is no measurement; it would spread through every mean and axis.
float finite(float value)
{
    return std::isfinite(value) ? value : 0.0F;
}

std::vector<float> floats(std::string_view value)
{
    std::vector<float> out;
    for (const std::string &entry : linepage::list(value, mostSamples))
        out.push_back(finite(float(linepage::number(entry))));
    return out;
}

template <typename T>
T whole(std::string_view text)
{
    bool ok = false;
    const long long exact = linepage::integer(text, &ok);
    if (ok)
        return T(std::clamp<long long>(exact, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
    constexpr double low = double(std::numeric_limits<T>::min());
    constexpr double high = double(std::numeric_limits<T>::max());
    const double value = linepage::number(text);
    return value >= high ? std::numeric_limits<T>::max() : value <= low ? std::numeric_limits<T>::min() : T(value);
}

} // namespace

QString EventWebservice::page() const
{
    return sensorrequest::page(eMessage::Events);
}

bool EventWebservice::decode(const QByteArray &reply, qint64 timeBaseUs)
{
    voltage.clear();
    currentReal.clear();
    currentImaginary.clear();
    typeName.clear();
    typeCode = 0;
    rawTimeUs = 0;
    increment = 1;
    missingBytes = 0;
    excessBytes = 0;
    if (reply.startsWith("{\r\n\"Time_us\":") || reply.startsWith("{\r\n\"Event Count\":"))
        decodeText(reply);
    else
        decodeBinary(reply);
    time = onTimeBase(rawTimeUs, timeBaseUs);
    return true;
}

void EventWebservice::decodeBinary(const QByteArray &reply)
{
    const Bytes bytes(reply);
    rawTimeUs = bytes.at<qint64>(0);
    const float voltageScale = bytes.floatAt(8);
    const float currentScale = bytes.floatAt(12);
    typeCode = bytes.at<qint16>(16);
    const int samples = bytes.at<quint16>(18);
    const int nameLength = bytes.at<quint8>(20);
    const QByteArray name = reply.mid(headerSize, nameLength);
    typeName = QString::fromLatin1(name.constData(), int(qstrnlen(name.constData(), uint(name.size()))));
    const int size = headerSize + nameLength + 6 * samples;
    missingBytes = std::max(size - reply.size(), 0);
    excessBytes = std::max(reply.size() - size, 0);
    voltage.assign(std::size_t(samples), 0.0F);
    currentReal.assign(std::size_t(samples), 0.0F);
    currentImaginary.assign(std::size_t(samples), 0.0F);
    const int start = headerSize + nameLength;
    const int present = std::clamp((reply.size() - start + 5) / 6, 0, samples); // the last one may be cut
    for (int i = 0; i < present; ++i) {
        const auto sample = std::size_t(i);
        const int at = start + 6 * i;
        voltage[sample] = finite(float(bytes.at<qint16>(at)) * voltageScale);
        currentReal[sample] = finite(float(bytes.at<qint16>(at + 2)) * currentScale);
        currentImaginary[sample] = finite(float(bytes.at<qint16>(at + 4)) * currentScale);
    }
}

void EventWebservice::decodeText(const QByteArray &reply)
{
    linepage::Lines lines({reply.constData(), std::size_t(reply.size())});
    while (lines.next()) {
        const std::string_view name = lines.name();
        if (linepage::containsKey(name, "Time_us")) {
            rawTimeUs = whole<qint64>(linepage::text(lines.value()));
        } else if (linepage::containsKey(name, "Time_Increment_us")) {
            increment = whole<quint32>(linepage::text(lines.value()));
        } else if (linepage::containsKey(name, "Voltage")) {
            voltage = floats(lines.value());
        } else if (linepage::containsKey(name, "Current_Ir")) {
            currentReal = floats(lines.value());
        } else if (linepage::containsKey(name, "Current_Ii")) {
            currentImaginary = floats(lines.value());
        } else if (linepage::containsKey(name, "type")) {
            // Either the name in quotes or the bare code.
            const std::string text = linepage::text(lines.value());
            bool isCode = false;
            const long long code = linepage::integer(text, &isCode);
            typeCode =
                isCode ? whole<qint16>(text) : eventtype::code(QString::fromLatin1(text.data(), int(text.size())));
            typeName = isCode ? eventtype::name(code == typeCode ? typeCode : -1)
                              : QString::fromLatin1(text.data(), int(text.size()));
        }
    }
    const std::size_t samples = std::min({voltage.size(), currentReal.size(), currentImaginary.size()});
    voltage.resize(samples);
    currentReal.resize(samples);
    currentImaginary.resize(samples);
}
