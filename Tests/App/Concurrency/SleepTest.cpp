#include "TolvanderApp/Concurrency/Sleep.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/TaskScope.h"

namespace tolvander::tests {

using app::Task;
using app::TaskScope;
using namespace std::chrono_literals;

namespace {

using Log = std::vector<std::string>;

Task<> logsSleep(std::chrono::nanoseconds duration, Log& log, std::string name) {
  try {
    auto slept = app::sleep(duration);
    co_await slept;
    log.push_back(name + " slept");
  } catch (const CancellationError&) {
    log.push_back(name + " cancelled");
  }
}

Task<> keepsWhetherSlept(std::chrono::nanoseconds duration, std::optional<bool>& result) {
  auto slept = app::sleepOrCancellation(duration);
  result = co_await slept;
}

class Sleep : public testing::Test {
 protected:
  VirtualMainThread mainThread_;
  Log log_;
  TaskScope scope_{mainThread_};
};

}  // namespace

TEST_F(Sleep, lastsItsWholeDuration) {
  scope_.start(logsSleep(300s, log_, "receipt"));
  mainThread_.advance(300s - 1ns);
  EXPECT_EQ(log_, Log());
  EXPECT_EQ(mainThread_.untilNextTimer(), 1ns);
  mainThread_.advance(1ns);
  EXPECT_EQ(log_, Log{"receipt slept"});
  EXPECT_EQ(mainThread_.untilNextTimer(), std::nullopt);
}

TEST_F(Sleep, endsInTheOrderOfTheInstantsAndThenOfBeginning) {
  scope_.start(logsSleep(2s, log_, "b"));
  scope_.start(logsSleep(1s, log_, "a"));
  scope_.start(logsSleep(2s, log_, "c"));
  mainThread_.advance(10s);
  EXPECT_EQ(log_, (Log{"a slept", "b slept", "c slept"}));
}

TEST_F(Sleep, endsWithoutTimePassingWhenNothingIsLeftOfIt) {
  scope_.start(logsSleep(-1s, log_, "negative"));
  scope_.start(logsSleep(0s, log_, "none"));
  mainThread_.advance(0s);
  EXPECT_EQ(log_, (Log{"negative slept", "none slept"}));
}

TEST_F(Sleep, lastsAsGoodAsForEver) {
  scope_.start(logsSleep(std::chrono::nanoseconds::max(), log_, "long"));
  mainThread_.advance(24h * 365 * 50);
  EXPECT_EQ(log_, Log());
}

TEST_F(Sleep, isNotMovedByTheWallClock) {
  scope_.start(logsSleep(10s, log_, "task"));
  mainThread_.runUntilIdle();
  mainThread_.setWallClock(mainThread_.wallNow() + 1h);
  mainThread_.advance(9s);
  EXPECT_EQ(log_, Log());
  mainThread_.setWallClock(mainThread_.wallNow() - 2h);
  mainThread_.advance(1s);
  EXPECT_EQ(log_, Log{"task slept"});
}

TEST_F(Sleep, throwsWhenCancelledAndLeavesNoTimer) {
  const auto task = scope_.start(logsSleep(300s, log_, "task"));
  mainThread_.advance(1s);
  task.cancel();
  EXPECT_EQ(log_, Log());  // never within the cancelling call
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"task cancelled"});
  EXPECT_EQ(mainThread_.untilNextTimer(), std::nullopt);
}

TEST_F(Sleep, throwsAtOnceWhenCancelledBefore) {
  const auto task = scope_.start(logsSleep(300s, log_, "task"));
  task.cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"task cancelled"});
  EXPECT_EQ(mainThread_.untilNextTimer(), std::nullopt);
}

TEST_F(Sleep, isNotTouchedByACancellationAfterIt) {
  const auto task = scope_.start(logsSleep(1s, log_, "task"));
  mainThread_.advance(1s);
  task.cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"task slept"});
}

TEST_F(Sleep, tellsWithoutThrowingWhetherItLastedItsWholeDuration) {
  std::optional<bool> whole;
  std::optional<bool> cut;
  scope_.start(keepsWhetherSlept(1s, whole));
  const auto task = scope_.start(keepsWhetherSlept(1h, cut));
  mainThread_.advance(1s);
  EXPECT_EQ(whole, true);
  EXPECT_EQ(cut, std::nullopt);
  task.cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(cut, false);
}

TEST(SleepRace, endsOnceWhenCancelledOnAnotherThreadAsItEnds) {
  VirtualMainThread mainThread(VirtualMainThread::Jobs::onThreads);
  TaskScope scope(mainThread);
  for (int round = 0; round < 2000; ++round) {
    Log log;
    const auto task = scope.start(logsSleep(1s, log, "task"));
    mainThread.runUntilIdle();
    mainThread.runOnWorker([&task] { task.cancel(); });
    mainThread.advance(1s);
    mainThread.runUntilIdle();
    EXPECT_TRUE(task.isFinished());
    EXPECT_EQ(log.size(), 1U);
  }
}

TEST(SleepRace, isDestroyedWhileCancelledOnAnotherThread) {
  VirtualMainThread mainThread(VirtualMainThread::Jobs::onThreads);
  for (int round = 0; round < 2000; ++round) {
    Log log;
    {
      TaskScope scope(mainThread);
      const auto task = scope.start(logsSleep(1s, log, "task"));
      mainThread.runUntilIdle();
      mainThread.runOnWorker([task] { task.cancel(); });
    }
    mainThread.runUntilIdle();
    EXPECT_EQ(log, Log());
  }
}

}  // namespace tolvander::tests
