#include "data/reanalysis.h"

#include "base/coretext.h"
#include "base/jobprogress.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/indexfile.h"
#include "data/storefiles.h"

#include <QRunnable>
#include <QTextStream>
#include <QThreadPool>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>

namespace {

constexpr quint64 always = std::numeric_limits<quint64>::max();

double baseOf(const QVector<SamplePoint> &waveform)
{
    const int count = std::max(waveform.size() / 10, 1);
    double sum = 0;
    for (int i = 0; i < count; ++i)
        sum += waveform[i].voltage;
    return sum / count;
}

/// The time that the sample at `i` stands for: up to the next one; the last for as long as the one before it.
double intervalOf(const QVector<SamplePoint> &waveform, int i)
{
    const int from = i + 1 < waveform.size() ? i : i - 1;
    if (from < 0 || waveform[from + 1].time < waveform[from].time)
        return 0;
    return static_cast<double>(waveform[from + 1].time - waveform[from].time);
}

/// What the workers of one run share. Each takes the next event until none is left.
struct Shared
{
    const norvexData &store;
    const SensorConfiguration &configuration;
    const QVector<EventRecord> &events;
    JobProgress *progress;
    std::vector<qint32> codes; // -1 without a waveform; each entry is written by one worker
    std::atomic<int> next{0};
};

class Worker final : public QRunnable
{
public:
    explicit Worker(Shared &shared) : m_shared(shared) {}

    void run() override
    {
        while (!(m_shared.progress && m_shared.progress->isCancelled())) {
            const int i = m_shared.next.fetch_add(1);
            if (i >= m_shared.events.size())
                return;
            const EventRecord &event = m_shared.events.at(i);
            const QVector<SamplePoint> waveform = event.loaded ? event.samples : m_shared.store.waveform(keyOf(event));
            if (!waveform.isEmpty()) {
                m_shared.codes[static_cast<std::size_t>(i)] =
                    reanalysis::classOf(reanalysis::shapeOf(waveform), m_shared.configuration);
            }
            if (m_shared.progress)
                m_shared.progress->advance();
        }
    }

private:
    Shared &m_shared;
};

QByteArray configurationText(const SensorConfiguration &configuration)
{
    QString text;
    QTextStream stream(&text);
    configuration.writeConfigText(stream);
    stream.flush();
    return text.toUtf8();
}

QByteArray fileBytes(const norvexData &store, const SensorConfiguration &configuration,
                     const QVector<EventRecord> &events, const norvexData::EventCodes &codes)
{
    const QByteArray folder = datanames::lineSafe(store.folderName()).toUtf8();
    const Recipe recipe = store.recipe();
    QByteArray out;
    indexfile::appendHeader(out, {store.sensorSerial(), store.chamberSerial(), true,
                                  recipe.isEmpty() ? QByteArray() : recipe.toCompactJSON()});
    const QByteArray end = QByteArrayLiteral("End Block Config;\n");
    out.insert(out.indexOf(end), configurationText(configuration));
    const auto blocks = store.blocks();
    QByteArray lines;
    int count = 0;
    for (const auto &block : blocks) {
        if (block->fileName().isEmpty())
            continue;
        indexfile::appendBlock(lines, folder, block->fileName(), block->minimumTime(), block->maximumTime());
        ++count;
    }
    indexfile::appendBlockStart(out, count);
    out += lines;
    indexfile::appendBlockEnd(out);
    indexfile::appendEventStart(out, events.size());
    for (const EventRecord &event : events) {
        EventSummary summary = summaryOf(event);
        summary.setFileName(event.filePath.section(QLatin1Char('/'), -1));
        const qint32 code = codes.value(keyOf(event), summary.effectiveCode());
        summary.isOverridden = code != summary.typeCode;
        summary.overrideCode = summary.isOverridden ? code : 0;
        indexfile::appendEvent(out, folder, summary);
    }
    indexfile::appendEventEnd(out);
    return out;
}

QString pathOf(const norvexData &store, const QString &sessionFolder)
{
    return storefiles::sensorPath(sessionFolder, store.folderName()) + QLatin1Char('/') + reanalysis::fileName();
}

void classify(Shared &shared)
{
    QThreadPool pool;
    for (int i = 0; i < pool.maxThreadCount(); ++i)
        pool.start(new Worker(shared));
    pool.waitForDone();
}

} // namespace

