// A directory for one test, which goes at the end of the scope with all that is in it.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

class TempDirectory {
public:
  TempDirectory() : m_path((root() / "sps-test-XXXXXX").string()) {
    if (::mkdtemp(m_path.data()) == nullptr) throw std::filesystem::filesystem_error("mkdtemp", {});
  }
  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  const std::string& path() const { return m_path; }
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
  // TMPDIR where it is set, else memory where there is some: durable writes are then cheap.
  static std::filesystem::path root() {
    if (std::getenv("TMPDIR") == nullptr && ::access("/dev/shm", W_OK) == 0) return "/dev/shm";
    return std::filesystem::temp_directory_path();
  }

  std::string m_path;
};
