#include "simulator/sensorpages.h"

#include <QtEndian>

#include <cmath>
#include <cstring>
#include <iterator>

namespace sensorpages {

namespace {

constexpr int expectedNumber = 10; // characters, with the comma

using Value = double (*)(const SamplePoint &);

/// A column of the sample page: its key in each generation (none: not sent) and how many decimals its values have.
struct Column
{
    const char *key;
    const char *firstGenerationKey;
    int decimals;
    Value value;
};

template <int Index>
double counter(const SamplePoint &s)
{
    return s.eventCounts[Index];
}

const Column columns[] = {
    {"Time_ms", "Time_ms", 0, [](const SamplePoint &s) { return double(s.time / 1000); }},
    {"Voltage", "Voltage", 3, [](const SamplePoint &s) { return s.voltage; }},
    {"Current_Ir", "Current_Ir", 4, [](const SamplePoint &s) { return s.currentReal; }},
    {"Current_Ii", "Current_Ii", 4, [](const SamplePoint &s) { return s.currentImaginary; }},
    {"nPulses", "nPulses", 0, [](const SamplePoint &s) { return double(s.numberOfPulses); }},
    {"P_Period", "P_Period", 1, [](const SamplePoint &s) { return s.pulsePeriod; }},
    {"P_1T_on", "P_T_on", 0, [](const SamplePoint &s) { return double(s.slot1OnTime); }},
    {"P_1V_max", "P_V_max", 3, [](const SamplePoint &s) { return s.slot1VoltageMax; }},
    {"P_1V_min", "P_V_min", 3, [](const SamplePoint &s) { return s.slot1VoltageMin; }},
    {"P_1V_avg", "P_V", 3, [](const SamplePoint &s) { return s.slot1VoltageAvg; }},
    {"P_1I_max", "P_I_max", 4, [](const SamplePoint &s) { return s.slot1CurrentMax; }},
    {"P_1I_min", "P_I_min", 4, [](const SamplePoint &s) { return s.slot1CurrentMin; }},
    {"P_1I_avg", "P_I", 4, [](const SamplePoint &s) { return s.slot1CurrentAvg; }},
    {"P_2T_on", nullptr, 0, [](const SamplePoint &s) { return double(s.slot2OnTime); }},
    {"P_2V_max", nullptr, 3, [](const SamplePoint &s) { return s.slot2VoltageMax; }},
    {"P_2V_min", nullptr, 3, [](const SamplePoint &s) { return s.slot2VoltageMin; }},
    {"P_2V_avg", nullptr, 3, [](const SamplePoint &s) { return s.slot2VoltageAvg; }},
    {"P_2I_max", nullptr, 4, [](const SamplePoint &s) { return s.slot2CurrentMax; }},
    {"P_2I_min", nullptr, 4, [](const SamplePoint &s) { return s.slot2CurrentMin; }},
    {"P_2I_avg", nullptr, 4, [](const SamplePoint &s) { return s.slot2CurrentAvg; }},
    {"E_11", nullptr, 0, counter<0>},
    {"E_12", nullptr, 0, counter<1>},
    {"E_13", nullptr, 0, counter<2>},
    {"E_21", nullptr, 0, counter<3>},
    {"E_22", nullptr, 0, counter<4>},
    {"E_23", nullptr, 0, counter<5>},
    {"E_31", nullptr, 0, counter<6>},
    {"E_32", nullptr, 0, counter<7>},
    {"E_33", nullptr, 0, counter<8>},
    {"E_PE", nullptr, 0, counter<9>},
};

/// A number with this many decimals, never as "-0".
void appendFixed(QByteArray &out, double value, int decimals)
{
    static const double unitsPerOne[] = {1, 10, 100, 1000, 10000};
    const qint64 units = std::llround(value * unitsPerOne[decimals]);
    quint64 rest = units < 0 ? quint64(0) - quint64(units) : quint64(units);
    char text[32];
    char *const end = text + sizeof text;
    char *begin = end;
    for (int digit = 0; rest > 0 || digit <= decimals; ++digit) {
        if (digit == decimals && decimals > 0)
            *--begin = '.';
        *--begin = char('0' + rest % 10);
        rest /= 10;
    }
    if (units < 0)
        *--begin = '-';
    out.append(begin, int(end - begin));
}

/// Collects the lines of a page.
class Lines
{
public:
    explicit Lines(int expectedSize = 0) { m_text.reserve(expectedSize); }

