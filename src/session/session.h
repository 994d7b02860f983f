#pragma once

#include "base/clock.h"
#include "data/norvexdata.h"

#include <QHash>
#include <QLockFile>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QVector>

#include <atomic>
#include <functional>
#include <memory>

class Journal;
struct JournalSensor;
struct SessionFileSensor;

/// One sensor of a session.
struct SensorEntry
{
    std::shared_ptr<norvexData> data; // serial, chamber, folder and time line live there
    QString address;                  // empty for a sensor without a connection
    quint16 port = 80;
    QString colour;      // "#rrggbb"
    QString loadProblem; // what its load did not find, in words; empty when all was well
};

/// Why a session could not be opened.
struct SessionError
{
    enum Kind {
        None,
        MissingFile,
        Unreadable,
        Locked,
        CannotWrite,
        AlreadyThere,
        Cancelled,
        RestoreFailed
    } kind = None;
    QString text; // for the user
};

/// What a load does when the backup of an index, left by an interrupted save, cannot be put back: end before anything
/// is written, so that a repair can have the folder first, or go on with whatever index there is.
enum class FailedRestore { Stop, GoOn };

/// The set of sensors of one session folder, and its files. Lives in the main thread; hasUnsavedData(), save() and
/// unloadIdleBlocks() may be called from the saving thread. `saveLock` is held across a whole save, so two never
/// overlap; `sessionLock` guards the list and the path and is not held while files are written. Open sessions hold a
/// lock file, so two programs never record into one folder.
///
/// A load reads everything before it changes anything. A file that is there and cannot be read makes it fail: what a
/// sensor is told to keep or to forget later depends on what is stored. Damage does not: it is named and loaded around.
class Session : public QObject
{
    Q_OBJECT

public:
    ~Session() override;

    /// A new session in `folder`, created when missing. The session file is written at the first save. Refused when the
    /// folder holds a session already.
    static std::unique_ptr<Session> create(const QString &folder, SessionError *error,
                                           const Clock &clock = systemClock());
    /// Opens the session of `folder`. `progress(done, total, name)` is called from the loading thread; returning false
    /// cancels.
    using Progress = std::function<bool(int done, int total, const QString &name)>;
    static std::unique_ptr<Session> load(const QString &folder, SessionError *error, const Progress &progress = {},
                                         const Clock &clock = systemClock(),
                                         FailedRestore failedRestore = FailedRestore::GoOn);
    /// The same without the lock and without writing anything, for programs that only read. Another one may be recording
    /// into the session; what that has on disk at the start of the call is there. May take a few seconds then.
    static std::unique_ptr<Session> loadReadOnly(const QString &folder, SessionError *error,
                                                 const Clock &clock = systemClock());
    /// A trailing session file name is taken off, so that file and folder paths are both accepted.
    static QString folderOf(const QString &path);
    static const QString &fileName(); // "index.norvex_session"

    /// True for a folder that load() may open: it has a session file, or a journal of a recording without one.
    static bool holdsSession(const QString &folder);

    QString path() const;
    QVector<SensorEntry> sensors() const;
    QStringList chambers() const;
    std::shared_ptr<norvexData> store(const QString &serial) const;
    /// What the last load did not find, in words: of the session file, and of it and every sensor.
    QStringList fileProblems() const { return m_fileProblems; }
    QStringList loadProblems() const { return m_loadProblems; }

    /// The sensor that imported data go to. One that is known keeps its connection and its chamber; else it is added,
    /// offline. Returns nullptr when its folder cannot be created.
    std::shared_ptr<norvexData> sensorForImport(const QString &serial, const QString &chamber);
    /// Adds a sensor and creates its folder, or finds the one with this serial and gives it the address. Returns
    /// nullptr when the folder cannot be created.
    std::shared_ptr<norvexData> addSensor(const QString &serial, const QString &chamber, const QString &address,
                                          quint16 port);
    /// Saves a sensor and takes it out of the list; its files stay. False when it is not there or could not be saved:
    /// it then stays, so that nothing recorded is dropped. `saved` becomes false when the session cannot be saved
    /// without it: a session that is opened before a later save succeeds still has it.
    bool removeSensor(const QString &serial, bool *saved = nullptr);
    void setSensorAddress(const QString &serial, const QString &address, quint16 port);
    void setSensorColour(const QString &serial, const QString &colour);

    /// True while the session file or any store differs from what is on disk; never for one opened read-only.
    bool hasUnsavedData() const;
    /// Session file and every sensor; true only when all succeeded.
    bool save();
    void unloadIdleBlocks();
    /// What the stores accepted is on disk here before a sensor may forget it; nullptr for a session opened read-only.
    Journal *journal() const { return m_journal; }
    /// When the last complete save ended, ms since the epoch; 0 before the first.
    qint64 lastSaveMs() const { return m_lastSaveMs; }

signals:
    void sensorAdded(const QString &serial);
    void sensorRemoved(const QString &serial);
    /// The session goes on in another folder, with another journal.
    void moved(const QString &folder);

private:
    friend class SaveAs;

    Session(const QString &folder, bool readOnly, const Clock &clock);

    bool saveLocked();
    bool writeSessionFile(const QVector<SensorEntry> &sensors);
    bool hasTimeLineOnDisk(const SensorEntry &sensor) const;
    bool takeFolderLock(SessionError *error);
    bool readSessionFile(SessionError *error, const Progress &progress);
    struct LoadedFolder
    {
        LoadOutcome outcome = LoadOutcome::Failed;
        int damagedFiles = 0; // not looked for in a session that is only read
    };
    void loadSensor(const SessionFileSensor &line);
    LoadedFolder loadFolder(norvexData &data);
    bool openJournal(SessionError *error, FailedRestore failedRestore = FailedRestore::GoOn);
    bool mendFolders(SessionError *error, FailedRestore failedRestore);
    void cannotRead(const QString &what);
    void closeJournal();
    norvexData *storeForReplay(const JournalSensor &sensor);
    void attachLog(const std::shared_ptr<norvexData> &data) const;
    std::shared_ptr<norvexData> newStore(const QString &serial, const QString &chamber, const QString &path) const;
    bool isFolderTakenLocked(const QString &folder) const;
    QString freeColourLocked() const;
    static QByteArray fileBytes(const QVector<SensorEntry> &sensors);
    static QHash<QString, qint64> timeLinesOf(const QVector<SensorEntry> &sensors);

    const Clock &m_clock;
    const bool m_readOnly;
    std::unique_ptr<QLockFile> m_folderLock;
    Journal *m_journal = nullptr; // a child of this, so that it goes along to another thread
    QStringList m_fileProblems;
    QStringList m_loadProblems;
    QHash<QString, QString> m_renamedFolders; // of sensors, by the name in the session file
    QString m_unreadable;                     // the first thing that a load could not read, with the reason
    std::atomic<qint64> m_lastSaveMs{0};
    QMutex m_saveLock; // held for a whole save; taken before sessionLock

    mutable QMutex m_sessionLock; // guards the rest
    QString m_path;
    QVector<SensorEntry> m_sensors;
    QByteArray m_fileOnDisk;                  // what the session file holds
    QHash<QString, qint64> m_timeLinesOnDisk; // bases by sensor folder, of the last file that was written whole
};
