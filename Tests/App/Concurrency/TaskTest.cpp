#include "TolvanderApp/Concurrency/Task.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Concurrency/TaskScope.h"

namespace tolvander::tests {

using app::Task;
using app::TaskScope;
using namespace std::chrono_literals;

namespace {

// Counts its ends in what a coroutine holds.
class Held {
 public:
  explicit Held(int& ended) : ended_(&ended) {}
  ~Held() {
    if (ended_ != nullptr) {
      ++*ended_;
    }
  }
  Held(Held&& other) noexcept : ended_(std::exchange(other.ended_, nullptr)) {}
  Held& operator=(Held&&) = delete;

 private:
  int* ended_;
};

Task<int> number(int value) { co_return value; }

Task<int> numberAfterASleep(int value) {
  auto slept = app::sleep(1s);
  co_await slept;
  co_return value;
}

Task<> fails() {
  throw std::runtime_error("no");
  co_return;
}

Task<> failsAfterASleep() {
  auto slept = app::sleep(1s);
  co_await slept;
  throw std::runtime_error("later no");
}

Task<> notes(std::vector<int>& order, int entry) {
  order.push_back(entry);
  co_return;
}

Task<> sleepsHolding(Held) {
  auto slept = app::sleep(1h);
  co_await slept;
}

Task<> awaits(Task<> inner, Held) { co_await inner; }

template <typename T>
Task<> keeps(Task<T> task, std::optional<T>& result) {
  result.emplace(co_await task);
}

Task<> keepsMessage(Task<> task, std::string& message) {
  try {
    co_await task;
  } catch (const std::runtime_error& error) {
    message = error.what();
  }
}

template <typename T>
std::optional<T> resultOf(Task<T> task) {
  VirtualMainThread mainThread;
  TaskScope scope(mainThread);
  std::optional<T> result;
  scope.start(keeps(std::move(task), result));
  mainThread.advance(1h);
  return result;
}

std::string messageOf(Task<> task) {
  VirtualMainThread mainThread;
  TaskScope scope(mainThread);
  std::string message;
  scope.start(keepsMessage(std::move(task), message));
  mainThread.advance(1h);
  return message;
}

}  // namespace

TEST(Task, givesItsValueToTheOneThatAwaitsIt) {
  EXPECT_EQ(resultOf(number(7)), 7);
  EXPECT_EQ(resultOf(numberAfterASleep(8)), 8);
}

namespace {

Task<std::unique_ptr<int>> moveOnly() { co_return std::make_unique<int>(9); }
Task<std::vector<int>> fromBraces() { co_return {}; }

}  // namespace

TEST(Task, givesValuesThatCanOnlyBeMovedAndDefaultOnes) {
  const auto result = resultOf(moveOnly());
  ASSERT_TRUE(result && *result);
  EXPECT_EQ(**result, 9);
  EXPECT_EQ(resultOf(fromBraces()), std::vector<int>());
}

TEST(Task, letsExceptionsThroughToTheOneThatAwaitsIt) {
  EXPECT_EQ(messageOf(fails()), "no");
  EXPECT_EQ(messageOf(failsAfterASleep()), "later no");
}

TEST(Task, letsExceptionsThroughManyLevels) {
  int ended = 0;
  EXPECT_EQ(messageOf(awaits(awaits(failsAfterASleep(), Held(ended)), Held(ended))), "later no");
  EXPECT_EQ(ended, 2);
}

TEST(Task, doesNothingUntilItIsAwaited) {
  std::vector<int> order;
  const auto task = notes(order, 1);
  EXPECT_TRUE(order.empty());
}

namespace {

Task<> makesAwaitsAndGoesOn(std::vector<int>& order) {
  auto later = notes(order, 3);
  auto sooner = notes(order, 2);
  order.push_back(1);
  co_await sooner;
  co_await later;
  order.push_back(4);
}

}  // namespace

TEST(Task, runsAtOnceWhenAwaitedAndBeforeWhatFollows) {
  VirtualMainThread mainThread;
  TaskScope scope(mainThread);
  std::vector<int> order;
  scope.start(makesAwaitsAndGoesOn(order));
  mainThread.runUntilIdle();
  EXPECT_EQ(order, (std::vector{1, 2, 3, 4}));
}

TEST(Task, destroysWhatItHoldsWhenItNeverBegan) {
  int ended = 0;
  {
    auto task = sleepsHolding(Held(ended));
    const auto moved = std::move(task);
    EXPECT_EQ(ended, 0);
  }
  EXPECT_EQ(ended, 1);
}

TEST(Task, destroysWhatItHoldsWhenItWaits) {
  int ended = 0;
  {
    VirtualMainThread mainThread;
    TaskScope scope(mainThread);
    scope.start(awaits(awaits(sleepsHolding(Held(ended)), Held(ended)), Held(ended)));
    mainThread.runUntilIdle();
    EXPECT_TRUE(mainThread.untilNextTimer().has_value());
    EXPECT_EQ(ended, 0);
  }
  EXPECT_EQ(ended, 3);
}

TEST(Task, destroysTheFormerOneWhenAssigned) {
  int first = 0;
  int second = 0;
  {
    auto task = sleepsHolding(Held(first));
    task = sleepsHolding(Held(second));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
  }
  EXPECT_EQ(second, 1);
}

namespace {

Task<long> sumOfEnded(int count) {
  long sum = 0;
  for (int index = 0; index < count; ++index) {
    auto next = number(index);
    sum += co_await next;
  }
  co_return sum;
}

Task<long> sumOfWaited(int count) {
  long sum = 0;
  for (int index = 0; index < count; ++index) {
    auto next = numberAfterASleep(1);
    sum += co_await next;
  }
  co_return sum;
}

Task<int> depth(int levels) {
  if (levels == 0) {
    auto inner = numberAfterASleep(0);
    co_return co_await inner;
  }
  auto inner = depth(levels - 1);
  co_return 1 + co_await inner;
}

}  // namespace

TEST(Task, loopsOverManyTasksWithoutGrowingTheStack) {
  EXPECT_EQ(resultOf(sumOfEnded(1'000'000)), 499'999'500'000);
  EXPECT_EQ(resultOf(sumOfWaited(3'000)), 3'000);
}

TEST(Task, isAwaitedThroughManyLevels) { EXPECT_EQ(resultOf(depth(500)), 500); }

namespace {

Task<bool> seesCancellationInside() {
  auto current = app::currentToken();
  const CancellationToken token = co_await current;
  co_return token.isCancelled();
}

Task<std::vector<bool>> seesCancellation() {
  auto current = app::currentToken();
  const CancellationToken token = co_await current;
  std::vector<bool> seen = {token.isCancelled()};
  auto waited = app::sleepOrCancellation(1h);
  co_await waited;
  seen.push_back(token.isCancelled());
  auto inside = seesCancellationInside();
  const bool seenInside = co_await inside;
  seen.push_back(seenInside);
  co_return seen;
}

Task<bool> knowsItsMainThread(app::MainThread& mainThread) {
  auto current = app::currentEnvironment();
  const app::TaskEnvironment& environment = co_await current;
  co_return &environment.mainThread == &mainThread;
}

}  // namespace

TEST(Task, knowsTheTokenOfTheStartedTaskThatItIsPartOf) {
  VirtualMainThread mainThread;
  TaskScope scope(mainThread);
  std::optional<std::vector<bool>> seen;
  const auto handle = scope.start(keeps(seesCancellation(), seen));
  mainThread.runUntilIdle();
  handle.cancel();
  mainThread.runUntilIdle();
  EXPECT_EQ(seen, (std::vector<bool>{false, true, true}));
}

TEST(Task, knowsItsMainThread) {
  VirtualMainThread mainThread;
  TaskScope scope(mainThread);
  std::optional<bool> knows;
  scope.start(keeps(knowsItsMainThread(mainThread), knows));
  mainThread.runUntilIdle();
  EXPECT_EQ(knows, true);
}

namespace {

Task<> awaitsTwice() {
  auto task = number(1);
  co_await task;
  co_await task;
}

}  // namespace

TEST(TaskDeathTest, endsTheProcessWhenAwaitedTwice) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  VirtualMainThread mainThread;
  TaskScope scope(mainThread);
  scope.start(awaitsTwice());
  EXPECT_DEATH(mainThread.runUntilIdle(), "a task is awaited once");
}

}  // namespace tolvander::tests
