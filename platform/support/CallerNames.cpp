#include "platform/support/CallerNames.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <string_view>
#include <vector>

#include "platform/support/Utf.h"

namespace {

bool deliver(std::string_view name, char16_t* buffer, std::uint32_t* size) {
  if (!size) return false;
  const std::u16string text = support::toUtf16(name);
  const auto needed = static_cast<std::uint32_t>(text.size()) + 1;
  const bool fits = buffer && needed <= *size;
  if (fits) *std::ranges::copy(text, buffer).out = 0;
  *size = needed;
  return fits;
}

std::string hostName() {
  char name[HOST_NAME_MAX + 2] = {};
  // The last byte stays zero: a name that is cut need not be terminated. The longest needs one for its end.
  if (gethostname(name, sizeof name - 1) != 0 || name[0] == 0) return "localhost";
  return name;
}

std::string userName(uid_t user) {
  std::vector<char> room(1024);
  passwd entry{};
  passwd* found = nullptr;
  int result = 0;
  while ((result = getpwuid_r(user, &entry, room.data(), room.size(), &found)) == ERANGE) {
    room.resize(room.size() * 2);
  }
  return result == 0 && found ? found->pw_name : std::to_string(user);
}

}  // namespace

bool GetComputerNameW(char16_t* buffer, std::uint32_t* size) {
  if (!deliver(hostName(), buffer, size)) return false;
  --*size;
  return true;
}

bool GetUserNameW(char16_t* buffer, std::uint32_t* size) {
  return deliver(userName(geteuid()), buffer, size);
}
