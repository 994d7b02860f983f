#include "export/tidyexport.h"

#include "base/numbers.h"
#include "base/safefile.h"
#include "data/abstractnorvexdata.h"
#include "data/eventtypelist.h"
#include "data/valuetype.h"
#include "export/exportevents.h"
#include "export/sampleslices.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

constexpr int pieceSize = 256 * 1024;
constexpr int reportSteps = 1000;

/// The quantities of a sample, as columns behind the two of its time. Pulse frequency and duty cycle follow from these.
struct SampleColumn
{
    eNorvexValueType type;
    const char *name;
    bool isWhole;
};

constexpr SampleColumn sampleColumns[] = {
    {Voltage, "voltage_V", false},
    {Current, "current_A", false},
    {CurrentReal, "current_real_A", false},
    {CurrentImaginary, "current_imaginary_A", false},
    {Frequency, "frequency_Hz", false},
    {NumberOfPulses, "pulses", true},
    {PulsePeriod, "pulse_period_us", false},
    {Slot1OnTime, "slot1_on_time_us", true},
    {Slot1Voltage, "slot1_voltage_V", false},
    {Slot1VoltageMax, "slot1_voltage_max_V", false},
    {Slot1VoltageMin, "slot1_voltage_min_V", false},
    {Slot1CurrentAvg, "slot1_current_A", false},
    {Slot1CurrentMax, "slot1_current_max_A", false},
    {Slot1CurrentMin, "slot1_current_min_A", false},
    {Slot2OnTime, "slot2_on_time_us", true},
    {Slot2Voltage, "slot2_voltage_V", false},
    {Slot2VoltageMax, "slot2_voltage_max_V", false},
    {Slot2VoltageMin, "slot2_voltage_min_V", false},
    {Slot2CurrentAvg, "slot2_current_A", false},
    {Slot2CurrentMax, "slot2_current_max_A", false},
    {Slot2CurrentMin, "slot2_current_min_A", false},
};
const QStringList counterNames{
    QStringLiteral("E11"), QStringLiteral("E12"), QStringLiteral("E13"), QStringLiteral("E21"), QStringLiteral("E22"),
    QStringLiteral("E23"), QStringLiteral("E31"), QStringLiteral("E32"), QStringLiteral("E33"), QStringLiteral("EPE")};

const QStringList eventColumns{QStringLiteral("time_utc"),       QStringLiteral("time_us"),
                               QStringLiteral("type"),           QStringLiteral("detector_type"),
                               QStringLiteral("end_us"),         QStringLiteral("first_voltage_V"),
                               QStringLiteral("peak_voltage_V"), QStringLiteral("last_voltage_V"),
                               QStringLiteral("peak_current_A"), QStringLiteral("waveform_points")};
const QStringList waveformColumns{
    QStringLiteral("event_time_us"),      QStringLiteral("type"),      QStringLiteral("time_us"),
    QStringLiteral("offset_us"),          QStringLiteral("voltage_V"), QStringLiteral("current_real_A"),
    QStringLiteral("current_imaginary_A")};
const QStringList runColumns{QStringLiteral("start_utc"),      QStringLiteral("start_us"),
                             QStringLiteral("end_us"),         QStringLiteral("duration_us"),
                             QStringLiteral("mean_voltage_V"), QStringLiteral("mean_current_A"),
                             QStringLiteral("recipe")};

QStringList sampleColumnNames()
{
    QStringList names{QStringLiteral("time_utc"), QStringLiteral("time_us")};
    for (const SampleColumn &column : sampleColumns)
        names.append(QLatin1String(column.name));
    for (const QString &counter : counterNames)
        names.append(QStringLiteral("events_") + counter);
    return names;
}

/// One table: cells are put in one after the other, a row at a time, and it takes its file's place when complete.
class Table
{
public:
    Table(const QString &path, const QStringList &columns) : m_path(path), m_file(path)
    {
        m_isGood = m_file.open();
        for (const QString &column : columns)
            text(column);
        endRow();
        m_rows = 0;
    }

