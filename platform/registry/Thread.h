// What a thread has open in the store: its reader place, its cache, its transaction scopes.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/registry/Cache.h"
#include "platform/registry/Enumerate.h"
#include "platform/registry/Handles.h"
#include "platform/registry/Store.h"

namespace registry {

class ThreadState;

// One RegistryTransaction. The scopes of a thread form a chain, the innermost first.
struct WriteScope {
  std::shared_ptr<Store> store;
  TxnPtr txn;  // null where it could not begin, or once it ended
  WriteScope* outer = nullptr;
  LSTATUS failure = 0;  // the first one of its writes; nothing is kept after it
  std::uint64_t firstNewId =
      0;  // keys from here on may go with the transaction, and their ids be given again
  std::uint64_t process = 0;
  ThreadState* thread = nullptr;
};

class ThreadState {
public:
  static ThreadState& get() {
    if (t_state == nullptr) [[unlikely]]
      return create();
    return *t_state;
  }

  ThreadState() = default;
  ~ThreadState();
  ThreadState(const ThreadState&) = delete;
  ThreadState& operator=(const ThreadState&) = delete;

  // The store in use, taken up anew where it changed. Throws Failure.
  Store& store() {
    if (!isAttached()) [[unlikely]]
      attach();
    return *m_store;
  }
  bool isInView() const { return m_views > 0; }
  bool isAttached() const { return m_epoch == epoch(); }
  NodeCache& cache() { return m_cache; }

  // The store as of the last commit, or as of the thread's view where it has one. Where nothing has been
  // committed since the thread entered the store last, it need not be entered again for what is remembered.
  Moment beginReading() {
    Store& now = store();
    if (!m_viewIsLive) {
      if (m_wholeViews > 0 || !isUpToDate()) renew();
      m_viewIsLive = m_views > 0;
    }
    return {m_readerIsLive ? m_reader.get() : nullptr, &now.tables(), m_number, this};
  }
  void endReading() {
    if (!m_viewIsLive) leave();
  }
  // For a moment that began without.
  MDB_txn* enter() {
    renew();
    return m_reader.get();
  }
  std::uint64_t number() const { return m_number; }

  void beginView(bool whole) {
    ++m_views;
    if (!whole) return;
    ++m_wholeViews;
    if (!m_readerIsLive) m_viewIsLive = false;
  }
  void endView(bool whole) {
    if (whole) --m_wholeViews;
    if (--m_views == 0) refreshView();
  }
  // The next read in the view sees the last commit: after a write of the thread's own.
  void refreshView() {
    m_viewIsLive = false;
    leave();
  }

  // The key behind a handle where it is the one that this thread read last and nothing has been committed
  // since, as with the values of one parameter; else null. For a reading outside a RegistryTransaction.
  CachedNode* recent(HKEY handle, REGSAM need, const Moment& moment) const {
    const bool isRight = m_recent.handle == handle && (m_recent.rights & need) == need &&
                         m_recent.node->serial() == m_recent.serial && m_recent.node->isRightAt(moment) &&
                         m_recent.state.isOpen();
    return isRight ? m_recent.node : nullptr;
  }
  void remember(HKEY handle, REGSAM rights, CachedNode& node) {
    m_recent = {handle, rights, &node, node.serial(), OpenState(handle)};
  }

  // The key as the innermost scope has it, null where it has none; good until something is written. The one
  // read last is kept, since a write asks a parameter's key for many things first.
  const NodeView* readInScope(const Tree& tree, const NodeRef& node) {
    if (m_hasSeen && m_seen.header().id == node.id) return &m_seen;
    m_hasSeen = false;
    if (!tree.read(node, m_seen)) return nullptr;
    m_hasSeen = true;
    return &m_seen;
  }
  // Something is about to be written, or a scope begins or ends.
  void forgetSeen() { m_hasSeen = false; }

  // Where its last walks stood.
  struct Positions {
    Position subKey;
    Position value;
  };
  Positions& positions() { return m_positions; }

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
  struct Recent {
    HKEY handle = 0;  // never one that is open
    REGSAM rights = 0;
    CachedNode* node = nullptr;
    std::uint64_t serial = 0;
    OpenState state;
  };

  class LateKey;

  static ThreadState& create();
  void attach();
  void letGo();
  void renew();
  void leave() {
    if (!m_readerIsLive) return;
    m_readerIsLive = false;
    if (m_process == processGeneration()) mdb_txn_reset(m_reader.get());  // else it is the parent's
  }
  // The head of the store is written before a commit returns, and readers are let in to it after that. So
  // where the head is still that of the last renewal, nothing has been committed since; where it is newer,
  // a renewal tells.
  bool isUpToDate() const {
    MDB_envinfo head;
    (void)mdb_env_info(m_store->env(), &head);
    return head.me_last_txnid == m_number;
  }

  static constinit thread_local ThreadState* t_state;

  std::uint64_t m_epoch = 0;
  std::uint64_t m_process = 0;
  std::uint64_t m_number = 0;  // of the last renewal; no commit has the number 0
  std::uint32_t m_views = 0;
  std::uint32_t m_wholeViews = 0;
  bool m_viewIsLive = false;
  bool m_readerIsLive = false;
  std::shared_ptr<Store> m_store;
  TxnPtr m_reader;
  NodeCache m_cache;
  Recent m_recent;
  Positions m_positions;
  WriteScope* m_scope = nullptr;
  bool m_hasSeen = false;
  NodeView m_seen;
};

// A reader's look at the store for the length of one registry call. Inside a RegistryTransaction it sees
// that; the cache is then out of play.
class Reading {
public:
  Reading() : m_thread(ThreadState::get()), m_moment{} {
    const WriteScope* const scope = m_thread.scope();
    m_inScope = scope != nullptr && scope->txn != nullptr;
    m_moment =
        m_inScope ? Moment{scope->txn.get(), &scope->store->tables(), 0, nullptr} : m_thread.beginReading();
  }
  ~Reading() {
    if (!m_inScope) m_thread.endReading();
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  // In a transaction only.
  Tree tree() const { return {m_moment.txn, *m_moment.tables}; }
  Moment& moment() { return m_moment; }
  ThreadState& thread() const { return m_thread; }
  bool isInTransaction() const { return m_inScope; }
  // In a transaction only: what its keys' ids begin with, should it be taken back.
  std::uint64_t firstNewId() const { return m_thread.scope()->firstNewId; }

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
      ThreadState& thread = ThreadState::get();
      const bool isAlone = thread.scope() == nullptr;
      if (isAlone) thread.refreshView();  // what the refusal is about may be newer than the view
      const bool full = failure.cause() == MDB_MAP_FULL && isAlone;
      if (!full || !again || thread.store().clearDeadReaders() == 0) throw;
    } catch (const std::bad_alloc&) {
      write.spoil(ERROR_NOT_ENOUGH_MEMORY);
      throw;
    }
  }
}

}  // namespace registry
