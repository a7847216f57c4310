#include "platform/registry/Tree.h"

#include <algorithm>

#include "platform/support/Utf.h"

namespace registry {
namespace {

bool belongsTo(std::string_view key, std::uint64_t owner) {
  return key.size() >= ownerSize && getId(key.data()) == owner;
}

// The longest sorts first.
std::string sizeKey(std::uint64_t node, std::uint8_t kind, std::uint32_t length) {
  std::string key(ownerSize + 1 + sizeof length, '\0');
  putId(key.data(), node);
  key[ownerSize] = static_cast<char>(kind);
  const std::uint32_t inverted = __builtin_bswap32(~length);
  key.replace(ownerSize + 1, sizeof inverted, reinterpret_cast<const char*>(&inverted), sizeof inverted);
  return key;
}

// Where a volatile key's parent and the key itself lie, for the purge.
std::string packPair(const EntryKey& parent, const EntryKey& node) {
  std::string pair;
  pair += static_cast<char>(parent.bytes().size() >> 8);
  pair += static_cast<char>(parent.bytes().size() & 0xFFU);
  return pair.append(parent.bytes()).append(node.bytes());
}

std::pair<EntryKey, EntryKey> unpackPair(std::string_view pair) {
  if (pair.size() < 2) throw Failure(ERROR_REGISTRY_CORRUPT);
  const auto byte = [&pair](std::size_t at) -> std::size_t { return static_cast<unsigned char>(pair[at]); };
  const std::size_t size = byte(0) << 8U | byte(1);
  if (pair.size() < 2 + size) throw Failure(ERROR_REGISTRY_CORRUPT);
  return {EntryKey::fromBytes(pair.substr(2, size)), EntryKey::fromBytes(pair.substr(2 + size))};
}

bool fitsInside(const NodeRecord& record, const NodeRecord::Value& value) {
  return value.type <= maxInlineType && value.folded.size() <= maxInlineName &&
         value.name.size() <= maxInlineName && value.data.size() <= maxInlineData &&
         record.encodedSize() + value.folded.size() + value.name.size() + value.data.size() <=
             maxInlineRecord;
}

std::vector<NodeRecord::Value>::iterator place(NodeRecord& record, std::string_view folded) {
  return std::lower_bound(record.values.begin(), record.values.end(), folded,
                          [](const auto& value, std::string_view name) { return value.folded < name; });
}

void touch(NodeRecord& record) {
  ++record.header.revision;
  record.header.lastWrite = fileTimeNow();
}

}  // namespace

std::uint32_t lengthOf(std::string_view sizeKey) {
  std::uint32_t inverted = 0;
  sizeKey.substr(ownerSize + 1).copy(reinterpret_cast<char*>(&inverted), sizeof inverted);
  return ~__builtin_bswap32(inverted);
}

std::uint32_t utf16Length(std::string_view utf8) {
  std::uint32_t length = 0;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0U) != 0x80U) length += byte >= 0xF0U ? 2 : 1;
  }
  return length;
}

const NodeRef& hiveRef(std::uint64_t id) {
  const auto make = [](std::uint64_t hive) {
    return NodeRef{hive, EntryKey(rootId, FoldedName(hiveName(hive)).view())};
  };
  static const std::array<NodeRef, hiveCount> refs = {make(1), make(2), make(3), make(4)};
  return refs[id - 1];
}

std::vector<std::u16string_view> splitPath(std::u16string_view path) {
  if (!path.empty() && path.front() == u'\\') throw Failure(ERROR_BAD_PATHNAME);
  std::vector<std::u16string_view> parts;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find(u'\\'), path.size());
    if (end > maxKeyName) throw Failure(ERROR_INVALID_PARAMETER);
    if (end > 0) parts.push_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return parts;
}

bool Tree::read(const NodeRef& node, NodeView& view) const {
  const auto record = fetch(m_txn, m_tables.nodes, node.place.bytes());
  if (!record) return false;
  view.decode(*record);
  return view.header().id == node.id;
}

std::optional<NodeRef> Tree::child(std::uint64_t parent, std::u16string_view name) const {
  const FoldedName folded(name);
  NodeRef node{rootId, EntryKey(parent, folded.view())};
  const auto record = fetch(m_txn, m_tables.nodes, node.place.bytes());
  if (!record) return std::nullopt;
  NodeView view;
  view.decode(*record);
  if (node.place.isHashed() && FoldedName(support::toUtf16(view.name())).view() != folded.view()) {
    return std::nullopt;
  }
  node.id = view.header().id;
  return node;
}

std::optional<Tree::Chain> Tree::resolve(const NodeRef& base, std::u16string_view path) const {
  const auto parts = splitPath(path);
  if (parts.empty()) return Chain{find(base.place.owner()), base};
  Chain chain{{}, base};
  for (const std::u16string_view part : parts) {
    const auto next = child(chain.node.id, part);
    if (!next) return std::nullopt;
    chain = {chain.node, *next};
  }
  return chain;
}

