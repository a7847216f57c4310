// Any 16-bit text as the path of a key: made, opened and deleted, in and out of a transaction, against the
// rules of paths. The first byte chooses how; the rest is the path, which may be repeated to get deep.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "platform/registry/RegistryTransaction.h"
#include "platform/registry/registry.h"
#include "tests/TempStore.h"

namespace {

// What the rules say of a path: its components, and the number that it deserves.
struct Expected {
  std::vector<std::u16string> parts;
  LSTATUS number = ERROR_SUCCESS;
};

Expected expect(const std::u16string& path) {
  Expected expected;
  std::u16string part;
  bool isTooLong = false;
  for (std::size_t at = 0; at <= path.size(); ++at) {
    if (at < path.size() && path[at] != u'\\') {
      part += path[at];
      continue;
    }
    isTooLong = isTooLong || part.size() > 255;
    if (!part.empty()) expected.parts.push_back(part);
    part.clear();
  }
  if (!path.empty() && path.front() == u'\\') {
    expected.number = ERROR_BAD_PATHNAME;
  } else if (isTooLong) {
    expected.number = ERROR_INVALID_PARAMETER;
  }
  return expected;
}

std::u16string join(const std::vector<std::u16string>& parts, std::size_t count, const char16_t* between) {
  std::u16string path;
  for (std::size_t at = 0; at < count; ++at) path += (at == 0 ? u"" : between) + parts[at];
  return path;
}

LSTATUS open(const std::u16string& path) {
  HKEY key = 0;
  const LSTATUS status = RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, KEY_READ, &key);
  require((status == 0) == (key != 0));
  if (key != 0) require(RegCloseKey(key) == 0);
  return status;
}

LSTATUS create(const std::u16string& path, DWORD& disposition) {
  HKEY key = 0;
  const LSTATUS status =
      RegCreateKeyExW(HKEY_USERS, path.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &key, &disposition);
  if (key != 0) require(RegCloseKey(key) == 0);
  return status;
}

DWORD subKeys() {
  DWORD count = 0;
  require(RegQueryInfoKeyW(HKEY_USERS, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                           nullptr, nullptr, nullptr) == 0);
  return count;
}

void checkMade(const std::vector<std::u16string>& parts) {
  std::u16string upper = join(parts, parts.size(), u"\\");
  for (char16_t& c : upper) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
  }
  require(open(upper) == 0);
  require(open(join(parts, parts.size(), u"\\\\\\") + u"\\\\") == 0);
  char16_t name[256];
  DWORD size = 256;
  require(RegEnumKeyExW(HKEY_USERS, 0, name, &size, nullptr, nullptr, nullptr, nullptr) == 0);
  require(std::u16string(name) == parts[0]);
  for (std::size_t count = parts.size(); count > 0; --count) {
    if (count > 1) require(RegDeleteKeyW(HKEY_USERS, parts[0].c_str()) == ERROR_ACCESS_DENIED);
    require(RegDeleteKeyW(HKEY_USERS, join(parts, count, u"\\").c_str()) == 0);
    if (count > 8) require(open(join(parts, count, u"\\")) == ERROR_FILE_NOT_FOUND);
  }
}

void check(const std::u16string& path) {
  const auto [parts, number] = expect(path);
  const bool isDeep = parts.size() > 512;
  const LSTATUS missing = number != 0 ? number : parts.empty() ? 0 : ERROR_FILE_NOT_FOUND;
  require(open(path) == missing);
  require(RegDeleteKeyW(HKEY_USERS, path.c_str()) == (missing == 0 ? ERROR_ACCESS_DENIED : missing));
  DWORD disposition = 0;
  const LSTATUS made = create(path, disposition);
  require(made == (number != 0 ? number : isDeep ? ERROR_INVALID_PARAMETER : 0));
  require(subKeys() == (made == 0 && !parts.empty() ? 1U : 0U));
  if (made != 0) return;
  require(disposition == (parts.empty() ? REG_OPENED_EXISTING_KEY : REG_CREATED_NEW_KEY));
  require(open(path) == 0);
  if (!parts.empty()) checkMade(parts);
  require(subKeys() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TempStore store;
  if (size == 0) return 0;
  constexpr std::size_t repeats[] = {1, 1, 2, 520};
  std::u16string text = textOf(data + 1, size - 1);
  text.resize(std::min(text.find(u'\0'), text.size()));
  const std::size_t times = text.size() > 64 ? 1 : repeats[(data[0] >> 1) & 3U];
  std::u16string path = text;
  for (std::size_t time = 1; time < times; ++time) path += u"\\" + text;

  std::optional<RegistryTransaction> transaction;
  if ((data[0] & 1U) != 0) transaction.emplace();
  check(path);
  if (transaction) require(transaction->Commit() == 0);
  return 0;
}
