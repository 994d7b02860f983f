#include "fuzz.h"
#include "sensor/webservice.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    InfoWebservice info;
    FUZZ_CHECK(info.decode("\"serial_number\":\"before\",\n"));
    if (!info.decode(bytesOf(data, size)))
        FUZZ_CHECK(info.serial_number == QLatin1String("before"));
    FUZZ_CHECK(info.serial_number.size() <= std::max(6, int(size)));
    FUZZ_CHECK(info.frequency.size() <= int(size));
    return 0;
}