    void add(const char *key, const QByteArray &value)
    {
        m_text.append(m_text.isEmpty() ? "{\r\n\"" : ",\r\n\"");
        m_text.append(key).append("\":").append(value);
    }
    void addText(const char *key, const QByteArray &value) { add(key, '"' + value + '"'); }
    QByteArray page() const { return m_text.isEmpty() ? QByteArray("{\r\n}") : m_text + "\r\n}"; }

private:
    QByteArray m_text;
};

template <typename List, typename Append>
QByteArray listOf(const List &list, Append append)
{
    QByteArray text("[");
    text.reserve(2 + expectedNumber * list.size());
    bool first = true;
    for (const auto &item : list) {
        if (!first)
            text.append(',');
        first = false;
        append(text, item);
    }
    return text.append(']');
}

template <typename T>
void appendLittleEndian(QByteArray &out, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, int(sizeof bytes));
}

void appendLittleEndian(QByteArray &out, float value)
{
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    appendLittleEndian(out, bits);
}

QByteArray channel(const RawWaveform &waveform, int offset, float scale)
{
    QVector<float> values;
    for (int i = offset; i < waveform.raw.size(); i += 3)
        values.append(float(waveform.raw[i]) * scale);
    return listOf(values, [](QByteArray &text, float v) { text.append(QByteArray::number(double(v), 'g', 9)); });
}

} // namespace

QByteArray info(const Info &info)
{
    Lines lines;
    lines.addText("serial_number", info.serial);
    lines.addText("sensor_type", info.sensorType);
    lines.addText("firmware", info.firmware);
    lines.addText("fpga_rev", info.fpgaRevision);
    lines.add("frequency",
              listOf(info.frequencies, [](QByteArray &text, qint32 hz) { text.append(QByteArray::number(hz)); }));
    lines.addText("build_date", info.buildDate);
    return lines.page();
}

QByteArray frame(const Frame &frame, Generation generation)
{
    Lines lines;
    const QByteArray start = QByteArray::number(frame.start);
    if (generation == Generation::First)
        lines.addText("start", start);
    else
        lines.add("start", start);
    lines.add("max_transaction_points", QByteArray::number(frame.maximumTransactionPoints));
    lines.add("number_of_points", QByteArray::number(frame.numberOfPoints));
    lines.add("number_of_events", QByteArray::number(frame.numberOfEvents));
    return lines.page();
}

QByteArray status(const Status &status)
{
    Lines lines;
    lines.add("pcb_temperature", QByteArray::number(status.pcbTemperature, 'f', 1));
    lines.add("sensor_temperature", QByteArray::number(status.sensorTemperature, 'f', 1));
    lines.addText("configuration_access", status.configurationAccess);
    lines.addText("uptime", QByteArray::number(status.uptimeMs));
    lines.addText("sensor_time", status.sensorTime);
    lines.add("fifo_resets", QByteArray::number(status.fifoResets));
    return lines.page();
}

QByteArray samples(const QVector<SamplePoint> &samples, Generation generation)
{
    Lines lines(int(std::size(columns)) * (20 + expectedNumber * samples.size()));
    for (const Column &column : columns) {
        const char *key = generation == Generation::First ? column.firstGenerationKey : column.key;
        if (!key)
            continue;
        lines.add(key, listOf(samples, [&column](QByteArray &text, const SamplePoint &sample) {
                      appendFixed(text, column.value(sample), column.decimals);
                  }));
    }
    return lines.page();
}

QByteArray binaryEvent(const SimulatedEvent &event, const QByteArray &typeName)
{
    const int points = event.waveform.points();
    QByteArray record;
    record.reserve(21 + typeName.size() + 6 * points);
    appendLittleEndian(record, event.timeUs);
    appendLittleEndian(record, event.waveform.voltageScale);
    appendLittleEndian(record, event.waveform.currentScale);
    appendLittleEndian(record, event.typeCode);
    appendLittleEndian(record, quint16(points));
    appendLittleEndian(record, quint8(typeName.size()));
    record.append(typeName);
    for (qint16 value : event.waveform.raw)
        appendLittleEndian(record, value);
    return record;
}

QByteArray textualEvent(const SimulatedEvent &event, const QByteArray &typeName)
{
    Lines lines;
    lines.add("Time_us", QByteArray::number(event.timeUs));
    lines.add("Time_Increment_us", "1");
    lines.add("Voltage", channel(event.waveform, 0, event.waveform.voltageScale));
    lines.add("Current_Ir", channel(event.waveform, 1, event.waveform.currentScale));
    lines.add("Current_Ii", channel(event.waveform, 2, event.waveform.currentScale));
    lines.addText("type", typeName);
    return lines.page();
}

QByteArray eventCount(int count)
{
    Lines lines;
    lines.add("Event Count", QByteArray::number(count));
    return lines.page();
}

QByteArray acknowledgement()
{
    return "{\r\n\"result\":\"ok\"\r\n}";
}

QByteArray refusal(const QByteArray &reason)
{
    Lines lines;
    lines.addText("result", "error");
    lines.addText("reason", reason);
    return lines.page();
}

QByteArray notFound()
{
    return "<html><body><h1>HTTP/1.0 404 - File Not Found</h1></body></html>";
}

} // namespace sensorpages