    /// The same moment as "2024-02-05T13:45:10.123005Z" and in microseconds.
    void moment(quint64 time)
    {
        const quint64 second = time / 1000000;
        if (second != m_second || m_secondText.isEmpty()) {
            m_second = second;
            m_secondText = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(second) * 1000, Qt::UTC)
                               .toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss."))
                               .toLatin1();
        }
        cell(m_secondText);
        m_lines.append(QByteArray::number(time % 1000000).rightJustified(6, '0')).append('Z');
        whole(static_cast<qint64>(time));
    }
    void whole(qint64 value)
    {
        cell({});
        appendInteger(m_lines, value);
    }
    /// In the fewest digits that read back as the same value; empty when it is none.
    void number(double value)
    {
        cell({});
        char buffer[numberBufferSize];
        if (std::isfinite(value))
            m_lines.append(buffer, static_cast<int>(std::to_chars(buffer, buffer + sizeof buffer, value).ptr - buffer));
    }
    void text(QString value)
    {
        static const QString formula = QStringLiteral("=+-@\t\r");
        if (!value.isEmpty() && formula.contains(value.at(0)))
            value.prepend(QLatin1Char('\''));
        const bool quoted = std::any_of(value.begin(), value.end(), [](QChar c) {
            return c == QLatin1Char(',') || c == QLatin1Char('"') || c == QLatin1Char('\r') || c == QLatin1Char('\n');
        });
        if (quoted)
            value = QLatin1Char('"') + value.replace(QLatin1Char('"'), QLatin1String("\"\"")) + QLatin1Char('"');
        cell(value.toUtf8());
    }
    /// False when the file cannot be written.
    bool endRow()
    {
        m_lines.append("\r\n");
        m_isFirstCell = true;
        ++m_rows;
        return m_lines.size() < pieceSize ? m_isGood : flush();
    }
    qint64 rows() const { return m_rows; }

    ExportedFile finish(bool isCancelled)
    {
        if (isCancelled)
            return {m_path, ExportedFile::Cancelled, QString()};
        if (flush() && m_file.commit())
            return {m_path, ExportedFile::Written, QString()};
        return {m_path, ExportedFile::CannotWrite, m_file.error()};
    }

private:
    void cell(const QByteArray &bytes)
    {
        if (!m_isFirstCell)
            m_lines.append(',');
        m_isFirstCell = false;
        m_lines.append(bytes);
    }
    bool flush()
    {
        m_isGood = m_isGood && m_file.write(m_lines);
        m_lines.resize(0);
        return m_isGood;
    }

    const QString m_path;
    SafeFile m_file;
    QByteArray m_lines;
    QByteArray m_secondText;
    quint64 m_second = 0;
    qint64 m_rows = 0;
    bool m_isFirstCell = true;
    bool m_isGood = false;
};

class TidyExporter
{
public:
    TidyExporter(const abstractNorvexData &data, const ExportRequest &request, const TidyNames &names,
                 const ExportProgress &progress)
        : m_data(data), m_request(request), m_names(names), m_progress(progress), m_end(exportFetchEnd(request))
    {}

    ExportOutcome run(const QDateTime &exportDate)
    {
        writeSamples();
        if (m_request.exportEvents)
            writeEvents();
        if (m_request.exportRfOn)
            writeRuns();
        writeMeta(exportDate);
        return m_outcome;
    }

private:
    void report(const QString &label, int value, int maximum)
    {
        if (!m_isCancelled && m_progress)
            m_isCancelled = !m_progress(label, value, maximum);
    }
    void finish(Table &table, const char *name, const QString &path, const QStringList &columns)
    {
        m_outcome.files.append(table.finish(m_isCancelled));
        m_tables.insert(QLatin1String(name),
                        QJsonObject{{QStringLiteral("file"), QFileInfo(path).fileName()},
                                    {QStringLiteral("rows"), table.rows()},
                                    {QStringLiteral("columns"), QJsonArray::fromStringList(columns)}});
    }

    void writeSamples();
    void writeEvents();
    void writeEvent(const EventRecord &event, const QString &type, Table &events, Table &waveforms);
    void writeRuns();
    void writeMeta(const QDateTime &exportDate);

    const abstractNorvexData &m_data;
    const ExportRequest &m_request;
    const TidyNames &m_names;
    const ExportProgress &m_progress;
    const quint64 m_end;
    ExportOutcome m_outcome;
    QJsonObject m_tables;
    bool m_isCancelled = false;
};

void TidyExporter::writeSamples()
{
    const QStringList columns = sampleColumnNames();
    Table table(m_names.samples, columns);
    SampleSlices slices(m_data, m_request.from, m_end);
    while (!m_isCancelled && slices.next()) {
        for (const SamplePoint &sample : slices.samples()) {
            table.moment(sample.time);
            for (const SampleColumn &column : sampleColumns) {
                const double value = sampleValue(sample, column.type);
                column.isWhole ? table.whole(static_cast<qint64>(value)) : table.number(value);
            }
            for (const qint32 count : sample.eventCounts)
                table.whole(count);
            table.endRow();
        }
        report(QStringLiteral("Exporting data..."), static_cast<int>(slices.done() * reportSteps), reportSteps);
    }
    m_outcome.isIncomplete = slices.isIncomplete();
    m_outcome.points = static_cast<quint32>(table.rows());
    finish(table, "samples", m_names.samples, columns);
}

