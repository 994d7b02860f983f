#include "data/storeloader.h"

#include "base/log.h"
#include "base/platform.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/folderscan.h"
#include "data/indexfile.h"
#include "data/storefiles.h"
#include "data/storesaver.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTextStream>

namespace {

constexpr qint64 emptyBlockSize = blockfile::headerSize;

} // namespace

StoreLoader::StoreLoader(norvexData &store, const QString &sessionFolder, LoadMode mode)
    : m_store(store), m_sessionFolder(sessionFolder), m_mode(mode),
      m_folderPath(storefiles::sensorPath(sessionFolder, store.folderName())),
      m_indexPath(m_folderPath + QLatin1Char('/') + datanames::indexFile()), m_startMs(store.m_clock.steadyMs())
{}

qint64 StoreLoader::elapsedMs() const
{
    return m_store.m_clock.steadyMs() - m_startMs;
}

LoadOutcome StoreLoader::load()
{
    logDebug(QStringLiteral("================ Loading %1 =================").arg(m_indexPath));
    if (m_store.folderName().isEmpty() || !QFileInfo(m_folderPath).isDir()) {
        logWarning(QStringLiteral("norvexData::load: there is no folder %1").arg(m_folderPath));
        return LoadOutcome::Failed;
    }
    m_store.m_folderPath = m_folderPath;
    if (m_mode == LoadMode::Normal)
        removeLeftovers();
    const bool restored = restoreBackup();
    QByteArray bytes;
    QString reason;
    const QString backup = storefiles::backupPath(m_indexPath);
    const bool useBackup = m_mode == LoadMode::ReadOnly && QFile::exists(backup);
    if (!readWholeFile(useBackup ? backup : m_indexPath, bytes, indexfile::maximumSize, &reason)) {
        logDebug(QStringLiteral("norvexData::load: %1: %2").arg(m_indexPath, reason));
        const LoadOutcome outcome = rebuild(restored);
        return restored ? outcome : LoadOutcome::RestoreFailed;
    }
    const IndexContent content = indexfile::read(bytes);
    fill(content);
    const QString end =
        content.missesBlocks()
            ? QStringLiteral("========== %1 Loaded, but some files where missing from the index file. "
                             "Time elapsed: %2 ms =================")
            : QStringLiteral("========== %1 Loaded successfully! Time elapsed: %2 ms =================");
    logDebug(end.arg(m_indexPath).arg(elapsedMs()));
    if (!content.complete && m_mode == LoadMode::ReadOnly)
        StoreReconciler(m_store).run(); // nobody else does for one who only reads
    if (!restored)
        return LoadOutcome::RestoreFailed;
    if (!content.complete)
        return LoadOutcome::CutIndex;
    return content.missesBlocks() ? LoadOutcome::MissingBlocks : LoadOutcome::Loaded;
}

void StoreLoader::removeLeftovers()
{
    const QStringList names = folderscan::list(m_folderPath).leftovers;
    for (const QString &name : names)
        QFile::remove(m_folderPath + QLatin1Char('/') + name);
}

/// A backup is there only when a save did not finish. False when it could not be put back.
bool StoreLoader::restoreBackup()
{
    const QString backup = storefiles::backupPath(m_indexPath);
    if (m_mode == LoadMode::ReadOnly || !QFileInfo::exists(backup))
        return true;
    QString reason;
    QByteArray readable; // before the index is given up for it
    const bool indexGone = readWholeFile(backup, readable, indexfile::maximumSize, &reason) &&
                           (!QFile::exists(m_indexPath) || QFile::remove(m_indexPath));
    const bool copied = indexGone && storefiles::copyDurably(backup, m_indexPath, &reason) &&
                        QFileInfo(m_indexPath).size() == QFileInfo(backup).size() &&
                        platform::syncFolder(m_folderPath); // else a power loss could leave neither name
    if (!copied || !QFile::remove(backup)) {
        logWarning(QStringLiteral("norvexData::load: cannot put the backup %1 back %2").arg(backup, reason));
        const QMutexLocker saving(&m_store.m_saveLock);
        m_store.m_saveState->indexBroken = true; // the next save keeps the backup until its own index is written
        return false;
    }
    logInfo(QStringLiteral("norvexData::load: the last save was interrupted, %1 is the one before").arg(m_indexPath));
    return true;
}

