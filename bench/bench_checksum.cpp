#include "base/crc32c.h"
#include "compare.h"

#include <vector>

namespace {

/// A frame of 1,000 samples, as the journal keeps it.
constexpr std::size_t frameBytes = 1000 * 196;

void ours(benchmark::State &state)
{
    const std::vector<unsigned char> bytes(frameBytes, 'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(crc32c(bytes.data(), bytes.size()));
}

void byteByByte(benchmark::State &state)
{
    std::uint32_t table[256];
    for (std::uint32_t i = 0; i < 256; ++i) {
        table[i] = i;
        for (int bit = 0; bit < 8; ++bit)
            table[i] = (table[i] >> 1) ^ ((table[i] & 1U) ? 0x82F63B78U : 0U);
    }
    const std::vector<unsigned char> bytes(frameBytes, 'x');
    for (auto _ : state) {
        std::uint32_t crc = ~0U;
        for (const unsigned char byte : bytes)
            crc = (crc >> 8) ^ table[(crc ^ byte) & 0xFFU];
        benchmark::DoNotOptimize(crc);
    }
}

} // namespace

int main(int argc, char **argv)
{
    bench::compare("checksum of a frame of 1,000 samples", 3, "byte by byte", ours, byteByByte);
    bench::growth("checksum", 1960, [](benchmark::State &state) {
        const std::vector<char> bytes(static_cast<std::size_t>(state.range(0)), 'x');
        for (auto _ : state)
            benchmark::DoNotOptimize(crc32c(bytes.data(), bytes.size()));
    });
    return bench::run(argc, argv);
}
