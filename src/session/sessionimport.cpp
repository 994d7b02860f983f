#include "session/sessionimport.h"

#include "base/coretext.h"
#include "base/jobprogress.h"
#include "data/blockscan.h"
#include "data/datanames.h"
#include "data/eventfile.h"
#include "data/folderrepair.h"
#include "data/integritycheck.h"
#include "data/journalcheck.h"
#include "data/storefiles.h"
#include "data/storeimporter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QSet>
#include <QTextStream>

#include <algorithm>

namespace {

using Kind = ImportOutcome::Kind;

QString folderName(const QString &path)
{
    return QDir(path).dirName();
}

/// The sensors, by folder name, of which a session's journal has samples or events.
QMap<QString, ImportNames> journalSensors(const QString &session)
{
    QMap<QString, ImportNames> names;
    QSet<QByteArray> withData;
    readJournal(session, [&](const journalfile::Entry &entry) {
        const QString folder = QString::fromUtf8(entry.sensor);
        if (entry.type == DurableLog::Record::Sensor)
            journalfile::decodeSensor(entry.payload, names[folder].sensor, names[folder].chamber);
        else if (entry.type == DurableLog::Record::Samples || entry.type == DurableLog::Record::Event)
            withData.insert(entry.sensor);
        return true;
    });
    QMap<QString, ImportNames> sensors;
    for (const QByteArray &sensor : qAsConst(withData)) {
        const QString folder = QString::fromUtf8(sensor);
        if (datanames::isPlainFileName(folder))
            sensors.insert(folder, names.value(folder));
    }
    return sensors;
}

class Importer
{
public:
    Importer(const QString &source, norvexData &store, const QString &sessionFolder, JobProgress *progress)
        : m_source(QDir(source).absolutePath()), m_store(store), m_sessionFolder(sessionFolder), m_progress(progress),
          m_importer(store, sessionFolder)
    {}

    ImportOutcome run();

private:
    bool stop(Kind kind, const QString &reason = QString());
    bool importFailed();
    bool begin(const QString &name);
    bool inspect();
    void takeSettings();
    bool takeJournal();
    bool takeEntry(const journalfile::Entry &entry);
    bool takeBlock(const InspectedBlock &block);
    bool takeBlocks();
    bool takeEvents();
    bool sourceLost(const QString &file);

