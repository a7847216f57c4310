// The one formatter behind traces and UnicodeString::Format: 16-bit printf formats, checked by
// argument type instead of trusting the format.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "platform/support/api.h"

namespace support {

// One argument: a text or a number.
using FormatArg = std::variant<std::u16string_view, std::int64_t, std::uint64_t>;

// A null pointer prints as "(null)".
inline FormatArg formatArg(const char16_t* text) {
  return text ? std::u16string_view(text) : std::u16string_view(u"(null)");
}
// Anything that converts to a 16-bit string, UnicodeString above all. The text is not copied: the
// argument must outlive the call.
template <class Text>
requires(!std::is_arithmetic_v<Text> && std::is_convertible_v<const Text&, const char16_t*>) FormatArg
    formatArg(const Text& text) {
  const char16_t* const characters = text;
  return formatArg(characters);
}
inline FormatArg formatArg(std::u16string_view text) {
  return text;
}
template <class Number>
requires(std::is_integral_v<Number>) FormatArg formatArg(Number number) {
  if constexpr (std::is_signed_v<Number>) {
    return static_cast<std::int64_t>(number);
  } else {
    return static_cast<std::uint64_t>(number);
  }
}

// Replaces %s, %d, %i, %u, %x, %X, %c and their like (flags, width and precision in digits as in printf,
// length letters accepted and ignored) by the arguments in order. %% is a percent sign. A directive
// without an argument, or with another letter, stays in the text as it is; an argument of the other
// kind is printed in its own form: a text under %d as the text, a number under %s in decimal digits.
// A negative number in hexadecimal has 8 digits where it fits into 32 bits. Arguments left over are
// ignored.
SPS_API std::u16string formatText(std::u16string_view format, std::span<const FormatArg> args);

template <class... Args>
std::u16string format(std::u16string_view text, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    return formatText(text, {});
  } else {
    const FormatArg list[] = {formatArg(args)...};
    return formatText(text, list);
  }
}

}  // namespace support
