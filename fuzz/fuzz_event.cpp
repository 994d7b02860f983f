#include "fuzz.h"
#include "sensor/webservice.h"

#include <algorithm>
#include <cmath>
#include <limits>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    EventWebservice event;
    for (const qint64 base : {qint64(0), std::numeric_limits<qint64>::max(), qint64(1'700'000'000'000'000)}) {
        FUZZ_CHECK(event.decode(bytesOf(data, size), base));
        FUZZ_CHECK(event.voltage.size() == event.currentReal.size());
        FUZZ_CHECK(event.voltage.size() == event.currentImaginary.size());
        FUZZ_CHECK(event.voltage.size() <= std::max<std::size_t>(size, 65535));
        FUZZ_CHECK(event.missingBytes >= 0);
        for (const auto *column : {&event.voltage, &event.currentReal, &event.currentImaginary}) {
            for (const float value : *column)
                FUZZ_CHECK(std::isfinite(value));
        }
    }
    return 0;
}
