#include "service/Worker.h"

#include <algorithm>
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
    const auto own = std::ranges::find(m_turns, peer, &Queue::peer);
    if (own != m_turns.end()) {
      own->jobs.push_back(std::move(job));
    } else {
      Queue first{peer, {}};
      first.jobs.push_back(std::move(job));
      m_turns.push_back(std::move(first));
    }
  }
  m_arrived.notify_one();
}

Worker::Job Worker::TakeJob() {
  Queue& next = m_turns.front();
  Job job = std::move(next.jobs.front());
  next.jobs.pop_front();
  if (next.jobs.empty()) {
    m_turns.pop_front();
  } else {
    m_turns.splice(m_turns.end(), m_turns, m_turns.begin());
  }
  return job;
}

void Worker::Run() {
  std::unique_lock lock(m_mutex);
  for (;;) {
    m_arrived.wait(lock, [this] { return m_isStopping || !m_turns.empty(); });
    if (m_isStopping) return;
    Job job = TakeJob();
    lock.unlock();
    runJob(std::move(job));
    lock.lock();
  }
}

}  // namespace service
