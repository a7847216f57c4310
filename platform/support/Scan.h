// Looking through 16-bit text. The standard library takes one character at a time, which is felt where a
// read of a parameter goes through half a dozen texts.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace support {

// The position of the first such character; npos where there is none.
inline std::size_t indexOf(std::u16string_view text, char16_t wanted) {
  constexpr std::uint64_t each = 0x0001000100010001;
  std::size_t at = 0;
  for (; at + 4 <= text.size(); at += 4) {
    std::uint64_t four = 0;
    std::memcpy(&four, text.data() + at, sizeof four);
    four ^= wanted * each;  // zero where it is the wanted one
    const std::uint64_t hits = (four - each) & ~four & (0x8000 * each);
    if (hits != 0) return at + static_cast<std::size_t>(std::countr_zero(hits)) / 16;
  }
  for (; at < text.size(); ++at) {
    if (text[at] == wanted) return at;
  }
  return std::u16string_view::npos;
}

inline bool isSame(std::u16string_view left, std::u16string_view right) {
  return left.size() == right.size() &&
         (left.empty() || std::memcmp(left.data(), right.data(), left.size() * sizeof(char16_t)) == 0);
}

// The text before its first zero.
inline std::u16string_view upToZero(std::u16string_view text) {
  return text.substr(0, indexOf(text, u'\0'));
}

}  // namespace support
