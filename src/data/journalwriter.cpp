#include "base/coretext.h"
#include "base/log.h"
#include "base/platform.h"
#include "base/safefile.h"
#include "data/journal.h"

#include <QDir>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <chrono>
#include <numeric>

namespace {

constexpr int writeBytes = 1024 * 1024; // at once

bool fail(QString *reason, const QString &text)
{
    *reason = text;
    return false;
}

} // namespace

Journal::Writer::Writer(Journal &journal, const QString &folder, const QStringList &replayed)
    : m_journal(journal), m_folder(folder)
{
    const QByteArray id = QUuid::createUuid().toRfc4122();
    std::copy(id.begin(), id.end(), m_header.id.begin());
    // What was replayed belongs to generation 0, which the first save covers. A file that could not be read, or was not
    // even seen because the folder could not be listed then, stays for the next start.
    for (const QString &name : replayed) {
        m_oldFiles.append({folder + QLatin1Char('/') + name, 0});
        m_header.number = std::max(m_header.number, journalfile::numberOf(name));
    }
    const QStringList names = QDir(folder).entryList(QDir::Files, QDir::Name);
    for (const QString &name : names)
        m_header.number = std::max({m_header.number, journalfile::numberOf(name), journalfile::keptNumberOf(name)});
}

void Journal::Writer::run()
{
    bool running = true;
    while (running) {
        running = takeWork();
        removeCommitted();
        if (m_unsynced.isEmpty()) {
            report(true, QString());
            continue;
        }
        QString reason;
        const bool written = writeAll(&reason);
        if (!written)
            giveUpFile();
        report(written, reason);
    }
    closeFile();
    removeCommitted();
    const std::lock_guard farewell(m_journal.m_lock);
}

/// Waits for something to do and takes it. False when this is the last round.
bool Journal::Writer::takeWork()
{
    std::unique_lock locker(m_journal.m_lock);
    const bool failing = m_journal.m_failing;
    const std::chrono::milliseconds wait(failing ? m_journal.m_timings.retryMs : m_journal.m_timings.gatherMs);
    m_journal.m_wake.wait_for(locker, wait, [&] {
        return m_journal.m_stop || (!failing && (m_journal.hasWorkLocked() || m_journal.m_committed != m_committed));
    });
    for (const Queued &queued : qAsConst(m_journal.m_queue)) {
        if (queued.entry.type == Record::Sensor)
            m_sensors.insert(queued.entry.sensor, queued.entry.payload);
    }
    m_unsynced += m_journal.m_queue;
    m_journal.m_queue.clear();
    m_journal.m_queuedBytes = 0;
    m_askedPosition = m_journal.m_lastPosition;
    m_committed = m_journal.m_committed;
    const auto covered = [this](const Queued &queued) { return queued.generation <= m_committed; };
    m_unsynced.erase(std::remove_if(m_unsynced.begin(), m_unsynced.end(), covered), m_unsynced.end());
    m_journal.m_unsyncedBytes = unsyncedBytes();
    return !m_journal.m_stop;
}

qint64 Journal::Writer::unsyncedBytes() const
{
    const auto add = [](qint64 bytes, const Queued &queued) { return bytes + queued.entry.payload.size(); };
    return std::accumulate(m_unsynced.begin(), m_unsynced.end(), qint64(0), add);
}

bool Journal::Writer::writeAll(QString *reason)
{
    while (!m_unsynced.isEmpty()) {
        int count = 0;
        while (count < m_unsynced.size() && m_unsynced[count].generation == m_unsynced[0].generation)
            ++count;
        if (!writeEntries(count, reason))
            return false;
        m_unsynced.remove(0, count); // is on disk, whatever becomes of the next generation
    }
    return true;
}

