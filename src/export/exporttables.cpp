#include "export/exporttables.h"

#include "base/coretext.h"
#include "data/abstractnorvexdata.h"
#include "data/derivedvalues.h"
#include "data/eventtypelist.h"
#include "data/runsteps.h"
#include "export/exportevents.h"
#include "export/samplebins.h"
#include "export/sampleslices.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int reportSteps = 1000;

struct Quantity
{
    eNorvexValueType type;
    const char *name;
    bool isWhole;
};

/// The quantities of a sample. Pulse frequency and duty cycle follow from these.
constexpr Quantity measured[] = {
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
constexpr const char *counters[] = {"events_E11", "events_E12", "events_E13", "events_E21", "events_E22",
                                    "events_E23", "events_E31", "events_E32", "events_E33", "events_EPE"};

QVector<Quantity> allQuantities()
{
    QVector<Quantity> all(std::begin(measured), std::end(measured));
    for (int i = 0; i <= LastEventCount - FirstEventCount; ++i)
        all.append({static_cast<eNorvexValueType>(FirstEventCount + i), counters[i], true});
    return all;
}

bool isCounter(const Quantity &quantity)
{
    return quantity.type >= FirstEventCount;
}

QVector<Quantity> chosenQuantities(const ExportRequest &request)
{
    QVector<Quantity> chosen = allQuantities();
    if (request.quantities.isEmpty())
        return chosen;
    chosen.erase(std::remove_if(chosen.begin(), chosen.end(),
                                [&](const Quantity &q) { return !request.quantities.contains(QLatin1String(q.name)); }),
                 chosen.end());
    return chosen;
}

QVector<ExportColumn> sampleColumns(const ExportRequest &request)
{
    QVector<ExportColumn> columns{{QStringLiteral("time"), ExportColumn::Moment}};
    if (request.binWidth > 0)
        columns.append({QStringLiteral("samples"), ExportColumn::Whole});
    const QVector<Quantity> chosen = chosenQuantities(request);
    for (const Quantity &quantity : chosen) {
        const QString name = QLatin1String(quantity.name);
        const ExportColumn::Kind kind = quantity.isWhole ? ExportColumn::Whole : ExportColumn::Number;
        if (request.binWidth == 0 || isCounter(quantity)) {
            columns.append({name, kind});
        } else {
            columns.append({name + QStringLiteral("_min"), kind});
            columns.append({name + QStringLiteral("_mean"), ExportColumn::Number});
            columns.append({name + QStringLiteral("_max"), kind});
        }
    }
    return columns;
}

QVector<ExportColumn> stepColumns()
{
    QVector<ExportColumn> columns{{QStringLiteral("run"), ExportColumn::Key},
                                  {QStringLiteral("step"), ExportColumn::Key},
                                  {QStringLiteral("time"), ExportColumn::Time},
                                  {QStringLiteral("name"), ExportColumn::Tag},
                                  {QStringLiteral("duration_s"), ExportColumn::Whole}};
    for (const Quantity &quantity : measured)
        columns.append({QLatin1String(quantity.name), quantity.isWhole ? ExportColumn::Whole : ExportColumn::Number});
    return columns;
}

/// A snapshot of an event with all its digits: an index has six, the waveform's sample of the same time has them all.
SamplePoint inFull(const SamplePoint &snapshot, const QVector<SamplePoint> &points)
{
    const auto same = std::find_if(points.begin(), points.end(),
                                   [&](const SamplePoint &point) { return point.time == snapshot.time; });
    return same == points.end() ? snapshot : *same;
}

/// One sensor's rows.
class Writer
{
public:
    Writer(const abstractNorvexData &data, const ExportRequest &request, TableSink &sink, ExportKeys &keys,
           const ExportProgress &progress, ExportOutcome &outcome)
        : m_data(data), m_request(request), m_sink(sink), m_keys(keys), m_progress(progress), m_outcome(outcome),
          m_end(exportFetchEnd(request)), m_quantities(chosenQuantities(request))
    {}

    bool run()
    {
        m_request.binWidth == 0 ? writeSamples() : writeBins();
        if (isExported(ExportTable::Events, m_request))
            writeEvents();
        if (isExported(ExportTable::Runs, m_request))
            writeRuns();
        return !m_isCancelled;
    }

private:
    bool goesOn() const { return !m_isCancelled && m_sink.isGood(); }
    void report(const QString &label, int value, int maximum)
    {
        if (!m_isCancelled && m_progress)
            m_isCancelled = !m_progress(label, value, maximum);
    }
    void reportSlice(const SampleSlices &slices)
    {
        report(CoreText::tr("Exporting data..."), static_cast<int>(slices.done() * reportSteps), reportSteps);
        m_outcome.isIncomplete = m_outcome.isIncomplete || slices.isIncomplete();
    }
    static void value(RowSink &row, const Quantity &quantity, const SamplePoint &sample)
    {
        const double value = sampleValue(sample, quantity.type);
        quantity.isWhole ? row.whole(static_cast<qint64>(value)) : row.number(value);
    }

    void writeSamples();
    void writeBins();
    void writeBin(const SampleBin &bin);
    void writeEvents();
    void writeEvent(const EventRecord &event, const QString &type);
    void writeRuns();
    void writeSteps(const RunRecord &run);

    const abstractNorvexData &m_data;
    const ExportRequest &m_request;
    TableSink &m_sink;
    ExportKeys &m_keys;
    const ExportProgress &m_progress;
    ExportOutcome &m_outcome;
    const quint64 m_end;
    const QVector<Quantity> m_quantities;
    bool m_isCancelled = false;
};

void Writer::writeSamples()
{
    SampleSlices slices(m_data, m_request.from, m_end);
    while (goesOn() && slices.next()) {
        RowSink &row = m_sink.rows(ExportTable::Samples);
        for (const SamplePoint &sample : slices.samples()) {
            row.whole(static_cast<qint64>(sample.time));
            for (const Quantity &quantity : m_quantities)
                value(row, quantity, sample);
            row.endRow();
        }
        m_outcome.points += static_cast<quint32>(slices.samples().size());
        reportSlice(slices);
    }
}

void Writer::writeBins()
{
    SampleBin bin(m_quantities.size());
    QVector<double> values(m_quantities.size());
    SampleSlices slices(m_data, m_request.from, m_end);
    while (goesOn() && slices.next()) {
        for (const SamplePoint &sample : slices.samples()) {
            const quint64 start = sample.time - sample.time % m_request.binWidth;
            if (bin.count() > 0 && start != bin.start()) {
                writeBin(bin);
                bin.clear();
            }
            for (int i = 0; i < values.size(); ++i)
                values[i] = sampleValue(sample, m_quantities.at(i).type);
            bin.add(start, values);
        }
        reportSlice(slices);
    }
    if (bin.count() > 0)
        writeBin(bin);
}

void Writer::writeBin(const SampleBin &bin)
{
    RowSink &row = m_sink.rows(ExportTable::Samples);
    const auto extreme = [&](const Quantity &quantity, double value) {
        quantity.isWhole ? row.whole(static_cast<qint64>(value)) : row.number(value);
    };
    row.whole(static_cast<qint64>(bin.start()));
    row.whole(bin.count());
    for (int i = 0; i < m_quantities.size(); ++i) {
        const Quantity &quantity = m_quantities.at(i);
        const SampleBin::Values &values = bin.values(i);
        if (isCounter(quantity)) {
            row.whole(static_cast<qint64>(values.sum));
            continue;
        }
        extreme(quantity, values.low);
        row.number(values.mean());
        extreme(quantity, values.high);
    }
    row.endRow();
    ++m_outcome.points;
}

void Writer::writeEvents()
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
    for (int i = 0; i < byTime.size() && goesOn(); ++i) {
        writeEvent(*byTime.at(i).event, byTime.at(i).type);
        ++m_outcome.events;
        report(CoreText::tr("Exporting Event data..."), i + 1, byTime.size());
    }
}

