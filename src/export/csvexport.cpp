#include "export/csvexport.h"

#include "base/coretext.h"
#include "base/safefile.h"
#include "data/abstractnorvexdata.h"
#include "export/csvformat.h"
#include "export/csvspool.h"
#include "export/exportevents.h"
#include "export/sampleslices.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace {

constexpr int pieceSize = 256 * 1024;
constexpr int linesPerReport = 5000;
constexpr int reportSteps = 1000;

/// A file that is written line by line and takes its place when it is complete.
class CsvFile
{
public:
    explicit CsvFile(const QString &path) : m_path(path), m_file(path)
    {
        m_lines.reserve(pieceSize + pieceSize / 4); // reserved memory outlives resize(0)
        m_isGood = m_file.open();
    }

    QByteArray &lines() { return m_lines; }
    /// Writes the lines when they are many. False when the file cannot be written.
    bool takeIn(bool all = false)
    {
        if (m_isGood && (all || m_lines.size() >= pieceSize)) {
            m_isGood = m_file.write(m_lines);
            m_lines.resize(0);
        }
        return m_isGood;
    }
    ExportedFile finish(bool isCancelled)
    {
        if (isCancelled)
            return {m_path, ExportedFile::Cancelled, QString()};
        if (takeIn(true) && m_file.commit())
            return {m_path, ExportedFile::Written, QString()};
        return {m_path, ExportedFile::CannotWrite, m_file.error()};
    }

private:
    QString m_path;
    SafeFile m_file;
    QByteArray m_lines;
    bool m_isGood = false;
};

/// The rows of one type's column group, with one waveform in memory at a time.
class EventColumn
{
public:
    EventColumn(const abstractNorvexData &data, const QVector<EventRecord> &events, const QByteArray &type)
        : m_data(data), m_events(events)
    {
        m_row.type = type;
        seekSample();
    }

    bool hasRow() const { return m_sample < m_waveform.size(); }
    int eventsDone() const { return m_event; }
    void appendRow(QByteArray &out, csv::TimeCell &time, const QByteArray &delimiter)
    {
        csv::appendEventCells(out, m_row, m_waveform.at(m_sample), time, delimiter);
        m_row.isFirst = false;
        if (++m_sample == m_waveform.size()) {
            ++m_event;
            seekSample();
        }
    }

private:
    /// To the first sample of the current event or of the next one that has a waveform.
    void seekSample()
    {
        m_sample = 0;
        m_waveform.clear();
        for (; m_event < m_events.size(); ++m_event) {
            const EventRecord &event = m_events.at(m_event);
            m_waveform = event.samples.isEmpty() ? m_data.waveform(keyOf(event)) : event.samples;
            if (m_waveform.isEmpty())
                continue;
            m_row.ordinal = m_event + 1;
            m_row.eventTime = event.time;
            m_row.isFirst = true;
            return;
        }
    }

    const abstractNorvexData &m_data;
    const QVector<EventRecord> &m_events;
    csv::EventRow m_row;
    QVector<SamplePoint> m_waveform;
    int m_event = 0;
    int m_sample = 0;
};

class Exporter
{
public:
    Exporter(const abstractNorvexData &data, const ExportRequest &request, const QDateTime &exportDate,
             const ExportProgress &progress)
        : m_data(data), m_request(request), m_progress(progress), m_delimiter(csv::delimiterBytes(request.delimiter)),
          m_fetchEnd(exportFetchEnd(request)), m_spool(request.viFile)
    {
        m_header.chamber = data.chamberSerial();
        m_header.sensor = data.sensorSerial();
        m_header.session = request.sessionName;
        m_header.exportDate = exportDate;
        m_header.from = request.from;
        m_header.to = request.to;
    }

    ExportOutcome run()
    {
        fetch();
        const QString exporting = CoreText::tr("Exporting data...");
        report(exporting, 0, 0);
        writeViFile(exporting);
        if (m_request.exportEvents)
            writeEventsFile();
        if (m_request.exportRfOn)
            writeRfOnFile();
        return m_outcome;
    }

private:
    void report(const QString &label, int value, int maximum)
    {
        if (!m_isCancelled && m_progress)
            m_isCancelled = !m_progress(label, value, maximum);
    }

    void fetch();
    void spoolSamples();
    void spool(const QVector<SamplePoint> &samples);

    void start(CsvFile &file, const char *exportedData)
    {
        csv::appendHeader(file.lines(), m_header, QString::fromLatin1(exportedData), m_request.delimiter);
    }
    void writeViFile(const QString &label);
    void writeEventsFile();
    void writeEventRows(CsvFile &file);
    void writeRfOnFile();

    const abstractNorvexData &m_data;
    const ExportRequest &m_request;
    const ExportProgress &m_progress;
    const QByteArray m_delimiter;
    const quint64 m_fetchEnd;

    csv::Header m_header;
    csv::TimeCell m_time;
    CsvSpool m_spool; // the V/I lines: their number stands above them
    ExportEvents m_events;
    QVector<QByteArray> m_types; // cell texts in the order of m_events
    QVector<RunRecord> m_runs;
    ExportOutcome m_outcome;
    bool m_isCancelled = false;
};

void Exporter::fetch()
{
    report(CoreText::tr("Preparing data for Export..."), 0, reportSteps);
    m_events = ExportEvents(m_data, m_request);
    for (const QString &type : m_events.byType().keys())
        m_types.append(csv::cellText(type, m_request.delimiter));
    m_runs = m_data.runsInRange(m_request.from, m_fetchEnd);
    m_outcome.events = m_header.events = static_cast<quint32>(m_events.count());
    m_outcome.runs = m_header.runs = static_cast<quint32>(m_runs.size());
    spoolSamples();
    m_outcome.points = m_header.points;
}

