#include "fuzz.h"
#include "sensor/webservice.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray reply = bytesOf(data, size);
    FrameWebservice frame;
    if (frame.decode(reply)) {
        FUZZ_CHECK(frame.number_of_points >= 0);
        FUZZ_CHECK(frame.number_of_events >= 0);
    } else {
        FUZZ_CHECK(frame.start == 0 && frame.number_of_points == 0 && frame.number_of_events == 0);
    }
    StatusWebservice status;
    if (status.decode(reply))
        FUZZ_CHECK(status.uptimeMs >= -1);
    return 0;
}
