// The files of a store: where they lie, how a new one comes to be, what their sizes say.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace registry {

inline constexpr const char* dataFileName = "/data.mdb";
inline constexpr const char* lockFileName = "/lock.mdb";
inline constexpr mode_t directoryMode = 0770;
inline constexpr mode_t fileMode = 0660;

// Which file this is, whatever its name.
struct FileIdentity {
  dev_t device;
  ino_t node;
  auto operator<=>(const FileIdentity&) const = default;  // NOLINT(modernize-use-nullptr): there is none
};

// The directory that the environment asks for.
std::string defaultDirectory();
// Makes the directory and those above it. Throws Failure.
void makeDirectory(const std::string& directory);

// True where there is a data file. Throws Failure where one cannot tell.
bool hasDataFile(const std::string& directory);
// Builds an empty store beside its place and moves it there in one step, so that a data file is always
// whole. One that came first stays.
void createStore(const std::string& directory);

FileIdentity identify(const std::string& file);
FileIdentity identify(int fd);
std::uint64_t fileSize(const std::string& file);
// True where the store in the directory has no room to grow: by its file system or by the process's limit.
bool isFull(const std::string& directory);

// What whoever opens the store goes through, and nobody while another file takes its place. LMDB's own lock
// is not enough for that: who waits for it goes on with what the lock file says of the file before.
class Doorway {
public:
  enum class Use { Opening, Replacing };
  // To open, it waits. To replace, it throws Failure with ERROR_ACCESS_DENIED where somebody opens the store
  // just now.
  Doorway(const std::string& directory, Use use);
  ~Doorway();
  Doorway(const Doorway&) = delete;
  Doorway& operator=(const Doorway&) = delete;

private:
  int m_fd;
};

// Gives a file the length it needs, and at the end takes that back unless told to keep it: a file that is
// refused stays as it is, to be refused the next time too. Of all processes one at a time gets past the
// constructor, so none takes a lengthened file for a whole one.
class Lengthening {
public:
  // Throws Failure with ERROR_REGISTRY_CORRUPT where the file is short and cannot be lengthened.
  Lengthening(const std::string& file, std::uint64_t needed);
  ~Lengthening();
  Lengthening(const Lengthening&) = delete;
  Lengthening& operator=(const Lengthening&) = delete;

  bool wasShort() const { return m_before < m_needed; }
  void keep() { m_kept = true; }

private:
  int m_fd;
  std::uint64_t m_needed;
  std::uint64_t m_before = 0;
  bool m_kept = false;
};
// Takes the disk space of the lock file. LMDB writes to it through memory, where a full disk would kill the
// process. Throws Failure. Not while this process has the store open: it would lose its locks on the file.
void reserveLockFile(const std::string& directory, std::uint64_t size);
// Lets the group in, as far as we may.
void openToGroup(const std::string& directory);

// Empty where the kernel does not tell it. Throws Failure where it cannot be asked now, for want of
// descriptors.
std::string bootId();

}  // namespace registry
