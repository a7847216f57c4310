#include "platform/regtext/RegTextReader.h"

#include <algorithm>
#include <vector>

#include "platform/registry/registry.h"
#include "platform/regtext/RegTextPath.h"
#include "platform/support/Utf.h"

namespace regtext {
namespace {

constexpr std::size_t excerptLength = 40;
constexpr std::u16string_view oldHeader = u"REGEDIT4";

bool isBlank(char16_t c) {
  return c == u' ' || c == u'\t';
}

int hexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

std::string quoted(std::u16string_view text) {
  std::u16string shown(text.substr(0, excerptLength));
  for (char16_t& c : shown) {
    if (c < u' ' || c == 0x7f) c = u'?';
  }
  return "\"" + support::toUtf8(shown) + (text.size() > excerptLength ? "...\"" : "\"");
}

class Reader {
public:
  Reader(std::u16string_view text, const Handler& handler) : m_text(text), m_handler(handler) {}

  Fault Run() {
    if (NoZeros() && Header()) {
      while (m_pos < m_text.size() && Statement()) {
      }
    }
    return m_fault;
  }

private:
  // Characters. The text holds no zero, so Peek gives zero at its end alone.
  char16_t Peek() const { return m_pos < m_text.size() ? m_text[m_pos] : u'\0'; }
  bool Take(char16_t c);
  bool TakeWord(std::u16string_view lowerCase);
  void SkipBlanks();
  std::u16string_view RestOfLine() const;

  bool NoZeros();
  bool Header();
  bool Statement();
  bool KeyLine();
  bool KeyPath();
  bool ValueLine();
  bool ValueName();
  bool EndLine();
  bool Quoted(std::u16string& out);
  bool Escape(std::u16string& out);

  // Data of a value; they set type and bytes.
  bool Data();
  bool TextData();
  bool DwordData();
  bool HexData();
  bool HexType();
  bool HexBytes();
  bool HexByte();
  // Passes blanks and line ends behind a backslash.
  bool Continue(bool& continued);
  // Hexadecimal; takes nothing where there is no digit or more digits than that.
  bool Number(std::uint32_t& value, std::size_t maxDigits);

  bool Emit(Kind kind);
  bool Fail(std::string_view expected);
  bool FailAt(std::uint64_t line, std::string text);
  std::string Found() const;

