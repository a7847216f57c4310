#include "platform/registry/Thread.h"

#include "platform/registry/Enumerate.h"

namespace registry {

ThreadState& ThreadState::get() {
  thread_local ThreadState state;
  return state;
}

ThreadState::~ThreadState() {
  letGo();
}

// What was made before a fork is the parent's: it is dropped without being ended.
void ThreadState::letGo() {
  if (m_process == processGeneration()) {
    m_reader.reset();
    m_store.reset();
    return;
  }
  abandon(std::move(m_store), m_reader.release());
  m_store = nullptr;
  m_scope = nullptr;
}

void ThreadState::attach() {
  letGo();
  m_cache.clear();
  m_storeGeneration = 0;
  m_process = processGeneration();
  const std::uint64_t generation = storeGeneration();
  m_store = currentStore();
  m_storeGeneration = generation;
}

MDB_txn* ThreadState::renew() {
  if (m_reader) {
    check(mdb_txn_renew(m_reader.get()));
  } else {
    m_reader = m_store->begin(nullptr, MDB_RDONLY);
  }
  return m_reader.get();
}

WriteScope* ThreadState::scope() {
  if (m_scope != nullptr && m_scope->process != processGeneration()) m_scope = nullptr;
  return m_scope;
}

void ThreadState::beginScope(WriteScope& scope) {
  scope.thread = this;
  scope.process = processGeneration();
  scope.outer = this->scope();
  scope.failure = guarded([&] {
    store();
    scope.store = scope.outer != nullptr ? scope.outer->store : m_store;
    if (scope.outer != nullptr && scope.outer->failure != 0) return scope.outer->failure;
    scope.txn = scope.store->begin(scope.outer != nullptr ? scope.outer->txn.get() : nullptr, 0);
    return ERROR_SUCCESS;
  });
  m_scope = &scope;
}

LSTATUS ThreadState::commitScope(WriteScope& scope) {
  if (&get() != this || scope.process != processGeneration()) return ERROR_INVALID_HANDLE;
  while (m_scope != nullptr && m_scope != &scope) endScope(*m_scope);
  if (scope.failure != 0) return scope.failure;
  if (!scope.txn) return ERROR_INVALID_HANDLE;
  const int result = mdb_txn_commit(scope.txn.release());
  scope.failure = result == 0 ? ERROR_SUCCESS : toRegistryNumber(result);
  const LSTATUS outcome = scope.failure;
  if (outcome != 0 && scope.outer != nullptr) scope.outer->failure = outcome;
  endScope(scope);
  return outcome;
}

void ThreadState::endScope(WriteScope& scope) {
  if (scope.process != processGeneration()) {
    abandon(std::move(scope.store), scope.txn.release());
    return;
  }
  if (m_scope == nullptr) return;
  for (WriteScope* inner = m_scope; inner != &scope; inner = inner->outer) {
    if (inner == nullptr) return;  // it ended before
  }
  forgetPositions();
  for (WriteScope* inner = m_scope;; inner = inner->outer) {
    inner->txn.reset();
    m_scope = inner->outer;
    if (inner == &scope) return;
  }
}

Reading::Reading() : m_thread(ThreadState::get()), m_moment{}, m_scope(false) {
  Store& store = m_thread.store();
  WriteScope* const scope = m_thread.scope();
  m_scope = scope != nullptr && scope->txn != nullptr;
  m_moment.tables = &store.tables();
  m_moment.txn = m_scope ? scope->txn.get() : m_thread.renew();
  m_moment.number = m_scope ? 0 : mdb_txn_id(m_moment.txn);
}

Writing::Writing()
    : m_store(ThreadState::get().store()), m_scope(ThreadState::get().scope()), m_txn(nullptr) {
  if (m_store.isReadOnly()) throw Failure(ERROR_ACCESS_DENIED);
  if (m_scope == nullptr) {
    m_own = m_store.begin(nullptr, 0);
    m_txn = m_own.get();
    return;
  }
  if (m_scope->failure != 0) throw Failure(m_scope->failure);
  m_txn = m_scope->txn.get();
}

void Writing::commit() {
  if (m_own) check(mdb_txn_commit(m_own.release()));
}

void Writing::spoil(LSTATUS number) {
  if (m_scope != nullptr) m_scope->failure = number;
}

}  // namespace registry