void Writer::writeEvent(const EventRecord &event, const QString &type)
{
    const QVector<SamplePoint> points = event.samples.isEmpty() ? m_data.waveform(keyOf(event)) : event.samples;
    const qint64 key = ++m_keys.events;
    RowSink &row = m_sink.rows(ExportTable::Events);
    row.whole(key);
    row.whole(static_cast<qint64>(event.time));
    row.text(type);
    row.text(eventtype::name(event.typeCode));
    row.whole(static_cast<qint64>(event.endTime()));
    const SamplePoint peak = inFull(event.snapshot1, points);
    row.number(inFull(event.snapshot2, points).voltage);
    row.number(peak.voltage);
    row.number(inFull(event.snapshot3, points).voltage);
    row.number(sampleValue(peak, Current));
    row.whole(points.size());
    row.endRow();
    RowSink &waveform = m_sink.rows(ExportTable::Waveforms);
    for (const SamplePoint &point : points) {
        waveform.whole(key);
        waveform.whole(static_cast<qint64>(event.time));
        waveform.text(type);
        waveform.whole(static_cast<qint64>(point.time));
        waveform.whole(static_cast<qint64>(point.time) - static_cast<qint64>(event.time));
        waveform.number(point.voltage);
        waveform.number(point.currentReal);
        waveform.number(point.currentImaginary);
        waveform.endRow();
    }
}

