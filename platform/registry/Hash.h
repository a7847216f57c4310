// The one door to xxHash.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace registry {

std::uint64_t hash64(const void* data, std::size_t size, std::uint64_t seed = 0);
struct Hash128 {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
};
Hash128 hash128(std::string_view bytes, std::uint64_t seed = 0);
// The check sum of a stored record.
std::uint32_t checksum(std::string_view bytes);

}  // namespace registry
