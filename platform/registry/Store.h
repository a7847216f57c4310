// One open store, and which one this process uses.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/registry/Lmdb.h"
#include "platform/registry/StoreFiles.h"
#include "platform/registry/StoreFormat.h"

namespace registry {

class Store {
public:
  // Opens the store in a directory, or makes it where there is none. A process has one object for a data
  // file, however often it asks. Throws Failure when what lies there is not a sound store;
  // the trace is the caller's.
  static std::shared_ptr<Store> open(const std::string& directory);

  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  MDB_env* env() const { return m_env.get(); }
  const Tables& tables() const { return m_tables; }
  bool isReadOnly() const { return m_readOnly; }
  const std::string& directory() const { return m_directory; }
  const std::string& id() const { return m_id; }

  // Begins a transaction. Where the reader table is full, the places of dead readers are cleared for one
  // more try. A write first removes the volatile keys that could not go at the opening. Throws Failure.
  TxnPtr begin(MDB_txn* parent, unsigned flags) const;
  // Frees the places of processes that died; how many there were.
  int clearDeadReaders() const;
  // Commits, durably where it is an outermost one. Throws Failure.
  void commit(TxnPtr txn) const;
  // Whether volatile keys of another boot may still be there, to go before the first write.
  bool isPurgeDue() const { return m_isPurgeDue.load(std::memory_order_acquire); }
  // How many of them the opening could not remove because they are damaged.
  unsigned damagedKeys() const { return m_damagedKeys; }

private:
  explicit Store(std::string directory);

  void openEnvironment();
  void adoptTables();
  FileIdentity identity() const;
  std::uint64_t neededLength() const;
  void checkAll() const;
  TxnPtr beginAtOnce(MDB_txn* parent, unsigned flags) const;
  bool isGivenUp() const;
  void tryPurge();
  unsigned purgeVolatileKeys() const;
  bool purge(MDB_txn* txn, std::uint64_t id) const;

  std::string m_directory;
  std::string m_id;
  EnvPtr m_env;
  Tables m_tables;
  bool m_readOnly = false;
  std::uint64_t m_process;
  mutable std::atomic<unsigned> m_commits{0};
  mutable std::atomic<bool> m_isPurgeDue{false};
  unsigned m_damagedKeys = 0;
};

// The store that this process uses now, opened at the first call. Any thread. Throws Failure.
std::shared_ptr<Store> currentStore();
// Gives a store back. The last one closes it, which must not meet an open of the same file: closing drops
// the locks that the whole process has on it.
void release(std::shared_ptr<Store> store);
// Checks the store in a directory, whether or not it is the one in use.
LSTATUS verifyDirectory(const std::string& directory, std::string& finding);
// As long as it is held, no thread of this process opens or closes a store.
std::unique_lock<std::mutex> holdStores();
// True where this process has the directory's store open. With the stores held.
bool isOpenHere(const std::string& directory);
// Counts up with each useStore: handles of an earlier count are closed.
inline std::atomic<std::uint64_t> g_storeGeneration{1};
// Counts the forks between the first process and this one. What belongs to an earlier count is the
// parent's, down to its places in shared memory, and must not even be closed here.
inline std::atomic<std::uint64_t> g_processGeneration{1};
// Counts up with either, so that one look tells whether anything changed.
inline std::atomic<std::uint64_t> g_epoch{1};
inline std::uint64_t storeGeneration() {
  return g_storeGeneration.load(std::memory_order_acquire);
}
inline std::uint64_t processGeneration() {
  return g_processGeneration.load(std::memory_order_acquire);
}
inline std::uint64_t epoch() {
  return g_epoch.load(std::memory_order_acquire);
}

// Puts aside what a fork left us of the parent's.
void abandon(std::shared_ptr<Store> store, MDB_txn* txn);

}  // namespace registry
