#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Concurrency/TaskScope.h"

namespace tolvander::tests {

using app::Task;
using app::TaskHandle;
using app::TaskScope;
using app::ValueTaskHandle;
using namespace std::chrono_literals;

namespace {

using Log = std::vector<std::string>;

Task<> logs(Log& log, std::string entry) {
  log.push_back(std::move(entry));
  co_return;
}

Task<std::string> textAfterASleep() {
  auto slept = app::sleep(1s);
  co_await slept;
  co_return "text";
}

Task<> failsAfterASleep() {
  auto slept = app::sleep(1s);
  co_await slept;
  throw std::runtime_error("no");
}

Task<> sleepsLong(std::shared_ptr<int>) {
  auto slept = app::sleep(1h);
  co_await slept;
}

Task<> logsJoin(TaskHandle handle, Log& log, std::string name) {
  try {
    auto joined = handle.join();
    co_await joined;
    log.push_back(name + " joined");
  } catch (const CancellationError&) {
    log.push_back(name + " cancelled");
  } catch (const std::runtime_error& error) {
    log.push_back(name + " " + error.what());
  }
}

Task<> logsValue(ValueTaskHandle<std::string> handle, Log& log, std::string name) {
  auto value = handle.value();
  const std::string text = co_await value;
  log.push_back(name + " " + text);
}

class TaskHandleTest : public testing::Test {
 protected:
  VirtualMainThread mainThread_;
  Log log_;
  TaskScope scope_{mainThread_};
};

}  // namespace

TEST_F(TaskHandleTest, beginsFromTheLoopInTheOrderOfStarting) {
  const TaskHandle first = scope_.start(logs(log_, "first"));
  const TaskHandle second = scope_.start(logs(log_, "second"));
  EXPECT_EQ(log_, Log());
  EXPECT_FALSE(first.isFinished());
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"first", "second"}));
  EXPECT_TRUE(first.isFinished());
  EXPECT_TRUE(second.isFinished());
}

TEST_F(TaskHandleTest, isJoinedByManyInTheOrderOfComing) {
  const auto task = scope_.start(textAfterASleep());
  scope_.start(logsValue(task, log_, "a"));
  scope_.start(logsJoin(task, log_, "b"));
  scope_.start(logsValue(task, log_, "c"));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
  mainThread_.advance(1s);
  EXPECT_EQ(log_, (Log{"a text", "b joined", "c text"}));
}

TEST_F(TaskHandleTest, givesItsValueAlsoAfterItsEnd) {
  const auto task = scope_.start(textAfterASleep());
  mainThread_.advance(1s);
  scope_.start(logsValue(task, log_, "late"));
  scope_.start(logsValue(task, log_, "later"));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"late text", "later text"}));
}

TEST_F(TaskHandleTest, givesItsFailureToEveryoneWhoJoins) {
  const TaskHandle task = scope_.start(failsAfterASleep());
  scope_.start(logsJoin(task, log_, "a"));
  scope_.start(logsJoin(task, log_, "b"));
  mainThread_.advance(1s);
  scope_.start(logsJoin(task, log_, "late"));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"a no", "b no", "late no"}));
}

TEST_F(TaskHandleTest, dropsAFailureThatNobodyJoins) {
  const TaskHandle task = scope_.start(failsAfterASleep());
  mainThread_.advance(1s);
  EXPECT_TRUE(task.isFinished());
}

TEST_F(TaskHandleTest, cancelsItsTaskAndNoOther) {
  const TaskHandle task = scope_.start(sleepsLong(nullptr));
  const TaskHandle other = scope_.start(sleepsLong(nullptr));
  mainThread_.runUntilIdle();
  const TaskHandle copy = task;
  EXPECT_EQ(copy, task);
  EXPECT_NE(other, task);
  copy.cancel();
  copy.cancel();
  EXPECT_TRUE(task.token().isCancelled());
  EXPECT_FALSE(task.isFinished());
  scope_.start(logsJoin(task, log_, "join"));
  mainThread_.runUntilIdle();
  EXPECT_TRUE(task.isFinished());
  EXPECT_FALSE(other.token().isCancelled());
  EXPECT_FALSE(other.isFinished());
  EXPECT_EQ(log_, Log{"join cancelled"});
}

TEST_F(TaskHandleTest, beginsATaskThatWasCancelledBefore) {
  const TaskHandle task = scope_.start(logs(log_, "began"));
  task.cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"began"});
}

TEST_F(TaskHandleTest, cancelsAllTasksOfAScope) {
  const TaskHandle first = scope_.start(sleepsLong(nullptr));
  const TaskHandle second = scope_.start(sleepsLong(nullptr));
  mainThread_.runUntilIdle();
  scope_.cancelAll();
  mainThread_.runUntilIdle();
  EXPECT_TRUE(first.isFinished());
  EXPECT_TRUE(second.isFinished());
  EXPECT_EQ(mainThread_.untilNextTimer(), std::nullopt);
  scope_.start(logs(log_, "goes on"));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"goes on"});
}

