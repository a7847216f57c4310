#include "platform/registry/StoreFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "platform/registry/Errors.h"
#include "platform/registry/Lmdb.h"
#include "platform/registry/StoreFormat.h"

namespace registry {
namespace {

namespace fs = std::filesystem;

// A directory of our own beside the store, gone with its content at the end of the scope.
class WorkDirectory {
public:
  explicit WorkDirectory(const std::string& parent) : m_path(parent + "/.new-XXXXXX") {
    if (::mkdtemp(m_path.data()) == nullptr) check(errno);
  }
  ~WorkDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  WorkDirectory(const WorkDirectory&) = delete;
  WorkDirectory& operator=(const WorkDirectory&) = delete;
  const std::string& path() const { return m_path; }

private:
  std::string m_path;
};

void buildEmptyStore(const std::string& directory) {
  MDB_env* env = nullptr;
  check(mdb_env_create(&env));
  const EnvPtr owner(env);
  check(mdb_env_set_maxdbs(env, tableCount));
  check(mdb_env_open(env, directory.c_str(), MDB_NOTLS | MDB_NOLOCK, fileMode));
  MDB_txn* txn = nullptr;
  check(mdb_txn_begin(env, nullptr, 0, &txn));
  TxnPtr guard(txn);
  writeEmptyStore(txn);
  check(mdb_txn_commit(guard.release()));
}

void syncDirectory(const std::string& directory) {
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) check(errno);
  const int result = ::fsync(fd) == 0 ? 0 : errno;
  ::close(fd);
  check(result);
}

bool isWritable(const std::string& directory) {
  return ::access(directory.c_str(), W_OK | X_OK) == 0;
}

std::string userStateDirectory() {
  if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') return state;
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr && *home != '\0' ? home : "/") + "/.local/state";
}

}  // namespace

std::string defaultDirectory() {
  if (const char* named = std::getenv("SPS_REGISTRY"); named != nullptr && *named != '\0') return named;
  std::string machine = "/var/lib/sps/registry";
  if (isWritable(machine) || (::access(machine.c_str(), F_OK) != 0 && isWritable("/var/lib/sps"))) {
    return machine;
  }
  return userStateDirectory() + "/sps/registry";
}

void makeDirectory(const std::string& directory) {
  std::error_code error;
  if (fs::is_directory(directory, error)) return;
  error.clear();  // that it is not there yet is no failure
  const fs::path parent = fs::path(directory).parent_path();
  if (!parent.empty()) fs::create_directories(parent, error);
  if (error) throw Failure(toRegistryNumber(error.value()), error.value());
  if (::mkdir(directory.c_str(), directoryMode) == 0) {
    (void)::chmod(directory.c_str(), directoryMode);  // the mask may have taken the group out
    return;
  }
  if (errno != EEXIST) check(errno);
}

bool hasDataFile(const std::string& directory) {
  struct stat info {};
  if (::stat((directory + dataFileName).c_str(), &info) == 0) return true;
  if (errno != ENOENT) check(errno);
  return false;
}

void createStore(const std::string& directory) {
  const WorkDirectory work(directory);
  buildEmptyStore(work.path());
  (void)::chmod((work.path() + dataFileName).c_str(), fileMode);
  const std::string from = work.path() + dataFileName;
  const std::string to = directory + dataFileName;
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0 && errno != EEXIST) {
    check(errno);
  }
  syncDirectory(directory);
}

FileIdentity identify(const std::string& file) {
  struct stat info {};
  if (::stat(file.c_str(), &info) != 0) check(errno);
  return {info.st_dev, info.st_ino};
}

FileIdentity identify(int fd) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) check(errno);
  return {info.st_dev, info.st_ino};
}

std::uint64_t fileSize(const std::string& file) {
  struct stat info {};
  if (::stat(file.c_str(), &info) != 0) check(errno);
  return static_cast<std::uint64_t>(info.st_size);
}

bool isFull(const std::string& directory) {
  constexpr std::uint64_t leastRoom = std::uint64_t{64} << 10;
  struct rlimit limit {};
  if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      fileSize(directory + dataFileName) + leastRoom > limit.rlim_cur) {
    return true;
  }
  struct statvfs info {};
  return ::statvfs(directory.c_str(), &info) == 0 && info.f_bavail * info.f_frsize < leastRoom;
}

// Where there is no such lock, the store can be opened all the same.
Doorway::Doorway(const std::string& directory, Use use)
    : m_fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  const bool isAlone = use == Use::Replacing;
  if (m_fd < 0 && isAlone) check(errno);
  if (m_fd < 0) return;
  int result = 0;
  do {
    result = ::flock(m_fd, isAlone ? LOCK_EX | LOCK_NB : LOCK_SH);
  } while (result != 0 && errno == EINTR);
  if (result == 0 || !isAlone) return;
  const int cause = errno;
  ::close(m_fd);
  throw Failure(ERROR_ACCESS_DENIED, cause);
}

Doorway::~Doorway() {
  if (m_fd >= 0) ::close(m_fd);
}

Lengthening::Lengthening(const std::string& file, std::uint64_t needed)
    : m_fd(::open(file.c_str(), O_RDWR | O_CLOEXEC)), m_needed(needed) {
  if (m_fd < 0) {  // a store that we may only read
    if (fileSize(file) < needed) throw Failure(ERROR_REGISTRY_CORRUPT, errno);
    m_before = needed;
    return;
  }
  while (::flock(m_fd, LOCK_EX) != 0 && errno == EINTR) continue;
  m_before = fileSize(file);
  // Unlike ftruncate, this cannot shorten what a writer lengthens at the same time.
  if (!wasShort() || ::fallocate(m_fd, 0, static_cast<off_t>(needed - 1), 1) == 0) return;
  const int cause = errno;
  ::close(m_fd);
  throw Failure(cause == ENOSPC ? ERROR_DISK_FULL : ERROR_REGISTRY_CORRUPT, cause);
}

Lengthening::~Lengthening() {
  if (m_fd < 0) return;
  struct stat info {};
  const bool isOurs = ::fstat(m_fd, &info) == 0 && static_cast<std::uint64_t>(info.st_size) == m_needed;
  if (wasShort() && !m_kept && isOurs) (void)!::ftruncate(m_fd, static_cast<off_t>(m_before));
  ::close(m_fd);
}

void reserveLockFile(const std::string& directory, std::uint64_t size) {
  const int fd = ::open((directory + lockFileName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, fileMode);
  if (fd < 0) return;  // opening the store will say why
  const int cause = ::fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0 ? 0 : errno;
  ::close(fd);
  if (cause == ENOSPC || cause == EDQUOT) check(cause);
}

void openToGroup(const std::string& directory) {
  for (const char* name : {dataFileName, lockFileName}) {
    (void)::chmod((directory + name).c_str(), fileMode);  // the owner alone can, and need be
  }
}

std::string bootId() {
  const int fd = ::open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC);
  if (fd < 0 && toRegistryNumber(errno) == ERROR_NO_SYSTEM_RESOURCES) check(errno);
  if (fd < 0) return {};
  std::array<char, 64> text{};
  const ssize_t size = ::read(fd, text.data(), text.size());
  ::close(fd);
  const std::string_view read(text.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  return std::string(read.substr(0, read.find('\n')));
}

}  // namespace registry
