#include "fuzz.h"
#include "recipe/configurationfile.h"
#include "recipe/sensorconfiguration.h"

#include <QTextStream>

namespace {

/// What was read must survive being written to a file and read again.
void checkTextForm(const SensorConfiguration &read)
{
    QString text;
    QTextStream out(&text);
    read.writeConfigText(out);
    out.flush();
    SensorConfiguration again = read;
    QTextStream in(&text);
    again.readConfigText(in);
    QString rewritten;
    QTextStream second(&rewritten);
    again.writeConfigText(second);
    second.flush();
    FUZZ_CHECK(rewritten == text);
}

/// The file of what was read must give the same again; of a lock that is no plain character only a part is kept.
void checkFile(const SensorConfiguration &read)
{
    SensorConfiguration again;
    FUZZ_CHECK(again.fromFileContent(read.configToJSON()));
    if (read.signalLock < 128 && read.captureSwitchOnEvents < 128 && read.captureAllPulses < 128)
        FUZZ_CHECK(again == read);
}

/// What is sent to a sensor is what every other reader of the file takes it for.
void checkStrictly(const QByteArray &bytes)
{
    ConfigurationFile file;
    if (!file.fromContent(bytes) || !file.problems.isEmpty())
        return;
    SensorConfiguration read;
    const bool isRead = read.fromFileContent(bytes);
    FUZZ_CHECK(isRead || !file.missing.isEmpty());
    FUZZ_CHECK(!isRead || read == file.configuration);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = bytesOf(data, size);
    checkStrictly(bytes);
    SensorConfiguration read;
    if (!read.configFromJSON(bytes)) {
        read = SensorConfiguration();
        QTextStream lines(bytes);
        read.readConfigText(lines);
    }
    if (read == SensorConfiguration()) // nothing was read
        return 0;
    checkTextForm(read);
    checkFile(read);
    return 0;
}
