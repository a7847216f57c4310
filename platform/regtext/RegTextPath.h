// Paths of keys as they stand in a registry text: a hive name and the key names below it.
#pragma once

#include <string>
#include <string_view>

#include "platform/registry/registry.h"

namespace regtext {

struct Hive {
  std::u16string_view name;
  std::u16string_view shortName;
  HKEY handle;
};

// The four hives, in the order in which they are exported.
inline constexpr Hive hives[] = {
    {u"HKEY_CLASSES_ROOT", u"HKCR", HKEY_CLASSES_ROOT},
    {u"HKEY_CURRENT_USER", u"HKCU", HKEY_CURRENT_USER},
    {u"HKEY_LOCAL_MACHINE", u"HKLM", HKEY_LOCAL_MACHINE},
    {u"HKEY_USERS", u"HKU", HKEY_USERS},
};

// Puts the path, with the hive's long name for whatever form and case it came in, into the result. Gives
// the empty text, or what was found and expected; the result is then not defined. Each name's
// length and the number of levels are checked.
std::string normalizePath(std::u16string_view path, std::u16string& result);

// A path in the two parts that the registry functions take.
struct Place {
  HKEY hive = 0;
  std::u16string subPath;  // empty for the hive itself
};
// The path must be one that normalizePath gave.
Place splitPath(std::u16string_view path);

// True for the key itself and the keys below it, by ASCII case; both paths are from normalizePath.
bool isWithin(std::u16string_view path, std::u16string_view root);

}  // namespace regtext
