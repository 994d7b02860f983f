#pragma once

#include "filecalls.h"
#include "options.h"
#include "oracle.h"

#include <QProcess>
#include <QTemporaryDir>

#include <functional>
#include <memory>

/// The file call shim of one recorder process at a time: the shared file, and the environment that loads it.
class FileCalls
{
public:
    /// Watches calls about files below `root`; `trace` may be empty.
    FileCalls(const QString &controlPath, const QString &root, const QString &trace = {});
    ~FileCalls();
    FileCalls(const FileCalls &) = delete;
    FileCalls &operator=(const FileCalls &) = delete;

    /// The next process does this at its call `number`; 0 for nothing. Counters begin again.
    void plan(filecalls::Action action, quint64 number, int error = 0, bool lasting = false);
    void endFault();
    void addTo(QProcessEnvironment &environment) const;
    quint64 calls() const { return m_control->calls; }
    bool hasActed() const { return m_control->acted > 0; }
    QString what() const { return QString::fromUtf8(m_control->what).trimmed(); }

private:
    QFile m_file;
    filecalls::Control *m_control;
};

/// One session folder, one simulated sensor with its ledger, and recorders that come and go: all processes of their
/// own, except the judge. Everything lives in a folder that goes with the object.
class Scene
{
public:
    explicit Scene(const Options &options);
    ~Scene();

    /// Starts the simulated sensor with these arguments besides ledger and seed. False when it does not come up.
    bool startSensor(const QStringList &arguments);
    void stopSensor();

    /// Starts a recorder process; it runs until it is killed or told to end.
    void startRecorder(const FileCalls *calls = nullptr);
    QProcess &recorder() { return *m_recorder; }
    /// SIGKILL. True when the process was running until then.
    bool killRecorder();
    /// Judges what is on disk while the recorder is held still, as a kill at this moment would leave it.
    Verdict judgeMeanwhile();
    /// Asks for the end and waits for the last save. False when it failed or took too long.
    bool endRecorder();
    /// True when it ended because something killed it.
    bool waitForDeath(int ms);

    /// Waits until the sensor was told to drop at least so much, or the recorder has ended. As long as the sensor is
    /// asked for data the wait begins again, up to ten times: on a busy computer a recorder is slow.
    bool waitForCleared(qint64 samples, int ms);

    Verdict judge() const { return ::judge(session(), ledger()); }
    /// What the recorders wrote on standard error, to stand behind the words of a failure. Mostly nothing.
    QString said() const;
    /// The folder whose file calls count, with nothing but the session in it.
    QString disk() const { return m_folder.filePath(QStringLiteral("disk")); }
    QString session() const { return m_folder.filePath(QStringLiteral("disk/session")); }
    QString ledger() const { return m_folder.filePath(QStringLiteral("ledger")); }
    QString path(const QString &name) const { return m_folder.filePath(name); }
    LedgerWatch &watch() { return m_watch; }

private:
    const Options &m_options;
    QTemporaryDir m_folder;
    QProcess m_sensor;
    quint16 m_port = 0;
    std::unique_ptr<QProcess> m_recorder;
    LedgerWatch m_watch;
};

/// Waits up to `ms` for `condition`, asking again every few milliseconds.
bool waitFor(int ms, const std::function<bool()> &condition);

/// Counts cases and failures and says them.
class Score
{
public:
    explicit Score(const Options &options) : m_options(options) {}
    /// False ends the run. `row` as in Options::repeating().
    bool failed(int number, const QString &what, const QString &row = {});
    int failures() const { return m_failures; }

private:
    const Options &m_options;
    int m_failures = 0;
};
