#include "data/datanames.h"
#include "fuzz.h"
#include "session/sessionfile.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    SessionFileContent content;
    QString reason;
    if (!sessionfile::read(bytesOf(data, size), content, &reason)) {
        FUZZ_CHECK(!reason.isEmpty());
        return 0;
    }
    for (const SessionFileSensor &sensor : qAsConst(content.sensors))
        FUZZ_CHECK(datanames::isPlainFileName(sensor.folder));
    const QByteArray written = sessionfile::write(content.sensors);
    SessionFileContent again;
    FUZZ_CHECK(sessionfile::read(written, again, &reason));
    FUZZ_CHECK(again.problems.isEmpty());
    FUZZ_CHECK(again.sensors.size() == content.sensors.size());
    FUZZ_CHECK(sessionfile::write(again.sensors) == written);
    return 0;
}
