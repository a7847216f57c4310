// Handles: 32-bit numbers for open keys, good in every thread of the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "platform/registry/Tree.h"
#include "platform/registry/registry.h"

namespace registry {

// Where the opening thread has the key in its cache.
struct CacheHint {
  std::uint64_t cache = 0;
  std::uint64_t serial = 0;
};

// What a handle stands for.
struct OpenKey {
  NodeRef node;
  REGSAM rights = 0;
  CacheHint hint;
};

// The number for an open key, to be given back with closeHandle. Throws Failure with
// ERROR_NO_SYSTEM_RESOURCES where 65,535 keys are open.
HKEY makeHandle(const NodeRef& node, REGSAM rights, CacheHint hint);
// False for a handle that is not open, or was opened on another store. A handle that another thread
// closes meanwhile gives either answer, never a mixture.
bool lookUp(HKEY handle, OpenKey& key);
// The same without the place of the key: enough where the hint hits.
bool glance(HKEY handle, std::uint64_t& id, REGSAM& rights, CacheHint& hint);

// Tells whether a handle that was open still is. It may be asked at any time, whatever became of the handle.
class OpenState {
public:
  OpenState() = default;
  explicit OpenState(HKEY handle);
  bool isOpen() const { return m_generation->load(std::memory_order_acquire) == m_asOpened; }

private:
  static constinit const std::atomic<std::uint32_t> never;

  const std::atomic<std::uint32_t>* m_generation = &never;
  std::uint32_t m_asOpened = 1;
};
bool closeHandle(HKEY handle);

}  // namespace registry
