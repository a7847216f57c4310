#include "platform/regtext/RegTextPath.h"

#include <algorithm>

#include "platform/regtext/RegText.h"
#include "platform/support/Utf.h"

namespace regtext {
namespace {

char16_t upper(char16_t c) {
  return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c;
}

bool equals(std::u16string_view left, std::u16string_view right) {
  return std::ranges::equal(left, right, {}, upper, upper);
}

const Hive* findHive(std::u16string_view name) {
  for (const Hive& hive : hives) {
    if (equals(name, hive.name) || equals(name, hive.shortName)) return &hive;
  }
  return nullptr;
}

std::string checkName(std::u16string_view name) {
  if (name.empty()) return "found an empty key name, expected a name on both sides of each backslash";
  if (name.size() <= maxKeyNameLength) return {};
  return "found a key name of " + std::to_string(name.size()) + " characters, expected at most " +
         std::to_string(maxKeyNameLength);
}

std::string unknownHive(std::u16string_view name) {
  std::string text = "found the hive \"" + support::toUtf8(name.substr(0, 40)) + "\", expected one of ";
  for (const Hive& hive : hives) {
    if (&hive != std::begin(hives)) text += ", ";
    text += support::toUtf8(hive.name);
  }
  return text;
}

}  // namespace

std::string normalizePath(std::u16string_view path, std::u16string& result) {
  auto end = std::min(path.find(u'\\'), path.size());
  const Hive* hive = findHive(path.substr(0, end));
  if (!hive) return unknownHive(path.substr(0, end));
  result = hive->name;
  result += path.substr(end);
  while (end < path.size()) {
    const auto begin = end + 1;
    end = std::min(path.find(u'\\', begin), path.size());
    if (std::string problem = checkName(path.substr(begin, end - begin)); !problem.empty()) return problem;
  }
  const auto levels = static_cast<std::size_t>(std::ranges::count(result, u'\\'));
  if (levels <= maxLevels) return {};
  return "found a key " + std::to_string(levels) + " levels below the hive, expected at most " +
         std::to_string(maxLevels);
}

Place splitPath(std::u16string_view path) {
  const auto end = std::min(path.find(u'\\'), path.size());
  const Hive* hive = findHive(path.substr(0, end));
  return {hive ? hive->handle : 0, std::u16string(path.substr(std::min(end + 1, path.size())))};
}

bool isWithin(std::u16string_view path, std::u16string_view root) {
  if (path.size() < root.size() || !equals(path.substr(0, root.size()), root)) return false;
  return path.size() == root.size() || path[root.size()] == u'\\';
}

}  // namespace regtext
