#include "data/datablock.h"

#include "base/log.h"
#include "base/safefile.h"
#include "data/blockfile.h"
#include "data/runsearch.h"
#include "data/samplesink.h"

#include <QFileInfo>

#include <algorithm>

namespace {

constexpr int lockWaitMs = 200;
constexpr int fullSize = 10000; // samples of a block that is not closed early

/// The one way a block's lock is taken by its operations: waits a bounded time and writes the line when it was in vain.
class BlockLock
{
public:
    BlockLock(QMutex &mutex, const char *operation) : m_mutex(mutex), m_locked(mutex.tryLock(lockWaitMs))
    {
        if (!m_locked)
            logDebug(QStringLiteral("<<<<<<<<< dataBlock::%1: mutex try lock timed out >>>>>>>>>>")
                         .arg(QLatin1String(operation)));
    }
    ~BlockLock()
    {
        if (m_locked)
            m_mutex.unlock();
    }
    BlockLock(const BlockLock &) = delete;
    BlockLock &operator=(const BlockLock &) = delete;

    explicit operator bool() const { return m_locked; }

private:
    QMutex &m_mutex;
    const bool m_locked;
};

QString filePath(const QString &folder, const QString &fileName)
{
    return QStringLiteral("%1/%2").arg(folder, fileName);
}

struct ByTime
{
    bool operator()(const SamplePoint &a, const SamplePoint &b) const { return a.time < b.time; }
    bool operator()(const SamplePoint &a, quint64 b) const { return a.time < b; }
    bool operator()(quint64 a, const SamplePoint &b) const { return a < b.time; }
};

} // namespace

dataBlock::dataBlock(const Clock &clock) : m_clock(clock)
{
    touch();
}

void dataBlock::describe(const QString &folder, const QString &fileName, quint64 first, quint64 last, int count)
{
    clear();
    m_loaded = false;
    m_firstTime = first;
    m_lastTime = last;
    m_minimumTime = std::min(first, last);
    m_maximumTime = std::max(first, last);
    savedAs(folder, fileName, {m_minimumTime, m_maximumTime});
    m_loadedName = fileName;
    m_count = count;
}

bool dataBlock::searchData(QVector<SamplePoint> &out, quint64 from, quint64 to)
{
    if (to < m_firstTime || from > m_lastTime)
        return false;
    return search(out, from, to);
}

bool dataBlock::searchRange(QVector<SamplePoint> &out, quint64 from, quint64 to)
{
    if (to < m_minimumTime || from > m_maximumTime)
        return false;
    return search(out, from, to);
}

bool dataBlock::search(QVector<SamplePoint> &out, quint64 from, quint64 to)
{
    const BlockLock lock(m_lock, "searchData");
    if (!lock || !ensureLoadedLocked())
        return false;
    touch();
    m_wasRead = true;
    appendRangeLocked(out, from, to);
    return true;
}

bool dataBlock::insert(const QVector<SamplePoint> &samples, SampleSink *sink)
{
    if (samples.isEmpty())
        return true;
    const BlockLock lock(m_lock, "insert");
    if (!lock || !ensureLoadedLocked() || m_damaged)
        return false;
    for (const SamplePoint &sample : samples) {
        if (holdsTimeLocked(sample.time))
            continue;
        appendLocked(sample);
        if (sink)
            sink->process(sample);
    }
    publishTimesLocked();
    ++m_insertions;
    m_modified = true; // before the lock is given up: an unload must never see new samples as saved
    return true;
}

bool dataBlock::contains(quint64 time, bool *ok)
{
    if (ok)
        *ok = true;
    if (time < m_minimumTime || time > m_maximumTime)
        return false;
    const BlockLock lock(m_lock, "insert");
    if (!lock || !ensureLoadedLocked()) {
        if (ok)
            *ok = false;
        return false;
    }
    touch();
    m_wasRead = true;
    return holdsTimeLocked(time);
}

