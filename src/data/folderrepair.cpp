#include "data/folderrepair.h"

#include "base/coretext.h"
#include "base/jobprogress.h"
#include "base/log.h"
#include "base/platform.h"
#include "base/safefile.h"
#include "data/blockpieces.h"
#include "data/datanames.h"
#include "data/eventfile.h"
#include "data/filenumbers.h"
#include "data/storefiles.h"
#include "recipe/sensorconfiguration.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>

namespace {

QStringList listedNames(const FolderInspection &inspection)
{
    QStringList names = inspection.missingBlocks;
    for (const LostEvent &event : inspection.lostEvents)
        names.append(event.summary.fileName());
    return names;
}

class Repairer
{
public:
    Repairer(const FolderInspection &found, const SensorIdentity &identity, const QString &aside, JobProgress *progress)
        : m_found(found), m_identity(identity), m_aside(aside), m_progress(progress),
          m_numbers(found.path, listedNames(found))
    {}

    FolderRepair run();

private:
    QString pathOf(const QString &name) const { return m_found.path + QLatin1Char('/') + name; }
    QString indexPath() const { return pathOf(datanames::indexFile()); }
    bool cannotWrite(const QString &reason);
    bool fail(FolderRepair::Outcome outcome, const QString &reason);
    void note(const QString &file, const QString &text) { m_result.changes.append(file + QStringLiteral(": ") + text); }
    bool isCancelled() const { return m_progress && m_progress->isCancelled(); }

    // First new files are written beside what there is ...
    bool planBlocks();
    bool rewrite(const InspectedBlock &block);
    bool planEvents();
    bool rename(const InspectedEvent &event);
    bool restoreEvent(const EventSummary &listed);
    void planConfiguration();
    bool isAllThere();
    // ... then what they replace is moved away and the new index takes its place.
    bool moveAside();
    bool move(const QString &name);
    bool keepIndexes();
    QByteArray newIndex();
    void undo();

