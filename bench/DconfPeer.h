// dconf with the tree as a compiled database, and no session bus.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace bench {

class DconfPeer {
public:
  static constexpr const char* name = "dconf";

  // Compiles a Strings tree of that size in the directory, which is there and empty. Throws
  // std::runtime_error. One thread.
  DconfPeer(const std::string& directory, std::uint32_t size);
  ~DconfPeer();

  // False where the key is missing.
  bool read(const char* key, std::string& value);

private:
  struct Release {
    void operator()(void* object) const;
  };
  std::unique_ptr<void, Release> m_client;
};

}  // namespace bench
