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

void Worker::Do(Job job) {
  {
    const std::lock_guard lock(m_mutex);
    m_jobs.push_back(std::move(job));
  }
  m_arrived.notify_one();
}

void Worker::Run() {
  std::unique_lock lock(m_mutex);
  for (;;) {
    m_arrived.wait(lock, [this] { return m_isStopping || !m_jobs.empty(); });
    if (m_isStopping) return;
    Job job = std::move(m_jobs.front());
    m_jobs.pop_front();
    lock.unlock();
    runJob(std::move(job));
    lock.lock();
  }
}

}  // namespace service
