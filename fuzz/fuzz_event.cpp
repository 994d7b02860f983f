#include "fuzz.h"
#include "sensor/webservice.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // One time base an input, chosen by it: a record may announce 65,535 samples, which takes its time.
    constexpr qint64 bases[] = {0, 1'700'000'000'000'000, std::numeric_limits<qint64>::max()};
    EventWebservice event;
    FUZZ_CHECK(event.decode(bytesOf(data, size), bases[size > 0 ? data[0] % 3 : 0]));
    FUZZ_CHECK(event.voltage.size() == event.currentReal.size());
    FUZZ_CHECK(event.voltage.size() == event.currentImaginary.size());
    FUZZ_CHECK(event.voltage.size() <= std::max<std::size_t>(size, 65535));
    FUZZ_CHECK(event.missingBytes >= 0);
    // A short input cannot fill what it announces: the rest is zeros, which take their time to look at.
    const auto filled = static_cast<std::ptrdiff_t>(std::min(event.voltage.size(), size));
    const auto isFinite = [](float value) { return std::isfinite(value); };
    for (const auto *column : {&event.voltage, &event.currentReal, &event.currentImaginary})
        FUZZ_CHECK(std::all_of(column->begin(), column->begin() + filled, isFinite));
    return 0;
}
