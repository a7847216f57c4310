// What one thread remembers of the keys that it opened: their place, and a copy of their record with the
// small values. A copy carries the number of the transaction under which it was last known to be right,
// and is used as it stands only under that same transaction; otherwise it is held against the store.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry/Hash.h"
#include "platform/registry/Tree.h"

namespace registry {

class ThreadState;

// A view of the store at one commit.
struct Moment {
  MDB_txn* txn;  // null as long as what the thread remembers is enough
  const Tables* tables;
  std::uint64_t number;  // of the last commit in it
  ThreadState* thread;

  // Sees to the transaction, which may be of a later commit: what was found at the moment before is then to
  // be held against the store. Throws Failure.
  void enter() {
    if (txn == nullptr) begin();
  }

private:
  void begin();
};

class CachedNode {
public:
  const NodeView& view() const { return m_view; }
  const NodeRef& ref() const { return m_ref; }
  // Changes when this place is given to another key; 0 while it has none.
  std::uint64_t serial() const { return m_serial; }
  // Whether it is known to be right then, with all that can be asked of it without entering the store.
  bool isRightAt(const Moment& moment) const {
    return m_number == moment.number && (moment.txn != nullptr || m_view.header().outside == 0);
  }

  // Whether it is as of that commit; of its values outside, what was asked for before.
  bool isAsOf(const Moment& moment) const { return m_number == moment.number; }
  // Whether a value outside was asked for before, and what came of it.
  bool knows(std::string_view folded) const;
  // The value of that name that lies outside, which the key's record does not have.
  bool outsideValue(const Moment& moment, std::string_view folded, ValueRef& value);

  // The value of that name, also where it lies outside the key's record.
  bool value(const Moment& moment, std::string_view folded, ValueRef& value) {
    if (m_view.find(folded, value)) return true;
    return m_view.header().outside != 0 && outsideValue(moment, folded, value);
  }

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

  // What a hit looks at lies together, and the path beside the record.
  std::uint64_t m_serial = 0;
  std::uint64_t m_number = 0;
  std::uint64_t m_base = 0;
  std::uint32_t m_pathSize = 0;  // bytes
  std::string m_bytes;           // the path as it was asked for, then the record
  NodeView m_view;
  std::vector<Answer> m_answers;
  NodeRef m_ref;
};

// Where the children of a path are to be looked for: the ids of keys that were parents once, many more of
// them than whole keys are kept. An id need not be right any more: since none is given twice, and a key goes
// after its children, whatever is found below it proves it right.
//
// A path is known by its hash alone, 64 bits beside those that choose its set, so that a search looks at one
// or two lines of the processor's cache; the seed is drawn at random, so that nobody can make two paths that
// meet.
class ParentIds {
  static constexpr std::size_t ways = 8;
  struct Parent {
    std::uint64_t path = 0;
    std::uint64_t id = 0;
  };
  struct alignas(64) Set {
    std::array<Parent, ways> parents;  // the last one first
  };

public:
  // Where a path's id stands if it is known.
  class Place {
  public:
    // It is on its way from the memory while the caller does something else.
    Place(const ParentIds& parents, std::uint64_t base, std::u16string_view path);
    // 0 where none is known; no key but the root, which has no path, has that id.
    std::uint64_t id() const;

  private:
    std::uint64_t m_path = 0;
    const Set* m_set = nullptr;
  };
  std::uint64_t find(std::uint64_t base, std::u16string_view path) const {
    return Place(*this, base, path).id();
  }
  void set(std::uint64_t base, std::u16string_view path, std::uint64_t id);
  void clear();

private:
  static constexpr std::size_t fewestSets = 8;  // powers of two
  static constexpr std::size_t mostSets = 8192;

  static Hash128 hashOf(std::uint64_t base, std::u16string_view path);

  std::vector<Set> m_sets;
  std::size_t m_count = 0;
};

class NodeCache {
public:
  NodeCache();

