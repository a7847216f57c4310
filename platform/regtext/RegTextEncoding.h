// Registry texts as the bytes of a file: UTF-16 with a byte order mark, low byte first, or UTF-8 with or
// without one.
#pragma once

#include <string>
#include <string_view>

#include "platform/regtext/RegText.h"

namespace regtext {

inline constexpr std::string_view utf16Mark = "\xFF\xFE";
inline constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";

// The text, without its mark; where there is a fault the text is empty.
struct Decoded {
  std::u16string text;
  Fault fault;
};

// Finds the encoding, checks every byte and decodes. Halves of a surrogate pair may stand alone, in UTF-8
// as three bytes each, as encodeUtf8 writes them.
Decoded decode(std::string_view bytes);

// Both without a mark, so that a text can be encoded piece by piece.
std::string encodeUtf16(std::u16string_view text);
std::string encodeUtf8(std::u16string_view text);

}  // namespace regtext
