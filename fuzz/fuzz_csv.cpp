#include "data/csvsamples.h"
#include "fuzz.h"

namespace {

/// What the preview shows of a line is what the import reads from it.
void checkRead(const QByteArray &bytes, const csvsamples::Preview &preview)
{
    const QList<QByteArray> lines = bytes.mid(bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0).split('\n');
    for (int i = 0; i < preview.rows.size(); ++i) {
        const csvsamples::Row &row = preview.rows.at(i);
        SamplePoint sample;
        const bool isSample = csvsamples::takeLine(lines.at(preview.layout.firstLine + i), preview.layout, sample);
        FUZZ_CHECK(isSample == row.isSample);
        FUZZ_CHECK(!isSample || sample == row.sample);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = bytesOf(data, size);
    const csvsamples::Preview preview = csvsamples::detect(bytes);
    FUZZ_CHECK(preview.understood == preview.reason.isEmpty());
    bool anySample = false;
    for (const csvsamples::Row &row : preview.rows)
        anySample = anySample || row.isSample;
    FUZZ_CHECK(!preview.understood || anySample);
    if (preview.understood)
        checkRead(bytes, preview);
    // A corrected layout may be anything.
    csvsamples::Layout layout = preview.layout;
    layout.timeColumn = size > 0 ? data[0] % 7 - 1 : -1;
    layout.timeFormat = static_cast<csvsamples::TimeFormat>(size % 8);
    for (const QByteArray &line : bytes.split('\n')) {
        SamplePoint sample;
        if (csvsamples::takeLine(line, layout, sample))
            FUZZ_CHECK(sample.currentImaginary == 0 && sample.voltage == sample.voltage);
    }
    return 0;
}