    const QString m_source;
    norvexData &m_store;
    const QString m_sessionFolder;
    JobProgress *const m_progress;
    StoreImporter m_importer;
    FolderInspection m_found;
    bool m_takesSettings = false; // of a new store
    ImportOutcome m_outcome;
};

bool Importer::stop(Kind kind, const QString &reason)
{
    m_outcome.kind = kind;
    m_outcome.reason = reason;
    return false;
}

bool Importer::importFailed()
{
    m_outcome.cannotWrite = !m_importer.cannotRead();
    return stop(Kind::Failed, m_importer.reason());
}

bool Importer::begin(const QString &name)
{
    if (!m_progress)
        return true;
    m_progress->advance();
    m_progress->setName(name);
    return !m_progress->isCancelled() || stop(Kind::Cancelled);
}

bool Importer::inspect()
{
    if (!holdsSensorData(m_source) && !journalSensors(QFileInfo(m_source).path()).contains(folderName(m_source)))
        return stop(Kind::NoData, CoreText::tr("The folder %1 holds no sensor data").arg(m_source));
    const QString target = storefiles::sensorPath(m_sessionFolder, m_store.folderName());
    if (QFileInfo(m_source) == QFileInfo(target))
        return stop(Kind::Failed, CoreText::tr("A sensor cannot be imported into itself"));
    if (m_progress)
        m_progress->begin(CoreText::tr("Looking at the source"), inspectionUnits(m_source));
    const bool isFolder = QFileInfo(m_source).isDir(); // else only the journal knows it
    m_found = inspectFolder(m_source, m_progress);
    if (m_found.cancelled)
        return stop(Kind::Cancelled);
    if (isFolder && !QFileInfo(m_source).isDir())
        return stop(Kind::Failed, CoreText::tr("The folder %1 is not there any more").arg(m_source));
    const bool hasIndex = QFile::exists(m_source + QLatin1Char('/') + datanames::indexFile());
    m_outcome.hadIndex = hasIndex || m_found.blocks.isEmpty();
    const IntegrityReport report = reportOf(m_found);
    if (hasIndex)
        m_outcome.problems = report.problems;
    for (const FileFinding &finding : report.findings) {
        if (finding.state != FileState::Unlisted)
            m_outcome.problems.append(
                QStringLiteral("%1: %2 %3").arg(finding.file, shownNameOf(finding.state), finding.detail));
    }
    return true;
}

void Importer::takeSettings()
{
    if (m_store.blockCount() > 0 || m_store.eventCount() > 0 || m_store.runCount() > 0)
        return;
    m_takesSettings = true;
    SensorConfiguration configuration;
    const QString path = m_source + QLatin1Char('/') + datanames::lastConfig() + configFileExtension();
    bool known = QFile::exists(path) && configuration.loadFromFile(path);
    if (!known && !m_found.configurationText.isEmpty()) {
        QTextStream stream(m_found.configurationText);
        stream.setCodec("UTF-8");
        configuration.readConfigText(stream);
        known = true;
    }
    if (known)
        m_store.setConfiguration(configuration);
    Recipe recipe;
    if (!m_found.recipe.isEmpty() && recipe.fromJSON(m_found.recipe))
        m_store.setRecipe(recipe);
}

bool Importer::takeEntry(const journalfile::Entry &entry)
{
    EventRecord event;
    QString reason;
    Recipe recipe;
    SensorConfiguration configuration;
    switch (entry.type) {
    case DurableLog::Record::Samples: {
        QVector<SamplePoint> samples(entry.payload.size() / sampleRecordSize(SamplePoint::currentVersion));
        decodeSamples(reinterpret_cast<const uchar *>(entry.payload.constData()), samples.size(),
                      SamplePoint::currentVersion, samples.data());
        return m_importer.takeSamples(samples.constData(), samples.size());
    }
    case DurableLog::Record::Event:
        if (eventfile::decode(entry.payload, event, &reason))
            return m_importer.takeEvent(event);
        m_outcome.problems.append(CoreText::tr("an event of the journal: %1").arg(reason));
        break;
    case DurableLog::Record::Configuration:
        if (m_takesSettings && configuration.fromFileContent(entry.payload))
            m_store.setConfiguration(configuration);
        break;
    case DurableLog::Record::Recipe:
        if (m_takesSettings && recipe.fromJSON(entry.payload))
            m_store.setRecipe(recipe);
        break;
    case DurableLog::Record::TimeLine: // of the source's recording, not of this one
    case DurableLog::Record::Sensor:
        break;
    }
    return true;
}

/// What the source's session has not saved yet. It comes first: records of a session that is being recorded leave the
/// journal for the files, never the other way.
bool Importer::takeJournal()
{
    const QByteArray sensor = folderName(m_source).toUtf8();
    bool cancelled = false;
    const JournalCheck read = readJournal(QFileInfo(m_source).path(), [&](const journalfile::Entry &entry) {
        cancelled = m_progress && m_progress->isCancelled();
        return !cancelled && (entry.sensor != sensor || takeEntry(entry));
    });
    m_outcome.problems += read.problems;
    if (cancelled)
        return stop(Kind::Cancelled);
    return m_importer.flush() || importFailed();
}

/// A file that could be read a moment ago and cannot now: the disk or the folder is gone.
bool Importer::sourceLost(const QString &file)
{
    return stop(Kind::Failed, CoreText::tr("%1 cannot be read any more").arg(m_source + QLatin1Char('/') + file));
}

bool Importer::takeBlock(const InspectedBlock &block)
{
    qint64 taken = 0;
    blockscan::Header header;
    QVector<SamplePoint> samples;
    bool ok = true;
    const auto take = [&](const uchar *records, int count, const blockscan::Header &head) {
        samples.resize(count);
        decodeSamples(records, count, head.version, samples.data());
        ok = m_importer.takeSamples(samples.constData(), count);
        taken += count;
        return ok && !(m_progress && m_progress->isCancelled());
    };
    blockscan::scan(m_source + QLatin1Char('/') + block.name, header, take, nullptr);
    if (!ok)
        return importFailed();
    if (m_progress && m_progress->isCancelled())
        return stop(Kind::Cancelled);
    return taken >= block.readable || sourceLost(block.name);
}

bool Importer::takeBlocks()
{
    QVector<const InspectedBlock *> blocks;
    for (const InspectedBlock &block : qAsConst(m_found.blocks)) {
        if (block.readable > 0)
            blocks.append(&block);
    }
    std::stable_sort(blocks.begin(), blocks.end(),
                     [](const auto *a, const auto *b) { return a->firstTime < b->firstTime; });
    for (const InspectedBlock *block : qAsConst(blocks)) {
        if (!begin(block->name) || !takeBlock(*block))
            return false;
    }
    return true;
}

bool Importer::takeEvents()
{
    for (const InspectedEvent &found : m_found.events) {
        if (!begin(found.summary.fileName()))
            return false;
        EventRecord event;
        if (found.state == FileState::Unreadable)
            continue;
        if (!eventfile::read(m_source + QLatin1Char('/') + found.summary.fileName(), event))
            return sourceLost(found.summary.fileName());
        if (!m_importer.takeEvent(event))
            return importFailed();
    }
    // Of an event whose file is lost, what the index says of it is taken.
    for (const LostEvent &lost : m_found.lostEvents) {
        if (!m_importer.takeEvent(recordOf(lost.summary, {})))
            return importFailed();
    }
    return true;
}

ImportOutcome Importer::run()
{
    if (!inspect())
        return m_outcome;
    takeSettings();
    if (m_progress) {
        m_progress->begin(CoreText::tr("Importing"),
                          m_found.blocks.size() + static_cast<qint64>(m_found.events.size()));
    }
    const bool all = takeJournal() && takeBlocks() && takeEvents();
    if (m_outcome.kind != Kind::Failed && !m_importer.finish() && all)
        importFailed();
    m_outcome.samples = m_importer.addedSamples();
    m_outcome.knownSamples = m_importer.knownSamples();
    m_outcome.events = m_importer.addedEvents();
    m_outcome.knownEvents = m_importer.knownEvents();
    return m_outcome;
}

} // namespace

