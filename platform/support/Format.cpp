#include "platform/support/Format.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace support {
namespace {

// Far beyond any layout, and a bound on what a broken format can make us allocate.
constexpr std::size_t maxWidth = 4096;

struct Directive {
  bool leftAligned = false;
  bool zeroPadded = false;
  bool plusSign = false;
  bool blankSign = false;
  bool prefixed = false;
  std::size_t width = 0;
  bool hasPrecision = false;
  std::size_t precision = 0;
  char16_t letter = 0;
};

void readFlags(std::u16string_view& rest, Directive& directive) {
  for (; !rest.empty(); rest.remove_prefix(1)) {
    switch (rest.front()) {
      case u'-':
        directive.leftAligned = true;
        break;
      case u'0':
        directive.zeroPadded = true;
        break;
      case u'+':
        directive.plusSign = true;
        break;
      case u' ':
        directive.blankSign = true;
        break;
      case u'#':
        directive.prefixed = true;
        break;
      default:
        return;
    }
  }
}

std::size_t readNumber(std::u16string_view& rest) {
  std::size_t number = 0;
  for (; !rest.empty() && rest.front() >= u'0' && rest.front() <= u'9'; rest.remove_prefix(1)) {
    number = std::min(number * 10 + (rest.front() - u'0'), maxWidth);
  }
  return number;
}

// Reads behind the percent sign and moves rest past the directive. False where it is none of ours.
bool readDirective(std::u16string_view& rest, Directive& directive) {
  readFlags(rest, directive);
  directive.width = readNumber(rest);
  if (rest.starts_with(u'.')) {
    rest.remove_prefix(1);
    directive.hasPrecision = true;
    directive.precision = readNumber(rest);
  }
  rest.remove_prefix(std::min(rest.find_first_not_of(u"hlLqjzt"), rest.size()));
  if (rest.empty()) return false;
  directive.letter = rest.front();
  rest.remove_prefix(1);
  return std::u16string_view(u"sSdiuxXc").find(directive.letter) != std::u16string_view::npos;
}

void pad(std::u16string& out, const Directive& directive, std::u16string_view text) {
  const std::size_t missing = directive.width > text.size() ? directive.width - text.size() : 0;
  if (!directive.leftAligned) out.append(missing, u' ');
  out.append(text);
  if (directive.leftAligned) out.append(missing, u' ');
}

bool isText(const Directive& directive) {
  return directive.letter == u's' || directive.letter == u'S';
}

void print(std::u16string& out, const Directive& directive, std::u16string_view text) {
  pad(out, directive,
      directive.hasPrecision && isText(directive) ? text.substr(0, directive.precision) : text);
}

bool isHexadecimal(const Directive& directive) {
  return directive.letter == u'x' || directive.letter == u'X';
}

std::u16string digitsOf(const Directive& directive, std::uint64_t number) {
  char digits[20];
  const auto end =
      std::to_chars(std::begin(digits), std::end(digits), number, isHexadecimal(directive) ? 16 : 10).ptr;
  if (directive.letter == u'X') {
    std::transform(digits, end, digits,
                   [](char digit) { return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit; });
  }
  return {digits, end};
}

std::u16string_view signOf(const Directive& directive, bool negative, std::uint64_t magnitude) {
  if (isHexadecimal(directive)) {
    if (!directive.prefixed || magnitude == 0) return u"";
    return directive.letter == u'x' ? u"0x" : u"0X";
  }
  if (negative) return u"-";
  if (directive.letter == u'u') return u"";
  if (directive.plusSign) return u"+";
  return directive.blankSign ? u" " : u"";
}

void printNumber(std::u16string& out, const Directive& directive, bool negative, std::uint64_t magnitude) {
  const std::u16string digits = digitsOf(directive, magnitude);
  std::u16string text(signOf(directive, negative, magnitude));
  std::size_t least = directive.hasPrecision ? directive.precision : 1;
  if (directive.zeroPadded && !directive.leftAligned && !directive.hasPrecision) {
    least = std::max(directive.width, text.size()) - text.size();
  }
  if (least > digits.size()) text.append(least - digits.size(), u'0');
  pad(out, directive, text += digits);
}

void print(std::u16string& out, const Directive& directive, std::uint64_t number) {
  if (directive.letter == u'c') {
    const auto character = static_cast<char16_t>(number);
    return pad(out, directive, {&character, 1});
  }
  Directive own = directive;
  if (isText(directive)) own.hasPrecision = own.zeroPadded = false;
  printNumber(out, own, false, number);
}

void print(std::u16string& out, const Directive& directive, std::int64_t number) {
  const auto bits = static_cast<std::uint64_t>(number);
  if (number >= 0 || directive.letter == u'c') return print(out, directive, bits);
  if (isHexadecimal(directive)) {
    const bool narrow = number >= std::numeric_limits<std::int32_t>::min();
    return print(out, directive, narrow ? bits & 0xFFFFFFFFU : bits);
  }
  Directive own = directive;
  if (isText(directive)) own.hasPrecision = own.zeroPadded = false;
  printNumber(out, own, true, 0 - bits);
}

}  // namespace

std::u16string formatText(std::u16string_view format, std::span<const FormatArg> args) {
  std::u16string out;
  out.reserve(format.size() + args.size() * 16);
  while (!format.empty()) {
    const std::size_t percent = std::min(format.find(u'%'), format.size());
    out.append(format.substr(0, percent));
    format.remove_prefix(percent);
    if (format.empty()) break;
    if (format.starts_with(u"%%")) {
      out += u'%';
      format.remove_prefix(2);
      continue;
    }
    std::u16string_view rest = format.substr(1);
    Directive directive;
    if (readDirective(rest, directive) && !args.empty()) {
      std::visit([&](const auto& value) { print(out, directive, value); }, args.front());
      args = args.subspan(1);
    } else {
      // Only the sign is certain to be plain text: another directive may begin right behind it.
      out += u'%';
      rest = format.substr(1);
    }
    format = rest;
  }
  return out;
}

}  // namespace support
