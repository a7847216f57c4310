// The tree inside one transaction: keys, values, counts and maxima. Knows no handle and no cache.
//
// Everything is checked before the first write of an operation, so that a refused operation leaves the
// transaction as it was; only a failing disk or map can stop one half way, and then the transaction is
// to be given up.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry/Fold.h"
#include "platform/registry/Lmdb.h"
#include "platform/registry/Record.h"
#include "platform/registry/StoreFormat.h"

namespace registry {

// Where a key's record lies, and which key it must be: a key of the same name made later has another id.
struct NodeRef {
  std::uint64_t id = rootId;
  EntryKey place;
};

// That of a hive.
const NodeRef& hiveRef(std::uint64_t id);

inline constexpr std::uint32_t maxDepth = 512;  // levels below a hive

// The components of a path. Several backslashes in a row count as one, one at the end does not count.
// Throws Failure for a backslash at the front and for a component that is too long.
std::vector<std::u16string_view> splitPath(std::u16string_view path);

// The length that an entry of the table of sizes counts, from its key.
std::uint32_t lengthOf(std::string_view sizeKey);

// The number of 16-bit characters in UTF-8 bytes.
std::uint32_t utf16Length(std::string_view utf8);

class Tree {
public:
  Tree(MDB_txn* txn, const Tables& tables) : m_txn(txn), m_tables(tables) {}

  // Decodes the record of a key into the view, which then points into the store until the next write.
  // False where there is no such key any more.
  bool read(const NodeRef& node, NodeView& view) const;
  // The child of that name.
  std::optional<NodeRef> child(std::uint64_t parent, std::u16string_view name) const;
  struct Chain {
    NodeRef parent;
    NodeRef node;
  };
  // The key at a path below another, and the key above it; none where a level is missing. Throws Failure for
  // a bad path.
  std::optional<Chain> resolve(const NodeRef& base, std::u16string_view path) const;
  // A value that lies outside its key's record.
  std::optional<OutsideValue> outside(std::uint64_t node, std::string_view folded) const;

  struct Created {
    NodeRef node;
    bool isNew = false;
  };
  Created create(const NodeRef& base, std::u16string_view path, bool isVolatile);
  // Throws Failure with ERROR_ACCESS_DENIED for a hive and for a key that has sub keys.
  void remove(const NodeRef& base, std::u16string_view path);
  void setValue(const NodeRef& node, std::u16string_view name, std::uint32_t type, std::string_view data);
  // False where there is no such value.
  bool removeValue(const NodeRef& node, std::u16string_view name);

  // The ids of the topmost volatile keys.
  std::vector<std::uint64_t> volatileKeys() const;
  // One of them, with all below it.
  void removeVolatileKey(std::uint64_t id);

private:
  enum class Kind : std::uint8_t { SubKeyName = 1, ValueName = 2, ValueData = 3 };
  NodeRecord edit(const NodeRef& node) const;
  void save(const NodeRef& node, NodeRecord& record);
  NodeRef find(std::uint64_t id) const;
  NodeRef addChild(const NodeRef& parent, std::u16string_view name, bool isVolatile);
  void dropKey(const NodeRef& parent, const NodeRef& node);
  void dropTree(const NodeRef& parent, const NodeRef& node);
  void dropEntries(MDB_dbi table, std::uint64_t owner);
  bool dropOutside(NodeRecord& record, const EntryKey& key);
  void putOutside(NodeRecord& record, const EntryKey& key, const OutsideValue& value);

  void count(std::uint64_t node, Kind kind, std::uint32_t length, int change);
  std::uint32_t longest(std::uint64_t node, Kind kind) const;
  void refreshValueMaxima(NodeRecord& record) const;

  MDB_txn* m_txn;
  const Tables& m_tables;
};

}  // namespace registry