  // The key at a path below another, or null. The pointer is good until the next call.
  CachedNode* open(Moment& moment, const NodeRef& base, std::u16string_view path);
  // What a look at a key shows: null where there is none. A key that is not remembered lies in the store, and
  // is good until the next call and no longer than the moment's transaction.
  struct Seen {
    const NodeView* view = nullptr;
    CachedNode* node = nullptr;  // null where it is not remembered
  };
  // A look without entering the store where the key itself is remembered as of now, whatever lies outside;
  // where the transaction outlasts the look, without a copy of a key that is asked for once.
  Seen glance(Moment& moment, const NodeRef& base, std::u16string_view path, bool outlasts);
  // The key at that place, or null where it was deleted.
  CachedNode* open(Moment& moment, const NodeRef& node) { return open(moment, node, {}); }
  // The same for a place in the cache where it was before: null also where that was given away.
  CachedNode* reopen(Moment& moment, std::uint64_t serial, std::uint64_t id);

  // For a transaction, where only this part of the cache is in play: the id of the key at a path that had
  // children, 0 where none is known, and to keep one. It must be a key of the store as committed.
  std::uint64_t parentAt(const NodeRef& base, std::u16string_view path) const;
  void keepParent(const NodeRef& base, std::u16string_view path, std::uint64_t id);

  // Tells this cache from every other one of the process.
  std::uint64_t id() const { return m_id; }
  void clear();

private:
  // A key that is asked for once passes through a few places that stay in the processor's cache; one that is
  // missed again while that is remembered is kept. So whoever walks through a large tree neither fills the
  // memory with what he does not come back to, nor drives out what others of the thread live on.
  static constexpr std::size_t ways = 8;
  static constexpr std::size_t kept = 4096;
  static constexpr std::size_t passing = 64;
  static constexpr std::size_t places = kept + passing;
  static constexpr std::size_t remembered = 2 * kept;
  // A serial is a multiple of it, and the place.
  static constexpr std::uint64_t serialStep = std::bit_ceil(places);

  using MissedSet = std::array<std::uint32_t, ways>;  // parts of hashes, the last one first

  static std::size_t keptSet(std::uint64_t hash) { return hash % (kept / ways) * ways; }
  static std::size_t passingSet(std::uint64_t hash) { return kept + hash % (passing / ways) * ways; }
  static std::size_t placeOf(std::uint64_t serial) { return serial % serialStep; }

  CachedNode* open(Moment& moment, const NodeRef& base, std::u16string_view path, std::uint64_t hash);
  // The key where it lies, if it was not missed before, its parent is known and it has no values outside;
  // null says nothing.
  const NodeView* lookAt(Moment& moment, const NodeRef& base, std::u16string_view path, std::uint64_t hash);
  CachedNode* find(std::uint64_t hash, std::uint64_t base, std::u16string_view path);
  CachedNode* findIn(std::size_t set, std::uint64_t hash, std::uint64_t base, std::u16string_view path);
  // Whether it was missed not long ago.
  bool wasMissed(std::uint64_t hash) const;
  void noteMiss(std::uint64_t hash);
  static std::size_t missedSet(std::uint64_t hash) { return (hash >> 16) % (remembered / ways); }
  static std::uint32_t missedPart(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32); }
  CachedNode& victim(std::uint64_t hash);
  std::uint64_t newSerial(std::size_t place);
  bool isCurrent(Moment& moment, CachedNode& node);
  std::optional<std::string_view> seek(Moment& moment, const NodeRef& base, std::u16string_view path,
                                       EntryKey& place);
  CachedNode* load(Moment& moment, const NodeRef& base, std::u16string_view path, std::uint64_t hash);

  std::uint64_t m_id;
  std::uint64_t m_nextSerial = serialStep;
  std::uint32_t m_clock = 0;
  std::vector<MissedSet> m_missed;
  // Beside the nodes, so that a search stays in one line of the processor's cache.
  struct alignas(64) HashSet {
    std::array<std::uint64_t, ways> hashes{};
  };
  std::vector<HashSet> m_hashes;
  std::vector<std::uint32_t> m_lastUses;
  ParentIds m_parents;
  NodeView m_passing;  // where it lies in the store
  std::vector<std::unique_ptr<CachedNode>> m_nodes;
};

}  // namespace registry
