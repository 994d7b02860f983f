#include "display/overlayset.h"

#include "data/norvexdata.h"
#include "display/overlayseries.h"
#include "display/sessionfacts.h"
#include "display/sessionview.h"

#include <QMutex>

#include <algorithm>
#include <utility>

namespace {

constexpr qint64 sampleBudget = qint64(256) << 20; // bytes; beyond, only the extremes of neighbouring samples are kept
constexpr quint64 afterRun = 1000000;              // us that a curve goes on past the end of its run

} // namespace

struct OverlaySet::Mailbox
{
    QMutex lock; // guards the next two
    OverlaySet *receiver = nullptr;
    std::vector<std::pair<OverlayEntry, std::shared_ptr<SeriesBlock>>> read;
    std::atomic<bool> cancelled{false};
    std::atomic<qint64> bytes{0};
};

OverlaySet::OverlaySet(const Theme &theme, SessionFacts &facts, QObject *parent)
    : QObject(parent), m_facts(facts), m_table(theme), m_mailbox(std::make_shared<Mailbox>())
{
    m_mailbox->receiver = this;
    m_pool.setMaxThreadCount(1); // files are read in order
}

OverlaySet::~OverlaySet()
{
    m_mailbox->cancelled = true;
    m_pool.clear();
    const QMutexLocker locker(&m_mailbox->lock);
    m_mailbox->receiver = nullptr;
}

void OverlaySet::addRuns(const QVector<ViewSensor> &sensors, const TimeRange &range)
{
    begin({OverlayEntry::Run, sensors, range, {}});
}

void OverlaySet::addEvents(const QVector<ViewSensor> &sensors, const TimeRange &range,
                           std::function<bool(const QString &)> isShown)
{
    begin({OverlayEntry::Event, sensors, range, std::move(isShown)});
}

void OverlaySet::begin(const Addition &addition)
{
    m_additions.append(addition);
    for (const ViewSensor &sensor : addition.sensors) {
        StoreFacts *facts = m_facts.of(sensor.store);
        connect(facts, &StoreFacts::readFinished, this, &OverlaySet::addWhatIsRead, Qt::UniqueConnection);
        facts->refresh();
    }
    addWhatIsRead();
}

void OverlaySet::addWhatIsRead()
{
    QVector<Addition> waiting;
    const QVector<Addition> additions = std::exchange(m_additions, {});
    for (const Addition &addition : additions) {
        const bool reading =
            std::any_of(addition.sensors.begin(), addition.sensors.end(), [this](const ViewSensor &sensor) {
                return sensor.on && m_facts.of(sensor.store)->isReading();
            });
        if (reading)
            waiting.append(addition);
        else
            finish(addition);
    }
    m_additions += waiting;
}

QVector<OverlayEntry> OverlaySet::runsOf(const ViewSensor &sensor, const TimeRange &range)
{
    QVector<OverlayEntry> entries;
    const QVector<RunRecord> &runs = m_facts.of(sensor.store)->runs();
    for (int i = 0; i < runs.size(); ++i) {
        if (runs[i].start >= range.to || runs[i].end < range.from)
            continue;
        OverlayEntry entry;
        entry.number = i + 1;
        entry.type = runs[i].recipe.recipeName();
        entry.start = runs[i].start;
        entry.end = runs[i].end;
        entries.append(entry);
    }
    return entries;
}

QVector<OverlayEntry> OverlaySet::eventsOf(const ViewSensor &sensor, const Addition &addition)
{
    QVector<OverlayEntry> entries;
    const QVector<EventFact> &events = m_facts.of(sensor.store)->events();
    for (int i = 0; i < events.size(); ++i) {
        const EventFact &event = events[i];
        const QString &type = m_facts.typeNames().at(event.type);
        if (!addition.range.contains(event.time) || !addition.isShown(type))
            continue;
        OverlayEntry entry;
        entry.kind = OverlayEntry::Event;
        entry.number = i + 1;
        entry.type = type;
        entry.start = event.time;
        entry.end = event.end;
        entry.typeCode = event.typeCode;
        entries.append(entry);
    }
    return entries;
}

void OverlaySet::finish(const Addition &addition)
{
    const bool runs = addition.kind == OverlayEntry::Run;
    QVector<OverlayEntry> entries;
    for (const ViewSensor &sensor : addition.sensors) {
        if (!sensor.on)
            continue;
        QVector<OverlayEntry> own = runs ? runsOf(sensor, addition.range) : eventsOf(sensor, addition);
        for (OverlayEntry &entry : own) {
            entry.serial = sensor.serial;
            entry.sensor = sensor.label;
            entry.sensorColour = sensor.colour;
            entry.store = sensor.store;
        }
        entries += own;
    }
    const int found = entries.size();
    const int present = m_table.count(addition.kind);
    const int room = std::max(0, (runs ? mostRuns : mostEvents) - present);
    // Those that are there already take no room.
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [this](const OverlayEntry &entry) {
                                     return m_table.find(entry.kind, entry.serial, entry.start, entry.typeCode) >= 0;
                                 }),
                  entries.end());
    const int beyond = std::max(0, entries.size() - room);
    entries.resize(entries.size() - beyond);
    for (int i = 0; i < entries.size(); ++i)
        entries[i].colour = Theme::sensorColour(present + i);
    m_table.add(entries);
    for (const OverlayEntry &entry : qAsConst(entries))
        read(entry);
    emit added(addition.kind, found, entries.size(), beyond);
}

void OverlaySet::read(const OverlayEntry &entry)
{
    m_pool.start([entry, box = m_mailbox] {
        if (box->cancelled)
            return;
        std::shared_ptr<SeriesBlock> series =
            entry.kind == OverlayEntry::Run
                ? readRunSeries(*entry.store, {entry.start, entry.end + afterRun}, box->cancelled)
                : readEventSeries(*entry.store, {entry.start, entry.typeCode});
        if (series && (box->bytes += series->memory()) > sampleBudget) {
            const qint64 whole = series->memory();
            series->releaseSamples();
            box->bytes += series->memory() - whole;
        }
        const QMutexLocker locker(&box->lock);
        if (!box->receiver)
            return;
        box->read.emplace_back(entry, std::move(series));
        if (box->read.size() == 1)
            QMetaObject::invokeMethod(
                box->receiver, [box] { box->receiver->takeSeries(); }, Qt::QueuedConnection);
    });
}

void OverlaySet::takeSeries()
{
    std::vector<std::pair<OverlayEntry, std::shared_ptr<SeriesBlock>>> read;
    {
        const QMutexLocker locker(&m_mailbox->lock);
        read.swap(m_mailbox->read);
    }
    for (auto &[entry, series] : read)
        m_table.setSeries(entry, std::move(series));
    if (m_table.rowCount() == 0)
        m_mailbox->bytes = 0; // all were removed
}
