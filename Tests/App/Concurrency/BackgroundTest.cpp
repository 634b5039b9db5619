#include "TolvanderApp/Concurrency/Background.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Concurrency/TaskScope.h"

namespace tolvander::tests {

using app::Task;
using app::TaskScope;
using namespace std::chrono_literals;

namespace {

using Log = std::vector<std::string>;

template <typename Function>
Task<> logsTextOf(Function function, Log& log) {
  try {
    auto text = app::background(std::move(function));
    log.push_back(co_await text);
  } catch (const CancellationError&) {
    log.push_back("cancelled");
  } catch (const std::runtime_error& error) {
    log.push_back(error.what());
  }
}

std::string textOfTheToken(const CancellationToken& token) { return token.isCancelled() ? "yes" : "no"; }

// Every rule holds for jobs in turn as well as for jobs on threads.
class Background : public testing::TestWithParam<VirtualMainThread::Jobs> {
 protected:
  VirtualMainThread mainThread_{GetParam()};
  Log log_;
  TaskScope scope_{mainThread_};
};

INSTANTIATE_TEST_SUITE_P(, Background,
                         testing::Values(VirtualMainThread::Jobs::inTurn, VirtualMainThread::Jobs::onThreads),
                         [](const auto& parameter) {
                           return parameter.param == VirtualMainThread::Jobs::inTurn ? "inTurn" : "onThreads";
                         });

}  // namespace

TEST_P(Background, bringsTheResultToTheMainThread) {
  scope_.start(logsTextOf(
      [this] {
        EXPECT_FALSE(mainThread_.isCurrent());
        return std::string("result");
      },
      log_));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"result"});
}

TEST_P(Background, bringsTheExceptionToTheMainThread) {
  scope_.start(logsTextOf([]() -> std::string { throw std::runtime_error("failure"); }, log_));
  scope_.start(logsTextOf([]() -> std::string { throw CancellationError(); }, log_));
  mainThread_.runUntilIdle();
  std::sort(log_.begin(), log_.end());
  EXPECT_EQ(log_, (Log{"cancelled", "failure"}));
}

TEST_P(Background, givesTheFunctionTheTokenOfItsTask) {
  scope_.start(logsTextOf(textOfTheToken, log_));
  mainThread_.runUntilIdle();
  scope_.start(logsTextOf(textOfTheToken, log_)).cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"no", "yes"}));
}

namespace {

Task<> logsTextWithToken(CancellationToken token, Log& log) {
  auto text = app::background(std::move(token), textOfTheToken);
  log.push_back(co_await text);
}

}  // namespace

TEST_P(Background, givesTheFunctionAnotherTokenWhenAsked) {
  CancellationSource source;
  source.cancel();
  scope_.start(logsTextWithToken(source.token(), log_));
  mainThread_.runUntilIdle();
  scope_.start(logsTextWithToken({}, log_)).cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"yes", "no"}));
}

namespace {

Task<> logsCountOf(std::shared_ptr<int> held, Log& log) {
  auto done = app::background([inside = held, alone = std::make_unique<int>(1)] { EXPECT_EQ(*alone, 1); });
  EXPECT_EQ(held.use_count(), 3);  // with the caller's own
  co_await done;
  log.push_back(std::to_string(held.use_count()));
}

}  // namespace

TEST_P(Background, destroysTheFunctionBeforeTheFlowGoesOn) {
  const auto held = std::make_shared<int>();
  scope_.start(logsCountOf(held, log_));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"2"});
}

namespace {

Task<> asksTheMainThread(app::MainThread& mainThread, Log& log) {
  auto work = [&mainThread, &log] {
    mainThread.post([&log] { log.push_back("posted"); });
    const int number = mainThread.call([&] {
      EXPECT_TRUE(mainThread.isCurrent());
      log.push_back("called");
      return 7;
    });
    EXPECT_FALSE(mainThread.isCurrent());
    EXPECT_EQ(number, 7);
    EXPECT_THROW(mainThread.call([] { throw std::runtime_error("asked too much"); }), std::runtime_error);
    mainThread.post([&log] { log.push_back("posted last"); });
  };
  auto done = app::background(work);
  co_await done;
  log.push_back("done");
}

}  // namespace

