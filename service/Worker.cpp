#include "service/Worker.h"

#include <exception>
#include <utility>

#include "platform/support/Trace.h"
#include "platform/support/UnicodeString.h"

namespace service {
namespace {

// The job ends here with all that it holds.
void runJob(Worker::Job job) {
  try {
    job();
  } catch (const std::exception& problem) {
    _DbgSetLine(u"service\\Worker", __LINE__, u'E');
    _DbgOut(u"A long read failed: %s", UnicodeString(problem.what()));
  }
}

}  // namespace

Worker::Worker() : m_thread([this] { Run(); }) {}

Worker::~Worker() {
  {
    const std::lock_guard lock(m_mutex);
    m_isStopping = true;
  }
  m_arrived.notify_one();
  m_thread.join();
}

void Worker::Do(const std::string& peer, Job job) {
  {
    const std::lock_guard lock(m_mutex);
    std::deque<Job>& own = m_jobs[peer];
    if (own.empty()) m_turns.push_back(peer);
    own.push_back(std::move(job));
  }
  m_arrived.notify_one();
}

Worker::Job Worker::TakeJob() {
  const auto entry = m_jobs.find(m_turns.front());
  Job job = std::move(entry->second.front());
  entry->second.pop_front();
  if (entry->second.empty()) {
    m_jobs.erase(entry);
  } else {
    m_turns.push_back(m_turns.front());
  }
  m_turns.pop_front();
  return job;
}

void Worker::Run() {
  std::unique_lock lock(m_mutex);
  for (;;) {
    m_arrived.wait(lock, [this] { return m_isStopping || !m_jobs.empty(); });
    if (m_isStopping) return;
    Job job = TakeJob();
    lock.unlock();
    runJob(std::move(job));
    lock.lock();
  }
}

}  // namespace service
