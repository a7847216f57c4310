// What one thread remembers of the keys that it opened: their place, and a copy of their record with the
// small values. A copy carries the number of the transaction under which it was last known to be right,
// and is used as it stands only under that same transaction; otherwise it is held against the store.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry/Tree.h"

namespace registry {

// A view of the store at one commit.
struct Moment {
  MDB_txn* txn;
  const Tables* tables;
  std::uint64_t number;  // of the last commit in it
};

// A value as it is handed out; valid until the thread's next registry call.
struct ValueRef {
  std::uint32_t type;
  std::string_view data;
};

class CachedNode {
public:
  const NodeView& view() const { return m_view; }
  const NodeRef& ref() const { return m_ref; }
  // Changes when this place is given to another key; 0 while it has none.
  std::uint64_t serial() const { return m_serial; }

  // The value of that name, also where it lies outside the key's record.
  std::optional<ValueRef> value(const Moment& moment, std::string_view folded);

private:
  friend class NodeCache;
  // An answer from outside the record, also that there is no such value.
  struct Answer {
    std::string folded;
    bool exists;
    std::uint32_t type;
    std::string data;
  };

  void load(std::u16string_view path, std::string_view record, std::uint64_t number);
  bool isAt(std::u16string_view path) const;
  std::optional<ValueRef> outsideValue(const Moment& moment, std::string_view folded);

  // What a hit looks at lies together, and the path beside the record.
  std::uint64_t m_serial = 0;
  std::uint64_t m_number = 0;
  std::uint64_t m_base = 0;
  std::uint32_t m_lastUse = 0;
  std::uint32_t m_pathSize = 0;  // bytes
  std::string m_bytes;           // the path as it was asked for, then the record
  NodeView m_view;
  std::vector<Answer> m_answers;
  NodeRef m_ref;
};

class NodeCache {
public:
  NodeCache();

  // The key at a path below another, or null. The pointer is good until the next call.
  CachedNode* open(const Moment& moment, const NodeRef& base, std::u16string_view path);
  // The key at that place, or null where it was deleted.
  CachedNode* open(const Moment& moment, const NodeRef& node) { return open(moment, node, {}); }
  // The same for a place in the cache where it was before: null also where that was given away.
  CachedNode* reopen(const Moment& moment, std::uint64_t serial, std::uint64_t id);

  // Tells this cache from every other one of the process.
  std::uint64_t id() const { return m_id; }
  void clear();

private:
  static constexpr std::uint32_t ways = 4;
  static constexpr std::uint32_t capacity = 4096;

  CachedNode* find(std::uint64_t hash, std::uint64_t base, std::u16string_view path);
  CachedNode& victim(std::uint64_t hash);
  bool isCurrent(const Moment& moment, CachedNode& node);
  std::optional<EntryKey> locate(const Moment& moment, const NodeRef& base, std::u16string_view path);
  CachedNode* load(const Moment& moment, const NodeRef& base, std::u16string_view path, std::uint64_t hash);

  std::uint64_t m_id;
  std::uint64_t m_nextSerial = capacity;
  std::uint32_t m_clock = 0;
  std::vector<std::uint64_t> m_hashes;  // beside the nodes, together so that a search stays in one line
  std::vector<std::unique_ptr<CachedNode>> m_nodes;
};

}  // namespace registry
