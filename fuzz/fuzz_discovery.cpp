#include "fuzz.h"
#include "sensor/discovery.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray reply = bytesOf(data, size);
    const std::optional<QString> serial = discovery::serialOf(reply);
    FUZZ_CHECK(serial.has_value() == (reply.size() >= 8 && reply.startsWith("RPNORV")));
    if (!serial)
        return 0;
    FUZZ_CHECK(serial->size() <= discovery::maximumReply - 6);
    for (const QChar c : *serial)
        FUZZ_CHECK(c.category() != QChar::Other_Control);
    return 0;
}
