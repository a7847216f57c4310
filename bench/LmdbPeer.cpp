#include "bench/LmdbPeer.h"

#include <lmdb.h>

#include <cstring>
#include <stdexcept>

#include "bench/Tree.h"

namespace bench {

namespace {

constexpr std::size_t mapSize = std::size_t{4} << 30;

void require(int result) {
  if (result != 0) throw std::runtime_error(std::string("lmdb: ") + mdb_strerror(result));
}

MDB_val valueOf(const char* text, std::size_t length) {
  return {length, const_cast<char*>(text)};
}

int put(MDB_txn* txn, MDB_dbi table, const char* key, const std::string& value, unsigned flags) {
  MDB_val keyValue = valueOf(key, std::strlen(key));
  MDB_val data = valueOf(value.data(), value.size());
  return mdb_put(txn, table, &keyValue, &data, flags);
}

}  // namespace

void LmdbPeer::Close::operator()(MDB_env* env) const {
  mdb_env_close(env);
}

void LmdbPeer::Close::operator()(MDB_txn* txn) const {
  mdb_txn_abort(txn);
}

LmdbPeer::LmdbPeer(const std::string& directory, std::uint32_t size) {
  MDB_env* env = nullptr;
  require(mdb_env_create(&env));
  m_env.reset(env);
  require(mdb_env_set_mapsize(env, mapSize));
  require(mdb_env_open(env, directory.c_str(), MDB_NORDAHEAD, 0600));
  fill(size);
  MDB_txn* reader = nullptr;
  require(mdb_txn_begin(env, nullptr, MDB_RDONLY, &reader));
  m_reader.reset(reader);
  mdb_txn_reset(reader);
}

LmdbPeer::~LmdbPeer() = default;

void LmdbPeer::fill(std::uint32_t size) {
  MDB_txn* txn = nullptr;
  require(mdb_txn_begin(m_env.get(), nullptr, 0, &txn));
  std::unique_ptr<MDB_txn, Close> guard(txn);
  require(mdb_dbi_open(txn, nullptr, 0, &m_table));
  const std::vector<Access> all = contents(size);
  for (const Access& access : all) {
    require(put(txn, m_table, access.key, textOf(access.value), MDB_APPEND));
  }
  require(mdb_txn_commit(guard.release()));
}

bool LmdbPeer::read(const char* key, std::string& value) {
  if (mdb_txn_renew(m_reader.get()) != 0) return false;
  MDB_val keyValue = valueOf(key, std::strlen(key));
  MDB_val data{};
  const bool found = mdb_get(m_reader.get(), m_table, &keyValue, &data) == 0;
  if (found) value.assign(static_cast<const char*>(data.mv_data), data.mv_size);
  mdb_txn_reset(m_reader.get());
  return found;
}

bool LmdbPeer::write(const char* key, const std::string& value) {
  MDB_txn* txn = nullptr;
  if (mdb_txn_begin(m_env.get(), nullptr, 0, &txn) != 0) return false;
  std::unique_ptr<MDB_txn, Close> guard(txn);
  return put(txn, m_table, key, value, 0) == 0 && mdb_txn_commit(guard.release()) == 0;
}

}  // namespace bench
