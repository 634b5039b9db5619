#include "TolvanderApp/Concurrency/Callback.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/TaskScope.h"

namespace tolvander::tests {

using app::Callback;
using app::Task;
using app::TaskScope;

namespace {

using Log = std::vector<std::string>;
using Start = std::function<void(Callback<std::string>)>;

Task<> logsAnswer(Start start, Log& log) {
  try {
    auto answer = app::callback<std::string>(std::move(start));
    log.push_back(co_await answer);
  } catch (const CancellationError&) {
    log.push_back("cancelled");
  } catch (const std::runtime_error& error) {
    log.push_back(error.what());
  }
}

class CallbackTest : public testing::Test {
 protected:
  // Starts a task that waits for the callback, which comes into `callback_`.
  app::TaskHandle startWaiting() {
    auto task = scope_.start(logsAnswer([this](const auto& callback) { callback_ = callback; }, log_));
    mainThread_.runUntilIdle();
    return task;
  }

  VirtualMainThread mainThread_{VirtualMainThread::Jobs::onThreads};
  Log log_;
  std::optional<Callback<std::string>> callback_;
  TaskScope scope_{mainThread_};
};

std::exception_ptr failure() { return std::make_exception_ptr(std::runtime_error("failure")); }

}  // namespace

TEST_F(CallbackTest, resumesFromTheLoopAndNeverWithinTheCall) {
  startWaiting();
  std::mutex lockOfTheCaller;
  {
    const std::lock_guard lock(lockOfTheCaller);
    (*callback_)("answer");
    EXPECT_EQ(log_, Log());
  }
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"answer"});
}

TEST_F(CallbackTest, resumesOnTheMainThreadWhenCalledOnAnother) {
  startWaiting();
  mainThread_.runOnWorker([this] { (*callback_)("answer"); });
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"answer"});
}

TEST_F(CallbackTest, mayBeCalledBeforeTheWaitBegins) {
  scope_.start(logsAnswer([](const auto& callback) { callback("at once"); }, log_));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"at once"});
}

TEST_F(CallbackTest, mayBeCalledWhileALoopRunsWithinTheStart) {
  scope_.start(logsAnswer(
      [this](const auto& callback) {
        callback("from within");
        mainThread_.runUntilIdle();  // as a modal dialog does
      },
      log_));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"from within"});
}

TEST_F(CallbackTest, throwsTheFailureThatItIsGiven) {
  startWaiting();
  callback_->fail(failure());
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"failure"});
}

TEST_F(CallbackTest, throwsWhatTheStartThrows) {
  scope_.start(logsAnswer([](const auto&) { throw std::runtime_error("not started"); }, log_));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"not started"});
}

TEST_F(CallbackTest, countsTheFirstOfSeveralCalls) {
  startWaiting();
  (*callback_)("first");
  (*callback_)("second");
  callback_->fail(failure());
  mainThread_.runUntilIdle();
  (*callback_)("late");
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"first"});
}

TEST_F(CallbackTest, cancelsTheWaitWhenTheLastCopyGoesUncalled) {
  startWaiting();
  auto copy = callback_;
  callback_.reset();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
  mainThread_.runOnWorker([last = std::move(copy)] {});
  copy.reset();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"cancelled"});
}

TEST_F(CallbackTest, waitsOnWhenItsTaskIsCancelled) {
  const auto task = startWaiting();
  task.cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
  (*callback_)("answer");
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"answer"});
}

TEST_F(CallbackTest, reachesNobodyWhenTheScopeEndedMeanwhile) {
  {
    TaskScope inner(mainThread_);
    inner.start(logsAnswer([this](const auto& callback) { callback_ = callback; }, log_));
    mainThread_.runUntilIdle();
    (*callback_)("posted");
  }
  (*callback_)("late");
  callback_.reset();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
}

namespace {

Task<> waitsForNothing(Log& log) {
  auto done = app::callback<void>([](const Callback<>& ended) { ended(); });
  co_await done;
  log.emplace_back("done");
}

Task<> waitsForMoveOnly(Log& log) {
  using Pointer = std::unique_ptr<int>;
  auto answer = app::callback<Pointer>([](const auto& answered) { answered(std::make_unique<int>(5)); });
  const Pointer pointer = co_await answer;
  log.push_back(std::to_string(*pointer));
}

}  // namespace

TEST_F(CallbackTest, bringsNothingOrWhatCanOnlyBeMoved) {
  scope_.start(waitsForNothing(log_));
  scope_.start(waitsForMoveOnly(log_));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"done", "5"}));
}

TEST_F(CallbackTest, bringsOneOutcomeUnderARace) {
  for (int round = 0; round < 2000; ++round) {
    log_.clear();
    const auto task = startWaiting();
    // One calls, one fails it, one lets go, all on threads of their own.
    mainThread_.runOnWorker([callback = *callback_] { callback("answer"); });
    mainThread_.runOnWorker([callback = *callback_] {
      std::exception_ptr error = failure();
      callback.fail(std::move(error));
    });
    mainThread_.runOnWorker([callback = *callback_] {});
    callback_.reset();
    mainThread_.runUntilIdle();
    ASSERT_TRUE(task.isFinished());
    ASSERT_EQ(log_.size(), 1U);
    EXPECT_NE(log_[0], "cancelled");
  }
}

TEST_F(CallbackTest, isCalledOnAnotherThreadWhileItsScopeEnds) {
  for (int round = 0; round < 2000; ++round) {
    {
      TaskScope inner(mainThread_);
      inner.start(logsAnswer([this](const auto& callback) { callback_ = callback; }, log_));
      mainThread_.runUntilIdle();
      mainThread_.runOnWorker([callback = std::move(*callback_)] { callback("answer"); });
      callback_.reset();
    }
    mainThread_.runUntilIdle();
    EXPECT_EQ(log_, Log());
  }
}

}  // namespace tolvander::tests
