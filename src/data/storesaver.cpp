#include "data/storesaver.h"

#include "base/log.h"
#include "base/pathlook.h"
#include "base/platform.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/eventfile.h"
#include "data/indexfile.h"
#include "data/storefiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <utility>

StoreSaver::StoreSaver(norvexData &store, SaveState &state, const QString &sessionFolder)
    : m_store(store), m_state(state)
{
    const QString name = store.folderName();
    m_folderPath = storefiles::sensorPath(sessionFolder, name);
    m_indexPath = m_folderPath + QLatin1Char('/') + datanames::indexFile();
    m_folderField = datanames::lineSafe(name).toUtf8();
}

bool StoreSaver::save(const norvexData::Captured &captured)
{
    logDebug(QStringLiteral("--------------- Updating ") + m_indexPath + QStringLiteral("------------------"));
    if (m_store.folderName().isEmpty() || !QFileInfo(m_folderPath).isDir()) {
        logWarning(QStringLiteral("norvexData::save: there is no folder %1").arg(m_folderPath));
        return false;
    }
    if (QFileInfo(m_indexPath).isSymLink()) {
        logWarning(QStringLiteral("norvexData::save: %1 is a symbolic link").arg(m_indexPath));
        return false;
    }
    m_hasBackup = QFile::exists(m_indexPath);
    if (m_hasBackup && !makeBackup())
        return false;
    capture();
    if (captured && !captured())
        return false;
    if (m_state.folderPath != m_folderPath && !startFolder())
        return false;
    const bool configurationWritten = writeConfiguration();
    m_filesOk = configurationWritten; // the index says so and is written all the same
    saveBlocks();
    saveEvents();
    if (!writeIndex(configurationWritten))
        return false;
    if (m_filesOk) {
        const QMutexLocker locker(&m_store.m_dataLock);
        m_store.m_savedChanges = m_changes;
    }
    return m_filesOk;
}

void StoreSaver::capture()
{
    const QMutexLocker locker(&m_store.m_dataLock);
    m_changes = m_store.m_changes;
    m_oldFolderPath = m_store.m_folderPath;
    m_sensorSerial = m_store.m_sensorSerial;
    m_chamberSerial = m_store.m_chamberSerial;
    m_configuration = m_store.m_configuration;
    m_recipe = m_store.m_recipe;
    m_blocks = m_store.m_blocks;
    m_unsavedEvents = m_store.m_events.unsaved();
    m_highestEventNumber = m_store.m_events.highestFileNumber();
    m_eventCount = m_store.m_events.size();
}

/// The first save into a folder: nothing is known of it yet, and a number that any event file has is taken.
bool StoreSaver::startFolder()
{
    const qint32 lastNumber = std::max(m_state.lastEventNumber, m_highestEventNumber);
    const bool indexBroken = m_state.indexBroken; // its backup is still the good one
    m_state = SaveState();
    m_state.lastEventNumber = lastNumber;
    m_state.indexBroken = indexBroken;
    const pathlook::Listing there = pathlook::list(m_folderPath);
    for (const QString &name : there.files)
        m_state.lastEventNumber = std::max(m_state.lastEventNumber, eventfile::numberOf(name));
    if (!there.complete)
        return false;
    if (!m_oldFolderPath.isEmpty() && m_oldFolderPath != m_folderPath && !copyEvents())
        return false;
    m_state.folderPath = m_folderPath;
    const QMutexLocker locker(&m_store.m_dataLock);
    m_store.m_folderPath = m_folderPath;
    return true;
}

bool StoreSaver::makeBackup()
{
    const QString backup = storefiles::backupPath(m_indexPath);
    // After a failed write the index is torn and the backup is what there is.
    if (m_state.indexBroken && QFile::exists(backup))
        return true;
    QString reason;
    const bool made = storefiles::copyDurably(m_indexPath, storefiles::backupTemporaryPath(m_indexPath), &reason) &&
                      platform::replaceFile(storefiles::backupTemporaryPath(m_indexPath), backup) &&
                      platform::syncFolder(m_folderPath);
    if (!made) {
        QFile::remove(storefiles::backupTemporaryPath(m_indexPath));
        // An index that the system does not open is no use as a backup: it makes way and keeps its content.
        if (pathlook::kindOf(m_indexPath) == pathlook::Kind::File && !pathlook::canBeOpened(m_indexPath) &&
            platform::replaceFile(m_indexPath, storefiles::asidePath(m_indexPath))) {
            logWarning(QStringLiteral("norvexData::save: %1 cannot be opened and is kept as .old").arg(m_indexPath));
            m_hasBackup = false;
            return true;
        }
        logWarning(QStringLiteral("norvexData::save: cannot make the backup %1 %2").arg(backup, reason));
    }
    return made;
}

