#include "base/bytes.h"
#include "data/journalreplay.h"
#include "fuzz.h"

#include <algorithm>

namespace {

/// The input as records without checksums, which would keep made-up payloads out: type, uint16 length, payload.
QVector<journalfile::Entry> entriesOf(const QByteArray &input)
{
    constexpr auto types = static_cast<quint8>(DurableLog::Record::Sensor);
    constexpr int most = 8; // what a dozen would find, a few find sooner
    QVector<journalfile::Entry> entries;
    ByteReader reader(input.constData(), input.size());
    while (reader.ok() && reader.remaining() > 0 && entries.size() < most) {
        journalfile::Entry entry;
        entry.type = DurableLog::Record(1 + (reader.take<quint8>() + types - 1U) % types);
        const qint64 length = std::min<qint64>(reader.take<quint16>(), reader.remaining());
        const char *payload = reader.takeBytes(length);
        entry.payload = payload ? QByteArray(payload, int(length)) : QByteArray();
        entries.append(entry);
    }
    return entries;
}

ReplayReport replay(const QVector<journalfile::Entry> &entries, norvexData &store)
{
    ReplayReport report;
    for (const journalfile::Entry &entry : entries) {
        QString problem;
        QString refused;
        replayEntry(entry, store, report, &problem, &refused);
        FUZZ_CHECK(refused.isEmpty()); // all blocks are in memory
        FUZZ_CHECK(problem.isEmpty() || entry.type == DurableLog::Record::Event);
    }
    store.takeFinishedRuns();
    return report;
}

void checkSensor(const QByteArray &payload)
{
    QString serial;
    QString chamber;
    if (journalfile::decodeSensor(payload, serial, chamber))
        FUZZ_CHECK(serial.size() + chamber.size() + 4 <= payload.size());
}

} // namespace

/// What the records of a journal give to a store; once more, they give nothing.
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QVector<journalfile::Entry> entries = entriesOf(bytesOf(data, size));
    for (const journalfile::Entry &entry : entries)
        checkSensor(entry.payload);
    norvexData store;
    store.setFolderName(QStringLiteral("S1"));
    const ReplayReport first = replay(entries, store);
    FUZZ_CHECK(first.addedSamples == store.sampleCount());
    FUZZ_CHECK(first.addedEvents <= store.eventCount() + store.runCount());
    const int events = store.eventCount();
    const int runs = store.runCount();
    const ReplayReport second = replay(entries, store);
    FUZZ_CHECK(second.addedSamples == 0 && second.addedEvents == 0);
    FUZZ_CHECK(store.eventCount() == events && store.runCount() == runs);
    FUZZ_CHECK(store.sampleCount() == first.addedSamples);
    return 0;
}
