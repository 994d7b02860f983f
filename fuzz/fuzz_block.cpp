#include "data/blockfile.h"
#include "fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto *bytes = reinterpret_cast<const char *>(data);
    const blockfile::Content content = blockfile::decodeBlock(bytes, qint64(size));
    FUZZ_CHECK(content.complete == content.reason.isEmpty());
    FUZZ_CHECK(qint64(content.samples.size()) * sampleRecordSize(content.version) <= qint64(size));
    const QByteArray written = blockfile::encodeBlock(content.samples);
    const blockfile::Content again = blockfile::decodeBlock(written.constData(), written.size());
    FUZZ_CHECK(again.complete && again.version == SamplePoint::currentVersion);
    FUZZ_CHECK(blockfile::encodeBlock(again.samples) == written);
    return 0;
}
