// A directory and a store of the registry for one test; both go at the end of the scope.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/registry/RegistryStore.h"

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
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
  // TMPDIR where it is set, else memory where there is some: durable writes are then cheap.
  static std::filesystem::path root() {
    if (std::getenv("TMPDIR") == nullptr && ::access("/dev/shm", W_OK) == 0) return "/dev/shm";
    return std::filesystem::temp_directory_path();
  }

  std::string m_path;
};

// In use until the end of the scope.
class TempStore {
public:
  TempStore() { use(); }
  ~TempStore() { registry::useStore(""); }
  TempStore(const TempStore&) = delete;
  TempStore& operator=(const TempStore&) = delete;

  std::string directory() const { return m_root / "store"; }
  std::string file() const { return directory() + "/data.mdb"; }
  std::string beside(const std::string& name) const { return m_root / name; }
  // Closes the store and opens it anew at the next access.
  void use() const { registry::useStore(directory()); }

private:
  TempDirectory m_root;
};