void TidyExporter::writeEvents()
{
    const ExportEvents events(m_data, m_request);
    struct Named
    {
        const EventRecord *event;
        QString type;
    };
    QVector<Named> byTime;
    for (auto it = events.byType().constBegin(); it != events.byType().constEnd(); ++it) {
        for (const EventRecord &event : it.value())
            byTime.append({&event, it.key()});
    }
    std::stable_sort(byTime.begin(), byTime.end(),
                     [](const Named &a, const Named &b) { return a.event->time < b.event->time; });

    Table table(m_names.events, eventColumns);
    Table waveforms(m_names.waveforms, waveformColumns);
    for (int i = 0; i < byTime.size() && !m_isCancelled; ++i) {
        writeEvent(*byTime.at(i).event, byTime.at(i).type, table, waveforms);
        report(QStringLiteral("Exporting Event data..."), i + 1, byTime.size());
    }
    m_outcome.events = static_cast<quint32>(table.rows());
    finish(table, "events", m_names.events, eventColumns);
    finish(waveforms, "waveforms", m_names.waveforms, waveformColumns);
}

void TidyExporter::writeEvent(const EventRecord &event, const QString &type, Table &events, Table &waveforms)
{
    const QVector<SamplePoint> points = event.samples.isEmpty() ? m_data.waveform(keyOf(event)) : event.samples;
    events.moment(event.time);
    events.text(type);
    events.text(eventtype::name(event.typeCode));
    events.whole(static_cast<qint64>(event.endTime()));
    events.number(event.snapshot2.voltage);
    events.number(event.snapshot1.voltage);
    events.number(event.snapshot3.voltage);
    events.number(sampleValue(event.snapshot1, Current));
    events.whole(points.size());
    events.endRow();
    for (const SamplePoint &point : points) {
        waveforms.whole(static_cast<qint64>(event.time));
        waveforms.text(type);
        waveforms.whole(static_cast<qint64>(point.time));
        waveforms.whole(static_cast<qint64>(point.time) - static_cast<qint64>(event.time));
        waveforms.number(point.voltage);
        waveforms.number(point.currentReal);
        waveforms.number(point.currentImaginary);
        waveforms.endRow();
    }
}

void TidyExporter::writeRuns()
{
    Table table(m_names.runs, runColumns);
    const QVector<RunRecord> runs = m_data.runsInRange(m_request.from, m_end);
    for (const RunRecord &run : runs) {
        table.moment(run.start);
        table.whole(static_cast<qint64>(run.end));
        table.whole(static_cast<qint64>(run.end - run.start));
        table.number(run.meanVoltage);
        table.number(run.meanCurrent);
        table.text(run.recipe.recipeName());
        table.endRow();
    }
    m_outcome.runs = static_cast<quint32>(table.rows());
    finish(table, "runs", m_names.runs, runColumns);
}

void TidyExporter::writeMeta(const QDateTime &exportDate)
{
    const QJsonObject meta{
        {QStringLiteral("format"), QStringLiteral("norvex-tidy")},
        {QStringLiteral("version"), 1},
        {QStringLiteral("session"), m_request.sessionName},
        {QStringLiteral("sensor"), m_data.sensorSerial()},
        {QStringLiteral("chamber"), m_data.chamberSerial()},
        {QStringLiteral("from_us"), static_cast<qint64>(m_request.from)},
        {QStringLiteral("to_us"), static_cast<qint64>(m_request.to)},
        {QStringLiteral("to_included"), m_request.toIncluded},
        {QStringLiteral("times"), QStringLiteral("UTC; _us: microseconds since 1970-01-01")},
        {QStringLiteral("exported_utc"), exportDate.toUTC().toString(Qt::ISODateWithMs)},
        {QStringLiteral("complete"), !m_outcome.isIncomplete},
        {QStringLiteral("tables"), m_tables},
    };
    ExportedFile file{m_names.meta, m_isCancelled ? ExportedFile::Cancelled : ExportedFile::Written, QString()};
    if (!m_isCancelled && !writeFileSafely(m_names.meta, QJsonDocument(meta).toJson(), &file.error))
        file.result = ExportedFile::CannotWrite;
    m_outcome.files.append(file);
}

} // namespace

TidyNames tidyNames(const QString &chosen)
{
    QString stem = chosen;
    for (const char *end : {".vi.csv", ".csv"}) {
        if (stem.endsWith(QLatin1String(end), Qt::CaseInsensitive)) {
            stem.chop(static_cast<int>(qstrlen(end)));
            break;
        }
    }
    return {stem + QStringLiteral(".csv"), stem + QStringLiteral(".events.csv"),
            stem + QStringLiteral(".waveforms.csv"), stem + QStringLiteral(".runs.csv"),
            stem + QStringLiteral(".meta.json")};
}

QStringList TidyNames::written(const ExportRequest &request) const
{
    QStringList files{samples, meta};
    if (request.exportEvents)
        files << events << waveforms;
    if (request.exportRfOn)
        files << runs;
    return files;
}

ExportOutcome exportTidy(const abstractNorvexData &data, const ExportRequest &request, const TidyNames &names,
                         const QDateTime &exportDate, const ExportProgress &progress)
{
    return TidyExporter(data, request, names, progress).run(exportDate);
}
