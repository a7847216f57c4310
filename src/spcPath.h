// The paths of parameters.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace client {

inline std::u16string_view viewOf(const char16_t* text) {
  return text ? text : u"";
}

// Root, process space, topic and parameter, with a backslash between each two.
class ParameterPath {
public:
  ParameterPath(std::u16string_view root, std::u16string_view prcSpace, const char16_t* topic,
                const char16_t* par)
      : m_parts{root, prcSpace, viewOf(topic), viewOf(par)} {}

  std::size_t Length() const {
    std::size_t length = m_parts.size() - 1;
    for (const auto& part : m_parts) length += part.size();
    return length;
  }
  // To where there is room for its length.
  void Write(char16_t* to) const {
    for (const auto& part : m_parts) {
      if (&part != m_parts.data()) *to++ = u'\\';
      to += part.copy(to, part.size());
    }
  }

private:
  std::array<std::u16string_view, 4> m_parts;
};

}  // namespace client
