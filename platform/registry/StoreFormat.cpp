#include "platform/registry/StoreFormat.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>

#include "platform/registry/Fold.h"
#include "platform/registry/Record.h"
#include "platform/support/Utf.h"

namespace registry {
namespace {

constexpr std::string_view markerKey = "marker";
constexpr std::string_view nextIdKey = "next-id";
constexpr std::string_view bootKey = "boot";

constexpr std::string_view magic = "SPS-REGISTRY";
constexpr std::size_t storeIdSize = 16;

struct TableName {
  MDB_dbi Tables::*table;
  const char* name;
};
constexpr TableName tableNames[] = {{&Tables::values, "values"},
                                    {&Tables::sizes, "sizes"},
                                    {&Tables::meta, "meta"},
                                    {&Tables::volatiles, "volatiles"}};

constexpr std::array<const char16_t*, hiveCount> hiveNames = {u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER",
                                                              u"HKEY_LOCAL_MACHINE", u"HKEY_USERS"};

Tables openEach(MDB_txn* txn, unsigned flags) {
  Tables tables;
  check(mdb_dbi_open(txn, nullptr, 0, &tables.nodes));
  for (const auto& [table, name] : tableNames) {
    const int result = mdb_dbi_open(txn, name, flags, &(tables.*table));
    if (result == MDB_NOTFOUND) throw Failure(ERROR_NOT_REGISTRY_FILE, result);
    check(result);
  }
  return tables;
}

template <class Number>
std::string bytesOf(Number number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

std::string makeMarker() {
  std::string id(storeIdSize, '\0');
  if (::getrandom(id.data(), id.size(), 0) != static_cast<ssize_t>(id.size())) check(EIO);
  return std::string(magic) + bytesOf(formatVersion) + id;
}

std::string toHex(std::string_view bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += digits[value >> 4];
    text += digits[value & 15U];
  }
  return text;
}

}  // namespace

bool isTable(std::string_view key) {
  return std::ranges::any_of(tableNames, [key](const TableName& table) { return key == table.name; });
}

std::uint64_t hiveId(HKEY handle) {
  return handle >= HKEY_CLASSES_ROOT && handle < HKEY_CLASSES_ROOT + hiveCount
             ? handle - HKEY_CLASSES_ROOT + 1
             : rootId;
}

const char16_t* hiveName(std::uint64_t id) {
  return hiveNames[id - 1];
}

void writeEmptyStore(MDB_txn* txn) {
  const Tables tables = openEach(txn, MDB_CREATE);
  store(txn, tables.meta, markerKey, sealed(makeMarker()));
  store(txn, tables.meta, nextIdKey, sealed(bytesOf(firstFreeId)));
  for (std::uint64_t id = 1; id <= hiveCount; ++id) {
    NodeRecord record;
    record.header.id = id;
    record.header.lastWrite = fileTimeNow();
    record.name = support::toUtf8(hiveName(id));
    store(txn, tables.nodes, EntryKey(rootId, FoldedName(hiveName(id)).view()).bytes(), record.encode());
  }
}

Tables openTables(MDB_txn* txn) {
  return openEach(txn, 0);
}

std::string readMarker(MDB_txn* txn, const Tables& tables) {
  const auto record = fetch(txn, tables.meta, markerKey);
  if (!record) throw Failure(ERROR_NOT_REGISTRY_FILE);
  const std::string_view marker = unsealed(*record);
  if (marker.substr(0, magic.size()) != magic) throw Failure(ERROR_NOT_REGISTRY_FILE);
  if (marker.size() < magic.size() + sizeof formatVersion) throw Failure(ERROR_REGISTRY_CORRUPT);
  std::uint32_t version = 0;
  std::memcpy(&version, marker.data() + magic.size(), sizeof version);
  if (version != formatVersion) throw Failure(ERROR_REVISION_MISMATCH);
  return toHex(marker.substr(magic.size() + sizeof version));
}

std::uint64_t nextId(MDB_txn* txn, const Tables& tables) {
  const auto record = fetch(txn, tables.meta, nextIdKey);
  if (!record) throw Failure(ERROR_REGISTRY_CORRUPT);
  const std::string_view bytes = unsealed(*record);
  std::uint64_t id = 0;
  if (bytes.size() != sizeof id) throw Failure(ERROR_REGISTRY_CORRUPT);
  std::memcpy(&id, bytes.data(), sizeof id);
  return id;
}

std::uint64_t takeId(MDB_txn* txn, const Tables& tables) {
  std::uint64_t id = nextId(txn, tables);
  // A number that went with its transaction is not given again by this process, which may have a handle
  // with it.
  static std::atomic<std::uint64_t> s_next{firstFreeId};
  id = std::max(id, s_next.load(std::memory_order_relaxed));
  s_next.store(id + 1, std::memory_order_relaxed);
  store(txn, tables.meta, nextIdKey, sealed(bytesOf(id + 1)));
  return id;
}

std::string lastBoot(MDB_txn* txn, const Tables& tables) {
  const auto record = fetch(txn, tables.meta, bootKey);
  return record ? std::string(unsealed(*record)) : std::string();
}

void setLastBoot(MDB_txn* txn, const Tables& tables, const std::string& boot) {
  store(txn, tables.meta, bootKey, sealed(boot));
}

std::uint64_t fileTimeNow() {
  using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
  constexpr std::int64_t from1601to1970 = 116'444'736'000'000'000;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<Ticks>(now).count() + from1601to1970);
}

}  // namespace registry
