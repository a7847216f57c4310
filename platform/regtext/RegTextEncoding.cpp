#include "platform/regtext/RegTextEncoding.h"

#include <algorithm>
#include <cstdio>

#include "platform/support/Utf.h"

namespace regtext {
namespace {

std::uint8_t byteAt(std::string_view bytes, std::size_t index) {
  return static_cast<std::uint8_t>(bytes[index]);
}

Decoded fault(std::string_view before, std::string text) {
  return {{}, {1 + static_cast<std::uint64_t>(std::ranges::count(before, '\n')), std::move(text)}};
}

Decoded decodeUtf16(std::string_view bytes) {
  Decoded result;
  result.text.resize(bytes.size() / 2);
  for (std::size_t i = 0; i < result.text.size(); ++i) {
    result.text[i] = static_cast<char16_t>(byteAt(bytes, 2 * i) | byteAt(bytes, 2 * i + 1) << 8U);
  }
  if (bytes.size() % 2 == 0) return result;
  const auto lines = 1 + static_cast<std::uint64_t>(std::ranges::count(result.text, u'\n'));
  return {{}, {lines, "found half a character at the end of the file, expected UTF-16 of two bytes each"}};
}

// The bytes of the sequence that begins there, 0 where none does.
std::size_t sequenceLength(std::string_view bytes, std::size_t index) {
  const std::uint8_t first = byteAt(bytes, index);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xC2 && first <= 0xDF   ? 2
                             : first >= 0xE0 && first <= 0xEF ? 3
                             : first >= 0xF0 && first <= 0xF4 ? 4
                                                              : 0;
  if (length == 0 || bytes.size() - index < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byteAt(bytes, index + i) & 0xC0U) != 0x80) return 0;
  }
  const std::uint8_t second = byteAt(bytes, index + 1);
  const bool tooLong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  return tooLong || (first == 0xF4 && second > 0x8F) ? 0 : length;
}

Decoded decodeUtf8(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size();) {
    const std::size_t length = sequenceLength(bytes, i);
    if (length == 0) {
      char byte[8];
      std::snprintf(byte, sizeof byte, "0x%02X", byteAt(bytes, i));
      return fault(bytes.substr(0, i), std::string("found the byte ") + byte +
                                           ", which is no UTF-8, expected UTF-8, or UTF-16 with a byte order "
                                           "mark");
    }
    i += length;
  }
  return {support::toUtf16(bytes), {}};
}

}  // namespace

Decoded decode(std::string_view bytes) {
  if (bytes.starts_with(utf16Mark)) return decodeUtf16(bytes.substr(utf16Mark.size()));
  if (bytes.starts_with("\xFE\xFF")) {
    return fault({},
                 "found UTF-16 with the high byte first, expected UTF-16 with the low byte first, or UTF-8");
  }
  if (bytes.starts_with(utf8Mark)) return decodeUtf8(bytes.substr(utf8Mark.size()));
  if (bytes.size() >= 2 && (bytes[0] == 0) != (bytes[1] == 0)) {
    return fault({}, "found UTF-16 without a byte order mark, expected one, or UTF-8");
  }
  return decodeUtf8(bytes);
}

std::string encodeUtf16(std::u16string_view text) {
  std::string bytes(text.size() * 2, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    bytes[2 * i] = static_cast<char>(text[i] & 0xFFU);
    bytes[2 * i + 1] = static_cast<char>(text[i] >> 8U);
  }
  return bytes;
}

std::string encodeUtf8(std::u16string_view text) {
  return support::toUtf8(text);
}

}  // namespace regtext
