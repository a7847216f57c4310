// The lock that objects shared by threads derive from, and its holder.
#pragma once

#include <mutex>

#include "platform/support/ThreadAnnotations.h"
#include "platform/support/api.h"

// A lock, free at construction. It is not recursive: the thread that holds it must not take it again.
// A copy or move is a new, free lock, and an assignment leaves the target's lock as it is: what a lock guards
// is one object.
class SPS_API SPS_LOCK CriticalSection {
public:
  CriticalSection() = default;
  CriticalSection(const CriticalSection&) : CriticalSection() {}
  CriticalSection(CriticalSection&&) noexcept : CriticalSection() {}
  CriticalSection& operator=(const CriticalSection&) { return *this; }
  CriticalSection& operator=(CriticalSection&&) noexcept { return *this; }
  virtual ~CriticalSection();

  // Waits until the lock is free and takes it.
  void Enter() SPS_ACQUIRE() { m_mutex.lock(); }
  // Only by the thread that holds it.
  void Leave() SPS_RELEASE() { m_mutex.unlock(); }

private:
  std::mutex m_mutex;
};

// Holds a lock for its own lifetime. The lock must outlive it.
class SPS_LOCK_HOLDER CCS {
public:
  explicit CCS(CriticalSection& lock) SPS_ACQUIRE(lock) : m_lock(lock) { m_lock.Enter(); }
  ~CCS() SPS_RELEASE() { m_lock.Leave(); }
  CCS(const CCS&) = delete;
  CCS& operator=(const CCS&) = delete;

private:
  CriticalSection& m_lock;
};
