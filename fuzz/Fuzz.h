// What the fuzzers share.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

inline void require(bool condition) {
  if (!condition) std::abort();
}

// The bytes as characters of 16 bits; an odd one at the end is left out.
inline std::u16string textOf(const std::uint8_t* data, std::size_t size) {
  std::u16string text(size / sizeof(char16_t), u'\0');
  if (!text.empty()) std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
  return text;
}
