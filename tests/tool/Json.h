// A strict reader of JSON, so that the tool's answers are not judged by the library that wrote them.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// One JSON value. Numbers keep the digits they were written with.
class Json {
public:
  // Throws std::runtime_error where the text is not one JSON value and nothing else.
  static Json Parse(std::string_view text);

  // Throw where the value is of another kind or has no such member.
  const Json& operator[](const std::string& name) const;
  const Json& operator[](std::size_t index) const;
  std::size_t Size() const { return m_items.size(); }
  bool Has(const std::string& name) const { return m_members.count(name) != 0; }

  // A string's content, or a number, true, false or null as written.
  const std::string& Text() const { return m_text; }
  bool IsString() const { return m_kind == Kind::String; }

private:
  enum class Kind { Word, String, Array, Object };
  class Reader;

  Kind m_kind = Kind::Word;
  std::string m_text;
  std::vector<Json> m_items;
  std::map<std::string, Json> m_members;
};
