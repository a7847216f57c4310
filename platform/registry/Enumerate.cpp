#include "platform/registry/Enumerate.h"

#include <optional>
#include <string>

#include "platform/registry/Fold.h"

namespace registry {
namespace {

std::string ownerPrefix(std::uint64_t owner) {
  return std::string(EntryKey(owner, {}).bytes());
}

// One table's entries of one owner, in order.
class Entries {
public:
  Entries(MDB_txn* txn, MDB_dbi table, std::uint64_t owner)
      : m_cursor(txn, table), m_prefix(ownerPrefix(owner)) {}

  // To the first entry at or after a stored name; after it where `beyond` says so.
  void seek(std::string_view name, bool beyond) {
    std::string key = m_prefix;
    key += name;
    m_found = m_cursor.seek(key);
    if (m_found && beyond && m_cursor.key() == key) m_found = m_cursor.next();
  }
  void next() { m_found = m_cursor.next(); }

  bool atEnd() const {
    return !m_found || m_cursor.key().substr(0, m_prefix.size()) != std::string_view(m_prefix);
  }
  std::string_view name() const { return m_cursor.key().substr(m_prefix.size()); }
  std::string_view data() const { return m_cursor.data(); }

private:
  Cursor m_cursor;
  std::string m_prefix;
  bool m_found = false;
};

// A key's values from both places, merged by name. Most keys have none outside, and none are looked for then.
class Values {
public:
  Values(const Moment& moment, const NodeView& node, std::string_view start, bool beyond)
      : m_inside(node.begin()), m_end(node.end()) {
    while (m_inside != m_end && ((*m_inside).folded < start || (beyond && (*m_inside).folded == start))) {
      ++m_inside;
    }
    if (node.header().outside == 0) return;
    m_outside.emplace(moment.txn, moment.tables->values, node.header().id);
    m_outside->seek(start, beyond);
  }

  bool atEnd() const { return m_inside == m_end && isOutsideAtEnd(); }
  void next() {
    if (isInside()) {
      ++m_inside;
    } else {
      m_outside->next();
    }
  }
  std::string_view storedName() const { return isInside() ? (*m_inside).folded : m_outside->name(); }
  NamedValue value() const {
    if (isInside()) {
      const InlineValue value = *m_inside;
      return {value.type, value.name, value.data};
    }
    const OutsideValue value = OutsideValue::decode(m_outside->data());
    return {value.type, value.name, value.data};
  }

private:
  bool isOutsideAtEnd() const { return !m_outside || m_outside->atEnd(); }
  bool isInside() const {
    if (m_inside == m_end) return false;
    return isOutsideAtEnd() || (*m_inside).folded < m_outside->name();
  }

  NodeView::Iterator m_inside;
  NodeView::Iterator m_end;
  std::optional<Entries> m_outside;
};

}  // namespace

bool subKeyAt(const Moment& moment, const NodeHeader& node, std::uint32_t index, Position& last,
              NodeView& child) {
  if (index >= node.subKeys) return false;
  const bool onward = last.leadsTo(node, index);
  Entries entries(moment.txn, moment.tables->nodes, node.id);
  entries.seek(onward ? std::string_view(last.name) : std::string_view(), onward);
  for (std::uint32_t steps = onward ? index - last.index - 1 : index; steps > 0 && !entries.atEnd();
       --steps) {
    entries.next();
  }
  if (entries.atEnd()) return false;
  child.decode(entries.data());
  last.set(node, index, entries.name());
  return true;
}

bool valueAt(const Moment& moment, const NodeView& node, std::uint32_t index, Position& last,
             NamedValue& value) {
  if (index >= node.header().values) return false;
  const bool onward = last.leadsTo(node.header(), index);
  Values values(moment, node, onward ? std::string_view(last.name) : std::string_view(), onward);
  for (std::uint32_t steps = onward ? index - last.index - 1 : index; steps > 0 && !values.atEnd(); --steps) {
    values.next();
  }
  if (values.atEnd()) return false;
  value = values.value();
  last.set(node.header(), index, values.storedName());
  return true;
}

}  // namespace registry
