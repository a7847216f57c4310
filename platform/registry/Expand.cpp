// Environment references in text.
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/registry/registry.h"
#include "platform/support/Utf.h"

namespace {

// The variable's text; none where the name is empty or unknown.
bool appendVariable(std::u16string_view name, std::u16string& out) {
  if (name.empty()) return false;
  const char* value = std::getenv(support::toUtf8(name).c_str());
  if (value == nullptr) return false;
  out += support::toUtf16(value);
  return true;
}

std::u16string expand(std::u16string_view text) {
  std::u16string out;
  while (!text.empty()) {
    const std::size_t start = text.find(u'%');
    out += text.substr(0, start);
    if (start == std::u16string_view::npos) break;
    text.remove_prefix(start);
    const std::size_t end = text.find(u'%', 1);
    if (end == std::u16string_view::npos) return out += text;
    if (appendVariable(text.substr(1, end - 1), out)) {
      text.remove_prefix(end + 1);
    } else {  // the second sign may open the next reference
      out += text.substr(0, end);
      text.remove_prefix(end);
    }
  }
  return out;
}

}  // namespace

DWORD ExpandEnvironmentStringsW(const char16_t* text, char16_t* buffer, DWORD capacity) {
  if (text == nullptr || (buffer == nullptr && capacity != 0)) return 0;
  const std::u16string expanded = expand(text);
  const std::size_t needed = expanded.size() + 1;
  if (buffer != nullptr && needed <= capacity) {
    expanded.copy(buffer, expanded.size());
    buffer[expanded.size()] = u'\0';
  } else if (buffer != nullptr && capacity != 0) {
    buffer[0] = u'\0';
  }
  return static_cast<DWORD>(needed);
}
