#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class JobProgress;

/// How "save as" went.
struct CopyOutcome
{
    enum class Kind {
        Done,
        NotEmpty,  // the target holds something already, or lies in the session
        Cancelled, // in all but Done the session stays where it is
        Failed,    // `reason` says what could not be read or written
    } kind = Kind::Done;

    QString reason;
    qint64 files = 0;
    qint64 bytes = 0;
};

/// A complete copy of a session's files, made while the session is open: every sensor folder with all of its files and
/// the session file. Each copy is synced and read back. What an unsuccessful copy has made is removed again; the source
/// is only read. Pool thread; between add() calls and the end no save may run.
class SessionCopy
{
public:
    /// `from` and `to` are session folders.
    SessionCopy(const QString &from, const QString &to);

    /// Makes the target folder. False when it holds something, lies in the session, or cannot be written.
    bool begin();
    /// Copies the sensor folders (names) and the session file. `progress` may be null; it is used during the call.
    bool copy(const QStringList &sensorFolders, JobProgress *progress);
    /// Copies again what has changed in the source since copy(): new files and those of another size or time.
    bool refresh(const QStringList &sensorFolders);
    /// Removes all that was made.
    void undo();

    const CopyOutcome &outcome() const { return m_outcome; }

private:
    struct Task
    {
        QString name; // in the session folder
        qint64 size = 0;
    };

    bool stop(CopyOutcome::Kind kind, const QString &reason = QString());
    bool list(const QStringList &sensorFolders, QVector<Task> &tasks, bool onlyChanged);
    bool copyAll(const QVector<Task> &tasks, JobProgress *progress);
    bool copyFile(const Task &task);
    bool makeFolders(const QStringList &sensorFolders);
    bool syncFolders(const QStringList &sensorFolders);

    const QString m_from;
    const QString m_to;
    QByteArray m_buffer; // these two for all files
    QByteArray m_other;
    CopyOutcome m_outcome;
    QStringList m_madeFolders; // outermost first
    QStringList m_madeFiles;
};