/// A backup that stays would undo this save at the next load: one that cannot be removed gets the new content, or else
/// another name.
void StoreSaver::removeBackup(const QVector<QByteArray> &index)
{
    const QString backup = storefiles::backupPath(m_indexPath);
    if (QFile::remove(backup))
        return;
    logDebug(QStringLiteral("Unable to delete backup file"));
    if (!storefiles::overwrite(backup, index))
        platform::replaceFile(backup, storefiles::asidePath(backup));
}

bool StoreSaver::writeConfiguration()
{
    const QString path = m_folderPath + QLatin1Char('/') + datanames::lastConfig() + configFileExtension();
    if (m_state.configuration == m_configuration && QFile::exists(path))
        return true;
    QString reason;
    if (!m_configuration.saveToFile(path, &reason)) {
        logWarning(QStringLiteral("norvexData::save: %1: %2").arg(path, reason));
        m_state.configuration.reset();
        return false;
    }
    m_state.configuration = m_configuration;
    return true;
}

void StoreSaver::saveBlocks()
{
    const std::vector<SaveState::BlockLine> old = std::exchange(m_state.blockLines, {});
    m_state.blockLines.reserve(static_cast<std::size_t>(m_blocks.size()));
    std::size_t next = 0; // the old lines are in the order of the blocks
    for (int i = 0; i < m_blocks.size(); ++i) {
        dataBlock &block = *m_blocks[i];
        const SaveState::BlockLine *known = nullptr;
        if (next < old.size() && old[next].block == m_blocks[i])
            known = &old[next++];
        if (known && !block.isModified()) {
            m_state.blockLines.push_back(*known);
            continue;
        }
        const bool saved = saveBlock(block, i + 1);
        m_filesOk = m_filesOk && saved;
        // What could not be saved stays listed as it was; a block without a file is left out.
        if (!saved && known)
            m_state.blockLines.push_back(*known);
        else if (!block.fileName().isEmpty())
            m_state.blockLines.push_back({m_blocks[i], lineOf(block)});
    }
}

bool StoreSaver::saveBlock(dataBlock &block, int position)
{
    const QString name = nameFor(block, position);
    if (!block.isModified() && block.folder() == m_folderPath && block.fileName() == name)
        return true;
    const QString source = block.folder() + QLatin1Char('/') + block.fileName();
    if (block.toFile(m_folderPath, name))
        return true;
    // A file that cannot be read as a block goes into a new folder as it is.
    if (block.isModified() || block.isLoaded() || block.folder() == m_folderPath)
        return false;
    return storefiles::copyDurably(source, m_folderPath + QLatin1Char('/') + name);
}

/// A block keeps its name, unless its file is damaged and must not be written over. A new name has the block's place in
/// the list, or the next number that neither a block nor a file has.
QString StoreSaver::nameFor(const dataBlock &block, int position)
{
    const QString current = block.fileName();
    if (!current.isEmpty() && !(block.isDamaged() && block.isModified()))
        return current;
    if (m_blockNames.isEmpty()) {
        for (const auto &other : std::as_const(m_blocks))
            m_blockNames.insert(other->fileName());
    }
    for (int number = position;; ++number) {
        const QString name = QStringLiteral("block_%1%2").arg(number).arg(datanames::blockExtension());
        if (!m_blockNames.contains(name) && !QFileInfo::exists(m_folderPath + QLatin1Char('/') + name)) {
            m_blockNames.insert(name);
            return name;
        }
    }
}

QByteArray StoreSaver::lineOf(const dataBlock &block) const
{
    QByteArray line;
    const SavedRange range = block.savedRange(); // not that of samples which came after the block was written
    indexfile::appendBlock(line, m_folderField, block.fileName(), range.first, range.last);
    return line;
}

