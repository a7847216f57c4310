// A look at the values of one key, without a handle.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry/registry.h"
#include "platform/support/api.h"

struct MDB_txn;
namespace registry {
class CachedNode;
class NodeView;
struct Moment;
struct Tables;
class ThreadState;
}  // namespace registry

// A value's name as it is compared. It is worth keeping: making one takes longer than looking for it.
class SPS_API RegistryName {
public:
  explicit RegistryName(std::u16string_view name);
  // Whether the registry takes them for one name, of a value or of a key.
  bool operator==(const RegistryName&) const = default;

private:
  friend class RegistryGlance;
  std::string m_folded;
};

// One key as of the last commit, or as of the thread's RegistryView, for who reads a few small values and is
// gone: that takes a third of what opening, reading and closing it does. It shows no key where there is none,
// where a failure is to be told, before this thread's first other call of the registry, inside a
// RegistryTransaction and, outside of a RegistryView, where not all values lie in the key's record (they are
// large, or many); whoever needs to know more opens the key.
//
// It is good until the next call of the registry by this thread, and no longer than the RegistryView.
class SPS_API RegistryGlance {
public:
  // The path is that below the hive, as for RegOpenKeyExW.
  RegistryGlance(HKEY hive, std::u16string_view path) noexcept;

  bool IsKey() const { return m_key != nullptr; }

  struct Value {
    std::uint32_t type = 0;
    std::string_view bytes;
  };
  // False where the key has no value of that name. Where that can't be told, there is no key from then on.
  bool Find(const RegistryName& name, Value& value) noexcept;

private:
  void Keep(registry::CachedNode& node, const registry::Moment& moment);
  bool FindOutside(const RegistryName& name, Value& value);

  const registry::NodeView* m_key = nullptr;
  // Of a key with values outside its record, with the moment at which it was seen.
  registry::CachedNode* m_node = nullptr;
  registry::ThreadState* m_thread = nullptr;
  const registry::Tables* m_tables = nullptr;
  MDB_txn* m_txn = nullptr;
  std::uint64_t m_number = 0;
};
