// SQLite: one table, prepared statements, write-ahead log.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace bench {

class SqlitePeer {
public:
  static constexpr const char* name = "sqlite";

  // Makes a Strings tree of that size in the directory, which is there and empty. Throws
  // std::runtime_error. One thread.
  SqlitePeer(const std::string& directory, std::uint32_t size);
  ~SqlitePeer();

  // Sees all that was written before. False where the key is missing.
  bool read(const char* key, std::string& value);
  // One transaction, on disk at the return.
  bool write(const char* key, const std::string& value);

private:
  struct Close {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  void execute(const char* sql);
  Statement prepare(const char* sql);

  std::unique_ptr<sqlite3, Close> m_database;
  Statement m_select;
  Statement m_replace;
};

}  // namespace bench
