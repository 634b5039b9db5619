#include "TolvanderCore/Concurrency/FairMutex.h"

#include <gtest/gtest.h>

#include <future>
#include <latch>
#include <mutex>
#include <thread>
#include <vector>

namespace tolvander::tests {

TEST(FairMutex, isFreeAgainWhenItsLockEnds) {
  FairMutex mutex;
  { const std::lock_guard lock(mutex); }
  const std::lock_guard lock(mutex);
}

TEST(FairMutex, isHeldByOneAtATime) {
  FairMutex mutex;
  int inside = 0;  // guarded by the mutex alone, so that ThreadSanitizer sees any overlap
  int overlaps = 0;
  int total = 0;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int index = 0; index < 4; ++index) {
    threads.emplace_back([&] {
      for (int repetition = 0; repetition < 500; ++repetition) {
        std::unique_lock lock(mutex);
        overlaps += inside++;
        ++total;
        --inside;
        if (repetition % 7 == 0) {
          { const ReverseLock unlocked(lock); }
          ++total;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(overlaps, 0);
  EXPECT_EQ(total, 4 * (500 + 72));
}

// A waiting thread comes before one that asks later, even if that one is quicker.
TEST(FairMutex, letsTheWaitingGoFirstWhenLockedAgain) {
  for (int round = 0; round < 100; ++round) {
    FairMutex mutex;
    std::vector<int> order;
    std::latch arriving(1);
    std::unique_lock lock(mutex);
    std::promise<void> entered;
    std::thread other([&] {
      arriving.count_down();
      const std::lock_guard waiting(mutex);
      order.push_back(1);
      entered.set_value();
    });
    arriving.wait();
    lock.unlock();
    entered.get_future().wait();  // the other thread enters only because the mutex was unlocked
    lock.lock();
    order.push_back(2);
    lock.unlock();
    other.join();
    EXPECT_EQ(order, (std::vector{1, 2}));
  }
}

TEST(FairMutex, isLockedInTheOrderOfTheRequests) {
  FairMutex mutex;
  std::vector<int> order;
  std::unique_lock first(mutex);
  std::vector<std::thread> threads;
  constexpr int count = 5;
  for (int index = 0; index < count; ++index) {
    threads.emplace_back([&, index] {
      const std::lock_guard lock(mutex);
      order.push_back(index);
    });
    while (mutex.waitingCount() != static_cast<std::size_t>(index) + 1) {
      std::this_thread::yield();
    }
  }
  first.unlock();
  for (std::thread& thread : threads) {
    thread.join();
  }
  first.lock();
  EXPECT_EQ(order, (std::vector{0, 1, 2, 3, 4}));
}

TEST(ReverseLock, locksAgainWhenAnExceptionPasses) {
  FairMutex mutex;
  std::unique_lock lock(mutex);
  EXPECT_THROW(
      {
        const ReverseLock unlocked(lock);
        EXPECT_FALSE(lock.owns_lock());
        throw 1;
      },
      int);
  EXPECT_TRUE(lock.owns_lock());
}

TEST(FairMutexDeathTest, endsTheProcessWhenUnlockedWithoutALock) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  FairMutex mutex;
  EXPECT_DEATH(mutex.unlock(), "only a locked mutex can be unlocked");
}

}  // namespace tolvander::tests