// Only for a key that is deleted through its own handle: nothing else needs the way up.
NodeRef Tree::find(std::uint64_t id) const {
  if (id == rootId) throw Failure(ERROR_ACCESS_DENIED);
  Cursor cursor(m_txn, m_tables.nodes);
  NodeView view;
  for (bool found = cursor.first(); found; found = cursor.next()) {
    if (isTable(cursor.key())) continue;
    view.decode(cursor.data());
    if (view.header().id == id) return {id, EntryKey::fromBytes(cursor.key())};
  }
  throw Failure(ERROR_REGISTRY_CORRUPT);
}

std::optional<OutsideValue> Tree::outside(std::uint64_t node, std::string_view folded) const {
  const EntryKey key(node, folded);
  const auto record = fetch(m_txn, m_tables.values, key.bytes());
  if (!record) return std::nullopt;
  const OutsideValue value = OutsideValue::decode(*record);
  if (key.isHashed() && FoldedName(support::toUtf16(value.name)).view() != folded) return std::nullopt;
  return value;
}

NodeRecord Tree::edit(const NodeRef& node) const {
  NodeView view;
  if (!read(node, view)) throw Failure(ERROR_KEY_DELETED);
  return NodeRecord::from(view);
}

void Tree::save(const NodeRef& node, NodeRecord& record) {
  touch(record);
  store(m_txn, m_tables.nodes, node.place.bytes(), record.encode());
}

Tree::Created Tree::create(const NodeRef& base, std::u16string_view path, bool isVolatile) {
  const auto parts = splitPath(path);
  NodeRef node = base;
  std::size_t at = 0;
  for (; at < parts.size(); ++at) {
    const auto next = child(node.id, parts[at]);
    if (!next) break;
    node = *next;
  }
  if (at == parts.size()) return {node, false};
  const NodeHeader above = edit(node).header;
  if (above.isVolatile && !isVolatile) throw Failure(ERROR_CHILD_MUST_BE_VOLATILE);
  if (above.depth + (parts.size() - at) > maxDepth) throw Failure(ERROR_INVALID_PARAMETER);
  for (; at < parts.size(); ++at) node = addChild(node, parts[at], isVolatile);
  return {node, true};
}

NodeRef Tree::addChild(const NodeRef& parent, std::u16string_view name, bool isVolatile) {
  NodeRecord above = edit(parent);
  NodeRef node{takeId(m_txn, m_tables), EntryKey(parent.id, FoldedName(name).view())};
  NodeRecord record;
  record.header.id = node.id;
  record.header.depth = above.header.depth + 1;
  record.header.isVolatile = isVolatile;
  record.name = support::toUtf8(name);
  save(node, record);

  const auto length = static_cast<std::uint32_t>(name.size());
  count(parent.id, Kind::SubKeyName, length, +1);
  ++above.header.subKeys;
  above.header.maxSubKeyName = std::max(above.header.maxSubKeyName, length);
  save(parent, above);
  if (isVolatile && !above.header.isVolatile) {
    std::string id(ownerSize, '\0');
    putId(id.data(), node.id);
    store(m_txn, m_tables.volatiles, id, sealed(packPair(parent.place, node.place)));
  }
  return node;
}

void Tree::remove(const NodeRef& base, std::u16string_view path) {
  // Children are no proof: another process may have given the number of a key that was taken back.
  if (NodeView view; !read(base, view)) throw Failure(ERROR_KEY_DELETED);
  const auto chain = resolve(base, path);
  if (!chain) throw Failure(ERROR_FILE_NOT_FOUND);
  if (edit(chain->node).header.subKeys != 0) throw Failure(ERROR_ACCESS_DENIED);
  dropKey(chain->parent, chain->node);
}

void Tree::dropKey(const NodeRef& parent, const NodeRef& node) {
  const NodeRecord record = edit(node);
  NodeRecord above = edit(parent);
  dropEntries(m_tables.values, node.id);
  dropEntries(m_tables.sizes, node.id);
  std::string id(ownerSize, '\0');
  putId(id.data(), node.id);
  erase(m_txn, m_tables.volatiles, id);
  erase(m_txn, m_tables.nodes, node.place.bytes());

  count(parent.id, Kind::SubKeyName, utf16Length(record.name), -1);
  --above.header.subKeys;
  above.header.maxSubKeyName = longest(parent.id, Kind::SubKeyName);
  save(parent, above);
}

void Tree::dropEntries(MDB_dbi table, std::uint64_t owner) {
  const EntryKey first(owner, {});
  Cursor cursor(m_txn, table);
  while (cursor.seek(first.bytes()) && belongsTo(cursor.key(), owner)) cursor.erase();
}

void Tree::dropTree(const NodeRef& parent, const NodeRef& node) {
  for (;;) {
    NodeRef below;
    {
      const EntryKey first(node.id, {});
      Cursor cursor(m_txn, m_tables.nodes);
      if (!cursor.seek(first.bytes()) || !belongsTo(cursor.key(), node.id)) break;
      NodeView view;
      view.decode(cursor.data());
      below = {view.header().id, EntryKey::fromBytes(cursor.key())};
    }
    dropTree(node, below);
  }
  dropKey(parent, node);
}

