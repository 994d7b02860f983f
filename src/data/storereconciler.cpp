#include "base/log.h"
#include "data/datanames.h"
#include "data/folderscan.h"
#include "data/storeloader.h"

#include <QDateTime>
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
    for (const QString &name : listing.blocks) {
        if (!knownBlocks.contains(name))
            adoptBlock(name);
    }
    sortBlocks();
    QSet<QString> knownEvents;
    for (int i = 0; i < m_store.m_events.size(); ++i)
        knownEvents.insert(m_store.m_events.at(i).summary.fileName());
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

/// A listed block whose file is not older than the index may hold more than its line says. The last two are looked at
/// whatever the clock said when they were written.
void StoreReconciler::refreshNewerBlocks()
{
    const QFileInfo index(m_folderPath + QLatin1Char('/') + datanames::indexFile());
    if (!index.exists())
        return;
    const QDateTime limit = index.lastModified().addMSecs(-fileTimeStepMs);
    const norvexData::Blocks blocks = m_store.blocks();
    for (int i = 0; i < blocks.size(); ++i) {
        dataBlock &block = *blocks[i];
        const QFileInfo file(block.folder() + QLatin1Char('/') + block.fileName());
        if (block.isLoaded() || !file.exists() || (i < blocks.size() - 2 && file.lastModified() < limit))
            continue;
        const folderscan::BlockFile found = folderscan::readBlock(block.folder(), block.fileName());
        if (found.isDamaged()) {
            m_report.damagedFiles.append(file.fileName());
            logWarning(QStringLiteral("norvexData::reconcile: %1: %2").arg(file.fileName(), found.content.reason));
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

/// A file with nothing but new samples becomes a block. Of any other one the new samples are inserted, and it stays as
/// it is.
void StoreReconciler::adoptBlock(const QString &name)
{
    folderscan::BlockFile found = folderscan::readBlock(m_folderPath, name);
    if (found.isDamaged()) {
        m_report.damagedFiles.append(name);
        logWarning(QStringLiteral("norvexData::reconcile: %1: %2").arg(name, found.content.reason));
    }
    QVector<SamplePoint> samples = found.content.samples;
    if (samples.isEmpty() || !m_store.dropKnown(samples, m_store.blocks(), nullptr) || samples.isEmpty())
        return;
    if (!found.isDamaged() && samples.size() == found.content.samples.size()) {
        auto block = std::make_shared<dataBlock>(m_store.m_clock);
        block->describe(m_folderPath, name, found.firstTime, found.lastTime, found.content.samples.size());
        m_store.takeBlock(block);
        ++m_report.addedBlocks;
        return;
    }
    if (m_store.insertAll(m_store.blockForInsert(), samples, nullptr))
        m_report.addedSamples += samples.size();
}

void StoreReconciler::adoptEvent(const QString &name)
{
    EventSummary event;
    QString reason;
    if (!folderscan::readEvent(m_folderPath, name, event, &reason)) {
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
