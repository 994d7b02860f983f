#include "display/overlay/overlayset.h"

#include "data/norvexdata.h"
#include "display/overlay/overlayseries.h"
#include "display/records/runsearcher.h"
#include "display/records/sessionrecords.h"

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

OverlaySet::OverlaySet(const Theme &theme, SessionRecords &records, RunSearcher &searcher, QObject *parent)
    : QObject(parent), m_records(records), m_searcher(searcher), m_table(theme), m_mailbox(std::make_shared<Mailbox>())
{
    m_mailbox->receiver = this;
    m_pool.setMaxThreadCount(1); // files are read in order
    connect(&m_records, &SessionRecords::changed, this, &OverlaySet::addWhatIsRead);
    connect(&m_records, &SessionRecords::eventsReset, this, &OverlaySet::nameEvents);
}

OverlaySet::~OverlaySet()
{
    m_mailbox->cancelled = true;
    m_pool.clear();
    const QMutexLocker locker(&m_mailbox->lock);
    m_mailbox->receiver = nullptr;
}

void OverlaySet::add(const OverlayWish &wish)
{
    Addition addition{wish, {}};
    for (const SessionRecords::Sensor &sensor : m_records.sensors())
        if (sensor.view.on)
            addition.stored.insert(sensor.view.serial, wish.kind == OverlayEntry::Run
                                                           ? sensor.view.store->runCount()
                                                           : sensor.view.store->eventCount());
    m_additions.append(addition);
    m_records.refresh();
    addWhatIsRead();
}

bool OverlaySet::isRead(const Addition &addition) const
{
    const QVector<SessionRecords::Sensor> &sensors = m_records.sensors();
    return std::all_of(sensors.begin(), sensors.end(), [&](const SessionRecords::Sensor &sensor) {
        const int read =
            addition.wish.kind == OverlayEntry::Run ? sensor.records->runs.size() : sensor.records->events.size();
        return !sensor.view.on || (sensor.known && read >= addition.stored.value(sensor.view.serial));
    });
}

void OverlaySet::addWhatIsRead()
{
    QVector<Addition> waiting;
    const QVector<Addition> additions = std::exchange(m_additions, {});
    for (const Addition &addition : additions) {
        if (isRead(addition))
            finish(addition.wish);
        else
            waiting.append(addition);
    }
    m_additions += waiting;
}

bool OverlaySet::isWanted(const OverlayWish &wish, const RecordKey &key, quint64 end)
{
    if (!wish.only.isEmpty())
        return wish.only.contains(key);
    return key.time < wish.range.to && std::max(end, key.time) >= wish.range.from;
}

QVector<OverlayEntry> OverlaySet::runsOf(const QVector<RunRow> &runs, const QString &serial, const OverlayWish &wish)
{
    QVector<OverlayEntry> entries;
    for (const RunRow &run : runs) {
        if (!isWanted(wish, {serial, run.record.start, eventtype::RfOn}, run.record.end))
            continue;
        OverlayEntry entry;
        entry.number = run.number;
        entry.type = run.record.recipe.recipeName();
        entry.start = run.record.start;
        entry.end = run.record.end;
        entries.append(entry);
    }
    return entries;
}

QVector<OverlayEntry> OverlaySet::eventsOf(int sensor, const OverlayWish &wish) const
{
    QVector<OverlayEntry> entries;
    const QString &serial = m_records.sensors().at(sensor).view.serial;
    const RecordSet &records = *m_records.sensors().at(sensor).records;
    for (int i = 0; i < records.events.size(); ++i) {
        const EventRow &event = records.events.at(i);
        if (!isWanted(wish, {serial, event.time, event.typeCode}, event.time))
            continue;
        if (wish.isShown && !wish.isShown(records.nameOf(event)))
            continue;
        OverlayEntry entry;
        entry.kind = OverlayEntry::Event;
        entry.number = i + 1;
        entry.type = records.nameOf(event);
        entry.start = event.time;
        entry.end = event.end;
        entry.typeCode = event.typeCode;
        entries.append(entry);
    }
    return entries;
}

void OverlaySet::nameEvents()
{
    for (int row = 0; row < m_table.rowCount(); ++row) {
        const OverlayEntry &entry = m_table.entry(row);
        const int sensor = entry.kind == OverlayEntry::Event ? m_records.indexOf(entry.serial) : -1;
        if (sensor < 0)
            continue;
        const RecordSet &records = *m_records.sensors().at(sensor).records;
        const int event = records.findEvent(entry.start, entry.typeCode);
        if (event >= 0)
            m_table.setType(row, records.nameOf(records.events.at(event)));
    }
}

void OverlaySet::finish(const OverlayWish &wish)
{
    const bool runs = wish.kind == OverlayEntry::Run;
    QVector<OverlayEntry> entries;
    const QVector<SessionRecords::Sensor> &sensors = runs ? m_searcher.sensors() : m_records.sensors();
    for (int i = 0; i < sensors.size(); ++i) {
        const ViewSensor &view = sensors.at(i).view;
        if (!view.on)
            continue;
        QVector<OverlayEntry> own = runs ? runsOf(sensors.at(i).records->runs, view.serial, wish) : eventsOf(i, wish);
        for (OverlayEntry &entry : own) {
            entry.serial = view.serial;
            entry.sensor = view.label;
            entry.sensorColour = view.colour;
            entry.store = view.store;
        }
        entries += own;
    }
    const int found = entries.size();
    const int present = m_table.count(wish.kind);
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
    emit added(wish.kind, found, entries.size(), beyond);
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