TEST_F(TaskHandleTest, keepsWaitingForATaskWhenTheWaitingOneIsCancelled) {
  const auto task = scope_.start(textAfterASleep());
  const TaskHandle waiting = scope_.start(logsJoin(task, log_, "waiting"));
  mainThread_.runUntilIdle();
  waiting.cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
  EXPECT_FALSE(task.token().isCancelled());
  mainThread_.advance(1s);
  EXPECT_EQ(log_, Log{"waiting joined"});
}

TEST_F(TaskHandleTest, isDroppedWithoutConsequence) {
  scope_.start(logs(log_, "ran"));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"ran"});
}

TEST_F(TaskHandleTest, letsGoOfWhatTheTaskHeldAtItsEnd) {
  const auto held = std::make_shared<int>();
  const TaskHandle task = scope_.start(sleepsLong(held));
  mainThread_.runUntilIdle();
  EXPECT_EQ(held.use_count(), 2);
  mainThread_.advance(1h);
  EXPECT_TRUE(task.isFinished());
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(TaskHandleTest, endsWithItsScope) {
  std::optional<TaskScope> inner(std::in_place, mainThread_);
  const auto held = std::make_shared<int>();
  const TaskHandle waiting = inner->start(sleepsLong(held));
  mainThread_.runUntilIdle();
  const TaskHandle unbegun = inner->start(sleepsLong(held));
  scope_.start(logsJoin(waiting, log_, "waiting"));
  inner->start(logsJoin(waiting, log_, "a part of the scope"));
  const auto begun = scope_.start(logsJoin(unbegun, log_, "unbegun"));
  mainThread_.post([&] { inner.reset(); });
  mainThread_.runUntilIdle();
  scope_.start(logsJoin(waiting, log_, "late"));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"waiting cancelled", "unbegun cancelled", "late cancelled"}));
  EXPECT_TRUE(waiting.token().isCancelled());
  EXPECT_FALSE(waiting.isFinished());
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_EQ(mainThread_.untilNextTimer(), std::nullopt);
}

TEST_F(TaskHandleTest, doesNotBeginWhenItsScopeEndedBefore) {
  const auto held = std::make_shared<int>();
  {
    TaskScope inner(mainThread_);
    inner.start(logs(log_, "never"));
    inner.start(sleepsLong(held));
  }
  EXPECT_EQ(held.use_count(), 1);
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
}

namespace {

Task<> waitsInTheBackground(std::shared_ptr<int>) {
  auto job = app::background([] {});
  co_await job;
}

Task<> waitsForACallback(std::shared_ptr<int>, std::optional<app::Callback<int>>& callback) {
  auto answer = app::callback<int>([&](const app::Callback<int>& answered) { callback = answered; });
  co_await answer;
}

Task<> waitsForAnother(std::shared_ptr<int>, TaskHandle other) {
  auto joined = other.join();
  co_await joined;
}

}  // namespace

TEST_F(TaskHandleTest, endsWithItsScopeWhereverItWaits) {
  const auto held = std::make_shared<int>();
  std::optional<app::Callback<int>> callback;
  const TaskHandle other = scope_.start(sleepsLong(nullptr));
  {
    TaskScope inner(mainThread_);
    inner.start(waitsForACallback(held, callback));
    inner.start(waitsForAnother(held, other));
    inner.start(sleepsLong(held));
    mainThread_.runUntilIdle();
    inner.start(waitsInTheBackground(held));
    mainThread_.post([] {});
    EXPECT_EQ(held.use_count(), 5);
  }
  EXPECT_EQ(held.use_count(), 1);
  // The tasks are gone, so nothing receives the value that they waited for.
  (*callback)(1);
  mainThread_.advance(1h);
  EXPECT_TRUE(other.isFinished());
}

namespace {

// Starts a task when it is destroyed.
class Starter {
 public:
  explicit Starter(TaskScope& scope, Log& log) : scope_(scope), log_(log) {}
  ~Starter() { scope_.start(logs(log_, "never")); }
  Starter(const Starter&) = delete;
  Starter& operator=(const Starter&) = delete;

 private:
  TaskScope& scope_;
  Log& log_;
};

Task<> startsAnotherWhenDestroyed(TaskScope& scope, Log& log) {
  const Starter starter(scope, log);
  auto slept = app::sleepOrCancellation(1h);
  co_await slept;
}

}  // namespace

TEST_F(TaskHandleTest, doesNotBeginWhenStartedByTheEndOfItsScope) {
  {
    TaskScope inner(mainThread_);
    inner.start(startsAnotherWhenDestroyed(inner, log_));
    mainThread_.runUntilIdle();
  }
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
}

TEST(TaskScope, endsAfterItsLoopHasEnded) {
  const auto held = std::make_shared<int>();
  {
    VirtualMainThread mainThread;
    TaskScope scope(mainThread);
    scope.start(sleepsLong(held));
    mainThread.runUntilIdle();
    scope.start(sleepsLong(held));
    mainThread.end();
    EXPECT_EQ(held.use_count(), 3);
  }
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace tolvander::tests
