#include "fuzz.h"
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

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = bytesOf(data, size);
    SensorConfiguration fromReply;
    if (fromReply.configFromJSON(bytes)) {
        FUZZ_CHECK(!fromReply.configToJSON().isEmpty());
        checkTextForm(fromReply);
    }
    SensorConfiguration fromText;
    QTextStream lines(bytes);
    fromText.readConfigText(lines);
    checkTextForm(fromText);
    return 0;
}