bool dataBlock::toFile(const QString &folder, const QString &fileName)
{
    if (!m_modified && folder == this->folder() && fileName == this->fileName())
        return true;
    const BlockLock fileLock(m_fileLock, "toFile");
    if (!fileLock)
        return false;
    QVector<SamplePoint> copy;
    quint64 insertions = 0;
    SavedRange range;
    {
        const BlockLock lock(m_lock, "toFile");
        if (!lock || !ensureLoadedLocked())
            return false;
        copy = m_samples;
        insertions = m_insertions;
        range = {m_minimumTime, m_maximumTime};
    }
    const bool written = writeCopy(folder, fileName, copy);
    const BlockLock lock(m_lock, "toFile");
    copy.clear(); // under the lock, so that an insert that finds the list unshared may write to it
    if (!lock || !written)
        return false; // still modified; the next save writes it again
    savedAs(folder, fileName, range);
    if (insertions == m_insertions)
        m_modified = false;
    return true;
}

bool dataBlock::fromFile(const QString &folder, const QString &path)
{
    clear();
    blockfile::Content content = blockfile::readFile(path);
    m_damaged = !content.complete;
    if (!content.complete)
        logWarning(QStringLiteral("dataBlock::fromFile: %1: %2").arg(path, content.reason));
    if (!content.opened)
        return false;
    takeLocked(std::move(content.samples));
    savedAs(folder, QFileInfo(path).fileName(), {m_minimumTime, m_maximumTime});
    m_loadedName = m_fileName;
    m_damaged = !content.complete;
    return content.complete;
}

void dataBlock::moveTo(const QString &folder)
{
    const QMutexLocker locker(&m_nameLock);
    m_folder = folder;
}

bool dataBlock::unload()
{
    if (!m_loaded)
        return true;
    if (fileName().isEmpty())
        return false;
    const BlockLock fileLock(m_fileLock, "unload");
    if (!fileLock)
        return false;
    const BlockLock lock(m_lock, "unload");
    if (!lock)
        return false;
    if (m_modified) {
        if (!writeCopy(folder(), fileName(), m_samples))
            return false;
        savedAs(folder(), fileName(), {m_minimumTime, m_maximumTime});
        m_modified = false;
    }
    m_loaded = false;
    m_samples = QVector<SamplePoint>();
    m_times.clear();
    return true;
}

bool dataBlock::searchRFONEvents(QVector<RunStretch> &out, double threshold)
{
    const BlockLock lock(m_lock, "searchRFONEvents");
    if (!lock || !ensureLoadedLocked())
        return false;
    searchRuns(m_samples, threshold, out);
    unload(); // runs into this thread's own lock and so leaves the block loaded: long-standing behaviour
    return true;
}

void dataBlock::clear()
{
    touch();
    m_samples = QVector<SamplePoint>();
    m_times.clear();
    m_sorted = true;
    m_loaded = true;
    m_modified = false;
    m_damaged = false;
    m_wasRead = false;
    m_count = 0;
    m_firstTime = m_lastTime = m_minimumTime = m_maximumTime = 0;
    const QMutexLocker locker(&m_nameLock);
    m_fileName.clear();
    m_folder.clear();
    m_loadedName.clear();
    m_savedRange = {};
}

QString dataBlock::fileName() const
{
    const QMutexLocker locker(&m_nameLock);
    return m_fileName;
}

QString dataBlock::folder() const
{
    const QMutexLocker locker(&m_nameLock);
    return m_folder;
}

QString dataBlock::loadedName() const
{
    const QMutexLocker locker(&m_nameLock);
    return m_loadedName;
}

SavedRange dataBlock::savedRange() const
{
    const QMutexLocker locker(&m_nameLock);
    return m_savedRange;
}

