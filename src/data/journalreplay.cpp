#include "data/journalreplay.h"

#include "base/bytes.h"
#include "base/coretext.h"
#include "base/log.h"
#include "base/pathlook.h"
#include "base/platform.h"
#include "data/datanames.h"
#include "data/eventfile.h"

#include <QFile>
#include <QMap>
#include <QSet>

#include <algorithm>

namespace {

using journalfile::Entry;
using journalfile::Found;

QVector<SamplePoint> samplesOf(const QByteArray &payload)
{
    QVector<SamplePoint> samples(payload.size() / sampleRecordSize(SamplePoint::currentVersion));
    decodeSamples(reinterpret_cast<const uchar *>(payload.constData()), samples.size(), SamplePoint::currentVersion,
                  samples.data());
    return samples;
}

/// Reads the file once, into nothing. A piece of a mapped file that the disk does not give would end the program; this
/// says so, and leaves the rest where the map finds it.
bool canBeRead(QFile &file, QString *reason)
{
    QByteArray piece(1 << 20, Qt::Uninitialized);
    for (qint64 left = file.size(); left > 0;) {
        const qint64 got = file.read(piece.data(), piece.size());
        if (got <= 0) {
            *reason = got < 0 ? file.errorString() : CoreText::tr("it became shorter while it was read");
            return false;
        }
        left -= got;
    }
    return true;
}

class Replay
{
public:
    Replay(const QString &sessionFolder, const std::function<norvexData *(const JournalSensor &)> &storeOf)
        : m_folder(journalfile::folderOf(sessionFolder)), m_storeOf(storeOf)
    {}

    ReplayReport run()
    {
        QMap<quint64, QString> files;
        const pathlook::Listing names = pathlook::list(m_folder);
        if (!names.complete)
            m_report.unreadable = CoreText::tr("%1: the names in it cannot be read").arg(m_folder);
        for (const QString &name : names.files) {
            if (journalfile::numberOf(name) > 0)
                files.insert(journalfile::numberOf(name), name);
        }
        for (auto file = files.cbegin(); file != files.cend(); ++file)
            replayFile(file.value(), std::next(file) == files.cend());
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
    /// Returns where the good records end; the file's size when all are good.
    qint64 replayEntries(const char *bytes, qint64 size, const journalfile::Header &header, QString *problem);
    void replayEntry(const Entry &entry, QString *problem);
    void setAside(const QString &name, const QString &problem);
    void leaveForLater(const QString &name, const QString &problem);
    void cannotRead(const QString &name, const QString &reason);
    norvexData *storeOf(const Entry &entry);

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
    QFile file(m_folder + QLatin1Char('/') + name);
    QString reason;
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !canBeRead(file, &reason))
        return cannotRead(name, reason.isEmpty() ? file.errorString() : reason);
    const qint64 size = file.size();
    uchar *mapped = size > 0 ? file.map(0, size) : nullptr;
    if (size > 0 && !mapped)
        return cannotRead(name, file.errorString());
    const char *bytes = reinterpret_cast<const char *>(mapped);
    journalfile::Header header;
    QString problem;
    qint64 end = 0;
    // A file that never got its header synced holds nothing that anybody was promised.
    if (journalfile::decodeHeader(bytes, size, header, &problem))
        end = replayEntries(bytes, size, header, &problem);
    else if (newest && size <= journalfile::headerSize)
        problem.clear();
    file.unmap(mapped);
    file.close();
    if (!m_refused.isEmpty())
        return leaveForLater(name, m_refused);
    if (!problem.isEmpty())
        return setAside(name, problem);
    if (end == size)
        return;
    if (!newest)
        return setAside(name, CoreText::tr("it ends in the middle of a record at %1 of %2 bytes").arg(end).arg(size));
    logInfo(QStringLiteral("Journal: %1 was being written when the program ended, %2 bytes are cut off")
                .arg(name)
                .arg(size - end));
    m_report.torn.append({name, end});
}

qint64 Replay::replayEntries(const char *bytes, qint64 size, const journalfile::Header &header, QString *problem)
{
    qint64 offset = journalfile::headerSize;
    qint64 goodEnd = offset;
    qint64 firstBad = -1;
    while (true) {
        Entry entry;
        qint64 next = size;
        const Found found = journalfile::decodeEntry(bytes, size, offset, header, entry, next);
        if (found == Found::End)
            return goodEnd;
        if (found == Found::Invalid) {
            if (firstBad < 0)
                firstBad = offset;
        } else {
            if (firstBad >= 0)
                *problem = CoreText::tr("it is damaged at %1 of %2 bytes").arg(firstBad).arg(size);
            replayEntry(entry, problem);
            goodEnd = next;
        }
        offset = next;
    }
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
            report.unreadable = CoreText::tr("a block of %1 cannot be read").arg(QString::fromUtf8(entry.sensor));
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
