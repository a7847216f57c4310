// A store of the registry for one test; it goes at the end of the scope.
#pragma once

#include <string>

#include "platform/registry/RegistryStore.h"
#include "tests/TempDirectory.h"

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
