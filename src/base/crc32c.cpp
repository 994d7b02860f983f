#include "base/crc32c.h"

#include <array>

namespace {

using Tables = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr Tables makeTables()
{
    Tables tables{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t crc = i;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1U) ? 0x82F63B78U : 0U);
        tables[0][i] = crc;
    }
    for (std::uint32_t i = 0; i < 256; ++i) {
        for (std::size_t t = 1; t < tables.size(); ++t)
            tables[t][i] = (tables[t - 1][i] >> 8) ^ tables[0][tables[t - 1][i] & 0xFFU];
    }
    return tables;
}

constexpr Tables tables = makeTables();

} // namespace

std::uint32_t crc32c(const void *data, std::size_t size, std::uint32_t seed)
{
    const auto *bytes = static_cast<const unsigned char *>(data);
    std::uint32_t crc = ~seed;
    for (; size >= 8; size -= 8, bytes += 8) { // eight bytes a step, one table each
        const std::uint32_t low = crc ^ (std::uint32_t(bytes[0]) | std::uint32_t(bytes[1]) << 8
                                         | std::uint32_t(bytes[2]) << 16 | std::uint32_t(bytes[3]) << 24);
        crc = tables[7][low & 0xFFU] ^ tables[6][(low >> 8) & 0xFFU] ^ tables[5][(low >> 16) & 0xFFU]
              ^ tables[4][low >> 24] ^ tables[3][bytes[4]] ^ tables[2][bytes[5]] ^ tables[1][bytes[6]]
              ^ tables[0][bytes[7]];
    }
    for (; size > 0; --size, ++bytes)
        crc = (crc >> 8) ^ tables[0][(crc ^ *bytes) & 0xFFU];
    return ~crc;
}
