#include "platform/support/StrCrypt.h"

#include <cstdint>

namespace {

// Low bytes that may take each other's place.
struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

// Without a high byte: control characters, ASCII, its delete character, the second control characters,
// Latin-1. Zero is in none of them.
constexpr Range latinRanges[] = {{0x01, 0x1F}, {0x20, 0x7E}, {0x7F, 0x7F}, {0x80, 0x9F}, {0xA0, 0xFF}};
// U+FFFE and U+FFFF are no characters, and no character may become one.
constexpr Range lastRanges[] = {{0x00, 0xFD}, {0xFE, 0xFF}};
constexpr Range otherRanges[] = {{0x00, 0xFF}};

template <std::size_t Count>
Range rangeOf(const Range (&ranges)[Count], std::uint32_t low) {
  std::size_t at = 0;
  while (at + 1 < Count && low > ranges[at].last) ++at;
  return ranges[at];
}

Range rangeOf(char16_t character) {
  const std::uint32_t low = character & 0xFFU;
  if (character < 0x100) return rangeOf(latinRanges, low);
  return character >= 0xFF00 ? rangeOf(lastRanges, low) : rangeOf(otherRanges, low);
}

// Equal characters come out differently at different positions.
std::uint32_t shiftAt(std::uint32_t position) {
  std::uint32_t mixed = (position + 1) * 0x9E3779B1U;
  mixed ^= mixed >> 15;
  mixed *= 0x85EBCA6BU;
  return mixed >> 16;
}

// A reflection within the range: its own inverse whatever the shift is.
char16_t reflect(char16_t character, std::uint32_t shift) {
  const Range range = rangeOf(character);
  const std::uint32_t size = range.last - range.first + 1;
  const std::uint32_t low = range.first + (range.last - (character & 0xFFU) + shift) % size;
  return static_cast<char16_t>((character & 0xFF00U) | low);
}

}  // namespace

void StrCrypt(char16_t* text) {
  if (!text) return;
  for (std::uint32_t position = 0; *text; ++text, ++position) *text = reflect(*text, shiftAt(position));
}
