#include "oracle.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>

namespace {

/// A sample or event: its time on the sensor's clock (0 when the sensor restarted meanwhile, since then the bases
/// differ), its type and its values.
using Identity = std::tuple<qint64, int, quint32>;

struct Fate
{
    qint64 measuredUs = -1; // since the epoch, of the last one; known after a restart
    qint64 storedUs = -1;
    int generated = 0;
    int cleared = 0;
    int stored = 0;
};

using Fates = std::map<Identity, Fate>;

bool hasRestarted(const LedgerSnapshot &ledger)
{
    return !ledger.samples.isEmpty() && ledger.samples.constFirst().boot != ledger.samples.constLast().boot;
}

/// Adds samples or events of a ledger and returns how many of them are in doubt.
int addLedger(Fates &fates, const QVector<LedgerEntry> &entries, qint64 usPerUnit, const Compared &compared,
              const QVector<qint64> &restartsMs)
{
    const bool ofEvents = usPerUnit == 1;
    const bool valued = ofEvents ? compared.eventValues : compared.sampleValues;
    const Compared::Range &doubtful = ofEvents ? compared.doubtfulEvents : compared.doubtfulSamples;
    int doubts = 0;
    for (int i = 0; i < entries.size(); ++i) {
        const LedgerEntry &entry = entries.at(i);
        Fate &fate = fates[{compared.times ? entry.time * usPerUnit : 0, entry.typeCode, valued ? entry.checksum : 0}];
        ++fate.generated;
        fate.cleared += entry.cleared && !doubtful.contains(i) ? 1 : 0;
        doubts += doubtful.contains(i) ? 1 : 0;
        if (entry.boot > 0 && int(entry.boot) <= restartsMs.size())
            fate.measuredUs = restartsMs.at(int(entry.boot) - 1) * 1000 + entry.time * usPerUnit;
    }
    return doubts;
}

quint32 checksumOf(const QVector<SamplePoint> &waveform)
{
    QVector<float> voltage;
    QVector<float> real;
    QVector<float> imaginary;
    for (const SamplePoint &point : waveform) {
        voltage.append(float(point.voltage));
        real.append(float(point.currentReal));
        imaginary.append(float(point.currentImaginary));
    }
    return waveformChecksum(voltage, real, imaginary);
}

bool addStored(Fates &fates, const norvexData &store, const Compared &compared, int &samplesStored)
{
    const qint64 base = store.timeLine().baseUs;
    const auto rawTime = [&](quint64 time) { return compared.times ? qint64(time) - base : 0; };
    QVector<SamplePoint> samples;
    if (!store.samplesInRange(0, ~quint64(0), samples))
        return false;
    const auto add = [&](quint64 time, int typeCode, quint32 checksum) {
        Fate &fate = fates[{rawTime(time), typeCode, checksum}];
        ++fate.stored;
        fate.storedUs = qint64(time);
    };
    for (const SamplePoint &sample : qAsConst(samples))
        add(sample.time, -1, compared.sampleValues ? sampleChecksum(sample) : 0);
    samplesStored = samples.size();
    const QVector<EventRecord> events = store.eventsInRange(0, ~quint64(0));
    for (const EventRecord &event : events)
        add(event.time, event.typeCode, compared.eventValues ? checksumOf(store.waveform(keyOf(event))) : 0);
    return true;
}

/// Whether the only one of its values was stored at another time than it was measured at.
bool isMisplaced(const Fate &fate)
{
    constexpr qint64 allowedUs = 3'000'000;
    return fate.generated == 1 && fate.stored == 1 && fate.measuredUs >= 0 &&
           std::abs(fate.storedUs - fate.measuredUs) > allowedUs;
}

struct Doubts
{
    int samples = 0;
    int events = 0;
};

void conclude(Verdict &verdict, const Fates &fates, bool placed, const Doubts &doubts)
{
    int lostEvents = 0;
    int doubledSamples = 0;
    int doubledEvents = 0;
    int misplaced = 0;
    for (const auto &[identity, fate] : fates) {
        const bool isEvent = std::get<1>(identity) >= 0;
        const int lost = std::max(fate.cleared - fate.stored, 0);
        verdict.cleared += fate.cleared;
        verdict.lost += lost;
        lostEvents += isEvent ? lost : 0;
        (isEvent ? doubledEvents : doubledSamples) += std::max(fate.stored - fate.generated, 0);
        misplaced += placed && isMisplaced(fate) ? 1 : 0;
    }
    doubledEvents = std::max(doubledEvents - doubts.events, 0);
    verdict.doubled = std::max(doubledSamples - doubts.samples, 0) + doubledEvents;
    if (verdict.lost > 0 || verdict.doubled > 0)
        verdict.text = QStringLiteral("%1 lost (%2 events), %3 doubled or changed (%4 events), %5 samples stored")
                           .arg(verdict.lost)
                           .arg(lostEvents)
                           .arg(verdict.doubled)
                           .arg(doubledEvents)
                           .arg(verdict.samples);
    else if (misplaced > 0)
        verdict.text = QStringLiteral("%1 of %2 stored at a wrong time").arg(misplaced).arg(verdict.samples);
}

} // namespace

