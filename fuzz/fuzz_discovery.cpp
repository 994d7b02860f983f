#include "fuzz.h"
#include "sensor/discovery.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray reply = bytesOf(data, size);
    const QString serial = discovery::serialOf(reply);
    FUZZ_CHECK(serial.size() <= discovery::maximumReply);
    FUZZ_CHECK(!serial.contains(QChar(0)));
    FUZZ_CHECK(serial.isEmpty() || reply.startsWith("RPNORV"));
    return 0;
}
