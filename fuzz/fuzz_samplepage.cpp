#include "fuzz.h"
#include "sensor/samplepageoracle.h"

#include <cstring>

namespace {

bool sameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0 || (a == 0 && b == 0);
}

/// The fast parser against the plain one, to the last bit.
void checkSame(const SamplePage &fast, const SamplePage &plain)
{
    FUZZ_CHECK(fast.fault == plain.fault);
    FUZZ_CHECK(fast.points.size() == plain.points.size());
    FUZZ_CHECK(fast.ignoredColumns == plain.ignoredColumns);
    FUZZ_CHECK(fast.clampedTimes == plain.clampedTimes);
    FUZZ_CHECK(fast.newestRawUs == plain.newestRawUs);
    for (int i = 0; i < fast.points.size(); ++i) {
        FUZZ_CHECK(fast.points.at(i) == plain.points.at(i));
        FUZZ_CHECK(sameBits(fast.points.at(i).voltage, plain.points.at(i).voltage));
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const qint64 timeBaseUs = size > 0 && data[0] == ' ' ? 0 : 1'700'000'000'000'000;
    const auto *text = reinterpret_cast<const char *>(data);
    checkSame(parseSamplePage(text, size, timeBaseUs), readSamplePageSlowly(bytesOf(data, size), timeBaseUs));
    return 0;
}