Verdict compare(const Session &session, const LedgerSnapshot &ledger, const QString &serial, const Compared &compared)
{
    Verdict verdict;
    Compared by = compared;
    by.times = by.times && !hasRestarted(ledger);
    QVector<SensorEntry> sensors = session.sensors();
    const auto isOther = [&](const SensorEntry &sensor) {
        return !serial.isEmpty() && sensor.data->sensorSerial() != serial;
    };
    sensors.erase(std::remove_if(sensors.begin(), sensors.end(), isOther), sensors.end());
    for (const SensorEntry &sensor : qAsConst(sensors)) // what a crash left may be all but that
        by.times = by.times && sensor.data->timeLine().known;
    Fates fates;
    Doubts doubts;
    doubts.samples = addLedger(fates, ledger.samples, 1000, by, ledger.restartsMs);
    doubts.events = addLedger(fates, ledger.events, 1, by, ledger.restartsMs);
    for (const SensorEntry &sensor : qAsConst(sensors)) {
        if (!addStored(fates, *sensor.data, by, verdict.samples)) {
            verdict.text = QStringLiteral("a block cannot be read");
            return verdict;
        }
    }
    conclude(verdict, fates, by.placed, doubts);
    return verdict;
}

Verdict judge(const QString &sessionFolder, const QString &ledgerPath, const QString &serial)
{
    Verdict verdict;
    LedgerSnapshot ledger;
    if (!readLedger(ledgerPath, ledger, &verdict.text))
        return verdict;
    SessionError error;
    const bool anything = Session::holdsSession(sessionFolder);
    const std::unique_ptr<Session> session = anything ? Session::loadReadOnly(sessionFolder, &error) : nullptr;
    if (session)
        return compare(*session, ledger, serial);
    const bool nothingCleared = std::none_of(ledger.samples.begin(), ledger.samples.end(),
                                             [](const LedgerEntry &entry) { return entry.cleared; });
    if (anything || !nothingCleared)
        verdict.text = QStringLiteral("the session does not open: %1").arg(error.text);
    return verdict;
}

bool ClearHistory::read(const QString &ledgerPath, QString *error)
{
    if (!readLedger(ledgerPath, m_ledger, error))
        return false;
    QFile file(ledgerPath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    bool afterSamples = false;
    int samples = 0;
    int events = 0;
    while (!file.atEnd()) {
        const QList<QByteArray> fields = file.readLine().trimmed().split(' ');
        const bool ofSamples = fields.at(0) == "CS";
        const bool ofEvents = fields.at(0) == "CE";
        const bool sameClear = ofEvents && afterSamples;
        afterSamples = ofSamples;
        if (!ofSamples && !ofEvents)
            continue;
        (ofSamples ? samples : events) += fields.value(2).toInt();
        if (!sameClear) {
            m_samples.append(samples);
            m_events.append(events);
        }
        m_samples.last() = samples;
        m_events.last() = events;
    }
    return true;
}

LedgerSnapshot ClearHistory::after(int clears) const
{
    LedgerSnapshot ledger = m_ledger;
    const int at = std::min(m_first + clears, this->clears()) - 1;
    for (int i = at < 0 ? 0 : m_samples.at(at); i < ledger.samples.size(); ++i)
        ledger.samples[i].cleared = false;
    for (int i = at < 0 ? 0 : m_events.at(at); i < ledger.events.size(); ++i)
        ledger.events[i].cleared = false;
    return ledger;
}

void LedgerWatch::update()
{
    if (!m_file.isOpen() && !m_file.open(QIODevice::ReadOnly))
        return;
    m_rest += m_file.readAll();
    int from = 0;
    for (int end = m_rest.indexOf('\n'); end >= 0; end = m_rest.indexOf('\n', from)) {
        const QByteArray line = m_rest.mid(from, end - from);
        from = end + 1;
        m_generated += line.startsWith("S ") ? 1 : 0;
        m_handings += line.startsWith('H') ? 1 : 0;
        if (line.startsWith("HS ")) {
            ++m_pages;
            const QList<QByteArray> fields = line.split(' ');
            m_handedOut = std::max(m_handedOut, fields.value(1).toLongLong() + fields.value(2).toLongLong());
        }
        if (line.startsWith("HE ")) {
            const QList<QByteArray> fields = line.split(' ');
            m_handedOutEvents =
                std::max(m_handedOutEvents, fields.value(1).toLongLong() + fields.value(2).toLongLong());
        }
        if (line.startsWith("CS "))
            m_clearedSamples += line.mid(line.lastIndexOf(' ') + 1).toLongLong();
        if (line.startsWith("CE "))
            m_clearedEvents += line.mid(line.lastIndexOf(' ') + 1).toLongLong();
    }
    m_rest.remove(0, from);
}
