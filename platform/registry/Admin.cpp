#include "platform/registry/Admin.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "platform/registry/RegistryStore.h"
#include "platform/registry/StoreFiles.h"
#include "platform/registry/Thread.h"

namespace registry {
namespace {

namespace fs = std::filesystem;

constexpr const char* keptName = "/data.mdb.before-restore";

std::uint64_t entries(MDB_txn* txn, MDB_dbi table) {
  MDB_stat stat{};
  check(mdb_stat(txn, table, &stat));
  return stat.ms_entries;
}

void fill(const Store& store, StoreInfo& info) {
  MDB_envinfo env{};
  MDB_stat stat{};
  check(mdb_env_info(store.env(), &env));
  check(mdb_env_stat(store.env(), &stat));
  const TxnPtr txn = store.begin(nullptr, MDB_RDONLY);
  info.directory = store.directory();
  info.storeId = store.id();
  info.keys = entries(txn.get(), store.tables().nodes) - namedTables;
  info.values = entries(txn.get(), store.tables().values);
  info.usedBytes = (env.me_last_pgno + 1) * stat.ms_psize;
  info.reservedBytes = env.me_mapsize;
  info.lastTransaction = mdb_txn_id(txn.get());
  info.readers = env.me_numreaders;
  info.readOnly = store.isReadOnly();
}

// Keeps every other process out of a store for as long as it lives: the lock that each of them shares
// while it has the store open. None of ours may have it open: it would lose its own with this.
class SoleUse {
public:
  explicit SoleUse(const std::string& directory)
      : m_fd(::open((directory + lockFileName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, fileMode)) {
    if (m_fd < 0 && errno == EROFS) return;  // nobody can write there
    if (m_fd < 0) check(errno);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    if (::fcntl(m_fd, F_SETLK, &lock) == 0) return;
    ::close(m_fd);
    throw Failure(ERROR_ACCESS_DENIED, errno);
  }
  ~SoleUse() {
    if (m_fd >= 0) ::close(m_fd);
  }
  SoleUse(const SoleUse&) = delete;
  SoleUse& operator=(const SoleUse&) = delete;

private:
  int m_fd;
};

// A file that is removed again unless all goes well.
class NewFile {
public:
  explicit NewFile(std::string name) : m_name(std::move(name)) {}
  ~NewFile() {
    if (!m_kept) (void)::unlink(m_name.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  const char* name() const { return m_name.c_str(); }
  void keep() { m_kept = true; }

private:
  std::string m_name;
  bool m_kept = false;
};

void sync(const std::string& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) check(errno);
  const int result = ::fsync(fd) == 0 ? 0 : errno;
  ::close(fd);
  check(result);
}

// Gives a file a second name, in the place of what had that name.
void keepAs(const std::string& file, const std::string& name) {
  if (::unlink(name.c_str()) != 0 && errno != ENOENT) check(errno);
  if (::link(file.c_str(), name.c_str()) != 0) check(errno);
}

// Runs what is about another store than the one in use: a failure is traced as that one's.
template <class Body>
auto about(const std::string& directory, Body&& body) {
  try {
    return body();
  } catch (Failure& failure) {
    report(failure, directory, reasonOf(failure));
    failure.setReported();
    throw;
  }
}

// Of what can fail, LMDB's own numbers are about the store, and those of the system about the place of the
// copy.
void copyTo(const Store& store, const std::string& directory) {
  const int result = mdb_env_copy2(store.env(), directory.c_str(), MDB_CP_COMPACT);
  if (result == EEXIST) throw Failure(ERROR_ACCESS_DENIED, result);  // another copy was quicker
  NewFile file(directory + dataFileName);
  if (result < 0) check(result);
  about(directory, [&] {
    check(result);
    (void)::chmod(file.name(), fileMode);
    sync(file.name(), O_RDONLY);
    sync(directory, O_RDONLY | O_DIRECTORY);
  });
  file.keep();
}

bool isMadeEmpty(const std::string& directory) {
  makeDirectory(directory);
  std::error_code error;
  return fs::is_empty(directory, error) && !error;
}

LSTATUS checkCopy(const std::string& directory) {
  if (!hasDataFile(directory)) return ERROR_FILE_NOT_FOUND;
  std::string finding;
  const LSTATUS state = verifyDirectory(directory, finding);
  if (state != ERROR_SUCCESS) report(Failure(state), directory, finding);
  return state;
}

// Takes locks while no thread of this process opens a store, and refuses where one has this one open. They
// may not wait for anything: who opens a store waits for them with that held.
template <class TakeLocks>
void useAlone(const std::string& directory, TakeLocks&& takeLocks) {
  const auto held = holdStores();
  if (isOpenHere(directory)) throw Failure(ERROR_ACCESS_DENIED);
  takeLocks();
}

void replaceDataFile(const std::string& source, const std::string& directory) {
  const std::string current = directory + dataFileName;
  NewFile incoming(current + ".restoring");
  std::error_code error;
  fs::copy_file(source + dataFileName, incoming.name(), fs::copy_options::overwrite_existing, error);
  if (error) throw Failure(toRegistryNumber(error.value()), error.value());
  (void)::chmod(incoming.name(), fileMode);
  sync(incoming.name(), O_RDONLY);
  // There is a data file at every moment: without one, the next access would make an empty store.
  if (hasDataFile(directory)) keepAs(current, directory + keptName);
  if (::rename(incoming.name(), current.c_str()) != 0) check(errno);
  incoming.keep();
  openToGroup(directory);
  sync(directory, O_RDONLY | O_DIRECTORY);
}

}  // namespace

LSTATUS storeInfo(StoreInfo& info) {
  return guarded([&] {
    fill(ThreadState::get().store(), info);
    return ERROR_SUCCESS;
  });
}

LSTATUS verifyStore(std::string& finding) {
  finding.clear();
  return guarded([&] { return verify(ThreadState::get().store(), finding); });
}

LSTATUS clearDeadReaders(std::uint32_t& cleared) {
  cleared = 0;
  return guarded([&] {
    cleared = static_cast<std::uint32_t>(ThreadState::get().store().clearDeadReaders());
    return ERROR_SUCCESS;
  });
}

LSTATUS copyStore(const std::string& targetDirectory) {
  return guarded([&] {
    Store& store = ThreadState::get().store();
    if (!about(targetDirectory, [&] { return isMadeEmpty(targetDirectory); })) return ERROR_ACCESS_DENIED;
    copyTo(store, targetDirectory);
    return ERROR_SUCCESS;
  });
}

LSTATUS restoreStore(const std::string& copyDirectory, const std::string& storeDirectory) {
  return guarded([&] {
    const LSTATUS state = about(copyDirectory, [&] { return checkCopy(copyDirectory); });
    if (state != ERROR_SUCCESS) return state;
    std::optional<SoleUse> source;
    about(copyDirectory, [&] { useAlone(copyDirectory, [&] { source.emplace(copyDirectory); }); });
    about(storeDirectory, [&] {
      makeDirectory(storeDirectory);
      std::optional<Doorway> doorway;
      std::optional<SoleUse> target;
      useAlone(storeDirectory, [&] {
        doorway.emplace(storeDirectory, Doorway::Use::Replacing);
        target.emplace(storeDirectory);
      });
      replaceDataFile(copyDirectory, storeDirectory);
    });
    return ERROR_SUCCESS;
  });
}

}  // namespace registry
