#include "platform/registry/RegistryGlance.h"

#include <exception>

#include "platform/registry/Fold.h"
#include "platform/registry/Thread.h"

using namespace registry;  // NOLINT(google-*): what follows is its outer face

RegistryName::RegistryName(std::u16string_view name) : m_folded(FoldedName(name).view()) {}

RegistryGlance::RegistryGlance(HKEY hive, std::u16string_view path) noexcept {
  const std::uint64_t id = hiveId(hive);
  if (id == rootId) return;
  try {
    // A store that can't be had is tried, and complained of, by who opens the key.
    if (!ThreadState::get().isAttached()) return;
    Reading reading;
    if (reading.isInTransaction()) return;
    const bool outlasts = reading.thread().isInView();  // else the store is left at the end of this
    const NodeCache::Seen seen =
        reading.thread().cache().glance(reading.moment(), hiveRef(id), path, outlasts);
    if (seen.view == nullptr) return;
    if (seen.view->header().outside != 0) {
      if (!outlasts) return;
      Keep(*seen.node, reading.moment());
    }
    m_key = seen.view;
  } catch (const std::exception&) {
    return;  // who opens the key will be told
  }
}

void RegistryGlance::Keep(CachedNode& node, const Moment& moment) {
  m_node = &node;
  m_thread = moment.thread;
  m_tables = moment.tables;
  m_txn = moment.txn;
  m_number = moment.number;
}

bool RegistryGlance::Find(const RegistryName& name, Value& value) noexcept {
  if (m_key == nullptr) return false;
  ValueRef found;
  if (m_key->find(name.m_folded, found)) {
    value = {found.type, found.data};
    return true;
  }
  if (m_node == nullptr) return false;
  try {
    return FindOutside(name, value);
  } catch (const std::exception&) {
    m_key = nullptr;
    return false;
  }
}

// The store is entered for what was never asked for. It may have moved on since the key was seen.
bool RegistryGlance::FindOutside(const RegistryName& name, Value& value) {
  Moment moment{m_txn, m_tables, m_number, m_thread};
  if (!m_node->knows(name.m_folded)) moment.enter();
  m_txn = moment.txn;
  if (moment.number != m_number) {
    m_key = nullptr;
    return false;
  }
  ValueRef found;
  if (!m_node->outsideValue(moment, name.m_folded, found)) return false;
  value = {found.type, found.data};
  return true;
}
