#include "data/eventfile.h"
#include "fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = bytesOf(data, size);
    EventRecord event;
    event.typeCode = 77;
    QString reason;
    if (!eventfile::decode(bytes, event, &reason)) {
        FUZZ_CHECK(!reason.isEmpty());
        FUZZ_CHECK(event.typeCode == 77);
        return 0;
    }
    FUZZ_CHECK(qint64(event.samples.size()) * sampleRecordSize(SamplePoint::currentVersion) <= qint64(size));
    const QByteArray written = eventfile::encode(event);
    EventRecord again;
    FUZZ_CHECK(eventfile::decode(written, again));
    FUZZ_CHECK(eventfile::encode(again) == written);
    EventRecord summary;
    FUZZ_CHECK(eventfile::decode(bytes, summary, nullptr, eventfile::Content::WithoutSamples));
    FUZZ_CHECK(summary.samples.isEmpty() && keyOf(summary) == keyOf(event));
    return 0;
}
