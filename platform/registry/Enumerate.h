// Sub keys and values by number. A thread remembers where its last answer lay, so that a walk takes a
// step a call instead of counting from the front each time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry/Cache.h"

namespace registry {

// Where the thread's last walk over one key stood: what it delivered at that index was stored under that
// name. Of no use once the key changed.
struct Position {
  std::uint64_t node = 0;
  std::uint64_t revision = 0;
  std::uint32_t index = 0;
  std::string name;  // as it is in the store's key, behind the owner

  bool leadsTo(const NodeHeader& header, std::uint32_t wanted) const {
    return node == header.id && revision == header.revision && wanted > index;
  }
  void set(const NodeHeader& header, std::uint32_t at, std::string_view stored) {
    name.assign(stored);
    node = header.id;
    revision = header.revision;
    index = at;
  }
};

struct NamedValue {
  std::uint32_t type = 0;
  std::string_view name;  // as displayed, UTF-8
  std::string_view data;
};

// Both go by folded name, ascending. False past the end. What they deliver is valid until the end of
// the moment, or the next write in a transaction.
bool subKeyAt(const Moment& moment, const NodeHeader& node, std::uint32_t index, Position& last,
              NodeView& child);
bool valueAt(const Moment& moment, const NodeView& node, std::uint32_t index, Position& last,
             NamedValue& value);

}  // namespace registry
