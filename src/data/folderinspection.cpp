#include "data/folderinspection.h"

#include "base/coretext.h"
#include "base/jobprogress.h"
#include "base/safefile.h"
#include "data/blockscan.h"
#include "data/datanames.h"
#include "data/folderscan.h"
#include "data/overlapsearch.h"
#include "data/storefiles.h"
#include "recipe/sensorconfiguration.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

#include <algorithm>

namespace {

/// By FileState.
constexpr const char *stateNames[] = {
    QT_TRANSLATE_NOOP("CoreText", "sound"),       QT_TRANSLATE_NOOP("CoreText", "short"),
    QT_TRANSLATE_NOOP("CoreText", "long"),        QT_TRANSLATE_NOOP("CoreText", "unreadable"),
    QT_TRANSLATE_NOOP("CoreText", "unlisted"),    QT_TRANSLATE_NOOP("CoreText", "missing"),
    QT_TRANSLATE_NOOP("CoreText", "overlapping"), QT_TRANSLATE_NOOP("CoreText", "stale"),
    QT_TRANSLATE_NOOP("CoreText", "outside")};

/// The lines of the index and of a backup that an interrupted save left, by file name.
struct Listed
{
    QHash<QString, IndexBlock> blocks;
    std::vector<EventSummary> events;
    QSet<EventKey> keys;
};

/// An index cannot carry a name with a separator in it.
bool canBeListed(const QString &name)
{
    return datanames::isPlainFileName(name) && datanames::lineSafe(name) == name;
}

class Inspector
{
public:
    Inspector(const QString &path, JobProgress *progress) : m_progress(progress) { m_result.path = path; }

    FolderInspection run();

private:
    void problem(const QString &text) { m_result.problems.append(text); }
    QString pathOf(const QString &name) const { return m_result.path + QLatin1Char('/') + name; }
    bool begin(const QString &name);

    void readIndexes();
    bool readIndex(const QString &path, IndexContent &content, bool isBackup);
    void reportIndex(const IndexContent &index);
    void takeLines(const IndexContent &index, bool count);
    void takeHeader(const IndexContent &index);

    void inspectBlocks(const QStringList &names);
    InspectedBlock inspectBlock(const QString &name) const;
    void compareWithIndex(InspectedBlock &block) const;
    void findDoubles();
    void inspectEvents(const QStringList &names);
    void takeEvent(const QString &name, const EventSummary *listed);
    void addMissing(const QStringList &blocks);
    void checkConfiguration();

