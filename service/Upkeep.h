// What is done for the store at regular times.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
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
// latest are kept. The first copy is due when the latest that is there is old enough. What fails is traced
// and tried again at the next time.
class Upkeep {
public:
  explicit Upkeep(SnapshotPlan plan);
  // Waits for what is being done.
  ~Upkeep();
  Upkeep(const Upkeep&) = delete;
  Upkeep& operator=(const Upkeep&) = delete;

private:
  void Run();
  void MakeSnapshot() const;

  const SnapshotPlan m_plan;
  std::mutex m_mutex;
  std::condition_variable m_end;
  bool m_isEnding = false;  // guarded by the mutex
  std::thread m_thread;
};

}  // namespace service
