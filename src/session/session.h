#pragma once

#include "base/clock.h"
#include "data/norvexdata.h"

#include <QLockFile>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QVector>

#include <functional>
#include <memory>

/// One sensor of a session.
struct SensorEntry
{
    std::shared_ptr<norvexData> data; // serial, chamber, folder and time line live there
    QString address;                  // empty for a sensor without a connection
    quint16 port = 80;
    QString colour; // "#rrggbb"
};

/// Why a session could not be opened.
struct SessionError
{
    enum Kind { None, MissingFile, Unreadable, Locked, CannotWrite } kind = None;
    QString text; // for the user
};

/// The set of sensors of one session folder, and its files. Lives in the main thread; hasUnsavedData(), save() and
/// unloadIdleBlocks() may be called from the saving thread. `sessionLock` guards the list and the path and is not held
/// while files are written. Open sessions hold a lock file, so two programs never record into one folder.
class Session : public QObject
{
    Q_OBJECT

public:
    ~Session() override;

    /// A new session in `folder`, created when missing. The session file is written at the first save.
    static std::unique_ptr<Session> create(const QString &folder, SessionError *error, const Clock &clock = systemClock());
    /// Opens the session of `folder`. `progress(done, total, name)` is called from the loading thread; returning false
    /// cancels.
    using Progress = std::function<bool(int done, int total, const QString &name)>;
    static std::unique_ptr<Session> load(const QString &folder, SessionError *error, const Progress &progress = {},
                                         const Clock &clock = systemClock());
    /// The same without the lock and without writing anything, for programs that only read.
    static std::unique_ptr<Session> loadReadOnly(const QString &folder, SessionError *error,
                                                 const Clock &clock = systemClock());
    /// A trailing session file name is taken off, so that file and folder paths are both accepted.
    static QString folderOf(const QString &path);
    static const QString &fileName(); // "index.norvex_session"

    QString path() const;
    QVector<SensorEntry> sensors() const;
    QStringList chambers() const;
    std::shared_ptr<norvexData> store(const QString &serial) const;
    /// Sensors whose last load did not find everything, in words.
    QStringList loadProblems() const { return m_loadProblems; }

    /// Adds a sensor and creates its folder, or finds the one with this serial and gives it the address. Returns
    /// nullptr when the folder cannot be created.
    std::shared_ptr<norvexData> addSensor(const QString &serial, const QString &chamber, const QString &address,
                                          quint16 port);
    /// Takes a sensor out of the list; its files stay.
    bool removeSensor(const QString &serial);
    void setSensorAddress(const QString &serial, const QString &address, quint16 port);
    void setSensorColour(const QString &serial, const QString &colour);

    bool hasUnsavedData() const;
    /// Session file and every sensor; true only when all succeeded.
    bool save();
    void unloadIdleBlocks();
    /// When the last complete save ended, ms since the epoch; 0 before the first.
    qint64 lastSaveMs() const { return m_lastSaveMs; }

signals:
    void sensorAdded(const QString &serial);
    void sensorRemoved(const QString &serial);

private:
    explicit Session(const QString &folder, const Clock &clock);

    const Clock &m_clock;
    std::unique_ptr<QLockFile> m_folderLock;
    QStringList m_loadProblems;
    std::atomic<qint64> m_lastSaveMs{0};

    mutable QMutex m_sessionLock; // guards the rest
    QString m_path;
    QVector<SensorEntry> m_sensors;
    bool m_modified = false;
};