LoadOutcome StoreLoader::rebuild(bool restored)
{
    fillConfiguration({});
    StoreReconciler(m_store).run();
    m_store.configureDetector();
    {
        const QMutexLocker locker(&m_store.m_dataLock);
        ++m_store.m_changes;
    }
    if (m_mode == LoadMode::Normal && restored) // else the backup knows more, and a repair may still read it
        m_store.save(m_sessionFolder);
    logDebug(QStringLiteral("========== %1 not found! Recreating the file. Time elapsed: %2 ms =================")
                 .arg(m_indexPath)
                 .arg(elapsedMs()));
    return LoadOutcome::Recreated;
}

void StoreLoader::fill(const IndexContent &content)
{
    if (!content.sensorSerial.isEmpty())
        m_store.m_sensorSerial = content.sensorSerial;
    if (!content.chamberSerial.isEmpty())
        m_store.m_chamberSerial = content.chamberSerial;
    fillConfiguration(content);
    if (!content.recipe.isEmpty())
        m_store.m_recipe.fromJSON(content.recipe);
    fillBlocks(content);
    const int doubled = m_store.m_events.addStored(content.events);
    for (const QString &problem : content.problems)
        logWarning(QStringLiteral("norvexData::load: line skipped, %1").arg(problem));
    if (content.skippedLines > 0 || doubled > 0) {
        logWarning(QStringLiteral("norvexData::load: %1: %2 lines skipped, %3 events listed twice")
                       .arg(m_indexPath)
                       .arg(content.skippedLines)
                       .arg(doubled));
    }
    m_store.configureDetector();
    m_store.m_savedChanges = m_store.m_changes;
    if (!content.complete)
        ++m_store.m_changes;
    ++m_store.m_revision;
}

void StoreLoader::fillConfiguration(const IndexContent &content)
{
    if (!content.configurationText.isEmpty()) {
        QTextStream stream(content.configurationText);
        stream.setCodec("UTF-8");
        m_store.m_configuration.readConfigText(stream);
        return;
    }
    const QString path = m_folderPath + QLatin1Char('/') + datanames::lastConfig() + configFileExtension();
    QString reason;
    if (QFile::exists(path) && !m_store.m_configuration.loadFromFile(path, &reason))
        logWarning(QStringLiteral("norvexData::load: %1: %2").arg(path, reason));
}

/// The folder of the index, or the recorded one when only that has the file: a session that was put together by hand.
QString StoreLoader::folderOfBlock(const QString &recordedFolder, const QString &file) const
{
    if (!datanames::isPlainFileName(recordedFolder) || QFile::exists(m_folderPath + QLatin1Char('/') + file))
        return m_folderPath;
    const QString recorded = storefiles::sensorPath(m_sessionFolder, recordedFolder);
    return QFile::exists(recorded + QLatin1Char('/') + file) ? recorded : m_folderPath;
}

void StoreLoader::fillBlocks(const IndexContent &content)
{
    QSet<QString> names;
    norvexData::Blocks blocks;
    for (const IndexBlock &line : content.blocks) {
        const QString folder = folderOfBlock(line.folder, line.file);
        const QFileInfo file(folder + QLatin1Char('/') + line.file);
        if (names.contains(line.file) || (file.exists() && file.size() <= emptyBlockSize)) {
            logWarning(QStringLiteral("norvexData::load: %1 is listed twice or empty").arg(file.filePath()));
            continue;
        }
        names.insert(line.file);
        auto block = std::make_shared<dataBlock>(m_store.m_clock);
        if (line.timesKnown)
            block->describe(folder, line.file, line.firstTime, line.lastTime, blockfile::countFromSize(file.size()));
        else if (!block->fromFile(folder, file.filePath()))
            logWarning(QStringLiteral("norvexData::load: %1 cannot be read").arg(file.filePath()));
        if (!line.timesKnown && block->count() == 0)
            continue;
        m_store.widenTimes(*block);
        blocks.append(block);
    }
    const QMutexLocker locker(&m_store.m_dataLock);
    m_store.m_blocks += blocks;
}
