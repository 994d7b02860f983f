#include "data/datanames.h"
#include "data/indexfile.h"
#include "fuzz.h"

namespace {

/// The index that a save would write of what was read.
QByteArray rewritten(const IndexContent &content)
{
    QByteArray out;
    indexfile::Header header;
    header.sensorSerial = content.sensorSerial;
    header.chamberSerial = content.chamberSerial;
    header.configurationWritten = true;
    header.recipe = content.recipe;
    indexfile::appendHeader(out, header);
    indexfile::appendBlockStart(out, content.blocks.size());
    for (const IndexBlock &block : content.blocks)
        indexfile::appendBlock(out, "folder", block.file, block.firstTime, block.lastTime);
    indexfile::appendBlockEnd(out);
    indexfile::appendEventStart(out, int(content.events.size()));
    for (const EventSummary &event : content.events)
        indexfile::appendEvent(out, "folder", event);
    indexfile::appendEventEnd(out);
    return out;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const IndexContent content = indexfile::read(bytesOf(data, size));
    for (const IndexBlock &block : content.blocks)
        FUZZ_CHECK(datanames::isPlainFileName(block.file));
    for (const EventSummary &event : content.events)
        FUZZ_CHECK(!event.hasFile() || datanames::isPlainFileName(event.fileName()));
    FUZZ_CHECK(content.foundBlocks >= content.blocks.size());
    FUZZ_CHECK(content.foundEvents >= int(content.events.size()));

    const QByteArray written = rewritten(content);
    const IndexContent again = indexfile::read(written);
    FUZZ_CHECK(again.complete);
    FUZZ_CHECK(again.skippedLines == 0);
    FUZZ_CHECK(again.blocks.size() == content.blocks.size());
    FUZZ_CHECK(again.events.size() == content.events.size());
    FUZZ_CHECK(rewritten(again) == written);
    return 0;
}
