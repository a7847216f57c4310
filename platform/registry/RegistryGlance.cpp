#include "platform/registry/RegistryGlance.h"

#include <exception>

#include "platform/registry/Fold.h"
#include "platform/registry/Thread.h"

using namespace registry;  // NOLINT(google-build-using-namespace): what follows is its outer face

RegistryName::RegistryName(std::u16string_view name) : m_folded(FoldedName(name).view()) {}

RegistryGlance::RegistryGlance(HKEY hive, std::u16string_view path) noexcept {
  const std::uint64_t id = hiveId(hive);
  if (id == rootId) return;
  try {
    // A store that can't be had is tried, and complained of, by who opens the key.
    if (!ThreadState::get().isAttached()) return;
    Reading reading;
    if (reading.isInTransaction()) return;
    const CachedNode* const node = reading.thread().cache().open(reading.moment(), hiveRef(id), path);
    if (node != nullptr && node->view().header().outside == 0) m_key = &node->view();
  } catch (const std::exception&) {
    return;  // who opens the key will be told
  }
}

bool RegistryGlance::Find(const RegistryName& name, Value& value) const {
  ValueRef found;
  if (!m_key->find(name.m_folded, found)) return false;
  value = {found.type, found.data};
  return true;
}
