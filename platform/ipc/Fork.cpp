#include "platform/ipc/Fork.h"

#include <pthread.h>

#include <atomic>

namespace ipc {

namespace {

std::atomic<std::uint32_t> g_forks{0};

void countFork() {
  g_forks.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

std::uint32_t forkCount() {
  [[maybe_unused]] static const int watching = ::pthread_atfork(nullptr, nullptr, &countFork);
  return g_forks.load(std::memory_order_relaxed);
}

}  // namespace ipc
