// LMDB by itself: one flat table, the least that a store on it can cost.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct MDB_env;
struct MDB_txn;

namespace bench {

class LmdbPeer {
public:
  static constexpr const char* name = "lmdb";

  // Makes a Strings tree of that size in the directory, which is there and empty. Throws
  // std::runtime_error. One thread.
  LmdbPeer(const std::string& directory, std::uint32_t size);
  ~LmdbPeer();

  // Sees all that was written before. False where the key is missing.
  bool read(const char* key, std::string& value);
  // One transaction, on disk at the return.
  bool write(const char* key, const std::string& value);

private:
  void fill(std::uint32_t size);

  struct Close {
    void operator()(MDB_env* env) const;
    void operator()(MDB_txn* txn) const;
  };
  std::unique_ptr<MDB_env, Close> m_env;
  std::unique_ptr<MDB_txn, Close> m_reader;  // kept reset, renewed for each read
  unsigned m_table = 0;
};

}  // namespace bench
