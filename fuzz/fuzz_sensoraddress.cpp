#include "fuzz.h"
#include "session/sensoraddress.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text = QString::fromUtf8(bytesOf(data, size));
    SensorAddress address;
    QString reason;
    if (!parseSensorAddress(text, address, &reason)) {
        FUZZ_CHECK(!reason.isEmpty());
        return 0;
    }
    FUZZ_CHECK(!address.host.isEmpty());
    FUZZ_CHECK(address.port > 0);
    FUZZ_CHECK(text.contains(address.host) && text.contains(address.chamber));
    return 0;
}
