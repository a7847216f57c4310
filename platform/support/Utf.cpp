#include "platform/support/Utf.h"

#include <algorithm>
#include <cstdint>

namespace support {
namespace {

bool isHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

char tail(char32_t code, int shift) {
  return static_cast<char>(0x80 | ((code >> shift) & 0x3F));
}

void appendUtf8(std::string& out, char32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += tail(code, 0);
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += tail(code, 6);
    out += tail(code, 0);
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += tail(code, 12);
    out += tail(code, 6);
    out += tail(code, 0);
  }
}

void appendUtf16(std::u16string& out, char32_t code) {
  if (code < 0x10000) {
    out += static_cast<char16_t>(code);
    return;
  }
  out += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
  out += static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
}

struct Sequence {
  char32_t code;
  std::size_t bytes;
};

constexpr Sequence broken{0xFFFD, 1};

// Bytes that a sequence has by its first byte; 0 for a byte that begins none.
std::size_t sequenceLength(std::uint8_t lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

Sequence readSequence(std::string_view text) {
  const auto byte = [text](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
  const std::size_t length = sequenceLength(byte(0));
  if (length == 0 || length > text.size()) return broken;
  if (length == 1) return {byte(0), 1};

  char32_t code = byte(0) & (0xFFU >> (length + 1));
  for (std::size_t at = 1; at < length; ++at) {
    if ((byte(at) & 0xC0) != 0x80) return broken;
    code = code << 6 | (byte(at) & 0x3FU);
  }
  constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < least[length] || code > 0x10FFFF) return broken;
  return {code, length};
}

}  // namespace

// Most texts are ASCII, which is taken over in one go; the rest follows character by character.

std::string toUtf8(std::u16string_view text) {
  const auto* const ascii = std::ranges::find_if(text, [](char16_t unit) { return unit >= 0x80; });
  std::string out(text.begin(), ascii);
  for (std::size_t at = out.size(); at < text.size(); ++at) {
    char32_t code = text[at];
    if (isHighSurrogate(code) && at + 1 < text.size() && isLowSurrogate(text[at + 1])) {
      code = 0x10000 + ((code - 0xD800) << 10) + (text[++at] - 0xDC00U);
    }
    appendUtf8(out, code);
  }
  return out;
}

std::u16string toUtf16(std::string_view text) {
  const auto* const ascii =
      std::ranges::find_if(text, [](char c) { return static_cast<std::uint8_t>(c) >= 0x80; });
  std::u16string out(text.begin(), ascii);
  text.remove_prefix(out.size());
  while (!text.empty()) {
    const Sequence sequence = readSequence(text);
    appendUtf16(out, sequence.code);
    text.remove_prefix(sequence.bytes);
  }
  return out;
}

}  // namespace support
