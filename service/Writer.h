// The one thread that changes the tree.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "platform/ipc/IpcServer.h"
#include "service/Changes.h"

namespace service {

// A change on its way, with whom to answer.
struct Pending {
  std::unique_ptr<Change> change;
  std::shared_ptr<ipc::Exchange> exchange;
  Code verdict = accepted;
};

// Takes what has come together, at most a group, through the stages of a write: apply each change, commit the
// group, append to the trail, answer. A change is answered only when it is on disk and in the trail; one that
// is refused leaves nothing of itself and does not touch the others.
// Whoever is to learn of changes that are kept (a replication) hears of them between commit and answer.
class Writer {
public:
  Writer(const UnicodeString& space, AuditLog& audit);
  // Stops.
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Takes a change over. False where the writer has been stopped, and the change is the caller's still.
  bool Submit(Pending& pending);
  // Takes no more changes, and returns when all that were taken are answered.
  void Stop();

private:
  using Group = std::vector<Pending>;
  using Clock = std::chrono::steady_clock;

  void Run();
  Group TakeGroup();
  void Gather(std::unique_lock<std::mutex>& lock);
  void Process(std::span<Pending> group);
  Code Keep(std::span<Pending> group);
  enum class Inner : std::uint8_t { None, Each };  // transactions, inside that of the group
  std::optional<Code> KeepAll(std::span<Pending> group, Inner inner);
  bool Apply(Pending& pending, Inner inner);
  void Record(std::span<Pending> group);
  static void Answer(Pending& pending);

  Tree m_tree;
  AuditLog& m_audit;
  std::mutex m_mutex;
  std::condition_variable m_arrived;
  Group m_queue;  // guarded by the mutex, as the next
  bool m_isStopping = false;
  std::size_t m_wanted = 1;  // the length of the queue that the thread is woken at
  // Of the last group, for the thread alone: how many changes may come before the next one, and the time from
  // taking it to having answered it.
  std::size_t m_expected = 1;
  Clock::duration m_lastDuration{};
  std::thread m_thread;
};

}  // namespace service
