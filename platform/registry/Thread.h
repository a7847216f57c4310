// What a thread has open in the store: its reader place, its cache, its transaction scopes.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/registry/Cache.h"
#include "platform/registry/Store.h"

namespace registry {

class ThreadState;

// One RegistryTransaction. The scopes of a thread form a chain, the innermost first.
struct WriteScope {
  std::shared_ptr<Store> store;
  TxnPtr txn;  // null where it could not begin, or once it ended
  WriteScope* outer = nullptr;
  LSTATUS failure = 0;  // the first one of its writes; nothing is kept after it
  std::uint64_t process = 0;
  ThreadState* thread = nullptr;
};

class ThreadState {
public:
  static ThreadState& get() {
    if (t_state == nullptr) [[unlikely]]
      create();
    return *t_state;
  }

  ThreadState() = default;
  ~ThreadState();
  ThreadState(const ThreadState&) = delete;
  ThreadState& operator=(const ThreadState&) = delete;

  // The store in use, taken up anew where it changed. Throws Failure.
  Store& store() {
    if (m_epoch != epoch()) [[unlikely]]
      attach();
    return *m_store;
  }
  NodeCache& cache() { return m_cache; }

  // The store as of the last commit, or as of the thread's view where it has one.
  Moment beginReading() {
    Store& now = store();
    if (m_viewIsLive) return {m_reader.get(), &now.tables(), m_viewNumber};
    renew();
    const Moment moment{m_reader.get(), &now.tables(), mdb_txn_id(m_reader.get())};
    m_viewIsLive = m_views > 0;
    m_viewNumber = moment.number;
    return moment;
  }
  void endReading() {
    if (!m_viewIsLive) mdb_txn_reset(m_reader.get());
  }

  void beginView() { ++m_views; }
  void endView() {
    if (--m_views == 0) refreshView();
  }
  // The next read in the view sees the last commit: after a write of the thread's own.
  void refreshView() {
    if (!m_viewIsLive) return;
    m_viewIsLive = false;
    if (m_process == processGeneration()) mdb_txn_reset(m_reader.get());  // else it is the parent's
  }

  void beginScope(WriteScope& scope);
  LSTATUS commitScope(WriteScope& scope);
  // Takes back what was not committed, inner scopes first.
  void endScope(WriteScope& scope);
  // The innermost scope; null outside.
  WriteScope* scope() {
    if (m_scope != nullptr && m_scope->process != processGeneration()) m_scope = nullptr;
    return m_scope;
  }

private:
  static void create();
  void attach();
  void letGo();
  void renew();

  static constinit thread_local ThreadState* t_state;

  std::uint64_t m_epoch = 0;
  std::uint64_t m_process = 0;
  std::uint64_t m_viewNumber = 0;
  std::uint32_t m_views = 0;
  bool m_viewIsLive = false;
  std::shared_ptr<Store> m_store;
  TxnPtr m_reader;
  NodeCache m_cache;
  WriteScope* m_scope = nullptr;
};

// A reader's look at the store for the length of one registry call. Inside a RegistryTransaction it sees
// that; the cache is then out of play.
class Reading {
public:
  Reading() : m_thread(ThreadState::get()), m_moment{} {
    const WriteScope* const scope = m_thread.scope();
    m_inScope = scope != nullptr && scope->txn != nullptr;
    m_moment = m_inScope ? Moment{scope->txn.get(), &scope->store->tables(), 0} : m_thread.beginReading();
  }
  ~Reading() {
    if (!m_inScope) m_thread.endReading();
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  Tree tree() const { return {m_moment.txn, *m_moment.tables}; }
  const Moment& moment() const { return m_moment; }
  ThreadState& thread() const { return m_thread; }
  bool isInTransaction() const { return m_inScope; }

private:
  ThreadState& m_thread;
  Moment m_moment;
  bool m_inScope = false;
};

// The transaction that a write goes into: the thread's RegistryTransaction, or a durable one of its own.
class Writing {
public:
  Writing();
  Tree tree() const { return {m_txn, m_store.tables()}; }
  void commit();
  // Tells the scope that its transaction is no longer whole. Outside one there is nothing to tell.
  void spoil(LSTATUS number);

private:
  Store& m_store;
  WriteScope* m_scope;
  TxnPtr m_own;
  MDB_txn* m_txn = nullptr;
};

// True where a failure may have come after the first write of an operation. What refuses an operation
// comes before that and leaves the transaction whole.
inline bool isSpoiling(const Failure& failure) {
  return failure.cause() != 0 || failure.number() == ERROR_REGISTRY_CORRUPT;
}

// Runs one write. The operation gets a Tree and throws Failure to refuse. A full map is tried once more
// where clearing dead readers may have freed pages.
template <class Operation>
void writing(Operation&& operation) {
  for (bool again = true;; again = false) {
    Writing write;
    try {
      Tree tree = write.tree();
      operation(tree);
      write.commit();
      return;
    } catch (const Failure& failure) {
      if (isSpoiling(failure)) write.spoil(failure.number());
      const bool full = failure.cause() == MDB_MAP_FULL && ThreadState::get().scope() == nullptr;
      if (!full || !again || ThreadState::get().store().clearDeadReaders() == 0) throw;
    } catch (const std::bad_alloc&) {
      write.spoil(ERROR_NOT_ENOUGH_MEMORY);
      throw;
    }
  }
}

}  // namespace registry