/// Writes and syncs the first records, which are of one generation.
bool Journal::Writer::writeEntries(int count, QString *reason)
{
    const qint64 generation = m_unsynced[0].generation;
    if (m_fileGeneration != generation) {
        closeFile();
        if (!openFile(generation, reason))
            return false;
    }
    QByteArray bytes;
    qint64 size = m_syncedSize;
    if (size == 0)
        journalfile::appendHeader(bytes, m_header);
    for (int i = 0; i < count; ++i) {
        introduce(m_unsynced[i].entry, size, bytes);
        journalfile::appendEntry(bytes, m_header, static_cast<quint64>(size + bytes.size()), m_unsynced[i].entry);
        if (i + 1 < count && bytes.size() < writeBytes)
            continue;
        if (!::writeAll(m_file, bytes.constData(), bytes.size(), reason))
            return false;
        size += bytes.size();
        bytes.clear();
    }
    if (!platform::syncFile(m_file))
        return fail(reason, CoreText::tr("%1 cannot be synced").arg(m_file.fileName()));
    if (m_syncedSize == 0 && !platform::syncFolder(m_folder))
        return fail(reason, CoreText::tr("%1 cannot be synced").arg(m_folder));
    m_syncedSize = size;
    return true;
}

/// A folder may get another name, and an older file that says whose it was is gone after a save: each file names a
/// sensor before its first record.
void Journal::Writer::introduce(const journalfile::Entry &entry, qint64 size, QByteArray &bytes)
{
    if (m_introduced.contains(entry.sensor))
        return;
    m_introduced.insert(entry.sensor);
    const auto sensor = m_sensors.constFind(entry.sensor);
    if (sensor == m_sensors.constEnd() || entry.type == Record::Sensor)
        return;
    journalfile::appendEntry(bytes, m_header, static_cast<quint64>(size + bytes.size()),
                             {entry.sensor, Record::Sensor, sensor.value()});
}

bool Journal::Writer::openFile(qint64 generation, QString *reason)
{
    if ((!m_folderIsSafe || !QFileInfo(m_folder).isDir()) && !makeFolderSafely(m_folder))
        return fail(reason, CoreText::tr("cannot create %1").arg(m_folder));
    m_folderIsSafe = true;
    ++m_header.number;
    m_syncedSize = 0;
    m_introduced.clear();
    m_file.setFileName(m_folder + QLatin1Char('/') + journalfile::fileName(m_header.number));
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return fail(reason, m_file.errorString());
    m_fileGeneration = generation;
    return true;
}

void Journal::Writer::closeFile()
{
    if (!m_file.isOpen())
        return;
    m_file.close();
    m_oldFiles.append({m_file.fileName(), m_fileGeneration});
    m_fileGeneration = -1;
}

/// After a failed write or sync: what was synced before stays, the rest is cut off and goes to another file.
void Journal::Writer::giveUpFile()
{
    if (!m_file.isOpen())
        return;
    m_file.resize(m_syncedSize);
    const bool empty = m_syncedSize == 0;
    closeFile();
    if (empty)
        QFile::remove(m_oldFiles.takeLast().path);
}

void Journal::Writer::removeCommitted()
{
    if (m_file.isOpen() && m_fileGeneration <= m_committed)
        closeFile();
    const auto covered = [this](const OldFile &file) {
        return file.generation <= m_committed && (QFile::remove(file.path) || !QFile::exists(file.path));
    };
    m_oldFiles.erase(std::remove_if(m_oldFiles.begin(), m_oldFiles.end(), covered), m_oldFiles.end());
}

/// Tells the journal how far the disk is.
void Journal::Writer::report(bool written, const QString &reason)
{
    const bool changed = written == m_journal.m_failing;
    if (changed && !written)
        logWarning(QStringLiteral("Journal: cannot be written, nothing is cleared on the sensors: %1").arg(reason));
    else if (changed)
        logInfo(QStringLiteral("Journal: is written again"));
    const std::lock_guard locker(m_journal.m_lock);
    m_journal.m_failing = !written;
    m_journal.m_error = reason;
    m_journal.m_unsyncedBytes = unsyncedBytes();
    if (written)
        m_journal.m_durablePosition = std::max(m_journal.m_durablePosition, m_askedPosition);
    m_journal.answerLocked(m_journal.m_durablePosition, !written);
    if (changed)
        QMetaObject::invokeMethod(&m_journal, "deliver", Qt::QueuedConnection);
}
