#pragma once

#include <cstddef>
#include <cstdint>

/// CRC-32C (Castagnoli, reflected, as in iSCSI and ext4) of `size` bytes. `seed` continues an earlier checksum:
/// crc32c(b, nb, crc32c(a, na)) equals the checksum of a followed by b.
std::uint32_t crc32c(const void *data, std::size_t size, std::uint32_t seed = 0);
