// One I/O thread and the connections' handlers that run on it.
#pragma once

#include <asio/basic_stream_socket.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/generic/stream_protocol.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/support/Trace.h"
#include "platform/support/UnicodeString.h"

namespace ipc {

using IoExecutor = asio::io_context::executor_type;
using IoSocket = asio::basic_stream_socket<asio::generic::stream_protocol, IoExecutor>;

// A thread of its own for each context: what belongs to a connection is touched by one thread alone and
// needs no lock, and an event wakes no thread but the one that handles it.
class Worker {
public:
  asio::io_context& context() { return m_context; }
  bool isThisThread() { return m_context.get_executor().running_in_this_thread(); }

  void start() {
    m_work.emplace(m_context.get_executor());
    m_thread = std::thread([this] { run(); });
  }
  // Runs it on the thread. What comes after finish is dropped.
  template <class Task>
  void post(Task&& task) {
    const std::lock_guard lock(m_mutex);
    if (!m_finished) asio::post(m_context, std::forward<Task>(task));
  }
  // On the thread itself: runs it behind what is ready now.
  template <class Task>
  void defer(Task&& task) {
    asio::post(m_context, std::forward<Task>(task));
  }
  // Several at once, in their order; one that fails takes no other with it.
  using Tasks = std::vector<std::function<void()>>;
  void postAll(Tasks tasks) {
    post([tasks = std::move(tasks)] {
      for (const auto& task : tasks) guard(task);
    });
  }
  // Waits until no handler is left; everything that could start another must be closed.
  void finish() {
    m_work.reset();
    if (m_thread.joinable()) m_thread.join();
    const std::lock_guard lock(m_mutex);
    m_finished = true;
    m_context.restart();
    m_context.poll();  // what was posted as the thread ended
  }

private:
  // A handler that fails, for want of memory, takes no other connection with it. False where it failed.
  template <class Task>
  static bool guard(const Task& task) {
    try {
      task();
      return true;
    } catch (const std::exception& error) {
      _DbgSetLine(u"platform\\ipc", __LINE__, u'E');
      _DbgOut(u"A connection's handler failed: %s", UnicodeString(error.what()));
      return false;
    }
  }
  void run() {
    while (!guard([this] { m_context.run(); })) {
    }
  }

  asio::io_context m_context{1};
  std::optional<asio::executor_work_guard<IoExecutor>> m_work;
  std::thread m_thread;
  std::mutex m_mutex;
  bool m_finished = false;  // under the mutex
};

}  // namespace ipc
