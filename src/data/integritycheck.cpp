#include "data/integritycheck.h"

#include "base/safefile.h"
#include "data/datanames.h"
#include "data/folderscan.h"
#include "data/indexfile.h"
#include "data/storefiles.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace {

/// The names that the index lists, and what is wrong with the index itself.
struct Listed
{
    QSet<QString> blocks;
    QSet<QString> events;
};

void addIndexProblems(const IndexContent &index, IntegrityReport &report)
{
    if (!index.complete)
        report.problems.append(QStringLiteral("the index ends early"));
    if (index.foundBlocks < index.announcedBlocks || index.foundEvents < index.announcedEvents) {
        report.problems.append(QStringLiteral("the index announces %1 blocks and %2 events and lists %3 and %4")
                                   .arg(index.announcedBlocks)
                                   .arg(index.announcedEvents)
                                   .arg(index.foundBlocks)
                                   .arg(index.foundEvents));
    }
    for (const QString &problem : index.problems)
        report.problems.append(QStringLiteral("index line skipped, %1").arg(problem));
}

Listed readIndex(const QString &folder, IntegrityReport &report)
{
    Listed listed;
    const QString path = folder + QLatin1Char('/') + datanames::indexFile();
    if (QFileInfo::exists(storefiles::backupPath(path)))
        report.problems.append(
            QStringLiteral("the last save was interrupted; the index before it is kept as a backup"));
    QByteArray bytes;
    QString reason;
    if (!QFileInfo::exists(path)) {
        report.problems.append(QStringLiteral("the index is missing"));
        return listed;
    }
    if (!readWholeFile(path, bytes, indexfile::maximumSize, &reason)) {
        report.problems.append(QStringLiteral("the index cannot be read: %1").arg(reason));
        return listed;
    }
    const IndexContent index = indexfile::read(bytes);
    addIndexProblems(index, report);
    for (const IndexBlock &block : index.blocks)
        listed.blocks.insert(block.file);
    for (const EventSummary &event : index.events)
        listed.events.insert(event.fileName());
    listed.events.remove(QString());
    return listed;
}

void checkBlock(const QString &folder, const QString &name, bool isListed, IntegrityReport &report)
{
    const folderscan::BlockFile block = folderscan::readBlock(folder, name);
    report.samples += quint64(block.content.samples.size());
    if (!block.content.opened || (!block.content.complete && block.content.samples.isEmpty())) {
        report.findings.append({name, FileFinding::Unreadable, block.content.reason});
    } else if (!block.content.complete) {
        report.findings.append({name, FileFinding::Short,
                                QStringLiteral("%1 of %2 samples can be read")
                                    .arg(block.content.samples.size())
                                    .arg(block.content.announced)});
    } else if (!isListed) {
        report.findings.append(
            {name, FileFinding::Unlisted, QStringLiteral("%1 samples").arg(block.content.samples.size())});
    }
}

void checkEvent(const QString &folder, const QString &name, bool isListed, IntegrityReport &report)
{
    EventSummary event;
    QString reason;
    if (!folderscan::readEvent(folder, name, event, &reason))
        report.findings.append({name, FileFinding::Unreadable, reason});
    else if (!isListed)
        report.findings.append({name, FileFinding::Unlisted, {}});
}

void addMissing(const QSet<QString> &listed, const QStringList &present, IntegrityReport &report)
{
    QStringList missing = QSet<QString>(listed).subtract(QSet<QString>(present.begin(), present.end())).values();
    missing.sort();
    for (const QString &name : qAsConst(missing))
        report.findings.append({name, FileFinding::Missing, {}});
}

} // namespace

QString nameOf(FileFinding::State state)
{
    switch (state) {
    case FileFinding::Short:
        return QStringLiteral("short");
    case FileFinding::Unreadable:
        return QStringLiteral("unreadable");
    case FileFinding::Unlisted:
        return QStringLiteral("unlisted");
    case FileFinding::Missing:
        return QStringLiteral("missing");
    }
    return {};
}

IntegrityReport checkSensorFolder(const QString &path)
{
    IntegrityReport report;
    report.folder = QDir(path).dirName();
    if (!QFileInfo(path).isDir()) {
        report.problems.append(QStringLiteral("the folder is missing"));
        return report;
    }
    const Listed listed = readIndex(path, report);
    const folderscan::Listing files = folderscan::list(path);
    report.blocks = files.blocks.size();
    report.events = files.events.size();
    for (const QString &name : files.blocks)
        checkBlock(path, name, listed.blocks.contains(name), report);
    addMissing(listed.blocks, files.blocks, report);
    for (const QString &name : files.events)
        checkEvent(path, name, listed.events.contains(name), report);
    addMissing(listed.events, files.events, report);
    return report;
}

bool holdsSensorData(const QString &path)
{
    if (QFileInfo::exists(path + QLatin1Char('/') + datanames::indexFile()))
        return true;
    const folderscan::Listing files = folderscan::list(path);
    return !files.blocks.isEmpty() || !files.events.isEmpty();
}
