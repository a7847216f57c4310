#include "platform/registry/registry.h"

#include <array>
#include <cstring>

#include "platform/registry/Enumerate.h"
#include "platform/registry/Handles.h"
#include "platform/registry/Thread.h"
#include "platform/support/Utf.h"

namespace registry {
namespace {

constexpr DWORD maxValueSize = 16U << 20;
constexpr REGSAM genericAll = 0x10000000;
constexpr REGSAM genericWrite = 0x40000000;
constexpr REGSAM genericRead = 0x80000000;

REGSAM grantedRights(REGSAM asked) {
  if ((asked & (MAXIMUM_ALLOWED | genericAll)) != 0) return KEY_ALL_ACCESS;
  if ((asked & genericRead) != 0) asked |= KEY_READ;
  if ((asked & genericWrite) != 0) asked |= KEY_WRITE;
  return asked & KEY_ALL_ACCESS;
}

std::u16string_view textOf(const char16_t* text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

// The value names' limit; the key names' is checked with the path.
std::u16string_view valueName(const char16_t* name) {
  const std::u16string_view text = textOf(name);
  if (text.size() > maxValueName) throw Failure(ERROR_INVALID_PARAMETER);
  return text;
}

// What a handle stands for, rights checked. Throws Failure with ERROR_INVALID_HANDLE.
OpenKey target(HKEY handle, REGSAM need) {
  if (const std::uint64_t hive = hiveId(handle); hive != rootId) return {hiveRef(hive), KEY_ALL_ACCESS, {}};
  OpenKey key;
  if (!lookUp(handle, key)) throw Failure(ERROR_INVALID_HANDLE);
  if ((key.rights & need) != need) throw Failure(ERROR_ACCESS_DENIED);
  return key;
}

// The key of a handle as it is now, ready for reading.
class ReadKey {
public:
  // What is more than the key's own record and its values needs the store itself.
  enum class From { Memory, Store };

  // A read of a parameter comes through here half a dozen times.
  [[gnu::always_inline]] inline ReadKey(HKEY handle, REGSAM need, From from = From::Memory) {
    if (from == From::Store) m_reading.moment().enter();
    if (!m_reading.isInTransaction()) {
      m_cached = m_reading.thread().recent(handle, need, m_reading.moment());
      if (m_cached != nullptr) [[likely]]
        return;
    }
    search(handle, need);
  }

  const NodeView& view() const { return m_cached != nullptr ? m_cached->view() : *m_inScope; }

  bool value(const FoldedName& name, ValueRef& value) {
    if (m_cached != nullptr) [[likely]]
      return m_cached->value(m_reading.moment(), name.view(), value);
    if (m_inScope->find(name.view(), value)) return true;
    const auto outside = m_reading.tree().outside(m_inScope->header().id, name.view());
    if (outside) value = {outside->type, outside->data};
    return outside.has_value();
  }

  Moment& moment() { return m_reading.moment(); }
  ThreadState::Positions& positions() { return m_reading.thread().positions(); }

private:
  [[gnu::noinline]] void search(HKEY handle, REGSAM need) {
    if (!m_reading.isInTransaction() && openByHint(handle, need)) return;
    const OpenKey key = target(handle, need);
    if (m_reading.isInTransaction()) {
      m_inScope = m_reading.thread().readInScope(m_reading.tree(), key.node);
      if (m_inScope == nullptr) throw Failure(ERROR_KEY_DELETED);
      return;
    }
    m_cached = m_reading.thread().cache().open(m_reading.moment(), key.node);
    if (m_cached == nullptr) throw Failure(ERROR_KEY_DELETED);
  }

  // The short way: the handle was opened by this thread, and its key is where it was in the cache.
  bool openByHint(HKEY handle, REGSAM need) {
    std::uint64_t id = rootId;
    REGSAM rights = 0;
    CacheHint hint;
    if (!glance(handle, id, rights, hint)) return false;
    NodeCache& cache = m_reading.thread().cache();
    if (hint.cache != cache.id() || (rights & need) != need) return false;
    m_cached = cache.reopen(m_reading.moment(), hint.serial, id);
    if (m_cached == nullptr) return false;
    m_reading.thread().remember(handle, rights, *m_cached);
    return true;
  }

  Reading m_reading;
  CachedNode* m_cached = nullptr;
  const NodeView* m_inScope = nullptr;  // in a transaction, where the cache is out of play
};

// The key at a path as the transaction has it. Most of the way is spared where the key above was found
// before; ParentIds says why what is below it proves it right.
std::optional<NodeRef> findInTransaction(const Reading& reading, const NodeRef& base,
                                         std::u16string_view path) {
  if (path.empty()) return base;
  const Tree tree = reading.tree();
  NodeCache& cache = reading.thread().cache();
  const std::size_t end = path.rfind(u'\\');
  const std::u16string_view above = path.substr(0, end == std::u16string_view::npos ? 0 : end);
  const std::u16string_view leaf = path.substr(end + 1);  // the whole path where it is one name
  const bool isPlain = !above.empty() && !leaf.empty() && leaf.size() <= maxKeyName;
  if (const std::uint64_t known = isPlain ? cache.parentAt(base, above) : 0; known != 0) {
    if (auto node = tree.child(known, leaf)) return node;
  }
  const auto chain = tree.resolve(base, path);
  if (!chain) return std::nullopt;
  if (isPlain && chain->parent.id < reading.firstNewId()) cache.keepParent(base, above, chain->parent.id);
  return chain->node;
}

LSTATUS openInTransaction(const Reading& reading, const NodeRef& base, std::u16string_view path,
                          REGSAM rights, HKEY* result) {
  NodeView view;
  if (base.id >= firstFreeId && !reading.tree().read(base, view)) return ERROR_KEY_DELETED;
  const auto node = findInTransaction(reading, base, path);
  if (!node) return ERROR_FILE_NOT_FOUND;
  *result = makeHandle(*node, rights, {});
  return ERROR_SUCCESS;
}

// The key that a path starts from, as of now.
const NodeRef& baseOf(HKEY handle, OpenKey& own) {
  if (const std::uint64_t hive = hiveId(handle); hive != rootId) return hiveRef(hive);
  own = target(handle, 0);
  return own.node;
}

LSTATUS openKey(HKEY key, std::u16string_view path, REGSAM rights, HKEY* result) {
  Reading reading;
  OpenKey own;
  const NodeRef& base = baseOf(key, own);
  if (reading.isInTransaction()) return openInTransaction(reading, base, path, rights, result);
  NodeCache& cache = reading.thread().cache();
  if (base.id >= firstFreeId && cache.open(reading.moment(), base) == nullptr) return ERROR_KEY_DELETED;
  CachedNode* node = cache.open(reading.moment(), base, path);
  if (node == nullptr) return ERROR_FILE_NOT_FOUND;
  *result = makeHandle(node->ref(), rights, {cache.id(), node->serial()});
  reading.thread().remember(*result, rights, *node);
  return ERROR_SUCCESS;
}

// Delivers a name into a caller's buffer; the size goes in with the terminator and comes out without.
LSTATUS deliverName(std::string_view utf8, char16_t* buffer, DWORD* size) {
  const std::u16string name = support::toUtf16(utf8);
  if (name.size() + 1 > *size) return ERROR_MORE_DATA;
  name.copy(buffer, name.size());
  buffer[name.size()] = u'\0';
  *size = static_cast<DWORD>(name.size());
  return ERROR_SUCCESS;
}

// Delivers data into a caller's buffer, or its size alone where there is none.
LSTATUS deliverData(std::string_view bytes, BYTE* data, DWORD* size) {
  if (size == nullptr) return ERROR_SUCCESS;
  const DWORD capacity = *size;
  *size = static_cast<DWORD>(bytes.size());
  if (data == nullptr) return ERROR_SUCCESS;
  if (bytes.size() > capacity) return ERROR_MORE_DATA;
  if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
  return ERROR_SUCCESS;
}

void deliver(DWORD* out, DWORD number) {
  if (out != nullptr) *out = number;
}

void deliver(FILETIME* out, std::uint64_t time) {
  if (out != nullptr) *out = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

}  // namespace
}  // namespace registry

using namespace registry;  // NOLINT(google-*): what follows is its outer face

// NOLINTBEGIN(readability-non-const-parameter): the interface has them so

LSTATUS RegOpenKeyExW(HKEY key, const char16_t* path, DWORD options, REGSAM rights, HKEY* result) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = 0;
  if (options != 0) return ERROR_INVALID_PARAMETER;
  return guarded([&] { return openKey(key, textOf(path), grantedRights(rights), result); });
}

LSTATUS RegCreateKeyExW(HKEY key, const char16_t* path, DWORD reserved, const char16_t* /*keyClass*/,
                        DWORD options, REGSAM rights, const SECURITY_ATTRIBUTES* /*security*/, HKEY* result,
                        DWORD* disposition) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = 0;
  if (path == nullptr || reserved != 0 || options > REG_OPTION_VOLATILE) return ERROR_INVALID_PARAMETER;
  return guarded([&] {
    // A key that exists, which is the usual case, needs no write and so no writer's turn.
    LSTATUS outcome = openKey(key, path, grantedRights(rights), result);
    Tree::Created created{{}, false};
    if (outcome == ERROR_FILE_NOT_FOUND) {
      const OpenKey base = target(key, KEY_CREATE_SUB_KEY);
      closeHandle(makeHandle(base.node, 0, {}));  // leaves this thread a free one for what it makes
      writing([&](Tree& tree) { created = tree.create(base.node, path, options == REG_OPTION_VOLATILE); });
      *result = makeHandle(created.node, grantedRights(rights), {});
      outcome = ERROR_SUCCESS;
    }
    if (outcome == ERROR_SUCCESS) {
      deliver(disposition, created.isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY);
    }
    return outcome;
  });
}