TEST_P(Background, asksTheMainThreadAndWaitsForItsAnswer) {
  scope_.start(asksTheMainThread(mainThread_, log_));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"posted", "called", "posted last", "done"}));
}

TEST_P(Background, callsAtOnceOnTheMainThreadItself) {
  EXPECT_EQ(mainThread_.call([] { return 3; }), 3);
  EXPECT_THROW(mainThread_.call([] { throw std::runtime_error("no"); }), std::runtime_error);
}

TEST_P(Background, isDestroyedUnrunOnceTheLoopHasEnded) {
  const auto held = std::make_shared<int>();
  scope_.start(logsTextOf([held] { return std::string("never"); }, log_));
  mainThread_.end();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
  mainThread_.runOnWorker([held] { ADD_FAILURE(); });
  EXPECT_EQ(held.use_count(), 2);  // the task that never began, and this one
}

namespace {

Task<> waitsForItsCancellation(app::MainThread& mainThread, bool& hasBegun) {
  auto done = app::background([&mainThread, &hasBegun](const CancellationToken& token) {
    std::promise<void> cancelled;
    const CancellationCallback callback(token, [&] { cancelled.set_value(); });
    mainThread.post([&hasBegun] { hasBegun = true; });
    cancelled.get_future().wait();
    token.throwIfCancelled();
  });
  co_await done;
}

}  // namespace

TEST(BackgroundOnThreads, isCancelledWhileItRuns) {
  VirtualMainThread mainThread(VirtualMainThread::Jobs::onThreads);
  TaskScope scope(mainThread);
  bool hasBegun = false;
  const auto task = scope.start(waitsForItsCancellation(mainThread, hasBegun));
  EXPECT_TRUE(mainThread.runUntil([&] { return hasBegun; }));
  EXPECT_FALSE(task.isFinished());
  task.cancel();
  mainThread.runUntilIdle();
  EXPECT_TRUE(task.isFinished());
}

TEST(BackgroundOnThreads, callThrowsWhenTheLoopEndsBeforeTheAnswer) {
  for (int round = 0; round < 200; ++round) {
    VirtualMainThread mainThread(VirtualMainThread::Jobs::onThreads);
    std::atomic<bool> wasCancelled = false;
    mainThread.runOnWorker([&] {
      try {
        mainThread.call([] { ADD_FAILURE(); });
      } catch (const CancellationError&) {
        wasCancelled = true;
      }
    });
    mainThread.end();
    EXPECT_TRUE(wasCancelled);
  }
}

TEST(BackgroundOnThreads, callThrowsAfterTheLoopHasEnded) {
  VirtualMainThread mainThread(VirtualMainThread::Jobs::onThreads);
  mainThread.end();
  std::thread other([&] { EXPECT_THROW(mainThread.call([] {}), CancellationError); });
  other.join();
}

namespace {

Task<> throwsAndAsks(app::MainThread& mainThread, int& answers) {
  try {
    auto work = [&mainThread, &answers](const CancellationToken& token) {
      mainThread.call([&] { ++answers; });
      token.throwIfCancelled();
      throw std::runtime_error(std::string(100, 'x'));
    };
    auto done = app::background(work);
    co_await done;
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()).size(), 100U);
  }
}

}  // namespace

TEST(BackgroundRace, bringsEveryExceptionOver) {
  VirtualMainThread mainThread(VirtualMainThread::Jobs::onThreads);
  TaskScope scope(mainThread);
  int answers = 0;
  for (int round = 0; round < 500; ++round) {
    std::vector<app::TaskHandle> tasks;
    for (int index = 0; index < 4; ++index) {
      tasks.push_back(scope.start(throwsAndAsks(mainThread, answers)));
    }
    tasks[0].cancel();
    mainThread.runUntilIdle();
  }
  EXPECT_EQ(answers, 2000);
}

TEST(BackgroundRace, bringsItsResultToNobodyWhenTheScopeEndedMeanwhile) {
  VirtualMainThread mainThread(VirtualMainThread::Jobs::onThreads);
  for (int round = 0; round < 2000; ++round) {
    Log log;
    {
      TaskScope scope(mainThread);
      scope.start(logsTextOf([]() -> std::string { throw std::runtime_error("failure"); }, log));
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
