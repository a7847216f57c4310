// What a store holds besides the tree: the marker that says what it is, its counters, and how an empty
// one begins.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry/Lmdb.h"
#include "platform/registry/registry.h"

namespace registry {

// The keys lie in LMDB's own, unnamed table: each named one costs every transaction a search for its root
// before it is first used, and every write a page. The names of the others stand there beside them.
struct Tables {
  MDB_dbi nodes = 0;      // EntryKey of a key -> its record
  MDB_dbi values = 0;     // EntryKey of a value -> its record, for those outside their key's record
  MDB_dbi sizes = 0;      // key id, kind, length descending -> how many; what the maxima come from
  MDB_dbi meta = 0;       // marker, next id, boot id
  MDB_dbi volatiles = 0;  // id of a topmost volatile key -> its EntryKey
};
inline constexpr unsigned namedTables = 4;
inline constexpr unsigned tableCount = 8;  // room for more than there are

inline constexpr std::uint32_t formatVersion = 3;

// Whether an entry beside the keys is a table's. No key's is: they begin with an id, and that with a set bit.
bool isTable(std::string_view key);

// The hives are children of the key 0, which has no record.
inline constexpr std::uint64_t rootId = 0;
inline constexpr std::uint64_t firstFreeId = 16;
// The id of a predefined handle's hive; 0 for any other handle.
std::uint64_t hiveId(HKEY handle);
const char16_t* hiveName(std::uint64_t id);
inline constexpr std::uint64_t hiveCount = 4;  // ids 1 to 4

// Fills a new environment with the tables, the marker and the hives.
void writeEmptyStore(MDB_txn* txn);

// Opens the tables of an existing store. Failure with ERROR_NOT_REGISTRY_FILE where they are not there.
Tables openTables(MDB_txn* txn);
// Reads the marker; the store's id in hexadecimal. Failure where it is damaged or of another version.
std::string readMarker(MDB_txn* txn, const Tables& tables);

// The lowest id that no key has had up to now.
std::uint64_t nextId(MDB_txn* txn, const Tables& tables);
// Takes the next id; never one that a key had before, and none that this process ever took.
std::uint64_t takeId(MDB_txn* txn, const Tables& tables);

std::string lastBoot(MDB_txn* txn, const Tables& tables);
void setLastBoot(MDB_txn* txn, const Tables& tables, const std::string& boot);

// The present time as the platform counts it.
std::uint64_t fileTimeNow();

}  // namespace registry
