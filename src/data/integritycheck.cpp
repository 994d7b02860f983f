#include "data/integritycheck.h"

#include "base/coretext.h"
#include "data/datanames.h"
#include "data/folderscan.h"

#include <QDir>
#include <QFileInfo>

namespace {

void add(IntegrityReport &report, const QString &file, FileState state, const QString &detail = QString())
{
    const int count = ++report.counts[state];
    if (state != FileState::Sound && count <= IntegrityReport::maximumFindings)
        report.findings.append({file, state, detail});
}

} // namespace

IntegrityReport reportOf(const FolderInspection &inspection)
{
    IntegrityReport report;
    report.folder = QDir(inspection.path).dirName();
    report.problems = inspection.problems;
    report.cancelled = inspection.cancelled;
    for (const InspectedBlock &block : inspection.blocks) {
        ++report.blocks;
        report.samples += static_cast<quint64>(block.readable - block.doubledTimes.size());
        add(report, block.name, block.state, block.detail);
    }
    const auto addMissing = [&](const QString &name) {
        const bool isLink = QFileInfo(inspection.path + QLatin1Char('/') + name).isSymLink();
        add(report, name, FileState::Missing, isLink ? CoreText::tr("a symbolic link is not followed") : QString());
    };
    for (const QString &name : inspection.missingBlocks)
        addMissing(name);
    for (const InspectedEvent &event : inspection.events) {
        ++report.events;
        add(report, event.summary.fileName(), event.state, event.detail);
    }
    for (const LostEvent &event : inspection.lostEvents) {
        if (event.state == FileState::Missing) // of an unreadable file, the file has been named
            addMissing(event.summary.fileName());
    }
    for (const QString &name : inspection.outside)
        add(report, name, FileState::Outside);
    return report;
}

IntegrityReport checkSensorFolder(const QString &path, JobProgress *progress)
{
    return reportOf(inspectFolder(path, progress));
}

bool holdsSensorData(const QString &path)
{
    if (QFileInfo::exists(path + QLatin1Char('/') + datanames::indexFile()))
        return true;
    const folderscan::Listing files = folderscan::list(path);
    return !files.blocks.isEmpty() || !files.events.isEmpty();
}
