// One JSON object on one line, written member by member.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace service {

// Names are taken as they are; texts are escaped: control characters, line separators and surrogates
// without their partner come out as \uXXXX, so a line stays one line and its bytes are valid UTF-8.
class JsonLine {
public:
  JsonLine();

  JsonLine& Text(std::string_view name, std::u16string_view text);
  // The text is taken as UTF-8.
  JsonLine& Text(std::string_view name, std::string_view text);
  JsonLine& Number(std::string_view name, std::int64_t number);
  // The value is JSON already.
  JsonLine& Raw(std::string_view name, std::string_view json);
  JsonLine& Begin(std::string_view name);
  JsonLine& End();

  // The object with a line end behind it. The writer is used up.
  std::string Take();

private:
  void Name(std::string_view name);

  std::string m_line = "{";
};

}  // namespace service
