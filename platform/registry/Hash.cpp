#define XXH_INLINE_ALL
#include "platform/registry/Hash.h"

#include <xxhash.h>

namespace registry {

std::uint64_t hash64(const void* data, std::size_t size, std::uint64_t seed) {
  return XXH3_64bits_withSeed(data, size, seed);
}

Hash128 hash128(std::string_view bytes, std::uint64_t seed) {
  const XXH128_hash_t hash = XXH3_128bits_withSeed(bytes.data(), bytes.size(), seed);
  return {hash.low64, hash.high64};
}

std::uint32_t checksum(std::string_view bytes) {
  return static_cast<std::uint32_t>(XXH3_64bits(bytes.data(), bytes.size()));
}

}  // namespace registry
