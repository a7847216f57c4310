#include "tests/tool/Json.h"

#include <cctype>
#include <regex>

class Json::Reader {
public:
  explicit Reader(std::string_view text) : m_rest(text) {}

  Json Whole() {
    Json value = Value();
    SkipBlanks();
    if (!m_rest.empty()) Fail("something after the value");
    return value;
  }

private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error("no JSON: " + what + " at: " + std::string(m_rest.substr(0, 40)));
  }

  void SkipBlanks() { m_rest.remove_prefix(std::min(m_rest.find_first_not_of(" \n\r\t"), m_rest.size())); }

  char Next() {
    SkipBlanks();
    if (m_rest.empty()) Fail("it ends too early");
    return m_rest.front();
  }

  char Take() {
    if (m_rest.empty()) Fail("it ends too early");
    const char byte = m_rest.front();
    m_rest.remove_prefix(1);
    return byte;
  }

  void Expect(char wanted) {
    if (Next() != wanted) Fail(std::string("no ") + wanted);
    Take();
  }

  // The comma or the end between members.
  bool Goes(char end) {
    if (Next() == end) return Take(), false;
    Expect(',');
    return true;
  }

  Json Value() {
    Json value;
    switch (Next()) {
      case '{':
        value.m_kind = Kind::Object;
        Members(value);
        break;
      case '[':
        value.m_kind = Kind::Array;
        Items(value);
        break;
      case '"':
        value.m_kind = Kind::String;
        value.m_text = String();
        break;
      default:
        value.m_text = Word();
    }
    return value;
  }

  void Members(Json& object) {
    Expect('{');
    if (Next() == '}') return static_cast<void>(Take());
    do {
      Next();
      const std::string name = String();
      Expect(':');
      if (!object.m_members.emplace(name, Value()).second) Fail("member " + name + " twice");
    } while (Goes('}'));
  }

  void Items(Json& array) {
    Expect('[');
    if (Next() == ']') return static_cast<void>(Take());
    do array.m_items.push_back(Value());
    while (Goes(']'));
  }

  std::string String() {
    Expect('"');
    std::string text;
    for (char byte = Take(); byte != '"'; byte = Take()) {
      if (static_cast<unsigned char>(byte) < 0x20) Fail("a control character in a string");
      text += byte == '\\' ? Escape() : std::string(1, byte);
    }
    return text;
  }

  std::string Escape() {
    const char kind = Take();
    constexpr std::string_view letters = "\"\\/bfnrt";
    constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    if (const std::size_t at = letters.find(kind); at != std::string_view::npos) return {meanings[at]};
    if (kind != 'u') Fail("an unknown escape");
    std::string digits;
    for (int i = 0; i < 4; ++i) digits += Take();
    const unsigned long code = std::stoul(digits, nullptr, 16);
    if (code >= 0x80) Fail("an escape that the tool has no cause for");
    return {static_cast<char>(code)};
  }

  std::string Word() {
    static const std::regex form(R"(^(true|false|null|-?(0|[1-9]\d*)(\.\d+)?([eE][+-]?\d+)?)(?![\w.]))");
    std::cmatch found;
    if (!std::regex_search(m_rest.data(), m_rest.data() + m_rest.size(), found, form)) Fail("no value");
    m_rest.remove_prefix(static_cast<std::size_t>(found.length()));
    return found.str();
  }

  std::string_view m_rest;
};

Json Json::Parse(std::string_view text) {
  return Reader(text).Whole();
}

const Json& Json::operator[](const std::string& name) const {
  const auto found = m_members.find(name);
  if (found == m_members.end()) throw std::runtime_error("no member " + name);
  return found->second;
}

const Json& Json::operator[](std::size_t index) const {
  return m_items.at(index);
}
