#include "data/storeloader.h"

#include "base/coretext.h"
#include "base/log.h"
#include "base/pathlook.h"
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

#include <algorithm>
#include <utility>

namespace {

using pathlook::Kind;

constexpr qint64 emptyBlockSize = blockfile::headerSize;

} // namespace

StoreLoader::StoreLoader(norvexData &store, const QString &sessionFolder)
    : m_store(store), m_sessionFolder(sessionFolder),
      m_folderPath(storefiles::sensorPath(sessionFolder, store.folderName())),
      m_indexPath(m_folderPath + QLatin1Char('/') + datanames::indexFile()), m_startMs(store.m_clock.steadyMs())
{}

qint64 StoreLoader::elapsedMs() const
{
    return m_store.m_clock.steadyMs() - m_startMs;
}

LoadOutcome StoreLoader::load(QString *unreadable)
{
    logDebug(QStringLiteral("================ Loading %1 =================").arg(m_indexPath));
    LoadOutcome outcome = LoadOutcome::Failed;
    if (pathlook::kindOf(m_folderPath) == Kind::Unknown)
        cannotRead(m_folderPath, CoreText::tr("it cannot be looked at"));
    else if (m_store.folderName().isEmpty() || !QFileInfo(m_folderPath).isDir())
        logWarning(QStringLiteral("norvexData::load: there is no folder %1").arg(m_folderPath));
    else
        outcome = loadIndex();
    if (m_unreadable.isEmpty())
        return outcome;
    if (unreadable)
        *unreadable = m_unreadable;
    return LoadOutcome::Unreadable;
}

LoadOutcome StoreLoader::loadIndex()
{
    m_store.m_folderPath = m_folderPath;
    const QString backup = storefiles::backupPath(m_indexPath);
    const bool useBackup = pathlook::canBeOpened(backup); // a save was interrupted
    QByteArray bytes;
    QString reason;
    // One that the system does not open is as good as none: the files say what was stored. When it is given and then
    // not read, the disk is at fault.
    if (!useBackup && !pathlook::canBeOpened(m_indexPath))
        return rebuild();
    if (!readPart(useBackup ? backup : m_indexPath, bytes, indexfile::maximumSize, &reason)) {
        logDebug(QStringLiteral("norvexData::load: %1: %2").arg(m_indexPath, reason));
        return rebuild();
    }
    IndexContent content = indexfile::read(bytes);
    fill(content);
    const QString end =
        content.missesBlocks()
            ? QStringLiteral("========== %1 Loaded, but some files where missing from the index file. "
                             "Time elapsed: %2 ms =================")
            : QStringLiteral("========== %1 Loaded successfully! Time elapsed: %2 ms =================");
    logDebug(end.arg(m_indexPath).arg(elapsedMs()));
    if (!content.complete) {
        reconcile(); // nobody else does for one who only reads
        return LoadOutcome::CutIndex;
    }
    return content.missesBlocks() ? LoadOutcome::MissingBlocks : LoadOutcome::Loaded;
}

bool StoreLoader::mend()
{
    if (pathlook::kindOf(m_folderPath) != Kind::Folder)
        return true;
    removeLeftovers();
    if (!restoreBackup())
        return false; // the backup may know more than a new index, and a repair may still read it
    const Kind kind = pathlook::kindOf(m_indexPath);
    if (kind == Kind::Nothing || (kind == Kind::File && !pathlook::canBeOpened(m_indexPath)))
        m_store.save(m_sessionFolder);
    return true;
}

/// False for a file that is not there, and for one that is and cannot be read, which is then known.
bool StoreLoader::readPart(const QString &path, QByteArray &bytes, qint64 maximumSize, QString *reason)
{
    if (readWholeFile(path, bytes, maximumSize, reason))
        return true;
    if (pathlook::mayHoldFile(path) && QFileInfo(path).size() <= maximumSize)
        cannotRead(path, *reason);
    return false;
}

