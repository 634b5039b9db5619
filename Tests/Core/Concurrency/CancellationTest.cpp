#include "TolvanderCore/Concurrency/Cancellation.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace tolvander::tests {

TEST(CancellationToken, isNeverCancelledByDefault) {
  const CancellationToken token;
  EXPECT_FALSE(token.isCancelled());
  EXPECT_NO_THROW(token.throwIfCancelled());
  const CancellationCallback callback(token, [] { ADD_FAILURE(); });
}

TEST(CancellationToken, seesTheCancellationOfItsSource) {
  CancellationSource source;
  const CancellationToken token = source.token();
  EXPECT_FALSE(token.isCancelled());
  EXPECT_NO_THROW(token.throwIfCancelled());
  source.cancel();
  EXPECT_TRUE(token.isCancelled());
  EXPECT_TRUE(source.token().isCancelled());
  EXPECT_THROW(token.throwIfCancelled(), CancellationError);
}

TEST(CancellationToken, outlivesItsSource) {
  std::optional<CancellationSource> source(std::in_place);
  const CancellationToken cancelled = source->token();
  source->cancel();
  source.emplace();
  const CancellationToken never = source->token();
  source.reset();
  EXPECT_TRUE(cancelled.isCancelled());
  EXPECT_FALSE(never.isCancelled());
  const CancellationCallback callback(never, [] { ADD_FAILURE(); });
}

TEST(CancellationToken, isOneForEachSource) {
  CancellationSource source;
  const CancellationSource other;
  source.cancel();
  EXPECT_FALSE(other.token().isCancelled());
}

TEST(CancellationCallback, runsOnceAndInTheOrderOfMaking) {
  CancellationSource source;
  std::vector<int> order;
  const CancellationCallback first(source.token(), [&] { order.push_back(1); });
  const CancellationCallback second(source.token(), [&] { order.push_back(2); });
  const CancellationCallback third(source.token(), [&] { order.push_back(3); });
  EXPECT_TRUE(order.empty());
  source.cancel();
  source.cancel();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(CancellationCallback, seesTheTokenCancelled) {
  CancellationSource source;
  bool wasCancelled = false;
  const CancellationCallback callback(source.token(), [&] { wasCancelled = source.token().isCancelled(); });
  source.cancel();
  EXPECT_TRUE(wasCancelled);
}

TEST(CancellationCallback, runsAtOnceWhenMadeTooLate) {
  CancellationSource source;
  source.cancel();
  std::thread::id runner;
  const CancellationCallback callback(source.token(), [&] { runner = std::this_thread::get_id(); });
  EXPECT_EQ(runner, std::this_thread::get_id());
}

TEST(CancellationCallback, runsAtOnceWhenMadeByAnotherOne) {
  CancellationSource source;
  std::vector<int> order;
  std::optional<CancellationCallback> inner;
  const CancellationCallback outer(source.token(), [&] {
    inner.emplace(source.token(), [&] { order.push_back(1); });
    order.push_back(2);
  });
  source.cancel();
  EXPECT_EQ(order, (std::vector{1, 2}));
}

TEST(CancellationCallback, doesNotRunOnceDestroyed) {
  CancellationSource source;
  {
    const CancellationCallback callback(source.token(), [] { ADD_FAILURE(); });
  }
  source.cancel();
}

TEST(CancellationCallback, doesNotRunWhenAnEarlierOneDestroysIt) {
  CancellationSource source;
  std::optional<CancellationCallback> second;
  const CancellationCallback first(source.token(), [&] { second.reset(); });
  second.emplace(source.token(), [] { ADD_FAILURE(); });
  source.cancel();
}

TEST(CancellationCallback, mayDestroyItselfAndItsSource) {
  auto source = std::make_unique<CancellationSource>();
  std::unique_ptr<CancellationCallback> callback;
  int runs = 0;
  callback = std::make_unique<CancellationCallback>(source->token(), [&] {
    ++runs;
    source.reset();
    callback.reset();
  });
  source->cancel();
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(callback, nullptr);
}

TEST(CancellationCallback, waitsForARunOnAnotherThreadWhenDestroyed) {
  CancellationSource source;
  std::promise<void> started;
  std::promise<void> released;
  std::atomic<bool> hasEnded = false;
  auto callback = std::make_unique<CancellationCallback>(source.token(), [&] {
    started.set_value();
    released.get_future().wait();
    hasEnded = true;
  });
  std::thread canceller([&] { source.cancel(); });
  started.get_future().wait();

  std::latch aboutToDestroy(1);
  std::thread destroyer([&] {
    aboutToDestroy.count_down();
    callback.reset();
    // Had the destructor not waited, the run would have no reason to be over.
    EXPECT_TRUE(hasEnded);
  });
  aboutToDestroy.wait();
  released.set_value();
  destroyer.join();
  canceller.join();
}

TEST(CancellationCallback, doesNotWaitForTheRunOfAnotherOne) {
  CancellationSource source;
  std::promise<void> started;
  std::promise<void> released;
  const CancellationCallback blocked(source.token(), [&] {
    started.set_value();
    released.get_future().wait();
  });
  auto other = std::make_unique<CancellationCallback>(source.token(), [] { ADD_FAILURE(); });
  std::thread canceller([&] { source.cancel(); });
  started.get_future().wait();
  other.reset();
  released.set_value();
  canceller.join();
}

TEST(CancellationCallback, runsAtMostOnceUnderARace) {
  for (int round = 0; round < 200; ++round) {
    CancellationSource source;
    std::array<int, 2> runs{};  // plain integers: destroying a callback orders its run before what follows
    std::latch start(4);
    std::vector<std::thread> threads;
    for (int& count : runs) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        source.cancel();
      });
      threads.emplace_back([&, token = source.token()] {
        start.arrive_and_wait();
        {
          const CancellationCallback callback(token, [&] { ++count; });
          while (!token.isCancelled()) {
            std::this_thread::yield();
          }
        }
        EXPECT_LE(count, 1);
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
}

}  // namespace tolvander::tests
