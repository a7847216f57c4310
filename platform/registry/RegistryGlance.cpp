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
    CachedNode* const node = reading.thread().cache().open(reading.moment(), hiveRef(id), path);
    if (node == nullptr) return;
    if (node->view().header().outside != 0) {
      if (!reading.thread().isInView()) return;  // the store is left at the end of this
      m_node = node;
      m_txn = reading.moment().txn;
      m_tables = reading.moment().tables;
    }
    m_key = &node->view();
  } catch (const std::exception&) {
    return;  // who opens the key will be told
  }
}

bool RegistryGlance::Find(const RegistryName& name, Value& value) noexcept {
  if (m_key == nullptr) return false;
  ValueRef found;
  bool exists = m_key->find(name.m_folded, found);
  if (!exists && m_node != nullptr) {
    try {
      exists = m_node->value({m_txn, m_tables, 0, nullptr}, name.m_folded, found);
    } catch (const std::exception&) {
      m_key = nullptr;
    }
  }
  if (exists) value = {found.type, found.data};
  return exists;
}
