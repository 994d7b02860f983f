#pragma once

#include "base/clock.h"
#include "data/eventrecord.h"
#include "data/samplepoint.h"
#include "data/timeset.h"

#include <QMutex>
#include <QString>
#include <QVector>

#include <atomic>

class SampleSink;

/// The times of what a block file holds, us.
struct SavedRange
{
    quint64 first = 0;
    quint64 last = 0;
};

/// A stretch of consecutive samples of one sensor with its own lock, its own file and the ability to leave memory and
/// come back on demand. Shared between the download (inserts), the saving thread (saves, unloads) and the windows
/// (searches): every operation on the samples waits at most 200 ms for the block's lock, then writes one log line and
/// returns false with nothing changed. No thread holds two block locks.
///
/// firstTime and lastTime are those of the list's first and last element, not a minimum and maximum (samples may arrive
/// out of order); minimumTime and maximumTime are the true range. All four, the count and the flags are atomic and
/// survive an unload. describe(), fromFile() and clear() are for a block that is not shared yet.
///
/// A save copies the list under the lock and writes the copy without it, so that a slow disk never holds up an insert.
/// What is inserted meanwhile leaves the block modified.
class dataBlock
{
public:
    explicit dataBlock(const Clock &clock = systemClock());
    dataBlock(const dataBlock &) = delete;
    dataBlock &operator=(const dataBlock &) = delete;

    /// A block that knows its file, times and size but has not read its samples.
    void describe(const QString &folder, const QString &fileName, quint64 first, quint64 last, int count = 0);

    /// Appends every sample with from <= time < to to `out`, in list order. False at once when the range lies outside
    /// firstTime..lastTime.
    bool searchData(QVector<SamplePoint> &out, quint64 from, quint64 to);
    /// The same by the true range, for samples that arrived out of order.
    bool searchRange(QVector<SamplePoint> &out, quint64 from, quint64 to);
    /// Appends new samples in the order given, refuses exact duplicates in time, and hands each accepted one to `sink`.
    /// All or nothing: false means that nothing was taken. A damaged block takes no more samples.
    bool insert(const QVector<SamplePoint> &samples, SampleSink *sink);
    /// Whether a sample of exactly this time is held. False also when the block cannot be locked or reloaded: `ok`.
    bool contains(quint64 time, bool *ok = nullptr);
    /// Writes the block to folder/fileName unless it is unchanged there. On failure the old file and the flag stay.
    bool toFile(const QString &folder, const QString &fileName);
    /// Replaces the samples by the content of a block file and sorts them. A file that cannot be opened leaves an
    /// empty, loaded block and gives false; so does one that ends early, with the samples read so far.
    bool fromFile(const QString &folder, const QString &path);
    /// Its file was copied to another folder under the same name and is from now on that one.
    void moveTo(const QString &folder);
    /// Saves the block if it is modified and drops the samples from memory; false for a block never saved or one that
    /// cannot be saved, which keeps its samples.
    bool unload();
    /// Appends one entry for each period from a sample at or above `threshold` to the first one below it.
    bool searchRFONEvents(QVector<RunStretch> &out, double threshold);
    void clear();

    quint64 firstTime() const { return m_firstTime; }
    quint64 lastTime() const { return m_lastTime; }
    quint64 minimumTime() const { return m_minimumTime; }
    quint64 maximumTime() const { return m_maximumTime; }
    int count() const { return m_count; }
    bool isLoaded() const { return m_loaded; }
    bool isModified() const { return m_modified; }
    /// The file ended early or was unreadable when it was loaded. What could be read of it is never written over an
    /// existing file.
    bool isDamaged() const { return m_damaged; }
    /// When it was made or last read, ms since the epoch.
    qint64 lastAccessMs() const { return m_lastAccessMs; }
    /// False while its samples were only recorded.
    bool wasRead() const { return m_wasRead; }

    QString fileName() const;
    QString folder() const;
    QString loadedName() const;
    /// The true range of the samples that the block's file holds, which may be more in memory meanwhile.
    SavedRange savedRange() const;

    friend bool operator<(const dataBlock &a, const dataBlock &b) { return a.firstTime() < b.firstTime(); }

private:
    bool ensureLoadedLocked();
    bool writeCopy(const QString &folder, const QString &fileName, const QVector<SamplePoint> &samples);
    void savedAs(const QString &folder, const QString &fileName, const SavedRange &range);
    bool holdsTimeLocked(quint64 time) const;
    void appendLocked(const SamplePoint &sample);
    void publishTimesLocked();
    void takeLocked(QVector<SamplePoint> samples);
    void appendRangeLocked(QVector<SamplePoint> &out, quint64 from, quint64 to) const;
    bool search(QVector<SamplePoint> &out, quint64 from, quint64 to);
    void touch();

    const Clock &m_clock;

    // Held while the block's file is written; taken before m_lock.
    QMutex m_fileLock;

    // Guarded by m_lock.
    QMutex m_lock;
    QVector<SamplePoint> m_samples; // in insertion order; sorted by time after a load
    bool m_sorted = true;           // no sample is earlier than the one before it
    TimeSet m_times;                // the list's times, while it is not sorted
    quint64 m_minimum = 0;          // of the list's times, unless it is empty
    quint64 m_maximum = 0;
    quint64 m_insertions = 0; // tells a save whether its copy is still the whole list

    // Guarded by m_nameLock, a leaf.
    mutable QMutex m_nameLock;
    QString m_fileName;
    QString m_folder;
    QString m_loadedName;
    SavedRange m_savedRange;

    std::atomic<qint64> m_lastAccessMs{0}; // UTC
    std::atomic<bool> m_loaded{true};
    std::atomic<bool> m_modified{false};
    std::atomic<bool> m_damaged{false};
    std::atomic<bool> m_wasRead{false};
    std::atomic<int> m_count{0};
    std::atomic<quint64> m_firstTime{0};
    std::atomic<quint64> m_lastTime{0};
    std::atomic<quint64> m_minimumTime{0};
    std::atomic<quint64> m_maximumTime{0};
};
