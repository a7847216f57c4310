// The hives by the names that full paths begin with.
#pragma once

#include <string_view>

#include "platform/registry/registry.h"
#include "platform/support/Scan.h"

namespace client {

struct Hive {
  std::u16string_view name;
  HKEY handle;
};
inline constexpr Hive hives[] = {{u"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
                                 {u"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
                                 {u"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
                                 {u"HKEY_USERS", HKEY_USERS}};

// 0 where none has that name.
inline HKEY hiveNamed(std::u16string_view name) {
  for (const Hive& hive : hives) {
    if (support::isSame(hive.name, name)) return hive.handle;
  }
  return 0;
}

}  // namespace client