/// An event is saved once its file and the file's name are on disk; until then it stays whole in memory.
void StoreSaver::saveEvents()
{
    QVector<QPair<int, QString>> written; // position, name
    for (const EventList::Unsaved &event : std::as_const(m_unsavedEvents)) {
        QString path;
        do
            path = m_folderPath + QLatin1Char('/') + eventfile::fileName(++m_state.lastEventNumber);
        while (QFileInfo::exists(path));
        SafeFile file(path);
        if (!file.open() || !file.write(eventfile::encode(*event.second)) ||
            !file.commit(SafeFile::SyncFolder::Later)) {
            logWarning(QStringLiteral("norvexData::save: %1: %2").arg(path, file.error()));
            m_filesOk = false;
            continue;
        }
        written.append({event.first, QFileInfo(path).fileName()});
    }
    if (written.isEmpty())
        return;
    const bool synced = platform::syncFolder(m_folderPath);
    m_filesOk = m_filesOk && synced;
    for (const auto &[position, name] : std::as_const(written)) {
        if (!synced) { // the next save writes it again, under a name that is new to the disk
            QFile::remove(m_folderPath + QLatin1Char('/') + name);
            continue;
        }
        const QMutexLocker locker(&m_store.m_dataLock);
        m_store.m_events.markSaved(position, name);
    }
}

/// Saving into another folder: the event files go along. What an earlier attempt has copied is recognised.
bool StoreSaver::copyEvents()
{
    for (int position = 0; position < m_eventCount; ++position) {
        EventSummary event;
        {
            const QMutexLocker locker(&m_store.m_dataLock);
            event = m_store.m_events.at(position);
        }
        if (!event.hasFile())
            continue;
        const QString source = m_oldFolderPath + QLatin1Char('/') + event.fileName();
        const QString target = m_folderPath + QLatin1Char('/') + event.fileName();
        if (QFileInfo::exists(target) && storefiles::sameContent(source, target))
            continue;
        QString name = event.fileName();
        if (QFileInfo::exists(target))
            name = eventfile::fileName(++m_state.lastEventNumber);
        QString reason;
        if (!storefiles::copyDurably(source, m_folderPath + QLatin1Char('/') + name, &reason)) {
            logWarning(QStringLiteral("norvexData::save: cannot copy %1: %2").arg(source, reason));
            return false;
        }
        if (name != event.fileName()) {
            const QMutexLocker locker(&m_store.m_dataLock);
            m_store.m_events.markSaved(position, name);
        }
    }
    return true;
}

/// Composes the lines of the events that have none yet. Lines of an unbroken row of saved events are kept for the next
/// save; those after an event that could not be saved come into `others`. Returns how many events have a line.
int StoreSaver::composeEventLines(QByteArray &others)
{
    constexpr int chunk = 1000;
    int otherCount = 0;
    bool unbroken = true;
    for (int from = m_state.eventLineCount; from < m_eventCount; from += chunk) {
        QVector<EventSummary> events;
        {
            const QMutexLocker locker(&m_store.m_dataLock);
            for (int i = from; i < std::min(from + chunk, m_eventCount); ++i)
                events.append(m_store.m_events.at(i));
        }
        for (const EventSummary &event : std::as_const(events)) {
            unbroken = unbroken && event.hasFile();
            if (!event.hasFile())
                continue;
            indexfile::appendEvent(unbroken ? m_state.eventLines : others, m_folderField, event);
            ++(unbroken ? m_state.eventLineCount : otherCount);
        }
    }
    return m_state.eventLineCount + otherCount;
}

bool StoreSaver::writeIndex(bool configurationWritten)
{
    QByteArray head;
    indexfile::appendHeader(head, {m_sensorSerial, m_chamberSerial, configurationWritten,
                                   m_recipe.isEmpty() ? QByteArray() : m_recipe.toCompactJSON()});
    indexfile::appendBlockStart(head, static_cast<int>(m_state.blockLines.size()));
    for (const SaveState::BlockLine &line : m_state.blockLines)
        head += line.text;
    indexfile::appendBlockEnd(head);
    QByteArray tail;
    const int eventCount = composeEventLines(tail);
    indexfile::appendEventStart(head, eventCount);
    indexfile::appendEventEnd(tail);

    const QVector<QByteArray> index{head, m_state.eventLines, tail};
    QString reason;
    m_state.indexBroken = !storefiles::overwrite(m_indexPath, index, &reason);
    if (m_state.indexBroken) {
        logWarning(QStringLiteral("norvexData::save: %1: %2").arg(m_indexPath, reason));
        return false;
    }
    if (m_hasBackup || QFileInfo::exists(storefiles::backupPath(m_indexPath)))
        removeBackup(index);
    return platform::syncFolder(m_folderPath);
}
