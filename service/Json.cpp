#include "service/Json.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/support/Utf.h"

namespace service {
namespace {

bool isHigh(char16_t c) {
  return c >= 0xD800 && c < 0xDC00;
}
bool isLow(char16_t c) {
  return c >= 0xDC00 && c < 0xE000;
}

bool isHidden(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029 || isHigh(c) || isLow(c);
}

void appendEscaped(std::string& line, char16_t c) {
  constexpr const char* digits = "0123456789abcdef";
  line += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) line += digits[c >> shift & 0xF];
}

// What stands in a line as it is, byte for character.
template <class Char>
bool isPlain(Char c) {
  return c >= 0x20 && c < 0x7F && c != '"' && c != '\\';
}

// Appends the first character, and takes it off the text.
void appendOther(std::string& line, std::u16string_view& text) {
  const char16_t c = text.front();
  std::size_t length = 1;
  if (isHigh(c) && text.size() > 1 && isLow(text[1])) {
    length = 2;
    line += support::toUtf8(text.substr(0, 2));
  } else if (isHidden(c)) {
    appendEscaped(line, c);
  } else {
    line += support::toUtf8(text.substr(0, 1));
  }
  text.remove_prefix(length);
}

// Appends what the text begins with that stands in a line as it is, or behind a backslash, and takes it off.
// False where that is nothing.
bool appendPlain(std::string& line, std::u16string_view& text) {
  constexpr std::size_t most = 256;
  std::size_t end = line.size();
  line.resize(end + 2 * std::min(text.size(), most));
  std::size_t taken = 0;
  for (const char16_t c : text.substr(0, most)) {
    const bool isMarked = c == u'"' || c == u'\\';
    if (!isMarked && !isPlain(c)) break;
    if (isMarked) line[end++] = '\\';
    line[end++] = static_cast<char>(c);
    ++taken;
  }
  line.resize(end);
  text.remove_prefix(taken);
  return taken > 0;
}

void appendText(std::string& line, std::u16string_view text) {
  while (!text.empty()) {
    if (!appendPlain(line, text)) appendOther(line, text);
  }
}

}  // namespace

JsonLine::JsonLine() {
  constexpr std::size_t usualLength = 512;
  m_line.reserve(usualLength);
}

void JsonLine::Name(std::string_view name) {
  const bool isFirst = m_line.back() == '{';
  m_line.append(isFirst ? "\"" : ",\"").append(name).append("\":");
}

JsonLine& JsonLine::Text(std::string_view name, std::u16string_view text) {
  Name(name);
  m_line += '"';
  appendText(m_line, text);
  m_line += '"';
  return *this;
}

JsonLine& JsonLine::Text(std::string_view name, std::string_view text) {
  if (!std::ranges::all_of(text, isPlain<char>))
    return Text(name, std::u16string_view(support::toUtf16(text)));
  Name(name);
  m_line += '"';
  m_line += text;
  m_line += '"';
  return *this;
}

JsonLine& JsonLine::Number(std::string_view name, std::int64_t number) {
  std::array<char, 24> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
  return Raw(name, {text.data(), static_cast<std::size_t>(end - text.data())});
}

JsonLine& JsonLine::Raw(std::string_view name, std::string_view json) {
  Name(name);
  m_line += json;
  return *this;
}

JsonLine& JsonLine::Begin(std::string_view name) {
  return Raw(name, "{");
}

JsonLine& JsonLine::End() {
  m_line += '}';
  return *this;
}

std::string JsonLine::Take() {
  m_line += "}\n";
  return std::move(m_line);
}

}  // namespace service
