// The time that an operation has, by the steady clock.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace ipc {

class Deadline {
public:
  // From the first question about it on, before which nothing is waited for: an operation that finds all it
  // needs spares the look at the clock. Below 1 millisecond means without limit.
  explicit Deadline(std::int32_t milliseconds) : m_whole(std::max(milliseconds, 0)) {}

  // What is left, as poll takes it: milliseconds rounded up, 0 when it has passed, -1 without limit.
  int left() {
    if (m_whole == 0) return -1;
    if (!m_begun) return begin();
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(rest, 0));
  }
  // Half of what is left, for an attempt that shall leave time for another one.
  Deadline half() {
    const int rest = left();
    return Deadline(rest < 0 ? 0 : std::max(rest / 2, 1));
  }

private:
  using Clock = std::chrono::steady_clock;

  int begin() {
    m_begun = true;
    m_end = Clock::now() + std::chrono::milliseconds(m_whole);
    return m_whole;
  }

  std::int32_t m_whole;
  bool m_begun = false;
  Clock::time_point m_end;
};

}  // namespace ipc
