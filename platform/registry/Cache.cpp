#include "platform/registry/Cache.h"

#include <sys/random.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <utility>

#include "platform/registry/Hash.h"
#include "platform/support/Scan.h"
#include "platform/support/Utf.h"

namespace registry {
namespace {

constexpr std::size_t maxAnswers = 8;
constexpr std::size_t maxAnswerData = 1024;  // larger values are read from the store each time
constexpr std::size_t maxKept = 4096;        // what a reused place may keep reserved

std::atomic<std::uint64_t> g_nextCacheId{1};

// The levels of a path that is written as splitPath would write it; none for another spelling.
std::optional<std::size_t> plainLevels(std::u16string_view path) {
  std::size_t levels = 1;
  for (std::u16string_view rest = path; !rest.empty(); ++levels) {
    const std::size_t end = support::indexOf(rest, u'\\');
    if (end == std::u16string_view::npos) break;
    if (end == 0 || end + 1 == rest.size()) return std::nullopt;
    rest.remove_prefix(end + 1);
  }
  return levels;
}

std::u16string plain(std::u16string_view path) {
  std::u16string text;
  for (const std::u16string_view part : splitPath(path)) {
    if (!text.empty()) text += u'\\';
    text += part;
  }
  return text;
}

std::uint64_t hashOf(const NodeRef& base, std::u16string_view path) {
  return hash64(path.data(), path.size() * sizeof(char16_t), base.id);
}

std::uint64_t drawSeed() {
  std::uint64_t seed = 0;
  if (::getrandom(&seed, sizeof seed, GRND_NONBLOCK) == sizeof seed) return seed;
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

bool isNamed(const NodeView& view, const EntryKey& place, std::u16string_view leaf) {
  return !place.isHashed() || FoldedName(support::toUtf16(view.name())).view() == FoldedName(leaf).view();
}

}  // namespace

bool CachedNode::knows(std::string_view folded) const {
  return std::ranges::any_of(m_answers, [&](const Answer& answer) { return answer.folded == folded; });
}

bool CachedNode::outsideValue(const Moment& moment, std::string_view folded, ValueRef& value) {
  for (const Answer& answer : m_answers) {
    if (answer.folded != folded) continue;
    if (answer.exists) value = {answer.type, answer.data};
    return answer.exists;
  }
  const auto found = Tree(moment.txn, *moment.tables).outside(m_ref.id, folded);
  if (found) value = {found->type, found->data};
  if (found && found->data.size() > maxAnswerData) return true;
  if (m_answers.size() == maxAnswers) m_answers.clear();
  m_answers.push_back({std::string(folded), found.has_value(), found ? found->type : 0,
                       std::string(found ? found->data : std::string_view())});
  return found.has_value();
}

void CachedNode::load(std::u16string_view path, std::string_view record, std::uint64_t number) {
  m_pathSize = 0;  // as long as the bytes may be others
  if (m_bytes.capacity() > maxKept) m_bytes = std::string();
  const std::size_t pathBytes = path.size() * sizeof(char16_t);
  m_bytes.assign(reinterpret_cast<const char*>(path.data()), pathBytes).append(record);
  m_pathSize = static_cast<std::uint32_t>(pathBytes);
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
  m_parents.clear();
}

CachedNode* NodeCache::open(Moment& moment, const NodeRef& base, std::u16string_view path) {
  return open(moment, base, path, hashOf(base, path));
}

CachedNode* NodeCache::open(Moment& moment, const NodeRef& base, std::u16string_view path,
                            std::uint64_t hash) {
  CachedNode* node = find(hash, base.id, path);
  if (node != nullptr && isCurrent(moment, *node)) return node;
  const auto levels = plainLevels(path);
  if (!levels) return open(moment, base, plain(path));
  if (*levels > maxDepth) return nullptr;  // also keeps the recursion from running deep
  return load(moment, base, path, hash);
}

NodeCache::Seen NodeCache::glance(Moment& moment, const NodeRef& base, std::u16string_view path,
                                  bool outlasts) {
  const std::uint64_t hash = hashOf(base, path);
  CachedNode* const node = find(hash, base.id, path);
  if (node != nullptr && node->isAsOf(moment)) [[likely]]
    return {&node->view(), node};
  if (node == nullptr && outlasts) {
    if (const NodeView* const view = lookAt(moment, base, path, hash)) return {view, nullptr};
  }
  CachedNode* const opened = open(moment, base, path, hash);
  return {opened == nullptr ? nullptr : &opened->view(), opened};
}

const NodeView* NodeCache::lookAt(Moment& moment, const NodeRef& base, std::u16string_view path,
                                  std::uint64_t hash) {
  const std::size_t end = path.rfind(u'\\');
  if (end == std::u16string_view::npos) return nullptr;
  const ParentIds::Place parent(m_parents, base.id, path.substr(0, end));
  const std::u16string_view leaf = path.substr(end + 1);
  if (wasMissed(hash) || leaf.empty() || leaf.size() > maxKeyName) return nullptr;
  const FoldedName folded(leaf);
  moment.enter();
  if (parent.id() == 0) return nullptr;
  const EntryKey place(parent.id(), folded.view());
  const auto record = fetch(moment.txn, moment.tables->nodes, place.bytes());
  if (!record) return nullptr;
  m_passing.decode(*record);
  if (m_passing.header().outside != 0 || !isNamed(m_passing, place, leaf)) return nullptr;
  noteMiss(hash);
  return &m_passing;
}

CachedNode* NodeCache::reopen(Moment& moment, std::uint64_t serial, std::uint64_t id) {
  const std::size_t index = placeOf(serial);
  CachedNode* node = m_nodes.empty() ? nullptr : m_nodes[index].get();
  if (node == nullptr || node->m_serial != serial || node->m_ref.id != id) return nullptr;
  return isCurrent(moment, *node) ? node : nullptr;
}

CachedNode* NodeCache::find(std::uint64_t hash, std::uint64_t base, std::u16string_view path) {
  if (m_nodes.empty()) {
    m_missed.resize(remembered / ways);
    m_hashes.resize(places / ways);
    m_lastUses.resize(places);
    m_nodes.resize(places);
  }
  CachedNode* const node = findIn(keptSet(hash), hash, base, path);
  return node != nullptr ? node : findIn(passingSet(hash), hash, base, path);
}

CachedNode* NodeCache::findIn(std::size_t set, std::uint64_t hash, std::uint64_t base,
                              std::u16string_view path) {
  const HashSet& hashes = m_hashes[set / ways];
  for (std::size_t way = set; way < set + ways; ++way) {
    if (hashes.hashes[way - set] != hash) continue;
    CachedNode* node = m_nodes[way].get();
    if (node == nullptr || node->m_base != base || !node->isAt(path)) continue;
    m_lastUses[way] = ++m_clock;
    return node;
  }
  return nullptr;
}

bool NodeCache::wasMissed(std::uint64_t hash) const {
  const MissedSet& set = m_missed[missedSet(hash)];
  return std::ranges::find(set, missedPart(hash)) != set.end();
}

void NodeCache::noteMiss(std::uint64_t hash) {
  MissedSet& set = m_missed[missedSet(hash)];
  std::shift_right(set.begin(), set.end(), 1);
  set.front() = missedPart(hash);
}

std::uint64_t NodeCache::newSerial(std::size_t place) {
  return std::exchange(m_nextSerial, m_nextSerial + serialStep) + place;
}

CachedNode& NodeCache::victim(std::uint64_t hash) {
  const bool isKept = wasMissed(hash);
  if (!isKept) noteMiss(hash);
  const std::size_t set = isKept ? keptSet(hash) : passingSet(hash);
  std::size_t oldest = set;
  for (std::size_t way = set; way < set + ways; ++way) {
    if (m_nodes[way] == nullptr) {
      oldest = way;
      break;
    }
    if (m_clock - m_lastUses[way] > m_clock - m_lastUses[oldest]) oldest = way;
  }
  if (m_nodes[oldest] == nullptr) m_nodes[oldest] = std::make_unique<CachedNode>();
  CachedNode& node = *m_nodes[oldest];
  node.m_serial = newSerial(oldest);
  m_lastUses[oldest] = ++m_clock;
  return node;
}

// A key found at its place with its own id has all its ancestors still, since none can go before it.
bool NodeCache::isCurrent(Moment& moment, CachedNode& node) {
  if (node.isRightAt(moment)) [[likely]]
    return true;
  moment.enter();
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

// The key's record and its place, below the parent.
std::optional<std::string_view> NodeCache::seek(Moment& moment, const NodeRef& base, std::u16string_view path,
                                                EntryKey& place) {
  const auto fetchAt = [&](const EntryKey& found) {
    place = found;
    return fetch(moment.txn, moment.tables->nodes, place.bytes());
  };
  if (path.empty()) return fetchAt(base.place);
  const std::size_t end = path.rfind(u'\\');
  const std::u16string_view leaf = end == std::u16string_view::npos ? path : path.substr(end + 1);
  if (leaf.size() > maxKeyName) throw Failure(ERROR_INVALID_PARAMETER);
  const FoldedName folded(leaf);
  if (end == std::u16string_view::npos) return fetchAt(EntryKey(base.id, folded.view()));

  const std::u16string_view above = path.substr(0, end);
  const std::uint64_t known = m_parents.find(base.id, above);
  if (known != 0) {
    if (const auto record = fetchAt(EntryKey(known, folded.view()))) return record;
  }
  const CachedNode* parent = open(moment, base, above);
  if (parent == nullptr || parent->m_ref.id == known) return std::nullopt;
  m_parents.set(base.id, above, parent->m_ref.id);
  return fetchAt(EntryKey(parent->m_ref.id, folded.view()));
}

CachedNode* NodeCache::load(Moment& moment, const NodeRef& base, std::u16string_view path,
                            std::uint64_t hash) {
  moment.enter();  // before the parent is looked at, so that both are of one commit
  EntryKey place;
  const auto record = seek(moment, base, path, place);
  if (!record) return nullptr;
  CachedNode* known = find(hash, base.id, path);
  CachedNode& node = known != nullptr ? *known : victim(hash);
  const std::size_t at = placeOf(node.m_serial);
  std::uint64_t& tag = m_hashes[at / ways].hashes[at % ways];
  tag = 0;  // unfindable until it is whole
  node.m_number = 0;
  node.load(path, *record, 0);
  // Another key at the same path: what was opened before must not be taken for it.
  if (known != nullptr && node.m_ref.id != node.m_view.header().id) {
    node.m_serial = newSerial(at);
  }
  const std::size_t leaf = path.rfind(u'\\') + 1;
  if (!path.empty() && !isNamed(node.m_view, place, path.substr(leaf))) return nullptr;
  if (path.empty() && node.m_view.header().id != base.id) return nullptr;
  node.m_base = base.id;
  node.m_ref = {node.m_view.header().id, place};
  tag = hash;
  node.m_number = moment.number;
  return &node;
}

std::uint64_t NodeCache::parentAt(const NodeRef& base, std::u16string_view path) const {
  return m_parents.find(base.id, path);
}

void NodeCache::keepParent(const NodeRef& base, std::u16string_view path, std::uint64_t id) {
  m_parents.set(base.id, path, id);
}

Hash128 ParentIds::hashOf(std::uint64_t base, std::u16string_view path) {
  static const std::uint64_t seed = drawSeed();
  return hash128({reinterpret_cast<const char*>(path.data()), path.size() * sizeof(char16_t)}, seed + base);
}

ParentIds::Place::Place(const ParentIds& parents, std::uint64_t base, std::u16string_view path) {
  if (parents.m_sets.empty()) return;
  const Hash128 hash = hashOf(base, path);
  m_path = hash.high;
  m_set = &parents.m_sets[hash.low & (parents.m_sets.size() - 1)];
  __builtin_prefetch(m_set);
}

std::uint64_t ParentIds::Place::id() const {
  if (m_set == nullptr) return 0;
  for (const Parent& parent : m_set->parents) {
    if (parent.path == m_path) return parent.id;
  }
  return 0;
}

// Where there are too many for the sets, it begins anew with more of them: all are soon found again.
void ParentIds::set(std::uint64_t base, std::u16string_view path, std::uint64_t id) {
  const bool isFull = m_count >= m_sets.size() * ways / 2;
  if (isFull && m_sets.size() < mostSets) {
    const std::size_t size = std::max(fewestSets, 2 * m_sets.size());
    clear();
    m_sets.resize(size);
  }
  const Hash128 hash = hashOf(base, path);
  auto& parents = m_sets[hash.low & (m_sets.size() - 1)].parents;
  const auto known = std::ranges::find_if(
      parents, [&](const Parent& other) { return other.id == 0 || other.path == hash.high; });
  if (known != parents.end() && known->id == 0) ++m_count;
  std::shift_right(parents.begin(), known == parents.end() ? known : known + 1, 1);
  parents.front() = {hash.high, id};
}

void ParentIds::clear() {
  m_sets.clear();
  m_count = 0;
}

}  // namespace registry
