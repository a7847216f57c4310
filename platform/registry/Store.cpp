#include "platform/registry/Store.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <vector>

#include "platform/registry/Admin.h"
#include "platform/registry/RegistryStore.h"
#include "platform/registry/StoreFiles.h"
#include "platform/registry/Tree.h"
#include "platform/support/StandardStreams.h"
#include "platform/support/Trace.h"
#include "platform/support/Utf.h"

namespace registry {
namespace {

constexpr unsigned maxReaders = 4096;
// LMDB's head of the lock file and a cache line for each reader.
constexpr std::uint64_t lockFileSize = (maxReaders + 4) * std::uint64_t{64};
// Reserved address space, not disk. The smaller ones are for machines that limit it.
constexpr std::size_t mapSizes[] = {std::size_t{64} << 30, std::size_t{8} << 30, std::size_t{1} << 30};

// Guards what follows; taken before the first use of a store and at its change, never while reading.
std::mutex g_storesMutex;
std::string g_directory;  // as given to useStore
LSTATUS g_lastFailure = ERROR_SUCCESS;

// Both outlive all static objects, whose destructors may still use the registry.
std::shared_ptr<Store>& current() {
  static auto* const store = new std::shared_ptr<Store>;  // NOLINT(*-owning-memory)
  return *store;
}
std::map<FileIdentity, std::weak_ptr<Store>>& openStores() {
  static auto* const stores = new std::map<FileIdentity, std::weak_ptr<Store>>;  // NOLINT(*-owning-memory)
  return *stores;
}

// What belongs to the parent of a fork, kept and never touched.
struct Abandoned {
  std::vector<std::shared_ptr<Store>> stores;
  std::vector<MDB_txn*> txns;
};

Abandoned& abandoned() {
  static auto* const all = new Abandoned;  // NOLINT(*-owning-memory): meant to outlive everything
  return *all;
}

// In the child every open store is the parent's. It is left alone, not closed: closing would touch the
// locks and reader places that the parent goes on using.
void forgetParentsStores() {
  g_processGeneration.fetch_add(1, std::memory_order_release);
  g_epoch.fetch_add(1, std::memory_order_release);
  if (current()) abandoned().stores.push_back(std::move(current()));
  current() = nullptr;
  openStores().clear();
  g_storesMutex.unlock();
}

void registerForkHandlers() {
  static const int result =
      ::pthread_atfork([] { g_storesMutex.lock(); }, [] { g_storesMutex.unlock(); }, forgetParentsStores);
  check(result);
}

// With the library's start, so before the trace's: its lock is then taken before ours, as by a sink that
// looks at the store.
[[gnu::constructor]] void watchForks() {
  try {
    registerForkHandlers();
  } catch (const Failure&) {
    return;  // who opens a store tries again
  }
}

// Where LMDB meets pages that cannot be, it would end the process.
[[noreturn]] void throwDamage(MDB_env* /*env*/, const char* /*message*/) {
  throw Failure(ERROR_REGISTRY_CORRUPT, MDB_CORRUPTED);
}

void reportUnusable(const std::string& directory, const Failure& failure) {
  const std::u16string where = support::toUtf16(directory);
  const std::u16string cause = support::toUtf16(reasonOf(failure));
  _DbgSetLine(u"platform\\registry", __LINE__, u'E');
  _DbgOut(u"Registry store \"%s\" cannot be used: %s (%ld, %s)", where.c_str(), describe(failure.number()),
          failure.number(), cause.c_str());
}

void reportDueKeys(const Store& store) {
  if (!store.isPurgeDue()) return;
  const std::u16string where = support::toUtf16(store.directory());
  _DbgSetLine(u"platform\\registry", __LINE__, u'W');
  _DbgOut(u"Registry store \"%s\" keeps volatile keys of another boot until a write can remove them",
          where.c_str());
}

void reportDamagedKeys(const Store& store, unsigned count) {
  if (count == 0) return;
  const std::u16string where = support::toUtf16(store.directory());
  _DbgSetLine(u"platform\\registry", __LINE__, u'E');
  _DbgOut(u"Registry store \"%s\" keeps %u volatile keys of another boot, which are damaged", where.c_str(),
          count);
}

// What only hinders a purge for now.
bool mayPass(const Failure& failure) {
  return failure.number() == ERROR_DISK_FULL || failure.number() == ERROR_REGISTRY_IO_FAILED ||
         failure.number() == ERROR_NO_SYSTEM_RESOURCES;
}

}  // namespace

Store::Store(std::string directory) : m_directory(std::move(directory)), m_process(processGeneration()) {}

Store::~Store() {
  if (m_process != processGeneration()) (void)m_env.release();
}

std::shared_ptr<Store> Store::open(const std::string& directory) {
  registerForkHandlers();
  support::reserveStandardStreams();
  makeDirectory(directory);
  const Doorway doorway(directory, Doorway::Use::Opening);
  if (!hasDataFile(directory)) createStore(directory);
  const std::string file = directory + dataFileName;
  const FileIdentity identity = identify(file);
  if (const auto known = openStores().find(identity); known != openStores().end()) {
    if (auto store = known->second.lock()) return store;
  }
  std::shared_ptr<Store> store(new Store(directory));
  store->openEnvironment();
  Lengthening length(file, store->neededLength());
  store->adoptTables();
  if (length.wasShort()) store->checkAll();
  length.keep();
  store->clearDeadReaders();
  store->tryPurge();
  openStores()[store->identity()] = store;
  return store;
}

void Store::openEnvironment() {
  constexpr std::uint64_t leastSize =
      2 * std::uint64_t{4096};  // both heads of the file; below that it is cut off
  if (fileSize(m_directory + dataFileName) < leastSize) throw Failure(ERROR_REGISTRY_CORRUPT);
  reserveLockFile(m_directory, lockFileSize);
  int result = 0;
  for (const std::size_t mapSize : mapSizes) {
    for (const unsigned flags : {0U, static_cast<unsigned>(MDB_RDONLY)}) {
      MDB_env* env = nullptr;
      check(mdb_env_create(&env));
      m_env.reset(env);
      check(mdb_env_set_assert(env, throwDamage));
      check(mdb_env_set_maxdbs(env, tableCount));
      check(mdb_env_set_maxreaders(env, maxReaders));
      check(mdb_env_set_mapsize(env, mapSize));
      result = mdb_env_open(env, m_directory.c_str(), MDB_NOTLS | flags, fileMode);
      m_readOnly = flags != 0;
      if (result != EROFS && result != EACCES) break;
    }
    if (result != ENOMEM && result != EINVAL) break;  // both are said of a map too large
  }
  check(result);
  openToGroup(m_directory);
}

void Store::adoptTables() {
  TxnPtr txn = begin(nullptr, MDB_RDONLY);
  m_tables = openTables(txn.get());
  m_id = readMarker(txn.get(), m_tables);
  check(mdb_txn_commit(txn.release()));  // keeps the tables open
}

// A page past the end of the file kills whoever looks at it. Free pages at the end need not have been
// written, so a short file is not yet a damaged one: it gets its length, and then every record is read.
std::uint64_t Store::neededLength() const {
  MDB_envinfo info{};
  MDB_stat stat{};
  check(mdb_env_info(env(), &info));
  check(mdb_env_stat(env(), &stat));
  return (info.me_last_pgno + 1) * stat.ms_psize;
}

void Store::checkAll() const {
  std::string finding;
  if (verify(*this, finding) != ERROR_SUCCESS) throw Failure(ERROR_REGISTRY_CORRUPT);
}

// Of the file that was opened: a restore may have put another one in its place since we looked.
FileIdentity Store::identity() const {
  int fd = -1;
  check(mdb_env_get_fd(env(), &fd));
  return identify(fd);
}

// LMDB lets nobody in any more, not to read either, once it could not write a head of the file.
bool Store::isGivenUp() const {
  MDB_txn* txn = nullptr;
  const int result = mdb_txn_begin(env(), nullptr, MDB_RDONLY, &txn);
  const TxnPtr owner(txn);
  return result == MDB_PANIC;
}

// A disk that takes nothing more shall not keep anybody from reading what is there.
void Store::tryPurge() {
  try {
    m_damagedKeys = purgeVolatileKeys();
  } catch (const Failure& failure) {
    if (!mayPass(failure) || isGivenUp()) throw;
    m_isPurgeDue.store(true, std::memory_order_release);
  }
}

// How many damaged ones it left.
unsigned Store::purgeVolatileKeys() const {
  if (m_readOnly) return 0;
  const std::string boot = bootId();
  if (boot.empty()) return 0;  // who cannot tell the boot does not say that it is another one
  {
    const TxnPtr txn = beginAtOnce(nullptr, MDB_RDONLY);
    if (lastBoot(txn.get(), m_tables) == boot) return 0;
  }
  TxnPtr txn = beginAtOnce(nullptr, 0);
  if (lastBoot(txn.get(), m_tables) == boot) return 0;
  unsigned damaged = 0;
  for (const std::uint64_t id : Tree(txn.get(), m_tables).volatileKeys()) {
    if (!purge(txn.get(), id)) ++damaged;
  }
  setLastBoot(txn.get(), m_tables, boot);
  commit(std::move(txn));
  return damaged;
}

// False for a damaged key, which is left where it is: the others are whole all the same.
bool Store::purge(MDB_txn* txn, std::uint64_t id) const {
  try {
    TxnPtr own = beginAtOnce(txn, 0);
    Tree(own.get(), m_tables).removeVolatileKey(id);
    check(mdb_txn_commit(own.release()));
    return true;
  } catch (const Failure& failure) {
    if (failure.number() != ERROR_REGISTRY_CORRUPT && failure.number() != ERROR_KEY_DELETED) throw;
    return false;
  }
}

// Not before it succeeded is the purge done with: no write of another thread may come before it.
TxnPtr Store::begin(MDB_txn* parent, unsigned flags) const {
  const bool isOutermostWrite = parent == nullptr && (flags & MDB_RDONLY) == 0;
  if (isOutermostWrite && isPurgeDue()) {
    const unsigned damaged = purgeVolatileKeys();
    m_isPurgeDue.store(false, std::memory_order_release);
    reportDamagedKeys(*this, damaged);
  }
  return beginAtOnce(parent, flags);
}

TxnPtr Store::beginAtOnce(MDB_txn* parent, unsigned flags) const {
  MDB_txn* txn = nullptr;
  int result = mdb_txn_begin(env(), parent, flags, &txn);
  if (result == MDB_READERS_FULL && clearDeadReaders() > 0) {
    result = mdb_txn_begin(env(), parent, flags, &txn);
  }
  check(result);
  return TxnPtr(txn);
}

void Store::commit(TxnPtr txn) const {
  const int result = mdb_txn_commit(txn.get());
  (void)txn.release();  // not before, since what LMDB finds on the way may throw
  // A reader that was killed while it looked keeps pages from being used again until somebody notices.
  constexpr unsigned often = 256;
  if (++m_commits % often == 0) {
    int ignored = 0;  // that it fails says nothing about the commit
    (void)mdb_reader_check(env(), &ignored);
  }
  // A disk that fills up in the middle of a write cuts it short, which LMDB calls EIO.
  check(result == EIO && isFull(m_directory) ? ENOSPC : result);
}

int Store::clearDeadReaders() const {
  int dead = 0;
  check(mdb_reader_check(env(), &dead));
  return dead;
}

std::shared_ptr<Store> currentStore() {
  std::string directory;
  bool isNews = false;
  std::shared_ptr<Store> opened;
  try {
    const std::lock_guard lock(g_storesMutex);
    if (current()) return current();
    directory = g_directory.empty() ? defaultDirectory() : g_directory;
    try {
      current() = Store::open(directory);
    } catch (const Failure& failure) {
      isNews = g_lastFailure != failure.number();
      g_lastFailure = failure.number();
      throw;
    }
    g_lastFailure = ERROR_SUCCESS;
    opened = current();
  } catch (Failure& failure) {  // outside of the lock, since a sink may look at the store
    if (isNews) reportUnusable(directory, failure);
    failure.setReported();
    throw;
  }
  reportDueKeys(*opened);
  reportDamagedKeys(*opened, opened->damagedKeys());
  return opened;
}

void release(std::shared_ptr<Store> store) {
  const std::lock_guard lock(g_storesMutex);
  store = nullptr;
}

LSTATUS verifyDirectory(const std::string& directory, std::string& finding) {
  std::shared_ptr<Store> store;
  {
    const std::lock_guard lock(g_storesMutex);
    store = Store::open(directory);
  }
  const LSTATUS result = verify(*store, finding);
  release(std::move(store));
  return result;
}

std::unique_lock<std::mutex> holdStores() {
  return std::unique_lock(g_storesMutex);
}

bool isOpenHere(const std::string& directory) {
  if (!hasDataFile(directory)) return false;
  const auto known = openStores().find(identify(directory + dataFileName));
  return known != openStores().end() && !known->second.expired();
}

void abandon(std::shared_ptr<Store> store, MDB_txn* txn) {
  const std::lock_guard lock(g_storesMutex);
  if (store) abandoned().stores.push_back(std::move(store));
  if (txn != nullptr) abandoned().txns.push_back(txn);
}

std::string storeDirectory() {
  const std::lock_guard lock(g_storesMutex);
  if (current()) return current()->directory();
  return g_directory.empty() ? defaultDirectory() : g_directory;
}

void useStore(const std::string& directory) {
  const std::lock_guard lock(g_storesMutex);
  g_directory = directory;
  current() = nullptr;
  g_lastFailure = ERROR_SUCCESS;
  g_storeGeneration.fetch_add(1, std::memory_order_release);
  g_epoch.fetch_add(1, std::memory_order_release);
}

}  // namespace registry