  std::u16string_view m_text;
  const Handler& m_handler;
  Fault m_fault;
  std::size_t m_pos = 0;
  std::uint64_t m_line = 1;
  std::uint64_t m_firstLine = 1;  // of the statement
  std::uint64_t m_spanned = 0;    // line where a text of this statement began that goes over line ends
  enum class Place : std::uint8_t { BeforeKeys, InKey, InDeletedKey } m_place = Place::BeforeKeys;
  std::u16string m_key;
  std::u16string m_name;
  std::u16string m_scratch;
  Kind m_kind = Kind::Value;
  std::uint32_t m_type = 0;
  std::vector<std::uint8_t> m_data;
};

bool Reader::Take(char16_t c) {
  if (Peek() != c) return false;
  ++m_pos;
  return true;
}

bool Reader::TakeWord(std::u16string_view lowerCase) {
  const auto found = m_text.substr(m_pos, lowerCase.size());
  const auto lower = [](char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
  };
  if (!std::ranges::equal(found, lowerCase, {}, lower)) return false;
  m_pos += lowerCase.size();
  return true;
}

void Reader::SkipBlanks() {
  while (isBlank(Peek())) ++m_pos;
}

std::u16string_view Reader::RestOfLine() const {
  const auto rest = m_text.substr(m_pos);
  auto line = rest.substr(0, rest.find(u'\n'));
  if (line.ends_with(u'\r')) line.remove_suffix(1);
  return line;
}

std::string Reader::Found() const {
  if (m_pos >= m_text.size()) return "the end of the text";
  const auto rest = RestOfLine();
  return rest.empty() ? "the end of the line" : quoted(rest);
}

bool Reader::FailAt(std::uint64_t line, std::string text) {
  m_fault = {line, std::move(text)};
  return false;
}

// A closing quotation mark that was forgotten shows only at the next one, lines below: the line that is
// to be mended is the one where the text began.
bool Reader::Fail(std::string_view expected) {
  std::string text = "found " + Found() + ", expected " + std::string(expected);
  if (m_spanned == 0) return FailAt(m_line, std::move(text));
  text += ", at the end of a text that goes on to line " + std::to_string(m_line) +
          " (a closing quotation mark may be missing)";
  return FailAt(m_spanned, std::move(text));
}

bool Reader::NoZeros() {
  const auto zero = m_text.find(u'\0');
  if (zero == std::u16string_view::npos) return true;
  const auto before = m_text.substr(0, zero);
  return FailAt(1 + static_cast<std::uint64_t>(std::ranges::count(before, u'\n')),
                "found a zero character, expected text");
}

bool Reader::Header() {
  Take(u'\uFEFF');
  auto line = RestOfLine();
  while (!line.empty() && isBlank(line.back())) line.remove_suffix(1);
  if (line == oldHeader) {
    return FailAt(1, "found \"REGEDIT4\", the older format with 8-bit text, expected \"" +
                         support::toUtf8(header) + "\": export the text anew in that format");
  }
  if (line != header) return Fail("\"" + support::toUtf8(header) + "\"");
  m_pos += line.size();
  return EndLine();
}

bool Reader::Statement() {
  m_firstLine = m_line;
  m_spanned = 0;
  SkipBlanks();
  switch (Peek()) {
    case u'\0':
    case u'\r':
    case u'\n':
    case u';':
      return EndLine();
    case u'[':
      return KeyLine();
    case u'"':
    case u'@':
      return ValueLine();
    default:
      return Fail("a key in brackets, a value's name in quotation marks, @ or a comment");
  }
}

bool Reader::EndLine() {
  SkipBlanks();
  if (Peek() == u';') m_pos += RestOfLine().size();
  if (Peek() == u'\r' && (m_pos + 1 == m_text.size() || m_text[m_pos + 1] == u'\n')) ++m_pos;
  if (m_pos == m_text.size()) return true;
  if (!Take(u'\n')) return Fail("the end of the line");
  ++m_line;
  return true;
}

bool Reader::KeyLine() {
  Take(u'[');
  const bool deletion = Take(u'-');
  if (!KeyPath()) return false;
  const std::string problem = normalizePath(m_scratch, m_key);
  if (!problem.empty()) return FailAt(m_firstLine, problem);
  if (deletion && m_key.find(u'\\') == std::u16string::npos) {
    return FailAt(m_firstLine, "found a hive that is to be deleted, expected a key below it");
  }
  m_place = deletion ? Place::InDeletedKey : Place::InKey;
  return EndLine() && Emit(deletion ? Kind::DeleteKey : Kind::Key);
}

// A key name may hold brackets, so the last one of the line closes.
bool Reader::KeyPath() {
  if (Peek() == u'"') return Quoted(m_scratch) && (Take(u']') || Fail("a closing bracket"));
  const auto line = RestOfLine();
  const auto end = line.rfind(u']');
  if (end == std::u16string_view::npos) {
    return FailAt(m_line, "found " + quoted(line) + " without an end, expected a closing bracket");
  }
  m_scratch = line.substr(0, end);
  m_pos += end + 1;
  return true;
}

bool Reader::ValueLine() {
  if (m_place != Place::InKey) {
    return Fail(m_place == Place::BeforeKeys ? "a key in brackets before the first value"
                                             : "a key in brackets, as the key above is deleted");
  }
  if (!ValueName()) return false;
  SkipBlanks();
  if (!Take(u'=')) return Fail("= behind the value's name");
  SkipBlanks();
  if (!Data() || !EndLine()) return false;
  if (m_data.size() > maxDataSize) {
    return FailAt(m_firstLine, "found a value of " + std::to_string(m_data.size()) +
                                   " bytes, expected at most " + std::to_string(maxDataSize));
  }
  return Emit(m_kind);
}

bool Reader::ValueName() {
  m_name.clear();
  if (Take(u'@')) return true;
  if (!Quoted(m_name)) return false;
  if (m_name.size() <= maxValueNameLength) return true;
  return FailAt(m_firstLine, "found a value name of " + std::to_string(m_name.size()) +
                                 " characters, expected at most " + std::to_string(maxValueNameLength));
}

bool Reader::Quoted(std::u16string& out) {
  const auto firstLine = m_line;
  out.clear();
  ++m_pos;
  while (m_pos < m_text.size()) {
    const auto begin = m_pos;
    while (m_pos < m_text.size() && m_text[m_pos] != u'"' && m_text[m_pos] != u'\\') {
      if (m_text[m_pos++] == u'\n') ++m_line;
    }
    out += m_text.substr(begin, m_pos - begin);
    if (m_line != firstLine && m_spanned == 0) m_spanned = firstLine;
    if (Take(u'"')) return true;
    if (m_pos < m_text.size() && !Escape(out)) return false;
  }
  return FailAt(firstLine, "found a text that does not end, expected a closing quotation mark");
}

bool Reader::Escape(std::u16string& out) {
  const char16_t next = m_pos + 1 < m_text.size() ? m_text[m_pos + 1] : u'\0';
  if (next != u'\\' && next != u'"') {
    return Fail("a second backslash or a quotation mark behind the backslash");
  }
  out += next;
  m_pos += 2;
  return true;
}

bool Reader::Data() {
  m_kind = Kind::Value;
  m_type = REG_NONE;
  m_data.clear();
  if (Peek() == u'"') return TextData();
  if (TakeWord(u"dword:")) return DwordData();
  if (TakeWord(u"hex")) return HexData();
  if (!Take(u'-')) return Fail("a text in quotation marks, dword:, hex:, hex(type): or -");
  m_kind = Kind::DeleteValue;
  return true;
}

bool Reader::TextData() {
  if (!Quoted(m_scratch)) return false;
  m_type = REG_SZ;
  m_data.resize((m_scratch.size() + 1) * 2);
  for (std::size_t i = 0; i < m_scratch.size(); ++i) {
    m_data[2 * i] = static_cast<std::uint8_t>(m_scratch[i] & 0xFFU);
    m_data[2 * i + 1] = static_cast<std::uint8_t>(m_scratch[i] >> 8U);
  }
  return true;
}

bool Reader::Number(std::uint32_t& value, std::size_t maxDigits) {
  const auto begin = m_pos;
  value = 0;
  for (int digit = hexDigit(Peek()); digit >= 0; digit = hexDigit(Peek())) {
    value = value << 4U | static_cast<std::uint32_t>(digit);
    ++m_pos;
  }
  if (m_pos != begin && m_pos - begin <= maxDigits) return true;
  m_pos = begin;
  return false;
}

bool Reader::DwordData() {
  m_type = REG_DWORD;
  SkipBlanks();
  std::uint32_t number = 0;
  if (!Number(number, 8)) return Fail("1 to 8 hexadecimal digits");
  for (unsigned shift = 0; shift < 32; shift += 8) {
    m_data.push_back(static_cast<std::uint8_t>(number >> shift & 0xFFU));
  }
  return true;
}

bool Reader::HexData() {
  m_type = REG_BINARY;
  if (Take(u'(') && !HexType()) return false;
  if (!Take(u':')) return Fail("hex: or hex(type):");
  return HexBytes();
}

bool Reader::HexType() {
  return (Number(m_type, 8) && Take(u')')) || Fail("a type of 1 to 8 hexadecimal digits and )");
}

bool Reader::HexBytes() {
  bool continued = false;
  if (!Continue(continued)) return false;
  const char16_t first = Peek();
  if (!continued && (first == u'\0' || first == u'\r' || first == u'\n' || first == u';')) return true;
  while (HexByte() && Continue(continued)) {
    if (Take(u',')) {
      if (!Continue(continued)) return false;
    } else {
      return !continued || Fail("a comma and a further byte");
    }
  }
  return false;
}

bool Reader::HexByte() {
  std::uint32_t byte = 0;
  if (!Number(byte, 2)) return Fail("a byte of 1 or 2 hexadecimal digits");
  m_data.push_back(static_cast<std::uint8_t>(byte));
  return true;
}

bool Reader::Continue(bool& continued) {
  continued = false;
  SkipBlanks();
  while (Take(u'\\')) {
    continued = true;
    if (!EndLine()) return false;
    SkipBlanks();
    while (m_pos < m_text.size() && (Peek() == u';' || RestOfLine().empty())) {
      if (!EndLine()) return false;
      SkipBlanks();
    }
  }
  return true;
}

bool Reader::Emit(Kind kind) {
  Event event{kind, m_firstLine, m_pos, m_key, {}, 0, {}};
  if (kind == Kind::Value || kind == Kind::DeleteValue) event.name = m_name;
  if (kind == Kind::Value) {
    event.type = m_type;
    event.data = m_data;
  }
  return m_handler(event);
}

}  // namespace

Fault parse(std::u16string_view text, const Handler& handler) {
  return Reader(text, handler).Run();
}

Fault check(std::u16string_view text) {
  return parse(text, [](const Event&) { return true; });
}

}  // namespace regtext