/// Brings the samples back. A file that cannot be opened leaves the block as it is; one that is short on disk gives
/// what it still holds, marked as damaged.
bool dataBlock::ensureLoadedLocked()
{
    if (m_loaded)
        return true;
    const QString path = filePath(folder(), fileName());
    blockfile::Content content = blockfile::readFile(path);
    if (!content.complete)
        logWarning(QStringLiteral("dataBlock: cannot reload all of %1: %2").arg(path, content.reason));
    if (!content.opened)
        return false;
    m_damaged = !content.complete;
    takeLocked(std::move(content.samples));
    return true;
}

bool dataBlock::writeCopy(const QString &folder, const QString &fileName, const QVector<SamplePoint> &samples)
{
    const QString path = filePath(folder, fileName);
    if ((m_damaged && QFileInfo::exists(path)) || !writeFileSafely(path, blockfile::encodeBlock(samples))) {
        logDebug(QStringLiteral("UNABLE TO SAVE TO ") + path);
        return false;
    }
    return true;
}

void dataBlock::savedAs(const QString &folder, const QString &fileName, const SavedRange &range)
{
    const QMutexLocker locker(&m_nameLock);
    m_folder = folder;
    m_fileName = fileName;
    m_savedRange = range;
    m_damaged = false;
}

bool dataBlock::holdsTimeLocked(quint64 time) const
{
    if (m_samples.isEmpty() || time > m_maximum)
        return false;
    return m_sorted ? std::binary_search(m_samples.cbegin(), m_samples.cend(), time, ByTime()) : m_times.contains(time);
}

void dataBlock::appendLocked(const SamplePoint &sample)
{
    const bool first = m_samples.isEmpty();
    const bool late = !first && sample.time <= m_maximum;
    if (late && m_sorted) {
        m_sorted = false;
        m_times.reserve(2 * m_samples.size());
        for (const SamplePoint &held : qAsConst(m_samples))
            m_times.insert(held.time);
    }
    if (!m_sorted)
        m_times.insert(sample.time);
    if (!late)
        m_maximum = sample.time;
    if (first || sample.time < m_minimum)
        m_minimum = sample.time;
    // Room for the rest at once: the ever larger pieces of many growing blocks would leave memory in holes.
    if (m_samples.size() == m_samples.capacity() && m_samples.size() >= fullSize / 10)
        m_samples.reserve(std::max(fullSize, 2 * m_samples.size()));
    m_samples.append(sample);
}

/// Makes a file's samples the block's.
void dataBlock::takeLocked(QVector<SamplePoint> samples)
{
    if (!std::is_sorted(samples.cbegin(), samples.cend(), ByTime()))
        std::stable_sort(samples.begin(), samples.end(), ByTime());
    m_samples = std::move(samples);
    m_times.clear();
    m_sorted = true;
    m_count = 0;
    m_modified = false;
    m_loaded = true;
    if (m_samples.isEmpty())
        return;
    m_minimum = m_samples.constFirst().time;
    m_maximum = m_samples.constLast().time;
    publishTimesLocked();
    const QMutexLocker locker(&m_nameLock);
    m_savedRange = {m_minimum, m_maximum};
}

void dataBlock::publishTimesLocked()
{
    m_count = m_samples.size();
    m_firstTime = m_samples.constFirst().time;
    m_lastTime = m_samples.constLast().time;
    m_minimumTime = m_minimum;
    m_maximumTime = m_maximum;
}

void dataBlock::appendRangeLocked(QVector<SamplePoint> &out, quint64 from, quint64 to) const
{
    if (from >= to)
        return;
    if (!m_sorted) {
        for (const SamplePoint &sample : m_samples) {
            if (sample.time >= from && sample.time < to)
                out.append(sample);
        }
        return;
    }
    const auto begin = std::lower_bound(m_samples.cbegin(), m_samples.cend(), from, ByTime());
    const auto end = std::lower_bound(begin, m_samples.cend(), to, ByTime());
    out += m_samples.mid(static_cast<int>(begin - m_samples.cbegin()), static_cast<int>(end - begin));
}

void dataBlock::touch()
{
    m_lastAccessMs = m_clock.utcMs();
}