QStringList sensorFoldersOf(const QString &source)
{
    const QDir folder(QDir(source).absolutePath());
    if (holdsSensorData(folder.path()) || journalSensors(QFileInfo(folder.path()).path()).contains(folder.dirName()))
        return {folder.path()};
    QStringList names = journalSensors(folder.path()).keys(); // maybe not saved once
    for (const QString &name : folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name)) {
        if (holdsSensorData(folder.filePath(name)) && !names.contains(name))
            names.append(name);
    }
    names.sort();
    QStringList paths;
    for (const QString &name : qAsConst(names))
        paths.append(folder.filePath(name));
    return paths;
}

ImportNames proposedNames(const QString &sensorFolder)
{
    QFile file(sensorFolder + QLatin1Char('/') + datanames::indexFile());
    const QString name = folderName(sensorFolder);
    ImportNames names = journalSensors(QFileInfo(sensorFolder).path()).value(name);
    if (names.sensor.isEmpty()) {
        const SensorIdentity identity = identityOfName(name);
        names = {identity.serial, identity.chamber};
    }
    if (file.open(QIODevice::ReadOnly)) {
        const IndexContent index = indexfile::read(file.read(64 * 1024));
        if (!index.sensorSerial.isEmpty())
            names = {index.sensorSerial, index.chamberSerial};
    }
    if (names.chamber.isEmpty())
        names.chamber = QStringLiteral("Default");
    return names;
}

ImportOutcome importSensorFolder(const QString &source, norvexData &store, const QString &sessionFolder,
                                 JobProgress *progress)
{
    return Importer(source, store, sessionFolder, progress).run();
}

ImportOutcome importTable(const QString &path, const csvsamples::Layout &layout, norvexData &store,
                          const QString &sessionFolder, JobProgress *progress)
{
    ImportOutcome outcome;
    StoreImporter importer(store, sessionFolder);
    const csvsamples::Outcome read = csvsamples::readFile(
        path, layout,
        [&importer](const SamplePoint *samples, int count) { return importer.takeSamples(samples, count); }, progress);
    const bool finished = importer.finish();
    if (read.kind == csvsamples::Outcome::Kind::Cancelled)
        outcome.kind = Kind::Cancelled;
    else if (read.kind == csvsamples::Outcome::Kind::Failed || !finished)
        outcome.kind = Kind::Failed;
    else if (read.samples == 0)
        outcome.kind = Kind::NoData;
    outcome.reason = read.reason.isEmpty() ? importer.reason() : read.reason;
    outcome.samples = importer.addedSamples();
    outcome.knownSamples = importer.knownSamples();
    if (read.skippedLines > 0) {
        outcome.problems.append(
            CoreText::tr("%n lines are no samples, the first is line %1", nullptr, static_cast<int>(read.skippedLines))
                .arg(read.firstSkipped));
    }
    return outcome;
}
