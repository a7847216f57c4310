#include "tools/sps/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>

#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuseFile(const std::string& verb, const std::string& path) {
  throw Refused{verb + " the file " + shellWord(path), std::strerror(errno), 0, {}};
}

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// Those of the file that is there, or of a new one.
mode_t rightsFor(const std::string& target) {
  struct stat info {};
  if (::stat(target.c_str(), &info) == 0) return info.st_mode & 07777;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

// A file made for this purpose, with the rights of its target. Gone unless it was put in place.
class TemporaryFile {
public:
  explicit TemporaryFile(const std::string& target)
      : m_name(target + ".XXXXXX"), m_file(::mkstemp(m_name.data())) {
    if (m_file >= 0) ::fchmod(m_file, rightsFor(target));
  }
  ~TemporaryFile() {
    if (m_file < 0) return;
    const int error = errno;
    ::close(m_file);
    if (!m_placed) ::unlink(m_name.c_str());
    errno = error;
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool Fill(std::string_view bytes) const {
    return m_file >= 0 && writeAll(m_file, bytes) && ::fsync(m_file) == 0;
  }
  bool PutInPlaceOf(const std::string& target) {
    m_placed = ::rename(m_name.c_str(), target.c_str()) == 0;
    return m_placed;
  }

private:
  std::string m_name;
  int m_file;
  bool m_placed = false;
};

void syncDirectoryOf(const std::string& path) {
  const std::string parent = fs::path(path).parent_path().string();
  const int directory = ::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return;
  ::fsync(directory);
  ::close(directory);
}

bool writeInto(const std::string& path, std::string_view bytes) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool written = writeAll(file, bytes);
  const int error = errno;
  ::close(file);
  errno = error;
  return written;
}

// Where a link leads, so that it stays one.
std::string finalPath(const std::string& path) {
  std::error_code error;
  const fs::path target = fs::weakly_canonical(path, error);
  return error ? path : target.string();
}

}  // namespace

std::string readFile(const std::string& path) {
  if (path == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
  std::error_code error;
  if (fs::is_directory(path, error)) {
    errno = EISDIR;
    refuseFile("read", path);
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) refuseFile("read", path);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (file.bad()) refuseFile("read", path);
  return bytes;
}

void writeFile(const std::string& path, const std::string& bytes) {
  const std::string target = finalPath(path);
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    if (!writeInto(target, bytes)) refuseFile("write", path);
    return;
  }
  TemporaryFile file(target);
  if (!file.Fill(bytes) || !file.PutInPlaceOf(target)) refuseFile("write", path);
  syncDirectoryOf(target);
}

}  // namespace tool
