// A thread for reads that take long.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace service {

// Runs jobs one after the other, of each peer in their order, and one of each peer in turn: who asks for much
// waits for it alone. Any thread may hand it one.
class Worker {
public:
  using Job = std::function<void()>;

  Worker();
  // Ends the job that runs; those that wait are let go.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // The peer by the name that its connections are counted by.
  void Do(const std::string& peer, Job job);

private:
  // The jobs of one peer, never none.
  struct Queue {
    std::string peer;
    std::deque<Job> jobs;
  };

  void Run();
  Job TakeJob();

  std::mutex m_mutex;
  std::condition_variable m_arrived;
  std::list<Queue> m_turns;  // guarded by the mutex, as the next
  bool m_isStopping = false;
  std::thread m_thread;
};

}  // namespace service
