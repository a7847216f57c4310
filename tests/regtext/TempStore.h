// A store of its own for one test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/registry/RegistryStore.h"

class TempStore {
public:
  TempStore() { registry::useStore(m_directory.string()); }
  ~TempStore() {
    registry::useStore("");
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
  }
  TempStore(const TempStore&) = delete;
  TempStore& operator=(const TempStore&) = delete;

private:
  static std::filesystem::path NewDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "regtext-XXXXXX").string();
    return mkdtemp(pattern.data()) ? pattern : throw std::filesystem::filesystem_error("mkdtemp", {});
  }

  std::filesystem::path m_directory = NewDirectory();
};