    const FolderInspection &m_found;
    const SensorIdentity m_identity;
    const QString m_aside;
    JobProgress *const m_progress;
    FileNumbers m_numbers;
    FolderRepair m_result;
    QStringList m_newFiles;
    QStringList m_toMove;
    QVector<BlockPiece> m_blocks;
    std::vector<EventSummary> m_events;
    bool m_configured = false;
};

bool Repairer::cannotWrite(const QString &reason)
{
    return fail(FolderRepair::Outcome::CannotWrite, reason);
}

bool Repairer::fail(FolderRepair::Outcome outcome, const QString &reason)
{
    m_result.outcome = outcome;
    m_result.reason = reason;
    return false;
}

bool Repairer::rewrite(const InspectedBlock &block)
{
    BlockPieces pieces(m_found.path, m_numbers);
    const bool ok = pieces.copy(pathOf(block.name), block.doubledTimes);
    m_newFiles += pieces.fileNames();
    if (!ok)
        return cannotWrite(QStringLiteral("%1: %2").arg(block.name, pieces.reason()));
    m_blocks += pieces.written();
    m_toMove.append(block.name);
    m_result.rewritten += pieces.written().isEmpty() ? 0 : 1;
    m_result.lostSamples += std::max<qint64>(block.announced - block.readable, 0);
    if (pieces.written().isEmpty())
        note(block.name, CoreText::tr("set aside, all of it is in other files"));
    else
        note(block.name, CoreText::tr("%1, its %2 samples are now in %3")
                             .arg(block.detail)
                             .arg(pieces.sampleCount())
                             .arg(pieces.fileNames().join(QStringLiteral(", "))));
    return true;
}

bool Repairer::planBlocks()
{
    for (const InspectedBlock &block : m_found.blocks) {
        if (m_progress)
            m_progress->setName(block.name);
        if (isCancelled())
            return false;
        switch (block.state) {
        case FileState::Unlisted:
            ++m_result.addedFiles;
            note(block.name, CoreText::tr("added with %n samples", nullptr, static_cast<int>(block.readable)));
            [[fallthrough]];
        case FileState::Sound:
        case FileState::Stale:
            m_blocks.append({block.name, block.firstTime, block.lastTime, block.readable});
            break;
        case FileState::Unreadable:
            m_toMove.append(block.name);
            m_result.lostSamples += std::max<qint64>(block.announced, 0);
            note(block.name, CoreText::tr("set aside, %1").arg(block.detail));
            break;
        default:
            if (!rewrite(block))
                return false;
        }
    }
    for (const QString &name : m_found.missingBlocks)
        note(name, QFileInfo(pathOf(name)).isSymLink() ? CoreText::tr("is a symbolic link, its samples are not taken")
                                                       : CoreText::tr("is missing, its samples are lost"));
    m_result.missingBlocks = m_found.missingBlocks;
    std::stable_sort(m_blocks.begin(), m_blocks.end(),
                     [](const BlockPiece &a, const BlockPiece &b) { return a.firstTime < b.firstTime; });
    return true;
}

/// An event whose file has a name that an index cannot carry.
bool Repairer::rename(const InspectedEvent &event)
{
    const QString name = m_numbers.nextEvent();
    QString reason;
    m_newFiles.append(name);
    if (!storefiles::copyDurably(pathOf(event.summary.fileName()), pathOf(name), &reason))
        return cannotWrite(QStringLiteral("%1: %2").arg(event.summary.fileName(), reason));
    m_toMove.append(event.summary.fileName());
    note(event.summary.fileName(), CoreText::tr("is now %1").arg(name));
    EventSummary summary = event.summary;
    summary.otherFile.clear();
    summary.setFileName(name);
    m_events.push_back(summary);
    return true;
}

bool Repairer::restoreEvent(const EventSummary &listed)
{
    EventRecord record = recordOf(listed, m_found.path);
    const QString name = m_numbers.nextEvent();
    QString reason;
    if (!writeFileSafely(pathOf(name), eventfile::encode(record), &reason))
        return cannotWrite(QStringLiteral("%1: %2").arg(name, reason));
    m_newFiles.append(name);
    EventSummary summary = listed;
    summary.otherFile.clear();
    summary.setFileName(name);
    m_events.push_back(summary);
    ++m_result.restoredEvents;
    note(listed.fileName(), CoreText::tr("lost, %1 has the event without its waveform").arg(name));
    return true;
}

bool Repairer::planEvents()
{
    for (const InspectedEvent &event : m_found.events) {
        switch (event.state) {
        case FileState::Unlisted:
            ++m_result.addedFiles;
            note(event.summary.fileName(), QStringLiteral("added"));
            [[fallthrough]];
        case FileState::Sound:
        case FileState::Stale:
            m_events.push_back(event.summary);
            break;
        case FileState::Outside:
            if (!rename(event))
                return false;
            break;
        default:
            m_toMove.append(event.summary.fileName());
            note(event.summary.fileName(), CoreText::tr("set aside, %1").arg(event.detail));
        }
    }
    for (const LostEvent &event : m_found.lostEvents) {
        if (isCancelled() || !restoreEvent(event.summary))
            return false;
    }
    return true;
}

/// Of old indexes that carry the configuration themselves it gets a file.
void Repairer::planConfiguration()
{
    const QString name = datanames::lastConfig() + configFileExtension();
    SensorConfiguration configuration;
    if (QFile::exists(pathOf(name))) {
        m_configured = configuration.loadFromFile(pathOf(name));
        if (!m_configured)
            m_toMove.append(name);
    }
    if (m_configured || m_found.configurationText.isEmpty())
        return;
    QTextStream stream(m_found.configurationText);
    stream.setCodec("UTF-8");
    configuration.readConfigText(stream);
    const QString spare = QFile::exists(pathOf(name)) ? QString() : name;
    m_configured = !spare.isEmpty() && configuration.saveToFile(pathOf(spare));
    if (m_configured)
        m_newFiles.append(spare);
}

/// A folder or a disk that goes away in the middle makes files look damaged; what was found of them counts no more.
bool Repairer::isAllThere()
{
    const auto gone = [this](const QString &name) { return !QFileInfo::exists(pathOf(name)); };
    QStringList names = m_toMove;
    for (const BlockPiece &block : qAsConst(m_blocks))
        names.append(block.name);
    for (const EventSummary &event : m_events)
        names.append(event.fileName());
    if (!QFileInfo(m_found.path).isDir())
        return fail(FolderRepair::Outcome::Failed,
                    CoreText::tr("the folder %1 is not there any more").arg(m_found.path));
    const auto lost = std::find_if(names.cbegin(), names.cend(), gone);
    return lost == names.cend() ||
           fail(FolderRepair::Outcome::Failed, CoreText::tr("%1 is not there any more").arg(pathOf(*lost)));
}

bool Repairer::move(const QString &name)
{
    if (!QDir().mkpath(m_aside))
        return cannotWrite(CoreText::tr("cannot create the folder %1").arg(m_aside));
    const QString to = m_aside + QLatin1Char('/') + name;
    if (QFileInfo::exists(to) || !platform::replaceFile(pathOf(name), to))
        return cannotWrite(CoreText::tr("cannot move %1 to %2").arg(name, m_aside));
    ++m_result.setAside;
    return true;
}

bool Repairer::moveAside()
{
    for (const QString &name : qAsConst(m_toMove)) {
        if (!move(name))
            return false;
    }
    return true;
}

/// The index stays where it is until the new one replaces it, so that a repair that is cut short leaves one.
bool Repairer::keepIndexes()
{
    const QString backup = storefiles::backupPath(datanames::indexFile());
    if (QFileInfo::exists(pathOf(backup)) && !move(backup))
        return false;
    const QFileInfo index(indexPath());
    if (!index.exists() && !index.isSymLink())
        return true;
    if (!index.isFile() || index.isSymLink())
        return move(datanames::indexFile());
    QString reason;
    if (!QDir().mkpath(m_aside))
        return cannotWrite(CoreText::tr("cannot create the folder %1").arg(m_aside));
    if (!storefiles::copyDurably(indexPath(), m_aside + QLatin1Char('/') + datanames::indexFile(), &reason))
        return cannotWrite(QStringLiteral("%1: %2").arg(indexPath(), reason));
    ++m_result.setAside;
    return true;
}

QByteArray Repairer::newIndex()
{
    const QString folder = QDir(m_found.path).dirName();
    const QByteArray field = datanames::lineSafe(folder).toUtf8();
    const auto firstOf = [](const QString &a, const QString &b, const QString &c) {
        return !a.isEmpty() ? a : !b.isEmpty() ? b : c;
    };
    QByteArray out;
    indexfile::appendHeader(out, {firstOf(m_found.sensorSerial, m_identity.serial, folder),
                                  firstOf(m_found.chamberSerial, m_identity.chamber, QStringLiteral("Default")),
                                  m_configured, m_found.recipe});
    indexfile::appendBlockStart(out, m_blocks.size());
    for (const BlockPiece &block : qAsConst(m_blocks))
        indexfile::appendBlock(out, field, block.name, block.firstTime, block.lastTime);
    indexfile::appendBlockEnd(out);
    indexfile::appendEventStart(out, static_cast<int>(m_events.size()));
    for (const EventSummary &event : m_events)
        indexfile::appendEvent(out, field, event);
    indexfile::appendEventEnd(out);
    return out;
}

/// Before anything was moved: the folder is again what it was.
void Repairer::undo()
{
    for (const QString &name : qAsConst(m_newFiles))
        QFile::remove(pathOf(name));
    FolderRepair result;
    result.outcome = isCancelled() ? FolderRepair::Outcome::Cancelled : m_result.outcome;
    result.reason = m_result.reason;
    m_result = result;
}

FolderRepair Repairer::run()
{
    if (!m_found.isDamaged())
        return m_result;
    if (!m_found.isThere && !QDir().mkpath(m_found.path)) { // of a lost folder, at least the sensor stays
        cannotWrite(CoreText::tr("cannot create the folder %1").arg(m_found.path));
        return m_result;
    }
    if (isCancelled()) {
        undo();
        return m_result;
    }
    if (!planBlocks() || !planEvents()) {
        undo();
        return m_result;
    }
    planConfiguration();
    if (!isAllThere()) {
        undo();
        return m_result;
    }
    QString reason;
    if (!moveAside() || !keepIndexes())
        return m_result;
    if (!writeFileSafely(indexPath(), newIndex(), &reason)) {
        cannotWrite(reason);
        return m_result;
    }
    platform::syncFolder(m_aside);
    m_result.outcome = FolderRepair::Outcome::Repaired;
    for (const QString &change : qAsConst(m_result.changes))
        logInfo(QStringLiteral("Repair of %1: %2").arg(m_found.path, change));
    return m_result;
}

} // namespace

SensorIdentity identityOfName(const QString &folderName)
{
    const QChar hyphen = QLatin1Char('-');
    if (!folderName.contains(hyphen))
        return {folderName, QString()};
    return {folderName.section(hyphen, 0, -2), folderName.section(hyphen, -1)};
}

FolderRepair repairFolder(const FolderInspection &inspection, const SensorIdentity &identity,
                          const QString &asideFolder, JobProgress *progress)
{
    if (inspection.cancelled) {
        FolderRepair cancelled;
        cancelled.outcome = FolderRepair::Outcome::Cancelled;
        return cancelled;
    }
    return Repairer(inspection, identity, asideFolder, progress).run();
}
