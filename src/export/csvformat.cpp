#include "export/csvformat.h"

#include "base/numbers.h"

#include <QLocale>

#include <cmath>
#include <cstring>

namespace csv {

namespace {

constexpr quint64 microsecondsPerSecond = 1000000;
constexpr quint64 secondsPerDay = 86400;
constexpr int longestDelimiter = 4;

/// Empty for the 0 of an invalid date.
const char *dayName(int dayOfWeek)
{
    static constexpr std::array<const char *, 8> names = {"", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    return names[static_cast<size_t>(dayOfWeek)];
}

char digit(quint32 value)
{
    return static_cast<char>('0' + value % 10);
}

char *writeTwoDigits(char *out, quint32 value)
{
    *out++ = digit(value / 10);
    *out++ = digit(value);
    return out;
}

char *writeBytes(char *out, const QByteArray &bytes)
{
    if (bytes.size() == 1) { // nearly always
        *out = bytes.at(0);
        return out + 1;
    }
    std::memcpy(out, bytes.constData(), static_cast<size_t>(bytes.size()));
    return out + bytes.size();
}

void appendTextLine(QByteArray &out, const char *label, const QByteArray &delimiter, const QByteArray &value)
{
    out.append(label).append(delimiter).append(value).append('\n');
}

QByteArray localTimeText(const QDateTime &local)
{
    return QByteArray(dayName(local.date().dayOfWeek())) + '-' +
           QLocale::c().toString(local, QStringLiteral("dd-MMM-yyyy HH:mm:ss.zzz")).toUtf8();
}

} // namespace

void TimeCell::setSecond(quint64 second)
{
    const quint64 day = second / secondsPerDay;
    if (day != m_day) {
        const QDate date = QDate(1970, 1, 1).addDays(static_cast<qint64>(day));
        const QByteArray text = QByteArray(dayName(date.dayOfWeek())) + '-' +
                                QLocale::c().toString(date, QStringLiteral("dd-MMM-yyyy")).toLatin1() + ' ';
        m_day = day;
        m_daySize = text.size();
        writeBytes(m_text.data(), text);
    }
    const quint32 inDay = static_cast<quint32>(second % secondsPerDay);
    char *at = m_text.data() + m_daySize;
    at = writeTwoDigits(at, inDay / 3600);
    *at++ = ':';
    at = writeTwoDigits(at, inDay / 60 % 60);
    *at++ = ':';
    at = writeTwoDigits(at, inDay % 60);
    *at++ = '.';
    m_second = second;
    m_size = static_cast<int>(at - m_text.data());
}

char *TimeCell::write(char *out, quint64 time)
{
    const quint64 second = time / microsecondsPerSecond;
    if (second != m_second)
        setSecond(second);
    std::memcpy(out, m_text.data(), m_text.size()); // a fixed size is copied at once; what follows is written over
    const quint32 rest = static_cast<quint32>(time % microsecondsPerSecond);
    const quint32 milliseconds = rest / 1000;
    const quint32 microseconds = rest % 1000;
    out += m_size;
    *out++ = digit(milliseconds / 100);
    out = writeTwoDigits(out, milliseconds % 100);
    if (microseconds >= 100)
        *out++ = digit(microseconds / 100);
    if (microseconds >= 10)
        *out++ = digit(microseconds / 10);
    *out++ = digit(microseconds);
    return out;
}

void TimeCell::append(QByteArray &out, quint64 time)
{
    char text[largest];
    out.append(text, static_cast<int>(write(text, time) - text));
}

QByteArray delimiterBytes(QChar delimiter)
{
    return QString(delimiter).toUtf8();
}

QByteArray cellText(const QString &text, QChar delimiter)
{
    QString safe = text;
    for (QChar &c : safe) {
        if (c == delimiter || c == QLatin1Char('\r') || c == QLatin1Char('\n') || c.isNull())
            c = QLatin1Char('_');
    }
    return safe.toUtf8();
}

void appendHeader(QByteArray &out, const Header &header, const QString &exportedData, QChar delimiter)
{
    const QByteArray d = delimiterBytes(delimiter);
    const auto number = [](quint32 value) { return QByteArray::number(value); };
    TimeCell time;
    out.append("Norvex RF Event Detector Data Export\n");
    appendTextLine(out, "Chamber", d, cellText(header.chamber, delimiter));
    appendTextLine(out, "Sensor", d, cellText(header.sensor, delimiter));
    appendTextLine(out, "Session", d, cellText(header.session, delimiter));
    appendTextLine(out, "Export Date", d, localTimeText(header.exportDate));
    appendTextLine(out, "Exported Data", d, exportedData.isEmpty() ? "unspecified" : exportedData.toUtf8());
    out.append("Start Date Time").append(d);
    time.append(out, header.from);
    out.append("\nEnd Date Time").append(d);
    time.append(out, header.to);
    out.append("\n\n");
    appendTextLine(out, "Number of RF-ONs", d, number(header.runs));
    appendTextLine(out, "Total Context Points", d, number(header.points));
    appendTextLine(out, "Total Events", d, number(header.events));
    out.append('\n');
}

float exportedCurrent(const SamplePoint &sample)
{
    const float real = static_cast<float>(sample.currentReal);
    const float imaginary = static_cast<float>(sample.currentImaginary);
    return std::sqrt(real * real + imaginary * imaginary);
}

void appendViColumns(QByteArray &out, const QByteArray &delimiter)
{
    out.append("Date Time").append(delimiter).append("Voltage (V)").append(delimiter).append("Current (A)\n");
}

void appendViLine(QByteArray &out, const SamplePoint &sample, TimeCell &time, const QByteArray &delimiter)
{
    char line[TimeCell::largest + 2 * numberBufferSize + 3 * longestDelimiter + 1];
    char *at = time.write(line, sample.time);
    at = writeBytes(at, delimiter);
    at = writeStreamNumber(at, sample.voltage);
    at = writeBytes(at, delimiter);
    at = writeStreamNumber(at, static_cast<double>(exportedCurrent(sample)));
    at = writeBytes(at, delimiter);
    *at++ = '\n';
    out.append(line, static_cast<int>(at - line));
}

void appendEventSummary(QByteArray &out, const QVector<QByteArray> &types, const QVector<int> &counts,
                        const QByteArray &delimiter)
{
    out.append("Event Summary\nEvent Types").append(delimiter);
    for (const QByteArray &type : types)
        out.append(type).append(delimiter);
    out.append("\nEvent Counts").append(delimiter);
    for (const int count : counts)
        out.append(QByteArray::number(count)).append(delimiter);
    out.append("\n\n");
}

void appendEventColumns(QByteArray &out, int types, const QByteArray &delimiter)
{
    for (int i = 0; i < types; ++i) {
        for (const char *column : {"Type", "Event", "Date Time", "Time (µs)", "Voltage (V)", "Current (A)"})
            out.append(column).append(delimiter);
    }
    out.append('\n');
}

void appendEventCells(QByteArray &out, const EventRow &row, const SamplePoint &sample, TimeCell &time,
                      const QByteArray &delimiter)
{
    if (row.isFirst) {
        out.append(row.type).append(delimiter);
        out.append(QByteArray::number(row.ordinal)).append(delimiter);
        time.append(out, row.eventTime);
        out.append(delimiter);
    } else {
        out.append(delimiter).append(delimiter).append(delimiter);
    }
    appendInteger(out, sample.time > row.eventTime ? sample.time - row.eventTime : quint64(0));
    out.append(delimiter);
    appendStreamNumber(out, sample.voltage);
    out.append(delimiter);
    appendStreamNumber(out, exportedCurrent(sample));
    out.append(delimiter);
}

void appendEmptyEventCells(QByteArray &out, const QByteArray &delimiter)
{
    for (int i = 0; i < 6; ++i)
        out.append(delimiter);
}

void appendRunColumns(QByteArray &out, const QVector<QByteArray> &types, const QByteArray &delimiter)
{
    for (const char *column : {"Start time", "End Time", "Duration (µs)", "Average Voltage (V)"})
        out.append(column).append(delimiter);
    for (const QByteArray &type : types)
        out.append(type).append(delimiter);
    out.append("Total\n");
}

void appendRunLine(QByteArray &out, const RunRecord &run, const QVector<int> &counts, TimeCell &time,
                   const QByteArray &delimiter)
{
    time.append(out, run.start);
    out.append(delimiter);
    time.append(out, run.end);
    out.append(delimiter);
    appendInteger(out, run.end > run.start ? run.end - run.start : quint64(0));
    out.append(delimiter);
    appendStreamNumber(out, run.meanVoltage);
    out.append(delimiter);
    int total = 0;
    for (const int count : counts) {
        out.append(QByteArray::number(count)).append(delimiter);
        total += count;
    }
    out.append(QByteArray::number(total)).append('\n');
}

} // namespace csv
