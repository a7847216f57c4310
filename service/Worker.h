// A thread for reads that take long.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace service {

// Runs jobs one after the other. Any thread may hand it one.
class Worker {
public:
  using Job = std::function<void()>;

  Worker();
  // Ends the job that runs; those that wait are let go.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  void Do(Job job);

private:
  void Run();

  std::mutex m_mutex;
  std::condition_variable m_arrived;
  std::deque<Job> m_jobs;  // guarded by the mutex, as the next
  bool m_isStopping = false;
  std::thread m_thread;
};

}  // namespace service