LSTATUS RegCloseKey(HKEY key) {
  if (hiveId(key) != rootId) return ERROR_SUCCESS;
  return closeHandle(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS RegQueryInfoKeyW(HKEY key, char16_t* keyClass, DWORD* classSize, DWORD* reserved, DWORD* subKeys,
                         DWORD* maxSubKeyLen, DWORD* maxClassLen, DWORD* values, DWORD* maxValueNameLen,
                         DWORD* maxValueLen, DWORD* securityLen, FILETIME* lastWrite) {
  if (reserved != nullptr || (keyClass != nullptr && classSize == nullptr)) return ERROR_INVALID_PARAMETER;
  return guarded([&] {
    const ReadKey open(key, KEY_QUERY_VALUE);
    const NodeHeader& header = open.view().header();
    if (keyClass != nullptr && *classSize > 0) *keyClass = u'\0';
    deliver(classSize, 0);
    deliver(subKeys, header.subKeys);
    deliver(maxSubKeyLen, header.maxSubKeyName);
    deliver(maxClassLen, 0);
    deliver(values, header.values);
    deliver(maxValueNameLen, header.maxValueName);
    deliver(maxValueLen, header.maxValueData);
    deliver(securityLen, 0);
    deliver(lastWrite, header.lastWrite);
    return ERROR_SUCCESS;
  });
}

LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) {
  if (reserved != nullptr || (data != nullptr && size == nullptr)) return ERROR_INVALID_PARAMETER;
  return guarded([&] {
    ReadKey open(key, KEY_QUERY_VALUE);
    ValueRef value;
    const FoldedName folded(name);
    if (folded.view().size() > maxValueName) (void)valueName(name);  // only then may it be too long
    if (!open.value(folded, value)) return ERROR_FILE_NOT_FOUND;
    deliver(type, value.type);
    return deliverData(value.data, data, size);
  });
}

LSTATUS RegSetValueExW(HKEY key, const char16_t* name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD size) {
  if (reserved != 0 || (data == nullptr && size != 0) || size > maxValueSize) return ERROR_INVALID_PARAMETER;
  return guarded([&] {
    const OpenKey open = target(key, KEY_SET_VALUE);
    const std::u16string_view text = valueName(name);
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    writing([&](Tree& tree) { tree.setValue(open.node, text, type, bytes); });
    return ERROR_SUCCESS;
  });
}

LSTATUS RegDeleteValueW(HKEY key, const char16_t* name) {
  return guarded([&] {
    const OpenKey open = target(key, KEY_SET_VALUE);
    const std::u16string_view text = valueName(name);
    bool found = false;
    writing([&](Tree& tree) { found = tree.removeValue(open.node, text); });
    return found ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
  });
}

LSTATUS RegDeleteKeyW(HKEY key, const char16_t* path) {
  if (path == nullptr) return ERROR_INVALID_PARAMETER;
  return guarded([&] {
    const OpenKey open = target(key, 0);
    writing([&](Tree& tree) { tree.remove(open.node, path); });
    return ERROR_SUCCESS;
  });
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* reserved,
                      char16_t* keyClass, DWORD* classSize, FILETIME* lastWrite) {
  if (name == nullptr || nameSize == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
  if (keyClass != nullptr && classSize == nullptr) return ERROR_INVALID_PARAMETER;
  return guarded([&] {
    ReadKey open(key, KEY_ENUMERATE_SUB_KEYS, ReadKey::From::Store);
    NodeView child;
    if (!subKeyAt(open.moment(), open.view().header(), index, open.positions().subKey, child))
      return ERROR_NO_MORE_ITEMS;
    if (keyClass != nullptr && *classSize > 0) *keyClass = u'\0';
    deliver(classSize, 0);
    deliver(lastWrite, child.header().lastWrite);
    return deliverName(child.name(), name, nameSize);
  });
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* reserved, DWORD* type,
                      BYTE* data, DWORD* size) {
  if (name == nullptr || nameSize == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
  if (data != nullptr && size == nullptr) return ERROR_INVALID_PARAMETER;
  return guarded([&] {
    ReadKey open(key, KEY_QUERY_VALUE, ReadKey::From::Store);
    NamedValue value;
    if (!valueAt(open.moment(), open.view(), index, open.positions().value, value))
      return ERROR_NO_MORE_ITEMS;
    const DWORD nameCapacity = *nameSize;
    if (const LSTATUS outcome = deliverName(value.name, name, nameSize); outcome != 0) return outcome;
    deliver(type, value.type);
    const LSTATUS outcome = deliverData(value.data, data, size);
    if (outcome != 0) *nameSize = nameCapacity;
    return outcome;
  });
}
// NOLINTEND(readability-non-const-parameter)
