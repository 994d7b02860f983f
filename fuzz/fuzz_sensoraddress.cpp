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
    SensorAddress again;
    const QString chamber = address.chamber.isEmpty() ? QString() : QLatin1Char(',') + address.chamber;
    FUZZ_CHECK(
        parseSensorAddress(address.host + QLatin1Char(':') + QString::number(address.port) + chamber, again, &reason));
    FUZZ_CHECK(again.host == address.host && again.port == address.port && again.chamber == address.chamber);
    return 0;
}
