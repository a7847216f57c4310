#include "platform/registry/Cache.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/registry/Hash.h"
#include "platform/support/Utf.h"

namespace registry {
namespace {

constexpr std::size_t maxAnswers = 8;
constexpr std::size_t maxAnswerData = 1024;  // larger values are read from the store each time
constexpr std::size_t maxKept = 4096;        // what a reused place may keep reserved

std::atomic<std::uint64_t> g_nextCacheId{1};

// True where the path is written as splitPath would write it.
bool isPlain(std::u16string_view path) {
  return path.empty() ||
         (path.back() != u'\\' && path.front() != u'\\' && path.find(u"\\\\") == std::u16string_view::npos);
}

std::size_t countLevels(std::u16string_view path) {
  return static_cast<std::size_t>(std::count(path.begin(), path.end(), u'\\')) + 1;
}

std::u16string plain(std::u16string_view path) {
  std::u16string text;
  for (const std::u16string_view part : splitPath(path)) {
    if (!text.empty()) text += u'\\';
    text += part;
  }
  return text;
}

bool isNamed(const NodeView& view, const EntryKey& place, std::u16string_view leaf) {
  return !place.isHashed() || FoldedName(support::toUtf16(view.name())).view() == FoldedName(leaf).view();
}

}  // namespace

std::optional<ValueRef> CachedNode::value(const Moment& moment, std::string_view folded) {
  if (const auto inside = m_view.find(folded)) return ValueRef{inside->type, inside->data};
  if (m_view.header().outside == 0) return std::nullopt;
  return outsideValue(moment, folded);
}

std::optional<ValueRef> CachedNode::outsideValue(const Moment& moment, std::string_view folded) {
  for (const Answer& answer : m_answers) {
    if (answer.folded != folded) continue;
    if (!answer.exists) return std::nullopt;
    return ValueRef{answer.type, answer.data};
  }
  const auto value = Tree(moment.txn, *moment.tables).outside(m_ref.id, folded);
  if (value && value->data.size() > maxAnswerData) return ValueRef{value->type, value->data};
  if (m_answers.size() == maxAnswers) m_answers.clear();
  m_answers.push_back({std::string(folded), value.has_value(), value ? value->type : 0,
                       std::string(value ? value->data : std::string_view())});
  if (!value) return std::nullopt;
  return ValueRef{value->type, m_answers.back().data};
}

void CachedNode::load(std::u16string_view path, std::string_view record, std::uint64_t number) {
  if (m_bytes.capacity() > maxKept) m_bytes = std::string();
  m_pathSize = static_cast<std::uint32_t>(path.size() * sizeof(char16_t));
  m_bytes.assign(reinterpret_cast<const char*>(path.data()), m_pathSize).append(record);
  m_answers.clear();
  m_view.decode(std::string_view(m_bytes).substr(m_pathSize));
  m_number = number;
}

bool CachedNode::isAt(std::u16string_view path) const {
  return path.size() * sizeof(char16_t) == m_pathSize &&
         (path.empty() || std::memcmp(path.data(), m_bytes.data(), m_pathSize) == 0);
}

NodeCache::NodeCache() : m_id(g_nextCacheId.fetch_add(1, std::memory_order_relaxed)) {}

void NodeCache::clear() {
  m_nodes.clear();
}

CachedNode* NodeCache::open(const Moment& moment, const NodeRef& base, std::u16string_view path) {
  const std::uint64_t hash = hash64(path.data(), path.size() * sizeof(char16_t), base.id);
  CachedNode* node = find(hash, base.id, path);
  if (node != nullptr && isCurrent(moment, *node)) return node;
  if (!isPlain(path)) return open(moment, base, plain(path));
  if (countLevels(path) > maxDepth) return nullptr;  // also keeps the recursion from running deep
  return load(moment, base, path, hash);
}

CachedNode* NodeCache::reopen(const Moment& moment, std::uint64_t serial, std::uint64_t id) {
  const std::size_t index = serial & (capacity - 1);
  CachedNode* node = m_nodes.empty() ? nullptr : m_nodes[index].get();
  if (node == nullptr || node->m_serial != serial || node->m_ref.id != id) return nullptr;
  return isCurrent(moment, *node) ? node : nullptr;
}

CachedNode* NodeCache::find(std::uint64_t hash, std::uint64_t base, std::u16string_view path) {
  if (m_nodes.empty()) {
    m_hashes.resize(capacity);
    m_nodes.resize(capacity);
  }
  const std::size_t set = (hash & (capacity / ways - 1)) * ways;
  for (std::size_t way = set; way < set + ways; ++way) {
    if (m_hashes[way] != hash) continue;
    CachedNode* node = m_nodes[way].get();
    if (node == nullptr || node->m_base != base || !node->isAt(path)) continue;
    node->m_lastUse = ++m_clock;
    return node;
  }
  return nullptr;
}

CachedNode& NodeCache::victim(std::uint64_t hash) {
  const std::size_t set = (hash & (capacity / ways - 1)) * ways;
  std::size_t oldest = set;
  for (std::size_t way = set; way < set + ways; ++way) {
    if (m_nodes[way] == nullptr) {
      oldest = way;
      break;
    }
    if (m_clock - m_nodes[way]->m_lastUse > m_clock - m_nodes[oldest]->m_lastUse) oldest = way;
  }
  if (m_nodes[oldest] == nullptr) m_nodes[oldest] = std::make_unique<CachedNode>();
  CachedNode& node = *m_nodes[oldest];
  node.m_serial = m_nextSerial + oldest;  // its low bits are its place
  m_nextSerial += capacity;
  node.m_lastUse = ++m_clock;
  return node;
}

// A key found at its place with its own id has all its ancestors still, since none can go before it.
bool NodeCache::isCurrent(const Moment& moment, CachedNode& node) {
  if (node.m_number == moment.number) return true;
  const auto record = fetch(moment.txn, moment.tables->nodes, node.m_ref.place.bytes());
  if (!record) return false;
  const auto [id, revision] = NodeView::peek(*record);
  if (id != node.m_ref.id) return false;
  if (revision == node.m_view.header().revision && node.m_number != 0) {
    node.m_number = moment.number;
  } else {
    node.m_number = 0;  // should the record prove damaged, nothing of it may be used
    const std::u16string path(reinterpret_cast<const char16_t*>(node.m_bytes.data()),
                              node.m_pathSize / sizeof(char16_t));
    node.load(path, *record, moment.number);
  }
  return true;
}

// The place of the key's record: below the parent, which as a rule is in the cache.
std::optional<EntryKey> NodeCache::locate(const Moment& moment, const NodeRef& base,
                                          std::u16string_view path) {
  if (path.empty()) return base.place;
  const std::size_t end = path.rfind(u'\\');
  const std::u16string_view leaf = end == std::u16string_view::npos ? path : path.substr(end + 1);
  if (leaf.size() > maxKeyName) throw Failure(ERROR_INVALID_PARAMETER);
  if (end == std::u16string_view::npos) return EntryKey(base.id, FoldedName(leaf).view());
  const CachedNode* parent = open(moment, base, path.substr(0, end));
  if (parent == nullptr) return std::nullopt;
  return EntryKey(parent->m_ref.id, FoldedName(leaf).view());
}

CachedNode* NodeCache::load(const Moment& moment, const NodeRef& base, std::u16string_view path,
                            std::uint64_t hash) {
  const auto place = locate(moment, base, path);
  if (!place) return nullptr;
  const auto record = fetch(moment.txn, moment.tables->nodes, place->bytes());
  if (!record) return nullptr;
  CachedNode* known = find(hash, base.id, path);
  CachedNode& node = known != nullptr ? *known : victim(hash);
  std::uint64_t& tag = m_hashes[node.m_serial & (capacity - 1)];
  tag = 0;  // unfindable until it is whole
  node.m_number = 0;
  node.load(path, *record, 0);
  const std::size_t leaf = path.rfind(u'\\') + 1;
  if (!path.empty() && !isNamed(node.m_view, *place, path.substr(leaf))) return nullptr;
  if (path.empty() && node.m_view.header().id != base.id) return nullptr;
  node.m_base = base.id;
  node.m_ref = {*place, node.m_view.header().id};
  tag = hash;
  node.m_number = moment.number;
  return &node;
}

}  // namespace registry
