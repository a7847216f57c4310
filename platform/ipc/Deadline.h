// The time that an operation has, by the steady clock.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace ipc {

class Deadline {
public:
  // From now on; below 1 millisecond means without limit.
  explicit Deadline(std::int32_t milliseconds)
      : m_whole(std::max(milliseconds, 0)), m_end(Clock::now() + std::chrono::milliseconds(m_whole)) {}

  // What is left, as poll takes it: milliseconds rounded up, 0 when it has passed, -1 without limit.
  int left() const {
    if (m_whole == 0) return -1;
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(rest, 0));
  }
  // The whole time, the first time that it is asked for, when it has hardly begun; then -1. Spares the
  // first wait the look at the clock.
  std::int32_t takeWhole() {
    const std::int32_t whole = m_taken ? -1 : m_whole;
    m_taken = true;
    return whole;
  }

private:
  using Clock = std::chrono::steady_clock;
  std::int32_t m_whole;
  bool m_taken = false;
  Clock::time_point m_end;
};

}  // namespace ipc
