#include "data/journalreplay.h"

#include "base/bytes.h"
#include "base/coretext.h"
#include "base/log.h"
#include "base/pathlook.h"
#include "base/platform.h"
#include "data/datanames.h"
#include "data/eventfile.h"
#include "data/journalscan.h"

#include <QFile>
#include <QMap>
#include <QSet>

#include <algorithm>

namespace {

using journalfile::Entry;

QVector<SamplePoint> samplesOf(const QByteArray &payload)
{
    QVector<SamplePoint> samples(payload.size() / sampleRecordSize(SamplePoint::currentVersion));
    decodeSamples(reinterpret_cast<const uchar *>(payload.constData()), samples.size(), SamplePoint::currentVersion,
                  samples.data());
    return samples;
}

class Replay
{
public:
    Replay(const QString &sessionFolder, const std::function<norvexData *(const JournalSensor &)> &storeOf)
        : m_session(sessionFolder), m_folder(journalfile::folderOf(sessionFolder)), m_storeOf(storeOf)
    {}

    ReplayReport run()
    {
        const JournalNames names = journalNames(m_session);
        if (!names.complete)
            m_report.unreadable = CoreText::tr("%1: the names in it cannot be read").arg(m_folder);
        for (auto file = names.files.cbegin(); file != names.files.cend(); ++file)
            replayFile(file.value(), std::next(file) == names.files.cend());
        for (norvexData *store : qAsConst(m_touched))
            store->takeFinishedRuns();
        for (const QString &problem : qAsConst(m_report.problems))
            logWarning(QStringLiteral("Journal: %1").arg(problem));
        if (m_report.entries > 0) {
            logInfo(
                QStringLiteral("Journal: %1 records of %2 files replayed, %3 samples and %4 events were not saved yet")
                    .arg(m_report.entries)
                    .arg(m_report.files)
                    .arg(m_report.addedSamples)
                    .arg(m_report.addedEvents));
        }
        return m_report;
    }

private:
    void replayFile(const QString &name, bool newest);
    void replayEntry(const Entry &entry, QString *problem);
    void setAside(const QString &name, const QString &problem);
    void leaveForLater(const QString &name, const QString &problem);
    void cannotRead(const QString &name, const QString &reason);
    norvexData *storeOf(const Entry &entry);

    const QString m_session;
    const QString m_folder;
    const std::function<norvexData *(const JournalSensor &)> &m_storeOf;
    ReplayReport m_report;
    QMap<QByteArray, norvexData *> m_stores;
    QSet<norvexData *> m_touched;
    QString m_refused; // why a record of this file could not be taken, though it is good
};

void Replay::replayFile(const QString &name, bool newest)
{
    ++m_report.files;
    m_report.replayed.append(name);
    m_refused.clear();
    QString problem;
    const auto take = [&](const Entry &entry) {
        replayEntry(entry, &problem);
        return true;
    };
    const JournalScan scan = scanJournalFile(m_folder + QLatin1Char('/') + name, newest, take);
    if (!scan.unreadable.isEmpty())
        return cannotRead(name, scan.unreadable);
    if (!m_refused.isEmpty())
        return leaveForLater(name, m_refused);
    if (problem.isEmpty())
        problem = scan.damage;
    if (!problem.isEmpty())
        return setAside(name, problem);
    if (scan.goodEnd == scan.size)
        return;
    logInfo(QStringLiteral("Journal: %1 was being written when the program ended, %2 bytes are cut off")
                .arg(name)
                .arg(scan.size - scan.goodEnd));
    m_report.torn.append({name, scan.goodEnd});
}

void Replay::replayEntry(const Entry &entry, QString *problem)
{
    ++m_report.entries;
    norvexData *store = storeOf(entry);
    if (!store) {
        *problem = CoreText::tr("it holds records of the unknown sensor %1").arg(QString::fromUtf8(entry.sensor));
        return;
    }
    m_touched.insert(store);
    ::replayEntry(entry, *store, m_report, problem, &m_refused);
}

norvexData *Replay::storeOf(const Entry &entry)
{
    const auto known = m_stores.constFind(entry.sensor);
    const bool named = entry.type == DurableLog::Record::Sensor;
    if (known != m_stores.cend() && (known.value() || !named))
        return known.value();
    JournalSensor sensor{QString::fromUtf8(entry.sensor), {}, {}};
    if (!datanames::isPlainFileName(sensor.folder))
        return nullptr;
    if (named)
        journalfile::decodeSensor(entry.payload, sensor.serial, sensor.chamber);
    norvexData *store = m_storeOf(sensor);
    if (!store && !sensor.serial.isEmpty())
        m_refused = CoreText::tr("the folder of sensor %1 cannot be made").arg(sensor.folder);
    m_stores.insert(entry.sensor, store);
    return store;
}

void Replay::setAside(const QString &name, const QString &problem)
{
    m_report.problems.append(QStringLiteral("%1: %2").arg(name, problem));
    m_report.damaged.append(name);
    m_report.replayed.removeOne(name); // stays, even when it cannot get another name
}

void Replay::leaveForLater(const QString &name, const QString &problem)
{
    m_report.problems.append(CoreText::tr("%1: %2; it is read again at the next start").arg(name, problem));
    m_report.replayed.removeOne(name);
}

void Replay::cannotRead(const QString &name, const QString &reason)
{
    leaveForLater(name, reason);
    if (m_report.unreadable.isEmpty())
        m_report.unreadable = QStringLiteral("%1/%2: %3").arg(m_folder, name, reason);
}

} // namespace

