// What is done for the store at regular times.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace service {

struct SnapshotPlan {
  std::string directory;  // empty for none
  std::chrono::seconds every{24 * 60 * 60};
  std::uint32_t kept = 7;
};

// Clears, every minute, the places of readers that died, which would keep old pages of the store from being
// used again; and makes copies of the store, each a directory named after its time in UTC, of which the
// latest are kept. The first copy is due when the latest that is there is old enough; while one is made,
// nothing else is done. What fails is traced and tried again at the next time.
class Upkeep {
public:
  // Calls everyMinute, too, from its thread.
  Upkeep(SnapshotPlan plan, std::function<void()> everyMinute);
  // Waits for what is being done.
  ~Upkeep();
  Upkeep(const Upkeep&) = delete;
  Upkeep& operator=(const Upkeep&) = delete;

  // Returns when nothing is being done any more, and true; or, at once, false where a copy is being made,
  // which can take minutes and which only the end of the process ends. What there is of that copy is removed.
  // The process must then end without running what it has for its end (std::_Exit): the copy reads the store.
  bool Stop();

private:
  class Work;
  const std::shared_ptr<Work> m_work;  // shared with the thread, which may outlive this
  std::thread m_thread;
};

}  // namespace service
