#include "service/Json.h"

#include <algorithm>

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

template <class Char>
std::size_t plainLength(std::basic_string_view<Char> text) {
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isPlain<Char>) - text.begin());
}

// Appends the first character, and takes it off the text.
void appendOther(std::string& line, std::u16string_view& text) {
  const char16_t c = text.front();
  std::size_t length = 1;
  if (c == u'"' || c == u'\\') {
    line += '\\';
    line += static_cast<char>(c);
  } else if (isHigh(c) && text.size() > 1 && isLow(text[1])) {
    length = 2;
    line += support::toUtf8(text.substr(0, 2));
  } else if (isHidden(c)) {
    appendEscaped(line, c);
  } else {
    line += support::toUtf8(text.substr(0, 1));
  }
  text.remove_prefix(length);
}

void appendText(std::string& line, std::u16string_view text) {
  while (!text.empty()) {
    const std::size_t plain = plainLength(text);
    const std::size_t end = line.size();
    line.resize(end + plain);
    std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(plain),
                   line.begin() + static_cast<std::ptrdiff_t>(end),
                   [](char16_t c) { return static_cast<char>(c); });
    text.remove_prefix(plain);
    if (!text.empty()) appendOther(line, text);
  }
}

}  // namespace

void JsonLine::Name(std::string_view name) {
  if (m_line.back() != '{') m_line += ',';
  m_line += '"';
  m_line += name;
  m_line += "\":";
}

JsonLine& JsonLine::Text(std::string_view name, std::u16string_view text) {
  Name(name);
  m_line += '"';
  appendText(m_line, text);
  m_line += '"';
  return *this;
}

JsonLine& JsonLine::Text(std::string_view name, std::string_view text) {
  if (plainLength(text) != text.size()) return Text(name, std::u16string_view(support::toUtf16(text)));
  Name(name);
  m_line += '"';
  m_line += text;
  m_line += '"';
  return *this;
}

JsonLine& JsonLine::Number(std::string_view name, std::int64_t number) {
  return Raw(name, std::to_string(number));
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
