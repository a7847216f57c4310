// Sub keys and values by number. A thread remembers where its last answer lay, so that a walk takes a
// step a call instead of counting from the front each time.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/registry/Cache.h"

namespace registry {

struct NamedValue {
  std::uint32_t type = 0;
  std::string_view name;  // as displayed, UTF-8
  std::string_view data;
};

// Both go by folded name, ascending. False past the end. What they deliver is valid until the end of
// the moment, or the next write in a transaction.
bool subKeyAt(const Moment& moment, const NodeHeader& node, std::uint32_t index, NodeView& child);
bool valueAt(const Moment& moment, const NodeView& node, std::uint32_t index, NamedValue& value);

// Gives up what the thread remembers: after writes were taken back, a key may come to the same revision
// with other content.
void forgetPositions();

}  // namespace registry
