#include "TolvanderApp/Concurrency/Background.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/TaskScope.h"

namespace tolvander::tests {

using app::Task;
using app::TaskScope;

namespace {

using Jobs = VirtualMainThread::Jobs;
using Log = std::vector<std::string>;

// Logs the text that the work gives, or what it throws.
Task<> logs(Task<std::string> work, Log& log) {
  try {
    log.push_back(co_await work);
  } catch (const CancellationError&) {
    log.push_back("cancelled");
  } catch (const std::runtime_error& error) {
    log.push_back(error.what());
  }
}

using Function = std::function<std::string(const CancellationToken& token)>;
Task<> logsJob(Function function, Log& log) { return logs(app::background(std::move(function)), log); }

std::string textOfTheToken(const CancellationToken& token) { return token.isCancelled() ? "yes" : "no"; }

// Every rule holds for jobs in turn as well as for jobs on threads.
class Background : public testing::TestWithParam<Jobs> {
 protected:
  app::TaskHandle start(Function function) { return scope_.start(logsJob(std::move(function), log_)); }

  VirtualMainThread mainThread_{GetParam()};
  Log log_;
  TaskScope scope_{mainThread_};
};

INSTANTIATE_TEST_SUITE_P(, Background, testing::Values(Jobs::inTurn, Jobs::onThreads),
                         [](const auto& parameter) {
                           return parameter.param == Jobs::inTurn ? "inTurn" : "onThreads";
                         });

}  // namespace

TEST_P(Background, bringsTheResultOrTheExceptionToTheMainThread) {
  start([this](const auto&) {
    EXPECT_FALSE(mainThread_.isCurrent());
    return std::string("result");
  });
  start([](const auto&) -> std::string { throw std::runtime_error("failure"); });
  start([](const auto&) -> std::string { throw CancellationError(); });
  mainThread_.runUntilIdle();
  std::ranges::sort(log_);
  EXPECT_EQ(log_, (Log{"cancelled", "failure", "result"}));
}

TEST_P(Background, givesTheFunctionTheTokenOfItsTaskOrAnotherOne) {
  CancellationSource cancelled;
  cancelled.cancel();
  start(textOfTheToken);
  mainThread_.runUntilIdle();
  start(textOfTheToken).cancel();
  mainThread_.runUntilIdle();
  scope_.start(logs(app::background(cancelled.token(), textOfTheToken), log_));
  mainThread_.runUntilIdle();
  scope_.start(logs(app::background({}, textOfTheToken), log_)).cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"no", "yes", "yes", "no"}));
}

TEST_P(Background, destroysTheFunctionBeforeTheFlowGoesOn) {
  std::shared_ptr<void> held(nullptr,
                             [this](void*) { mainThread_.call([this] { log_.push_back("destroyed"); }); });
  auto function = [held = std::move(held), alone = std::make_unique<int>(1)] { return std::string("done"); };
  scope_.start(logs(app::background(std::move(function)), log_));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"destroyed", "done"}));
}

TEST_P(Background, asksTheMainThreadAndWaitsForItsAnswer) {
  start([this](const auto&) {
    mainThread_.post([this] { log_.push_back("posted"); });
    const int answer = mainThread_.call([this] {
      EXPECT_TRUE(mainThread_.isCurrent());
      log_.push_back("called");
      return 7;
    });
    EXPECT_FALSE(mainThread_.isCurrent());
    EXPECT_EQ(answer, 7);
    EXPECT_THROW(mainThread_.call([] { throw std::runtime_error("refused"); }), std::runtime_error);
    mainThread_.post([this] { log_.push_back("posted last"); });
    return std::string("done");
  });
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"posted", "called", "posted last", "done"}));
}

TEST_P(Background, callsAtOnceOnTheMainThreadItself) {
  EXPECT_EQ(mainThread_.call([] { return 3; }), 3);
  EXPECT_THROW(mainThread_.call([] { throw std::runtime_error("no"); }), std::runtime_error);
}

TEST_P(Background, isDestroyedUnrunOnceTheLoopHasEnded) {
  const auto held = std::make_shared<int>();
  start([held](const auto&) { return std::string("never"); });
  mainThread_.end();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
  mainThread_.runOnWorker([held] { ADD_FAILURE(); });
  EXPECT_EQ(held.use_count(), 2);  // the task that never began, and this one
}

TEST(BackgroundOnThreads, isCancelledWhileItRuns) {
  VirtualMainThread mainThread(Jobs::onThreads);
  TaskScope scope(mainThread);
  Log log;
  bool hasBegun = false;
  const auto waitForCancellation = [&](const CancellationToken& token) -> std::string {
    std::promise<void> cancelled;
    const CancellationCallback callback(token, [&] { cancelled.set_value(); });
    mainThread.post([&] { hasBegun = true; });
    cancelled.get_future().wait();
    throw CancellationError();
  };
  const auto task = scope.start(logsJob(waitForCancellation, log));
  EXPECT_TRUE(mainThread.runUntil([&] { return hasBegun; }));
  EXPECT_FALSE(task.isFinished());
  task.cancel();
  mainThread.runUntilIdle();
  EXPECT_EQ(log, Log{"cancelled"});
}

TEST(BackgroundOnThreads, callThrowsWhenTheLoopEndsBeforeTheAnswerOrHasEnded) {
  for (int round = 0; round < 200; ++round) {
    VirtualMainThread mainThread(Jobs::onThreads);
    const auto callIsCancelled = [&] {
      EXPECT_THROW(mainThread.call([] { ADD_FAILURE(); }), CancellationError);
    };
    mainThread.runOnWorker(callIsCancelled);
    mainThread.end();
    std::thread(callIsCancelled).join();
  }
}

TEST(BackgroundRace, bringsEveryExceptionOver) {
  VirtualMainThread mainThread(Jobs::onThreads);
  TaskScope scope(mainThread);
  Log log;
  const auto throws = [&](const CancellationToken& token) -> std::string {
    mainThread.call([] {});
    token.throwIfCancelled();
    throw std::runtime_error(std::string(100, 'x'));
  };
  for (int round = 0; round < 500; ++round) {
    log.clear();
    std::vector<app::TaskHandle> tasks;
    for (int index = 0; index < 4; ++index) {
      tasks.push_back(scope.start(logsJob(throws, log)));
    }
    tasks[0].cancel();
    mainThread.runUntilIdle();
    EXPECT_EQ(log.size(), 4U);
    EXPECT_EQ(std::ranges::count(log, "cancelled"), 1);
    EXPECT_EQ(std::ranges::count(log, std::string(100, 'x')), 3);
  }
}

TEST(BackgroundRace, bringsNoResultAfterTheEndOfTheScope) {
  VirtualMainThread mainThread(Jobs::onThreads);
  for (int round = 0; round < 2000; ++round) {
    Log log;
    {
      TaskScope scope(mainThread);
      scope.start(logsJob([](const auto&) -> std::string { throw std::runtime_error("failure"); }, log));
      bool isBegun = false;
      mainThread.post([&] { isBegun = true; });
      mainThread.runUntil([&] { return isBegun; });
      log.clear();
    }
    mainThread.runUntilIdle();
    EXPECT_EQ(log, Log());
  }
}

}  // namespace tolvander::tests