void Writer::writeRuns()
{
    const QVector<RunRecord> runs = m_data.runsInRange(m_request.from, m_end);
    for (int i = 0; i < runs.size() && goesOn(); ++i) {
        const RunRecord &run = runs.at(i);
        RowSink &row = m_sink.rows(ExportTable::Runs);
        row.whole(++m_keys.runs);
        row.whole(static_cast<qint64>(run.start));
        row.whole(static_cast<qint64>(run.end));
        row.whole(static_cast<qint64>(run.end - run.start));
        row.number(run.meanVoltage);
        row.number(run.meanCurrent);
        row.text(run.recipe.recipeName());
        row.endRow();
        writeSteps(run);
        ++m_outcome.runs;
        report(CoreText::tr("Exporting RF-ON data..."), i + 1, runs.size());
    }
}

void Writer::writeSteps(const RunRecord &run)
{
    RowSink &row = m_sink.rows(ExportTable::Steps);
    for (int step = 0; step < run.stepMeans.size(); ++step) {
        const SamplePoint *const mean = meanOfStep(run, step);
        if (!mean)
            continue;
        row.whole(m_keys.runs);
        row.whole(step + 1);
        row.whole(static_cast<qint64>(mean->time));
        row.text(run.recipe.stepName(step));
        row.whole(run.recipe.duration(step));
        for (const Quantity &quantity : measured)
            value(row, quantity, *mean);
        row.endRow();
    }
}

} // namespace

QString exportTableName(ExportTable table)
{
    static const QStringList names{QStringLiteral("samples"), QStringLiteral("events"), QStringLiteral("waveforms"),
                                   QStringLiteral("runs"), QStringLiteral("steps")};
    return names.at(static_cast<int>(table));
}

QStringList exportQuantities()
{
    QStringList names;
    const QVector<Quantity> all = allQuantities();
    for (const Quantity &quantity : all)
        names.append(QLatin1String(quantity.name));
    return names;
}

QString exportQuantityTitle(const QString &quantity)
{
    const QVector<Quantity> all = allQuantities();
    for (const Quantity &known : all) {
        if (quantity == QLatin1String(known.name))
            return quantityName(known.type);
    }
    return quantity;
}

QVector<ExportColumn> exportColumns(ExportTable table, const ExportRequest &request)
{
    using C = ExportColumn;
    switch (table) {
    case ExportTable::Samples:
        return sampleColumns(request);
    case ExportTable::Events:
        return {{QStringLiteral("event"), C::Key},
                {QStringLiteral("time"), C::Moment},
                {QStringLiteral("type"), C::Tag},
                {QStringLiteral("detector_type"), C::Tag},
                {QStringLiteral("end_us"), C::Whole},
                {QStringLiteral("first_voltage_V"), C::Number},
                {QStringLiteral("peak_voltage_V"), C::Number},
                {QStringLiteral("last_voltage_V"), C::Number},
                {QStringLiteral("peak_current_A"), C::Number},
                {QStringLiteral("waveform_points"), C::Whole}};
    case ExportTable::Waveforms:
        return {{QStringLiteral("event"), C::Key},
                {QStringLiteral("event_time_us"), C::Whole, true},
                {QStringLiteral("type"), C::Tag, true},
                {QStringLiteral("time"), C::Time},
                {QStringLiteral("offset_us"), C::Whole},
                {QStringLiteral("voltage_V"), C::Number},
                {QStringLiteral("current_real_A"), C::Number},
                {QStringLiteral("current_imaginary_A"), C::Number}};
    case ExportTable::Runs:
        return {{QStringLiteral("run"), C::Key},
                {QStringLiteral("start"), C::Moment},
                {QStringLiteral("end_us"), C::Whole},
                {QStringLiteral("duration_us"), C::Whole},
                {QStringLiteral("mean_voltage_V"), C::Number},
                {QStringLiteral("mean_current_A"), C::Number},
                {QStringLiteral("recipe"), C::Tag}};
    case ExportTable::Steps:
        return stepColumns();
    }
    return {};
}

bool isExported(ExportTable table, const ExportRequest &request)
{
    switch (table) {
    case ExportTable::Samples:
        return true;
    case ExportTable::Events:
    case ExportTable::Waveforms:
        return request.exportEvents;
    case ExportTable::Runs:
    case ExportTable::Steps:
        return request.exportRfOn;
    }
    return false;
}

bool writeTables(const abstractNorvexData &data, const ExportRequest &request, TableSink &sink, ExportKeys &keys,
                 const ExportProgress &progress, ExportOutcome &outcome)
{
    return Writer(data, request, sink, keys, progress, outcome).run();
}
