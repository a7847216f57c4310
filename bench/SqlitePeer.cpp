#include "bench/SqlitePeer.h"

#include <sqlite3.h>

#include <stdexcept>

#include "bench/Tree.h"

namespace bench {

namespace {

void bind(sqlite3_stmt* statement, int index, const char* text, int length) {
  sqlite3_bind_text(statement, index, text, length, SQLITE_STATIC);
}

}  // namespace

void SqlitePeer::Close::operator()(sqlite3* database) const {
  sqlite3_close(database);
}

void SqlitePeer::Close::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

SqlitePeer::SqlitePeer(const std::string& directory, std::uint32_t size) {
  sqlite3* database = nullptr;
  const int result = sqlite3_open((directory + "/database").c_str(), &database);
  m_database.reset(database);
  if (result != SQLITE_OK) throw std::runtime_error("sqlite: cannot open");
  execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA mmap_size=1073741824;");
  execute("CREATE TABLE parameters (key TEXT PRIMARY KEY, value TEXT) WITHOUT ROWID;");
  m_select = prepare("SELECT value FROM parameters WHERE key = ?1");
  m_replace = prepare("REPLACE INTO parameters VALUES (?1, ?2)");
  execute("BEGIN");
  const std::vector<Access> all = contents(size);
  for (const Access& access : all) {
    if (!write(access.key, textOf(access.value))) throw std::runtime_error("sqlite: cannot fill");
  }
  execute("COMMIT; PRAGMA wal_checkpoint(TRUNCATE);");
}

SqlitePeer::~SqlitePeer() = default;

void SqlitePeer::execute(const char* sql) {
  if (sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw std::runtime_error(std::string("sqlite: ") + sqlite3_errmsg(m_database.get()));
  }
}

SqlitePeer::Statement SqlitePeer::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(m_database.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
      SQLITE_OK) {
    throw std::runtime_error(std::string("sqlite: ") + sqlite3_errmsg(m_database.get()));
  }
  return Statement(statement);
}

bool SqlitePeer::read(const char* key, std::string& value) {
  bind(m_select.get(), 1, key, -1);
  const bool found = sqlite3_step(m_select.get()) == SQLITE_ROW;
  if (found) {
    const auto* text = static_cast<const char*>(sqlite3_column_blob(m_select.get(), 0));
    value.assign(text, static_cast<std::size_t>(sqlite3_column_bytes(m_select.get(), 0)));
  }
  sqlite3_reset(m_select.get());
  return found;
}

bool SqlitePeer::write(const char* key, const std::string& value) {
  bind(m_replace.get(), 1, key, -1);
  bind(m_replace.get(), 2, value.data(), static_cast<int>(value.size()));
  const bool done = sqlite3_step(m_replace.get()) == SQLITE_DONE;
  sqlite3_reset(m_replace.get());
  return done;
}

}  // namespace bench
