#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

#include "platform/support/CriticalSection.h"

namespace {

static_assert(std::has_virtual_destructor_v<CriticalSection>);

class Counter : public CriticalSection {
public:
  void increment() {
    const CCS holder(*this);
    ++m_count;
  }
  int get() {
    const CCS holder(*this);
    return m_count;
  }

private:
  int m_count SPS_GUARDED_BY(this) = 0;
};

TEST(CriticalSectionTest, ThreadsExcludeEachOther) {
  Counter counter;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&counter] {
      for (int round = 0; round < 20000; ++round) counter.increment();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter.get(), 80000);
}

TEST(CriticalSectionTest, ACopyMadeUnderTheLockIsFree) {
  CriticalSection lock;
  const CCS holder(lock);
  CriticalSection copy(lock);
  const CCS copyHolder(copy);
  CriticalSection target;
  target = lock;
  const CCS targetHolder(target);
}

}  // namespace