namespace reanalysis {

QString fileName()
{
    return QStringLiteral("reanalysis.dat");
}

bool isReanalysed(const EventRecord &event)
{
    const qint32 code = event.effectiveCode();
    return !event.named && code >= 0 && code < eventtype::NotAnEvent;
}

Shape shapeOf(const QVector<SamplePoint> &waveform)
{
    if (waveform.isEmpty())
        return {};
    const double base = baseOf(waveform);
    double largest = 0;
    for (const SamplePoint &sample : waveform)
        largest = std::max(largest, std::abs(sample.voltage - base)); // a value that is no number never is the largest
    if (!(largest > 0))
        return {};
    Shape shape;
    shape.amplitudePercent = 100 * largest / std::abs(base);
    for (int i = 0; i < waveform.size(); ++i) {
        if (std::abs(waveform[i].voltage - base) >= largest / 2)
            shape.lengthUs += intervalOf(waveform, i);
    }
    return shape;
}

qint32 classOf(const Shape &shape, const SensorConfiguration &configuration)
{
    const quint32 amplitudes[] = {configuration.event1MinAmplitude, configuration.event2MinAmplitude,
                                  configuration.event3MinAmplitude};
    const quint32 lengths[] = {configuration.event1MaxLength, configuration.event2MaxLength,
                               configuration.event3MaxLength};
    int amplitude = 2;
    while (amplitude >= 0 && !(shape.amplitudePercent >= amplitudes[amplitude]))
        --amplitude;
    int length = 0;
    while (length < 3 && !(shape.lengthUs <= lengths[length]))
        ++length;
    if (!(shape.amplitudePercent > 0) || amplitude < 0 || length > 2)
        return eventtype::NotAnEvent;
    return length * 3 + amplitude;
}

Outcome run(const norvexData &store, const QString &sessionFolder, const SensorConfiguration &configuration,
            JobProgress *progress)
{
    Outcome outcome;
    const QVector<EventRecord> all = store.storedEvents(0, always);
    QVector<EventRecord> events;
    std::copy_if(all.begin(), all.end(), std::back_inserter(events), isReanalysed);
    if (progress)
        progress->begin(CoreText::tr("Reanalysing"), events.size());
    Shared shared{store, configuration, events, progress,
                  std::vector<qint32>(static_cast<std::size_t>(events.size()), -1)};
    classify(shared);
    if (progress && progress->isCancelled()) {
        outcome.kind = Outcome::Kind::Cancelled;
        return outcome;
    }
    auto codes = std::make_shared<norvexData::EventCodes>();
    for (int i = 0; i < events.size(); ++i) {
        const qint32 before = events.at(i).effectiveCode();
        const qint32 code = shared.codes[static_cast<std::size_t>(i)];
        outcome.withoutWaveform += code < 0 ? 1 : 0;
        codes->insert(keyOf(events.at(i)), code < 0 ? before : code);
        ++outcome.transitions[{before, code < 0 ? before : code}];
    }
    outcome.events = events.size();
    outcome.codes = codes;
    QVector<EventRecord> saved; // those that only memory has are in the next reanalysis
    std::copy_if(all.begin(), all.end(), std::back_inserter(saved), [](const EventRecord &e) { return e.isSaved(); });
    if (!writeFileSafely(pathOf(store, sessionFolder), fileBytes(store, configuration, saved, *codes), &outcome.reason))
        outcome.kind = Outcome::Kind::Failed;
    return outcome;
}

std::shared_ptr<const norvexData::EventCodes> read(const norvexData &store, const QString &sessionFolder,
                                                   QString *reason)
{
    QByteArray bytes;
    if (!readWholeFile(pathOf(store, sessionFolder), bytes, indexfile::maximumSize, reason))
        return nullptr;
    const IndexContent content = indexfile::read(bytes);
    if (!content.complete) {
        if (reason)
            *reason = CoreText::tr("it ends early");
        return nullptr;
    }
    auto codes = std::make_shared<norvexData::EventCodes>();
    for (const EventSummary &event : content.events)
        codes->insert(keyOf(event), event.effectiveCode());
    return codes;
}

} // namespace reanalysis