void Exporter::spoolSamples()
{
    SampleSlices slices(m_data, m_request.from, m_fetchEnd);
    while (!m_isCancelled && slices.next()) {
        spool(slices.samples());
        report(CoreText::tr("Preparing data for Export..."), static_cast<int>(slices.done() * reportSteps),
               reportSteps);
    }
    m_outcome.isIncomplete = slices.isIncomplete();
}

void Exporter::spool(const QVector<SamplePoint> &samples)
{
    for (const SamplePoint &sample : samples) {
        csv::appendViLine(m_spool.lines(), sample, m_time, m_delimiter);
        ++m_header.points;
        if (m_header.points % linesPerReport == 0)
            m_spool.takeIn();
    }
}

void Exporter::writeViFile(const QString &label)
{
    CsvFile file(m_request.viFile);
    start(file, "Average Voltage Current measured over time");
    if (m_header.points > 0)
        csv::appendViColumns(file.lines(), m_delimiter);
    const int last = static_cast<int>(qMin<quint32>(m_header.points, std::numeric_limits<int>::max())) - 1;
    qint64 written = 0;
    const bool complete = m_spool.forEachPiece([&](const QByteArray &piece) {
        file.lines().append(piece);
        written += piece.size();
        report(label, static_cast<int>(double(last) * double(written) / double(m_spool.size())), last);
        return file.takeIn(true) && !m_isCancelled;
    });
    ExportedFile result = file.finish(m_isCancelled);
    if (!complete && !m_spool.error().isEmpty() && !m_isCancelled)
        result = {m_request.viFile, ExportedFile::CannotWrite, m_spool.error()};
    m_outcome.files.append(result);
}

void Exporter::writeEventsFile()
{
    report(CoreText::tr("Exporting Event data..."), 0, 0);
    CsvFile file(m_request.eventsFile);
    start(file, "Events");
    if (m_events.count() > 0) {
        QVector<int> counts;
        for (const QVector<EventRecord> &events : m_events.byType())
            counts.append(events.size());
        csv::appendEventSummary(file.lines(), m_types, counts, m_delimiter);
        csv::appendEventColumns(file.lines(), m_types.size(), m_delimiter);
        writeEventRows(file);
    }
    m_outcome.files.append(file.finish(m_isCancelled));
}

void Exporter::writeEventRows(CsvFile &file)
{
    const QString label = CoreText::tr("Preparing Event data for Export...");
    std::vector<EventColumn> columns;
    int busiest = 0; // the first type with the most events
    int mostEvents = 0;
    for (const QVector<EventRecord> &events : m_events.byType()) {
        const int index = static_cast<int>(columns.size());
        columns.emplace_back(m_data, events, m_types.at(index));
        if (events.size() > mostEvents) {
            mostEvents = events.size();
            busiest = index;
        }
    }
    const EventColumn &measure = columns[static_cast<size_t>(busiest)];
    int lastReported = -1;
    while (!m_isCancelled && std::any_of(columns.begin(), columns.end(), [](const auto &c) { return c.hasRow(); })) {
        for (EventColumn &column : columns) {
            if (column.hasRow())
                column.appendRow(file.lines(), m_time, m_delimiter);
            else
                csv::appendEmptyEventCells(file.lines(), m_delimiter);
        }
        file.lines().append('\n');
        if (!file.takeIn())
            return;
        if (measure.eventsDone() != lastReported) {
            lastReported = measure.eventsDone();
            report(label, lastReported, mostEvents);
        }
    }
}

void Exporter::writeRfOnFile()
{
    const QString label = CoreText::tr("Export RF-ON Details...");
    CsvFile file(m_request.rfOnFile);
    start(file, "RF-ON Events");
    if (!m_runs.isEmpty()) {
        file.lines().append("RF-ON Details\n");
        csv::appendRunColumns(file.lines(), m_types, m_delimiter);
    }
    QVector<ExportEvents::Overlaps> overlaps;
    for (const QVector<EventRecord> &events : m_events.byType())
        overlaps.append(ExportEvents::Overlaps(events));
    for (int i = 0; i < m_runs.size() && !m_isCancelled; ++i) {
        QVector<int> counts;
        for (const ExportEvents::Overlaps &type : overlaps)
            counts.append(type.count(m_runs.at(i)));
        csv::appendRunLine(file.lines(), m_runs.at(i), counts, m_time, m_delimiter);
        report(label, i, m_runs.size() - 1);
        if (!file.takeIn())
            break;
    }
    m_outcome.files.append(file.finish(m_isCancelled));
}

} // namespace

bool ExportOutcome::isCancelled() const
{
    return std::any_of(files.begin(), files.end(),
                       [](const ExportedFile &file) { return file.result == ExportedFile::Cancelled; });
}

bool ExportOutcome::isWritten() const
{
    return std::all_of(files.begin(), files.end(),
                       [](const ExportedFile &file) { return file.result == ExportedFile::Written; });
}

QString cannotCreateTitle()
{
    return CoreText::tr("Unable to create file");
}

QString cannotCreateText(const QString &path)
{
    return CoreText::tr("Unable to create file:") + path;
}

ExportOutcome exportCsv(const abstractNorvexData &data, const ExportRequest &request, const QDateTime &exportDate,
                        const ExportProgress &progress)
{
    return Exporter(data, request, exportDate, progress).run();
}
