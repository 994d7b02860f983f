#pragma once

#include "base/clock.h"
#include "data/abstractnorvexdata.h"
#include "data/datablock.h"
#include "data/durability.h"
#include "data/eventlist.h"
#include "data/rfondetector.h"
#include "data/runcollector.h"
#include "recipe/sensorconfiguration.h"

#include <QHash>
#include <QMutex>
#include <QStringList>

#include <atomic>
#include <memory>

struct SaveState;

/// How a load went; the window or the command line says it.
enum class LoadOutcome {
    Loaded,
    MissingBlocks, // loaded, but fewer blocks than announced
    CutIndex,      // the index ends early or is none; a reconciliation finds what it should have listed
    Recreated,     // no index file: rebuilt from the folder and saved at once
    RestoreFailed, // a save had been interrupted and its backup could not be put back; loaded as far as possible
    Failed,        // there is no folder
    Unreadable,    // the system could not read a part of it; nothing was changed on disk
};

/// ReadOnly writes, restores and removes nothing: what a load would repair is taken as it is, and may be repaired later
/// by mendFolder().
enum class LoadMode { Normal, ReadOnly };

/// What a reconciliation found in the folder beyond the index.
struct ReconcileReport
{
    int refreshedBlocks = 0; // listed, but written after the index
    int addedBlocks = 0;
    int addedSamples = 0; // from files that hold some samples the store has already, or that are damaged
    int addedEvents = 0;
    QStringList damagedFiles; // left as they are
    QString unreadable;       // the first file or folder that the system could not read, with its reason

    bool changedSomething() const { return refreshedBlocks + addedBlocks + addedSamples + addedEvents > 0; }
};

/// Where a sensor's clock stands on the time line of its samples.
struct SensorTimeLine
{
    bool known = false;
    qint64 baseUs = 0;   // added to every sample and event time of the sensor
    qint64 uptimeMs = 0; // of the sensor when the base was last confirmed
};

/// Everything one sensor has produced in a session: sample blocks, events, the run detector, last configuration and
/// recipe, and their files in the sensor folder.
///
/// Threads: the recording operations belong to one thread (that of its arcSensor); reading, saving and unloading may
/// come from any other. `dataLock` is a leaf: it is never held together with a block's lock, across a file write or a
/// call outside; lists are copied under it.
class norvexData final : public abstractNorvexData
{
public:
    explicit norvexData(const Clock &clock = systemClock());
    ~norvexData() override;

    // --- identity
    QString sensorSerial() const override;
    QString chamberSerial() const override;
    void setSensorSerial(const QString &serial);
    void setChamberSerial(const QString &chamber);
    /// Name of the sensor folder inside the session folder.
    QString folderName() const;
    void setFolderName(const QString &name);

    // --- recording
    /// Takes a page of samples, all or nothing. False when a block could not be locked or reloaded: ask for it again.
    bool addSamples(const QVector<SamplePoint> &samples);
    /// Takes an event with its waveform; fills the snapshots when they are empty. False for one that is stored already.
    bool addEvent(EventRecord event);
    /// Turns finished runs into E_ON events; returns how many.
    int takeFinishedRuns();
    void setConfiguration(const SensorConfiguration &configuration);
    void setRecipe(const Recipe &recipe);
    /// A changed base starts a new time line: the newest block is closed and an open run dropped.
    void setTimeLine(const SensorTimeLine &line);
    void setConnected(bool connected) { m_connected = connected; }
    /// The session's log, not owned; nullptr for none.
    void setDurableLog(DurableLog *log);
    /// Calls `done(ok)` in context's thread when everything taken so far is on disk (at once without a log).
    void whenDurable(QObject *context, std::function<void(bool)> done);
    /// False while the log has so much that the disk does not take that no more should come.
    bool takesMore() const;

    // --- reading
    quint64 firstTime() const override { return m_firstTime; }
    quint64 lastTime() const override { return m_lastTime; }
    bool samplesInRange(quint64 from, quint64 to, QVector<SamplePoint> &out) const override;
    /// Known from the blocks' ranges, without reading one.
    quint64 nextSampleTime(quint64 from) const override;
    QVector<EventRecord> eventsInRange(quint64 from, quint64 to) const override;
    /// The same as they are stored, whatever reanalysis is shown.
    QVector<EventRecord> storedEvents(quint64 from, quint64 to) const;
    QVector<RunRecord> runsInRange(quint64 from, quint64 to) const override;
    QVector<SamplePoint> waveform(const EventKey &event) const override;

    /// The codes that a reanalysis gave to events. While they are set, they are the codes in effect for every reader;
    /// what is stored does not change. nullptr shows the original data again.
    using EventCodes = QHash<EventKey, qint32>;
    void setReanalysis(std::shared_ptr<const EventCodes> codes);
    bool showsReanalysis() const;

