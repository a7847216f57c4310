// The store as a whole: where it lies, its health, copies of it. For administration and tests; reading
// and writing settings needs nothing from here.
#pragma once

#include <cstdint>
#include <string>

#include "platform/registry/registry.h"

namespace registry {

// The directory in use, or the one that the first access will take: that of useStore, else that of the
// environment variable SPS_REGISTRY, else /var/lib/sps/registry where it can be written, else sps/registry
// in the user's state directory.
SPS_API std::string storeDirectory();

// Makes this process use another directory from now on; empty returns to the environment's choice.
// Handles opened before give ERROR_INVALID_HANDLE. Not while another thread is in a registry function or
// any thread is in a RegistryTransaction.
SPS_API void useStore(const std::string& directory);

struct StoreInfo {
  std::string directory;
  std::string storeId;  // hexadecimal, made with the store
  std::uint64_t keys = 0;
  std::uint64_t values = 0;  // those kept outside their key's record
  std::uint64_t usedBytes = 0;
  std::uint64_t reservedBytes = 0;
  std::uint64_t lastTransaction = 0;
  std::uint32_t readers = 0;  // places in the lock file taken so far, also by threads that are gone
  bool readOnly = false;
};
SPS_API LSTATUS storeInfo(StoreInfo& info);

// Reads every record of the store and checks it and its links to the others. 0 when all is well, else
// ERROR_REGISTRY_CORRUPT with what was found first in the text.
SPS_API LSTATUS verifyStore(std::string& finding);

// Frees the places of processes that died while they read, which keep old pages from being used again;
// how many there were. A store that is written to does so by itself every now and then.
SPS_API LSTATUS clearDeadReaders(std::uint32_t& cleared);

// Copies the store, as of this moment and while it is in use, into a directory that is new or empty
// (ERROR_ACCESS_DENIED where it is not).
SPS_API LSTATUS copyStore(const std::string& targetDirectory);

// Puts a copy in the place of a store that no process has open: checks the copy first, and keeps the old
// file beside the new one under the name "data.mdb.before-restore". ERROR_ACCESS_DENIED while the store
// is in use.
SPS_API LSTATUS restoreStore(const std::string& copyDirectory, const std::string& storeDirectory);

}  // namespace registry
