#include "TolvanderApp/Concurrency/Workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

namespace tolvander::tests {

using app::Workers;

TEST(Workers, runsAJobOnAnotherThread) {
  std::promise<std::thread::id> thread;
  Workers workers;
  workers.run([&] { thread.set_value(std::this_thread::get_id()); });
  EXPECT_NE(thread.get_future().get(), std::this_thread::get_id());
}

TEST(Workers, letsNoJobWaitForAnotherHoweverManyBlock) {
  constexpr int count = 50;
  std::latch allRun(count);
  Workers workers;
  for (int index = 0; index < count; ++index) {
    workers.run([&] { allRun.arrive_and_wait(); });  // goes on only when all of them run
  }
  allRun.wait();
}

TEST(Workers, startsAJobWhileTheOthersOfABurstBlock) {
  for (int round = 0; round < 300; ++round) {
    std::promise<void> released;
    const std::shared_future<void> release = released.get_future().share();
    Workers workers;
    workers.run([] {});  // leaves a thread that may be free by now, or not
    workers.run([release] { release.wait(); });
    workers.run([release] { release.wait(); });
    workers.run([&released] { released.set_value(); });
  }
}

TEST(Workers, takesJobsFromJobs) {
  std::promise<void> done;
  Workers workers;
  workers.run([&] { workers.run([&] { done.set_value(); }); });
  done.get_future().wait();
}

TEST(Workers, waitForTheirJobsAtTheEnd) {
  for (int round = 0; round < 300; ++round) {
    std::atomic<int> ended = 0;
    {
      Workers workers;
      for (int index = 0; index < 4; ++index) {
        workers.run([&] { ++ended; });
      }
    }
    EXPECT_EQ(ended, 4);
  }
}

TEST(Workers, destroyAJobAfterTheEndWithoutRunningIt) {
  Workers workers;
  workers.run([] {});
  workers.end();
  const auto held = std::make_shared<int>();
  workers.run([held] { ADD_FAILURE(); });
  EXPECT_EQ(held.use_count(), 1);
  workers.end();
}

TEST(Workers, destroyWhatAJobHeldBeforeTheyEnd) {
  const auto held = std::make_shared<int>();
  Workers workers;
  workers.run([held] {});
  workers.end();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(Workers, takeJobsFromManyThreads) {
  std::atomic<int> ran = 0;
  {
    Workers workers;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
      threads.emplace_back([&] {
        for (int job = 0; job < 250; ++job) {
          workers.run([&] { ++ran; });
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  EXPECT_EQ(ran, 1000);
}

}  // namespace tolvander::tests