    JobProgress *const m_progress;
    FolderInspection m_result;
    Listed m_listed;
    QSet<EventKey> m_foundEvents; // that a file brings
};

bool Inspector::begin(const QString &name)
{
    if (!m_progress)
        return true;
    m_progress->advance();
    m_progress->setName(name);
    m_result.cancelled = m_progress->isCancelled();
    return !m_result.cancelled;
}

void Inspector::reportIndex(const IndexContent &index)
{
    if (!index.complete)
        problem(CoreText::tr("the index ends early"));
    if (index.foundBlocks != index.announcedBlocks || index.foundEvents != index.announcedEvents) {
        problem(CoreText::tr("the index announces %1 blocks and %2 events and lists %3 and %4")
                    .arg(index.announcedBlocks)
                    .arg(index.announcedEvents)
                    .arg(index.foundBlocks)
                    .arg(index.foundEvents));
    }
    if (index.sensorSerial.isEmpty())
        problem(CoreText::tr("the index names no sensor"));
    for (const QString &line : index.problems)
        problem(CoreText::tr("index line skipped, %1").arg(line));
    m_result.outside += index.outside;
}

void Inspector::takeHeader(const IndexContent &index)
{
    const auto fill = [](auto &field, const auto &value) {
        if (field.isEmpty())
            field = value;
    };
    fill(m_result.sensorSerial, index.sensorSerial);
    fill(m_result.chamberSerial, index.chamberSerial);
    fill(m_result.configurationText, index.configurationText);
    Recipe recipe;
    if (!index.recipe.isEmpty() && recipe.fromJSON(index.recipe))
        fill(m_result.recipe, index.recipe);
    else if (!index.recipe.isEmpty())
        problem(CoreText::tr("the recipe in the index cannot be read"));
}

void Inspector::takeLines(const IndexContent &index, bool count)
{
    int doubled = 0;
    for (const IndexBlock &block : index.blocks) {
        doubled += m_listed.blocks.contains(block.file) ? 1 : 0;
        if (!m_listed.blocks.contains(block.file))
            m_listed.blocks.insert(block.file, block);
    }
    for (const EventSummary &event : index.events) {
        doubled += m_listed.keys.contains(keyOf(event)) ? 1 : 0;
        if (m_listed.keys.contains(keyOf(event)))
            continue;
        m_listed.keys.insert(keyOf(event));
        m_listed.events.push_back(event);
    }
    if (count && doubled > 0)
        problem(CoreText::tr("%n lines of the index come twice", nullptr, doubled));
}

bool Inspector::readIndex(const QString &path, IndexContent &content, bool isBackup)
{
    QByteArray bytes;
    QString reason;
    if (!QFileInfo(path).isFile() || QFileInfo(path).isSymLink())
        reason = CoreText::tr("it is not a plain file");
    else if (readWholeFile(path, bytes, indexfile::maximumSize, &reason)) {
        content = indexfile::read(bytes);
        return true;
    }
    problem((isBackup ? CoreText::tr("the backup of the index cannot be read: %1")
                      : CoreText::tr("the index cannot be read: %1"))
                .arg(reason));
    return false;
}

/// The backup counts, too: the save that left it may have cut the index short.
void Inspector::readIndexes()
{
    const QString path = pathOf(datanames::indexFile());
    const QString backup = storefiles::backupPath(path);
    IndexContent index;
    IndexContent before;
    const bool readable = QFileInfo::exists(path) && readIndex(path, index, false);
    if (!QFileInfo::exists(path))
        problem(CoreText::tr("the index is missing"));
    if (readable)
        reportIndex(index);
    if (QFileInfo::exists(backup)) {
        problem(CoreText::tr("the last save was interrupted; the index before it is kept as a backup"));
        readIndex(backup, before, true);
    }
    const bool backupFirst = before.complete && !index.complete;
    takeHeader(backupFirst ? before : index);
    takeHeader(backupFirst ? index : before);
    takeLines(index, readable);
    takeLines(before, false);
}

InspectedBlock Inspector::inspectBlock(const QString &name) const
{
    InspectedBlock block;
    block.name = name;
    block.listed = m_listed.blocks.contains(name);
    quint64 last = 0;
    bool rising = true;
    QVector<quint64> times;
    blockscan::Header header;
    const auto take = [&](const uchar *records, int count, const blockscan::Header &head) {
        const int size = sampleRecordSize(head.version);
        if (times.isEmpty())
            times.reserve(static_cast<int>(head.readable()));
        for (int i = 0; i < count; ++i) {
            const quint64 time = blockscan::timeAt(records + i * size);
            rising = rising && (times.isEmpty() || time > last);
            last = time;
            times.append(time);
        }
        return true;
    };
    QString reason;
    const bool read = blockscan::scan(pathOf(name), header, take, &reason);
    block.announced = header.announced;
    block.readable = times.size();
    if (!times.isEmpty()) {
        const auto range = std::minmax_element(times.constBegin(), times.constEnd());
        block.firstTime = *range.first;
        block.lastTime = *range.second;
    }
    if (!rising) {
        std::sort(times.begin(), times.end());
        block.repeatsItself = std::adjacent_find(times.constBegin(), times.constEnd()) != times.constEnd();
    }
    if (!read && times.isEmpty()) {
        block.state = FileState::Unreadable;
        block.detail = reason;
    } else if (!read || header.isShort()) {
        block.state = times.isEmpty() ? FileState::Unreadable : FileState::Short;
        block.detail = CoreText::tr("%1 of %2 samples can be read").arg(times.size()).arg(header.announced);
    } else if (header.isLong() && header.held > header.announced) {
        block.state = FileState::Long;
        block.detail =
            CoreText::tr("%1 samples are announced and %2 are there").arg(header.announced).arg(times.size());
    } else if (times.isEmpty()) {
        block.state = FileState::Unreadable;
        block.detail = CoreText::tr("it holds no samples");
    }
    return block;
}

void Inspector::compareWithIndex(InspectedBlock &block) const
{
    if (block.state != FileState::Unreadable && !canBeListed(block.name)) {
        block.state = FileState::Outside;
        block.detail = CoreText::tr("no index can carry its name");
    }
    if (block.state != FileState::Sound)
        return;
    if (!block.doubledTimes.isEmpty()) {
        block.state = FileState::Overlapping;
        block.detail = CoreText::tr("%1 of its %2 samples are also in other files")
                           .arg(block.doubledTimes.size())
                           .arg(block.readable);
    } else if (block.repeatsItself) {
        block.state = FileState::Overlapping;
        block.detail = CoreText::tr("some of its samples come twice");
    } else if (!block.listed) {
        block.state = FileState::Unlisted;
        block.detail = CoreText::tr("%n samples", nullptr, static_cast<int>(block.readable));
    } else {
        const IndexBlock line = m_listed.blocks.value(block.name);
        const bool same = std::min(line.firstTime, line.lastTime) == block.firstTime &&
                          std::max(line.firstTime, line.lastTime) == block.lastTime;
        if (line.timesKnown && !same) {
            block.state = FileState::Stale;
            block.detail = CoreText::tr("the index gives it other times");
        }
    }
}

void Inspector::findDoubles()
{
    QVector<OverlapSearch::File> files;
    files.reserve(m_result.blocks.size());
    for (int i = 0; i < m_result.blocks.size(); ++i) {
        const InspectedBlock &block = m_result.blocks.at(i);
        // Of two that hold the same the listed and then the sound one is kept.
        const int rank = (block.listed ? 0 : 1) + (block.state == FileState::Sound ? 0 : 2);
        if (block.readable > 0)
            files.append({i, rank, block.firstTime, block.lastTime});
    }
    OverlapSearch search([this](int i) { return timesOfBlock(pathOf(m_result.blocks.at(i).name)); });
    for (const OverlapSearch::Doubled &found : search.run(files))
        m_result.blocks[found.file].doubledTimes = found.times;
    if (search.gaveUp())
        problem(CoreText::tr("too many files overlap to compare all of them"));
}

void Inspector::inspectBlocks(const QStringList &names)
{
    for (const QString &name : names) {
        if (!begin(name))
            return;
        m_result.blocks.append(inspectBlock(name));
    }
    findDoubles();
    for (InspectedBlock &block : m_result.blocks)
        compareWithIndex(block);
}

void Inspector::takeEvent(const QString &name, const EventSummary *listed)
{
    InspectedEvent found;
    const bool read = folderscan::readEvent(m_result.path, name, found.summary, &found.detail);
    if (!read) {
        found.summary.setFileName(name);
        found.state = FileState::Unreadable;
    } else if (m_foundEvents.contains(keyOf(found.summary))) {
        found.state = FileState::Overlapping;
        found.detail = CoreText::tr("its event is also in another file");
    } else if (!canBeListed(name)) {
        found.state = FileState::Outside;
        found.detail = CoreText::tr("no index can carry its name");
    } else if (!listed) {
        found.state = FileState::Unlisted;
    } else if (!(keyOf(*listed) == keyOf(found.summary))) {
        found.state = FileState::Stale;
        found.detail = CoreText::tr("it holds another event than the index says");
    } else {
        found.summary = *listed;
    }
    if (read)
        m_foundEvents.insert(keyOf(found.summary));
    m_result.events.push_back(std::move(found));
}

void Inspector::inspectEvents(const QStringList &names)
{
    QSet<QString> left(names.begin(), names.end());
    for (const EventSummary &event : m_listed.events) {
        const QString name = event.fileName();
        if (!left.remove(name))
            continue; // not there, or a second event of the same file
        if (!begin(name))
            return;
        takeEvent(name, &event);
    }
    for (const QString &name : names) {
        if (!left.contains(name))
            continue;
        if (!begin(name))
            return;
        takeEvent(name, nullptr);
    }
    const QSet<QString> present(names.begin(), names.end());
    for (const EventSummary &event : m_listed.events) {
        if (!m_foundEvents.contains(keyOf(event)))
            m_result.lostEvents.push_back(
                {event, present.contains(event.fileName()) ? FileState::Unreadable : FileState::Missing});
        else if (!present.contains(event.fileName()))
            problem(CoreText::tr("the event of %1 is in a file of another name").arg(event.fileName()));
    }
}

void Inspector::addMissing(const QStringList &blocks)
{
    const QSet<QString> present(blocks.begin(), blocks.end());
    for (auto it = m_listed.blocks.cbegin(); it != m_listed.blocks.cend(); ++it) {
        if (!present.contains(it.key()))
            m_result.missingBlocks.append(it.key());
    }
    m_result.missingBlocks.sort();
}

void Inspector::checkConfiguration()
{
    const QString path = pathOf(datanames::lastConfig() + configFileExtension());
    SensorConfiguration configuration;
    QString reason;
    if (QFileInfo::exists(path) && !configuration.loadFromFile(path, &reason))
        problem(CoreText::tr("the kept configuration cannot be read: %1").arg(reason));
}

FolderInspection Inspector::run()
{
    if (!QFileInfo(m_result.path).isDir()) {
        problem(CoreText::tr("the folder is missing"));
        m_result.isThere = false;
        return m_result;
    }
    readIndexes();
    const folderscan::Listing files = folderscan::list(m_result.path);
    inspectBlocks(files.blocks);
    if (!m_result.cancelled)
        inspectEvents(files.events);
    if (!m_result.cancelled)
        addMissing(files.blocks);
    checkConfiguration();
    return m_result;
}

} // namespace

QString nameOf(FileState state)
{
    return QLatin1String(stateNames[static_cast<std::size_t>(state)]);
}

QString shownNameOf(FileState state)
{
    return CoreText::tr(stateNames[static_cast<std::size_t>(state)]);
}

bool FolderInspection::isDamaged() const
{
    const auto bad = [](const auto &file) { return file.state != FileState::Sound; };
    return !problems.isEmpty() || !outside.isEmpty() || !missingBlocks.isEmpty() || !lostEvents.empty() ||
           std::any_of(blocks.begin(), blocks.end(), bad) || std::any_of(events.begin(), events.end(), bad);
}

FolderInspection inspectFolder(const QString &path, JobProgress *progress)
{
    return Inspector(path, progress).run();
}

int inspectionUnits(const QString &path)
{
    const folderscan::Listing files = folderscan::list(path);
    return files.blocks.size() + files.events.size();
}
