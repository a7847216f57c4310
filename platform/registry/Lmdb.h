// Thin owners for LMDB's objects.
#pragma once

#include <lmdb.h>

#include <memory>
#include <optional>
#include <string_view>

#include "platform/registry/Errors.h"

namespace registry {

inline MDB_val toVal(std::string_view bytes) {
  return {bytes.size(), const_cast<char*>(bytes.data())};  // NOLINT(*-const-cast): never written through
}
inline std::string_view fromVal(const MDB_val& value) {
  return {static_cast<const char*>(value.mv_data), value.mv_size};
}

struct TxnAbort {
  void operator()(MDB_txn* txn) const { mdb_txn_abort(txn); }
};
using TxnPtr = std::unique_ptr<MDB_txn, TxnAbort>;

struct EnvClose {
  void operator()(MDB_env* env) const { mdb_env_close(env); }
};
using EnvPtr = std::unique_ptr<MDB_env, EnvClose>;

// The bytes of an entry, valid until the transaction ends or writes; none where it is absent.
inline std::optional<std::string_view> fetch(MDB_txn* txn, MDB_dbi table, std::string_view key) {
  MDB_val keyVal = toVal(key);
  MDB_val data{};
  const int result = mdb_get(txn, table, &keyVal, &data);
  if (result == MDB_NOTFOUND) return std::nullopt;
  check(result);
  return fromVal(data);
}

inline void store(MDB_txn* txn, MDB_dbi table, std::string_view key, std::string_view data) {
  MDB_val keyVal = toVal(key);
  MDB_val dataVal = toVal(data);
  check(mdb_put(txn, table, &keyVal, &dataVal, 0));
}

// True where the entry was there.
inline bool erase(MDB_txn* txn, MDB_dbi table, std::string_view key) {
  MDB_val keyVal = toVal(key);
  const int result = mdb_del(txn, table, &keyVal, nullptr);
  if (result == MDB_NOTFOUND) return false;
  check(result);
  return true;
}

// A walk over one table. False from a move means that there is nothing there.
class Cursor {
public:
  Cursor(MDB_txn* txn, MDB_dbi table) {
    MDB_cursor* cursor = nullptr;
    check(mdb_cursor_open(txn, table, &cursor));
    m_cursor.reset(cursor);
  }

  bool seek(std::string_view key) {  // the first entry at or after the key
    m_key = toVal(key);
    return move(MDB_SET_RANGE);
  }
  bool first() { return move(MDB_FIRST); }
  bool next() { return move(MDB_NEXT); }
  void erase() { check(mdb_cursor_del(m_cursor.get(), 0)); }

  std::string_view key() const { return fromVal(m_key); }
  std::string_view data() const { return fromVal(m_data); }

private:
  struct Close {
    void operator()(MDB_cursor* cursor) const { mdb_cursor_close(cursor); }
  };

  bool move(MDB_cursor_op operation) {
    const int result = mdb_cursor_get(m_cursor.get(), &m_key, &m_data, operation);
    if (result == MDB_NOTFOUND) return false;
    check(result);
    return true;
  }

  std::unique_ptr<MDB_cursor, Close> m_cursor;
  MDB_val m_key{};
  MDB_val m_data{};
};

}  // namespace registry
