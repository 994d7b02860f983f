#include "base/coretext.h"
#include "base/log.h"
#include "base/pathlook.h"
#include "data/datanames.h"
#include "data/folderscan.h"
#include "data/storefiles.h"
#include "data/storeloader.h"

#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace {

// File times of some systems are this coarse.
constexpr qint64 fileTimeStepMs = 2000;

} // namespace

ReconcileReport StoreReconciler::run()
{
    m_folderPath = m_store.m_folderPath;
    refreshNewerBlocks();
    QSet<QString> knownBlocks;
    for (const auto &block : m_store.blocks())
        knownBlocks.insert(block->fileName());
    const folderscan::Listing listing = folderscan::list(m_folderPath);
    if (!listing.complete)
        m_report.unreadable = CoreText::tr("%1: the names in it cannot be read").arg(m_folderPath);
    for (const QString &name : listing.blocks) {
        if (!knownBlocks.contains(name))
            adoptBlock(name);
    }
    sortBlocks();
    QSet<QString> knownEvents;
    for (int i = 0; i < m_store.m_events.size(); ++i)
        knownEvents.insert(m_store.m_events.at(i).fileName());
    for (const QString &name : listing.events) {
        if (!knownEvents.contains(name))
            adoptEvent(name);
    }
    if (m_report.changedSomething() || !m_report.damagedFiles.isEmpty()) {
        logInfo(QStringLiteral("norvexData::reconcile: %1: %2 blocks read again, %3 blocks, %4 samples and %5 events "
                               "added, %6 files are damaged")
                    .arg(m_folderPath)
                    .arg(m_report.refreshedBlocks)
                    .arg(m_report.addedBlocks)
                    .arg(m_report.addedSamples)
                    .arg(m_report.addedEvents)
                    .arg(m_report.damagedFiles.size()));
    }
    return m_report;
}

/// True, and remembered, for a file that was not read though something may be there.
bool StoreReconciler::cannotRead(const QString &path, const QString &reason)
{
    if (!pathlook::mayHoldFile(path))
        return false;
    logWarning(QStringLiteral("norvexData::reconcile: %1 cannot be read: %2").arg(path, reason));
    if (m_report.unreadable.isEmpty())
        m_report.unreadable = QStringLiteral("%1: %2").arg(path, reason);
    return true;
}

/// When the index that was loaded was written; invalid without one.
QDateTime StoreReconciler::indexWritten()
{
    const QString path = m_folderPath + QLatin1Char('/') + datanames::indexFile();
    const QString backup = storefiles::backupPath(path);
    const QFileInfo index(QFileInfo(backup).isFile() ? backup : path);
    if (index.exists())
        return index.lastModified();
    // Of one that is there and cannot be looked at nobody knows: every block may be newer.
    return pathlook::mayHoldFile(index.filePath()) ? QDateTime::fromMSecsSinceEpoch(0) : QDateTime();
}

/// A listed block whose file is not older than the index may hold more than its line says. The last two are looked at
/// whatever the clock said when they were written.
void StoreReconciler::refreshNewerBlocks()
{
    const QDateTime written = indexWritten();
    if (!written.isValid())
        return;
    const QDateTime limit = written.addMSecs(-fileTimeStepMs);
    const norvexData::Blocks blocks = m_store.blocks();
    for (int i = 0; i < blocks.size(); ++i) {
        dataBlock &block = *blocks[i];
        const QFileInfo file(block.folder() + QLatin1Char('/') + block.fileName());
        if (!block.isLoaded() && !file.exists())
            cannotRead(file.filePath(), CoreText::tr("it cannot be looked at"));
        if (block.isLoaded() || !file.exists() || (i < blocks.size() - 2 && file.lastModified() < limit))
            continue;
        const folderscan::BlockFile found = folderscan::readBlock(block.folder(), block.fileName());
        if (found.isDamaged()) {
            noteDamage(found, file.filePath());
            continue;
        }
        if (found.content.samples.isEmpty() ||
            (found.firstTime == block.minimumTime() && found.lastTime == block.maximumTime()))
            continue;
        block.describe(block.folder(), block.fileName(), found.firstTime, found.lastTime, found.content.samples.size());
        m_store.widenTimes(block);
        ++m_store.m_changes;
        ++m_report.refreshedBlocks;
    }
}

void StoreReconciler::noteDamage(const folderscan::BlockFile &found, const QString &path)
{
    if (!found.content.opened && cannotRead(path, found.content.reason))
        return;
    m_report.damagedFiles.append(found.name);
    logWarning(QStringLiteral("norvexData::reconcile: %1: %2").arg(found.name, found.content.reason));
}

/// A file with nothing but new samples becomes a block. Of any other one the new samples are inserted, and it stays as
/// it is.
void StoreReconciler::adoptBlock(const QString &name)
{
    const QString path = m_folderPath + QLatin1Char('/') + name;
    folderscan::BlockFile found = folderscan::readBlock(m_folderPath, name);
    if (found.isDamaged())
        noteDamage(found, path);
    QVector<SamplePoint> samples = found.content.samples;
    if (samples.isEmpty())
        return;
    if (!m_store.dropKnown(samples, m_store.blocks(), nullptr)) {
        cannotRead(path, CoreText::tr("another block of its time cannot be read"));
        return;
    }
    if (samples.isEmpty())
        return;
    if (!found.isDamaged() && samples.size() == found.content.samples.size()) {
        auto block = std::make_shared<dataBlock>(m_store.m_clock);
        block->describe(m_folderPath, name, found.firstTime, found.lastTime, found.content.samples.size());
        m_store.takeBlock(block);
        ++m_report.addedBlocks;
        return;
    }
    // The newest block may turn out to be damaged; the next one then is a new one.
    if (m_store.insertAll(m_store.blockForInsert(), samples, nullptr) ||
        m_store.insertAll(m_store.blockForInsert(), samples, nullptr))
        m_report.addedSamples += samples.size();
    else
        cannotRead(path, CoreText::tr("its samples cannot be taken"));
}

void StoreReconciler::adoptEvent(const QString &name)
{
    EventSummary event;
    QString reason;
    bool opened = true;
    if (!folderscan::readEvent(m_folderPath, name, event, &reason, &opened)) {
        if (!opened && cannotRead(m_folderPath + QLatin1Char('/') + name, reason))
            return;
        logWarning(QStringLiteral("norvexData::reconcile: %1: %2").arg(name, reason));
        m_report.damagedFiles.append(name);
        return;
    }
    if (!m_store.m_events.addStored(event))
        return;
    ++m_report.addedEvents;
    ++m_store.m_changes;
    ++m_store.m_revision;
}

void StoreReconciler::sortBlocks()
{
    const auto earlier = [](const auto &a, const auto &b) { return a->minimumTime() < b->minimumTime(); };
    if (m_report.addedBlocks > 0)
        std::stable_sort(m_store.m_blocks.begin(), m_store.m_blocks.end(), earlier);
}