std::vector<std::uint64_t> Tree::volatileKeys() const {
  std::vector<std::uint64_t> ids;
  Cursor cursor(m_txn, m_tables.volatiles);
  for (bool found = cursor.first(); found; found = cursor.next()) {
    ids.push_back(getId(cursor.key().data()));
  }
  return ids;
}

void Tree::removeVolatileKey(std::uint64_t id) {
  std::string key(ownerSize, '\0');
  putId(key.data(), id);
  const auto places = fetch(m_txn, m_tables.volatiles, key);
  if (!places) return;
  const auto [parent, place] = unpackPair(unsealed(*places));
  dropTree({place.owner(), parent}, {id, place});
}

void Tree::setValue(const NodeRef& node, std::u16string_view name, std::uint32_t type,
                    std::string_view data) {
  NodeRecord record = edit(node);
  const FoldedName folded(name);
  const EntryKey key(node.id, folded.view());
  NodeRecord::Value value{type, std::string(folded.view()), support::toUtf8(name), std::string(data)};
  const auto at = place(record, folded.view());
  const bool wasInside = at != record.values.end() && at->folded == folded.view();
  if (wasInside) {
    value.name = at->name;
    record.values.erase(at);
    --record.header.values;
  } else if (const auto before = outside(node.id, folded.view())) {
    value.name = std::string(before->name);
    dropOutside(record, key);
  }
  ++record.header.values;
  if (fitsInside(record, value)) {
    record.values.insert(place(record, folded.view()), std::move(value));
  } else {
    putOutside(record, key, {type, value.name, data});
  }
  refreshValueMaxima(record);
  save(node, record);
}

bool Tree::removeValue(const NodeRef& node, std::u16string_view name) {
  NodeRecord record = edit(node);
  const FoldedName folded(name);
  const auto at = place(record, folded.view());
  if (at != record.values.end() && at->folded == folded.view()) {
    record.values.erase(at);
    --record.header.values;
  } else if (!outside(node.id, folded.view()) || !dropOutside(record, EntryKey(node.id, folded.view()))) {
    return false;
  }
  refreshValueMaxima(record);
  save(node, record);
  return true;
}

void Tree::putOutside(NodeRecord& record, const EntryKey& key, const OutsideValue& value) {
  store(m_txn, m_tables.values, key.bytes(), value.encode());
  count(record.header.id, Kind::ValueName, utf16Length(value.name), +1);
  count(record.header.id, Kind::ValueData, static_cast<std::uint32_t>(value.data.size()), +1);
  ++record.header.outside;
}

bool Tree::dropOutside(NodeRecord& record, const EntryKey& key) {
  const auto bytes = fetch(m_txn, m_tables.values, key.bytes());
  if (!bytes) return false;
  const OutsideValue value = OutsideValue::decode(*bytes);
  const std::uint32_t nameLength = utf16Length(value.name);
  const auto dataSize = static_cast<std::uint32_t>(value.data.size());
  erase(m_txn, m_tables.values, key.bytes());
  count(record.header.id, Kind::ValueName, nameLength, -1);
  count(record.header.id, Kind::ValueData, dataSize, -1);
  --record.header.outside;
  --record.header.values;
  return true;
}

void Tree::count(std::uint64_t node, Kind kind, std::uint32_t length, int change) {
  const std::string key = sizeKey(node, static_cast<std::uint8_t>(kind), length);
  std::uint32_t number = 0;
  if (const auto record = fetch(m_txn, m_tables.sizes, key)) {
    unsealed(*record).copy(reinterpret_cast<char*>(&number), sizeof number);
  }
  number += static_cast<std::uint32_t>(change);
  if (number == 0) {
    erase(m_txn, m_tables.sizes, key);
  } else {
    store(m_txn, m_tables.sizes, key, sealed({reinterpret_cast<const char*>(&number), sizeof number}));
  }
}

std::uint32_t Tree::longest(std::uint64_t node, Kind kind) const {
  const std::string first = sizeKey(node, static_cast<std::uint8_t>(kind), ~std::uint32_t{0});
  Cursor cursor(m_txn, m_tables.sizes);
  if (!cursor.seek(first)) return 0;
  const std::string_view key = cursor.key();
  return key.substr(0, ownerSize + 1) == std::string_view(first).substr(0, ownerSize + 1) ? lengthOf(key) : 0;
}

void Tree::refreshValueMaxima(NodeRecord& record) const {
  NodeHeader& header = record.header;
  header.maxValueName = header.outside == 0 ? 0 : longest(header.id, Kind::ValueName);
  header.maxValueData = header.outside == 0 ? 0 : longest(header.id, Kind::ValueData);
  for (const auto& value : record.values) {
    header.maxValueName = std::max(header.maxValueName, utf16Length(value.name));
    header.maxValueData = std::max(header.maxValueData, static_cast<std::uint32_t>(value.data.size()));
  }
}

}  // namespace registry