    SensorConfiguration configuration() const;
    Recipe recipe() const;
    SensorTimeLine timeLine() const;
    bool isConnected() const { return m_connected; }
    bool isInsideRun() const { return m_insideRun; }
    int currentStep() const { return m_currentStep; }
    quint64 sampleCount() const;
    int blockCount() const;
    int eventCount() const; // runs excluded
    int runCount() const;
    /// Rises with every change of samples, events or runs; displays compare it.
    quint64 revision() const { return m_revision; }
    QVector<std::shared_ptr<dataBlock>> blocks() const;

    // --- files
    bool hasUnsavedData() const;
    /// Writes modified blocks, new events, the configuration and the index into sessionFolder/folderName(). False when
    /// any part failed; what failed stays unsaved. `captured` is called when it is settled what is saved and before any
    /// of it is on disk: whoever keeps the time line writes it now, so that no sample or event is ever without its own,
    /// and false when that fails, which is then the end of this save.
    using Captured = std::function<bool()>;
    bool save(const QString &sessionFolder, const Captured &captured = {});
    /// Reads the index and remembers its blocks without reading them; of an interrupted save what was before, and
    /// without an index the folder is scanned. Mends the folder then, unless something could not be read: that is named
    /// with its reason. Only before the store is shared.
    LoadOutcome load(const QString &sessionFolder, LoadMode mode = LoadMode::Normal, QString *unreadable = nullptr);
    /// After a load that changed nothing, once it is sure that everything was read: undoes an interrupted save and
    /// saves an index where there was none. False when the backup of an index could not be put back.
    bool mendFolder(const QString &sessionFolder);
    /// Adds what an interrupted save wrote after the index, without doubling anything, and logs what was found. After
    /// load() and before the journal is replayed; only before the store is shared.
    ReconcileReport reconcile();
    /// The sensor folder's files were copied into another session folder: from now on they are read and saved there.
    void moveTo(const QString &sessionFolder);
    /// Drops from memory the blocks that are saved, not the newest, and not read for 60 s (or at all when `now`); of
    /// the others no more than blocksToKeep() stay.
    void unloadIdleBlocks(bool now = false);
    /// How many blocks readers may leave in memory besides the newest; a session divides what it has among its stores.
    void setBlocksToKeep(int count) { m_blocksToKeep = count; }
    int blocksToKeep() const { return m_blocksToKeep; }

private:
    friend class StoreSaver;
    friend class StoreLoader;
    friend class StoreReconciler;
    friend class StoreImporter;

    using Blocks = QVector<std::shared_ptr<dataBlock>>;

    bool dropKnown(QVector<SamplePoint> &samples, const Blocks &blocks, const dataBlock *except) const;
    std::shared_ptr<dataBlock> blockForInsert() const;
    bool insertAll(std::shared_ptr<dataBlock> block, const QVector<SamplePoint> &samples, SampleSink *sink);
    void widenTimes(const dataBlock &block);
    void takeBlock(const std::shared_ptr<dataBlock> &block);
    bool storeEvent(const EventRecord &event);
    void configureDetector();
    void setIdentity(QString &field, const QString &value);
    void logChange(DurableLog::Record type, const std::function<QByteArray()> &payload);
    void limitLoadedBlocks(const Blocks &blocks) const;

    const Clock &m_clock;
    rfOnDetector m_detector;  // fed under the block lock, set and asked on the recording thread
    RunCollector m_collector; // recording thread

    mutable QMutex m_dataLock; // guards everything down to m_savedChanges
    QString m_sensorSerial;
    QString m_chamberSerial;
    QString m_folderName;
    QString m_folderPath; // of the sensor folder last saved to or loaded from
    SensorConfiguration m_configuration;
    Recipe m_recipe;
    SensorTimeLine m_timeLine;
    Blocks m_blocks; // oldest first, none empty
    EventList m_events;
    mutable QHash<int, RunRecord> m_runs; // by position in m_events, as far as their files were read
    std::shared_ptr<const EventCodes> m_reanalysis;
    bool m_closeNewestBlock = false;
    DurableLog *m_log = nullptr;
    bool m_logKnowsSensor = false;
    quint64 m_changes = 0;      // generation of the index content
    quint64 m_savedChanges = 0; // generation that the index file holds

    QMutex m_saveLock; // held for a whole save; taken before m_dataLock; guards m_saveState
    std::unique_ptr<SaveState> m_saveState;

    std::atomic<quint64> m_firstTime{0};
    std::atomic<quint64> m_lastTime{0};
    std::atomic<quint64> m_revision{0};
    std::atomic<bool> m_connected{false};
    std::atomic<bool> m_insideRun{false};
    std::atomic<int> m_currentStep{-1};
    std::atomic<int> m_blocksToKeep{16};
};
