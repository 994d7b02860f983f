#pragma once

#include "data/durability.h"
#include "data/journalfile.h"

#include <QFile>
#include <QHash>
#include <QMap>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <QThread>
#include <QVector>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

/// The journal of one session: what its stores accept is on disk here before any sensor is told to forget it, and stays
/// until a save has it in blocks, events and indexes.
///
/// append() only puts a record into a list. One thread of its own writes what has gathered with one write and one sync,
/// for all sensors together; requests that arrive meanwhile share the next one. When a write or sync fails, nothing is
/// durable any more until all that was not yet synced has been written again to a new file, which is tried every
/// `retryMs`; a descriptor whose sync failed is never synced a second time.
///
/// A save calls rotate() before it starts and commit() with the answer when all of it is durable: what was appended
/// before the rotation then leaves the journal.
///
/// append() may be called from any thread, everything else from the thread the journal lives in, where whenDurable()
/// answers. The session owns it and takes it from its stores before deleting it; the destructor writes what is left and
/// answers no to whoever still waits.
class Journal final : public QObject, public DurableLog
{
    Q_OBJECT

public:
    struct Timings
    {
        int gatherMs = 500;                      // a record that nobody asks for is written after this long
        int retryMs = 1000;                      // after a failure
        qint64 backlogBytes = 128 * 1024 * 1024; // that are kept for a disk which takes nothing
    };

    /// `replayed` names the files of earlier runs whose records are in the stores: the first save takes them away. All
    /// others stay, whatever is saved.
    explicit Journal(const QString &sessionFolder, QObject *parent = nullptr, const QStringList &replayed = {});
    Journal(const QString &sessionFolder, const Timings &timings, QObject *parent = nullptr,
            const QStringList &replayed = {});
    ~Journal() override;

    void append(const QString &sensorFolder, Record type, const QByteArray &payload) override;
    void whenDurable(QObject *context, std::function<void(bool)> done) override;
    bool takesMore() const override;

    /// Begins a new generation and gives the number of the one before. May be called from the saving thread.
    qint64 rotate();
    /// All that was appended up to `generation` is durable elsewhere. May be called from the saving thread.
    void commit(qint64 generation);

    bool isFailing() const { return m_failing; }
    /// Why, in words, while it is failing.
    QString error() const;

signals:
    /// The journal could not be written: until recovered(), nothing is cleared on any sensor.
    void failed(const QString &reason);
    void recovered();

private slots:
    void deliver();

private:
    struct Queued
    {
        journalfile::Entry entry;
        qint64 generation = 0;
        qint64 position = 0; // in the order of appending, from 1
    };
    struct Waiter
    {
        QPointer<QObject> context;
        std::function<void(bool)> done;
        qint64 position = 0; // of the last record it waits for
    };
    struct OldFile
    {
        QString path;
        qint64 generation = 0;
    };

    /// The journal's thread: writes, syncs, removes. Everything it alone uses is in here.
    class Writer final : public QThread
    {
    public:
        Writer(Journal &journal, const QString &folder, const QStringList &replayed);
        void run() override;

    private:
        bool takeWork();
        bool writeAll(QString *reason);
        bool writeEntries(int count, QString *reason);
        qint64 unsyncedBytes() const;
        void introduce(const journalfile::Entry &entry, qint64 size, QByteArray &bytes);
        bool openFile(qint64 generation, QString *reason);
        void closeFile();
        void giveUpFile();
        void removeCommitted();
        void report(bool written, const QString &reason);

        Journal &m_journal;
        const QString m_folder;
        journalfile::Header m_header; // of the open file
        QFile m_file;
        bool m_folderIsSafe = false; // it is there and its name is on disk
        qint64 m_fileGeneration = -1;
        qint64 m_syncedSize = 0;
        QSet<QByteArray> m_introduced;           // sensors that the open file names
        QHash<QByteArray, QByteArray> m_sensors; // the last record about each, by its folder
        QVector<OldFile> m_oldFiles;             // closed, not yet committed
        QVector<Queued> m_unsynced;
        qint64 m_committed = -1;
        qint64 m_askedPosition = 0;
    };

    bool hasWorkLocked() const;
    void answerLocked(qint64 durable, bool failing);

    const Timings m_timings;
    std::atomic<bool> m_failing{false};

    mutable std::mutex m_lock; // guards everything below
    std::condition_variable m_wake;
    QVector<Queued> m_queue; // not yet taken by the writer
    QVector<Waiter> m_waiting;
    QVector<QPair<Waiter, bool>> m_answers; // for deliver()
    qint64 m_queuedBytes = 0;
    qint64 m_unsyncedBytes = 0; // of what the writer has taken
    qint64 m_generation = 1;    // of what is appended now; 0 are the files of earlier runs
    qint64 m_lastPosition = 0;
    qint64 m_durablePosition = 0;
    qint64 m_committed = -1;
    QMap<qint64, qint64> m_generationEnds; // last position of each generation that was rotated away
    QString m_error;
    bool m_told = false; // failed() was emitted for the failure that goes on
    bool m_stop = false;

    std::unique_ptr<Writer> m_writer;
};
