#include "platform/registry/Thread.h"

#include <pthread.h>

namespace registry {
namespace {

bool contains(const WriteScope* innermost, const WriteScope& scope) {
  while (innermost != nullptr && innermost != &scope) innermost = innermost->outer;
  return innermost != nullptr;
}

}  // namespace

// What the system destroys with its thread, as late as it can be. Without one, for they are numbered, it
// stays as long as the process.
class ThreadState::LateKey {
public:
  LateKey() : m_isThere(::pthread_key_create(&m_key, &destroy) == 0) {}
  void set(const ThreadState* state) const {
    if (m_isThere) (void)::pthread_setspecific(m_key, state);
  }

private:
  static void destroy(void* state) {
    t_state = nullptr;
    const std::unique_ptr<ThreadState> owner(static_cast<ThreadState*>(state));
  }

  pthread_key_t m_key{};
  bool m_isThere;
};

constinit thread_local ThreadState* ThreadState::t_state = nullptr;

// Destructors of static and of older thread-local objects may come back after the thread's state has
// gone. They get another one, which ends with the thread: what hangs on a key goes after all thread-local
// objects. That of the main thread stays.
ThreadState& ThreadState::create() {
  static constinit thread_local bool t_ended = false;
  if (t_ended) {
    static const LateKey key;
    auto state = std::make_unique<ThreadState>();
    key.set(state.get());
    t_state = state.release();
    return *t_state;
  }
  struct Owner {
    std::unique_ptr<ThreadState> state = std::make_unique<ThreadState>();
    Owner() = default;
    ~Owner() {
      t_state = nullptr;
      t_ended = true;
    }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
  };
  thread_local const Owner owner;
  t_state = owner.state.get();
  return *owner.state;
}

ThreadState::~ThreadState() {
  letGo();
}

// What was made before a fork is the parent's: it is dropped without being ended.
void ThreadState::letGo() {
  m_viewIsLive = false;
  m_readerIsLive = false;
  m_number = 0;
  if (m_process == processGeneration()) {
    m_reader.reset();
    release(std::move(m_store));
    m_store = nullptr;
    return;
  }
  abandon(std::move(m_store), m_reader.release());
  m_store = nullptr;
  m_scope = nullptr;
}

void ThreadState::attach() {
  letGo();
  m_recent = {};
  m_cache.clear();
  m_positions = {};
  m_epoch = 0;
  m_process = processGeneration();
  const std::uint64_t now = epoch();
  m_store = currentStore();
  m_epoch = now;
}

// A reader that is held up inside the renewal may get the head of a later commit under the number of an
// earlier one, as LMDB keeps two heads and writes them in turn. What we remember of that number would then
// be mixed with what the head leads to, so such a renewal does not count. It cannot have happened while
// the commit after the next is not there.
void ThreadState::renew() {
  for (;;) {
    if (m_reader) [[likely]] {
      check(mdb_txn_renew(m_reader.get()));
    } else {
      m_reader = m_store->begin(nullptr, MDB_RDONLY);
    }
    m_readerIsLive = true;
    m_number = mdb_txn_id(m_reader.get());
    MDB_envinfo head;
    (void)mdb_env_info(m_store->env(), &head);
    if (head.me_last_txnid <= m_number + 1) [[likely]]
      return;
    leave();
  }
}

void Moment::begin() {
  txn = thread->enter();
  number = thread->number();
}

void ThreadState::beginScope(WriteScope& scope) {
  scope.thread = this;
  forgetSeen();
  scope.process = processGeneration();
  scope.outer = this->scope();
  scope.failure = guarded([&] {
    store();
    scope.store = scope.outer != nullptr ? scope.outer->store : m_store;
    if (scope.outer != nullptr && scope.outer->failure != 0) return scope.outer->failure;
    scope.txn = scope.store->begin(scope.outer != nullptr ? scope.outer->txn.get() : nullptr, 0);
    scope.firstNewId =
        scope.outer != nullptr ? scope.outer->firstNewId : nextId(scope.txn.get(), scope.store->tables());
    return ERROR_SUCCESS;
  });
  m_scope = &scope;
}

LSTATUS ThreadState::commitScope(WriteScope& scope) {
  if (&get() != this || scope.process != processGeneration()) return ERROR_INVALID_HANDLE;
  if (!contains(m_scope, scope)) return ERROR_INVALID_HANDLE;
  while (m_scope != nullptr && m_scope != &scope) endScope(*m_scope);
  if (scope.failure != 0) return scope.failure;
  const LSTATUS outcome = guarded([&] {
    scope.store->commit(std::move(scope.txn));
    return ERROR_SUCCESS;
  });
  scope.failure = outcome;
  if (outcome != 0 && scope.outer != nullptr) scope.outer->failure = outcome;
  if (scope.outer == nullptr) refreshView();
  endScope(scope);
  return outcome;
}

void ThreadState::endScope(WriteScope& scope) {
  if (scope.process != processGeneration()) {
    if (contains(m_scope, scope)) m_scope = nullptr;  // with it the parent's others
    abandon(std::move(scope.store), scope.txn.release());
    return;
  }
  if (!contains(m_scope, scope)) return;  // it ended before
  m_positions = {};
  forgetSeen();
  for (WriteScope* inner = m_scope;; inner = inner->outer) {
    inner->txn.reset();
    m_scope = inner->outer;
    if (inner == &scope) return;
  }
}

Writing::Writing() : m_store(ThreadState::get().store()), m_scope(ThreadState::get().scope()) {
  if (m_store.isReadOnly()) throw Failure(ERROR_ACCESS_DENIED);
  if (m_scope == nullptr) {
    m_own = m_store.begin(nullptr, 0);
    m_txn = m_own.get();
    return;
  }
  if (m_scope->failure != 0) throw Failure(m_scope->failure);
  ThreadState::get().forgetSeen();
  m_txn = m_scope->txn.get();
}

void Writing::commit() {
  if (!m_own) return;
  m_store.commit(std::move(m_own));
  ThreadState::get().refreshView();
}

void Writing::spoil(LSTATUS number) {
  if (m_scope != nullptr) m_scope->failure = number;
}

}  // namespace registry