void StoreLoader::cannotRead(const QString &path, const QString &reason)
{
    logWarning(QStringLiteral("norvexData::load: %1 cannot be read: %2").arg(path, reason));
    if (m_unreadable.isEmpty())
        m_unreadable = QStringLiteral("%1: %2").arg(path, reason);
}

void StoreLoader::reconcile()
{
    const ReconcileReport report = StoreReconciler(m_store).run();
    if (m_unreadable.isEmpty())
        m_unreadable = report.unreadable;
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
    if (!QFileInfo::exists(backup))
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

LoadOutcome StoreLoader::rebuild()
{
    fillConfiguration({});
    reconcile();
    m_store.configureDetector();
    {
        const QMutexLocker locker(&m_store.m_dataLock);
        ++m_store.m_changes;
    }
    logDebug(QStringLiteral("========== %1 not found! Recreating the file. Time elapsed: %2 ms =================")
                 .arg(m_indexPath)
                 .arg(elapsedMs()));
    return LoadOutcome::Recreated;
}

/// Takes the events out of `content`.
void StoreLoader::fill(IndexContent &content)
{
    if (!content.sensorSerial.isEmpty())
        m_store.m_sensorSerial = content.sensorSerial;
    if (!content.chamberSerial.isEmpty())
        m_store.m_chamberSerial = content.chamberSerial;
    fillConfiguration(content);
    if (!content.recipe.isEmpty())
        m_store.m_recipe.fromJSON(content.recipe);
    fillBlocks(content);
    const int doubled = m_store.m_events.addStored(std::move(content.events));
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
    QByteArray bytes;
    if (readPart(path, bytes, SensorConfiguration::maximumFileSize, &reason) &&
        !m_store.m_configuration.fromFileContent(bytes))
        logWarning(QStringLiteral("norvexData::load: %1 does not hold a sensor configuration").arg(path));
}

/// The folder of the index, or the recorded one when only that has the file: a session that was put together by hand.
/// `size` is that of the file, -1 where none can be seen. Asks the system as little as it can.
QString StoreLoader::folderOfBlock(const IndexBlock &line, qint64 *size) const
{
    *size = pathlook::sizeOf(m_folderPath + QLatin1Char('/') + line.file);
    if (*size >= 0 || !datanames::isPlainFileName(line.folder))
        return m_folderPath;
    const QString recorded = storefiles::sensorPath(m_sessionFolder, line.folder);
    *size = pathlook::sizeOf(recorded + QLatin1Char('/') + line.file);
    return *size >= 0 ? recorded : m_folderPath;
}

void StoreLoader::fillBlocks(const IndexContent &content)
{
    QSet<QString> names;
    names.reserve(content.blocks.size());
    const auto isNew = [&names](const QString &name) {
        const int known = names.size();
        names.insert(name);
        return names.size() > known;
    };
    norvexData::Blocks blocks;
    blocks.reserve(content.blocks.size());
    for (const IndexBlock &line : content.blocks) {
        qint64 size = -1;
        const QString folder = folderOfBlock(line, &size);
        const QString path = folder + QLatin1Char('/') + line.file;
        if ((size >= 0 && size <= emptyBlockSize) || !isNew(line.file)) {
            logWarning(QStringLiteral("norvexData::load: %1 is listed twice or empty").arg(path));
            continue;
        }
        if (size < 0 && pathlook::mayHoldFile(path))
            cannotRead(path, CoreText::tr("it cannot be looked at"));
        auto block = std::make_shared<dataBlock>(m_store.m_clock);
        if (line.timesKnown)
            block->describe(folder, line.file, line.firstTime, line.lastTime,
                            blockfile::countFromSize(std::max<qint64>(size, 0)));
        else if (!block->fromFile(folder, path) && block->count() == 0 && pathlook::mayHoldFile(path))
            cannotRead(path, CoreText::tr("its times are not known"));
        if (!line.timesKnown && block->count() == 0)
            continue;
        m_store.widenTimes(*block);
        blocks.append(block);
    }
    const QMutexLocker locker(&m_store.m_dataLock);
    m_store.m_blocks += blocks;
}