ReplayReport replayJournal(const QString &sessionFolder,
                           const std::function<norvexData *(const JournalSensor &)> &storeOf)
{
    return Replay(sessionFolder, storeOf).run();
}

void replayEntry(const Entry &entry, norvexData &store, ReplayReport &report, QString *problem, QString *refused)
{
    const quint64 samplesBefore = store.sampleCount();
    EventRecord event;
    Recipe recipe;
    SensorConfiguration configuration;
    ByteReader reader(entry.payload.constData(), entry.payload.size());
    switch (entry.type) {
    case DurableLog::Record::Samples:
        if (!store.addSamples(samplesOf(entry.payload))) {
            *refused = CoreText::tr("samples of %1 cannot be taken now").arg(QString::fromUtf8(entry.sensor));
            report.unreadable = CoreText::tr("%1: a block cannot be read").arg(QString::fromUtf8(entry.sensor));
        }
        report.addedSamples += store.sampleCount() - samplesBefore;
        break;
    case DurableLog::Record::Event:
        if (!eventfile::decode(entry.payload, event, problem))
            break;
        report.addedEvents += store.addEvent(event) ? 1 : 0;
        break;
    case DurableLog::Record::Configuration:
        if (configuration.fromFileContent(entry.payload))
            store.setConfiguration(configuration);
        break;
    case DurableLog::Record::Recipe:
        if (recipe.fromJSON(entry.payload))
            store.setRecipe(recipe);
        break;
    case DurableLog::Record::TimeLine: {
        const qint64 base = reader.take<qint64>();
        const qint64 uptime = reader.take<qint64>();
        if (reader.ok())
            store.setTimeLine({true, base, uptime});
        break;
    }
    case DurableLog::Record::Sensor:
        break;
    }
}

void tidyJournal(const QString &sessionFolder, const ReplayReport &report)
{
    const QString place = journalfile::folderOf(sessionFolder);
    if (pathlook::kindOf(place) == pathlook::Kind::File)
        platform::replaceFile(place, place + journalfile::keptExtension());
    const QString folder = place + QLatin1Char('/');
    for (const auto &[name, end] : report.torn) {
        if (end < journalfile::headerSize)
            QFile::remove(folder + name);
        else
            QFile::resize(folder + name, end);
    }
    for (const QString &name : report.damaged)
        platform::replaceFile(folder + name, folder + name + journalfile::keptExtension());
    if (!report.damaged.isEmpty())
        platform::syncFolder(folder);
}
