#include "TolvanderApp/Concurrency/Sleep.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
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
  app::TaskHandle sleep(std::chrono::nanoseconds duration, std::string name = "task") {
    return scope_.start(logsSleep(duration, log_, std::move(name)));
  }

  VirtualMainThread mainThread_;
  Log log_;
  TaskScope scope_{mainThread_};
};

}  // namespace

TEST_F(Sleep, lastsItsWholeDuration) {
  sleep(300s);
  mainThread_.advance(300s - 1ns);
  EXPECT_EQ(log_, Log());
  EXPECT_EQ(mainThread_.untilNextTimer(), 1ns);
  mainThread_.advance(1ns);
  EXPECT_EQ(log_, Log{"task slept"});
  EXPECT_EQ(mainThread_.untilNextTimer(), std::nullopt);
}

TEST_F(Sleep, endsInTheOrderOfTheInstantsAndThenOfBeginning) {
  sleep(2s, "b");
  sleep(1s, "a");
  sleep(2s, "c");
  sleep(std::chrono::nanoseconds::max(), "never");
  mainThread_.advance(24h * 365 * 50);
  EXPECT_EQ(log_, (Log{"a slept", "b slept", "c slept"}));
}

TEST_F(Sleep, ofNoTimeOrLessEndsWithoutTimePassing) {
  sleep(-1s, "negative");
  sleep(0s, "none");
  mainThread_.advance(0s);
  EXPECT_EQ(log_, (Log{"negative slept", "none slept"}));
}

TEST_F(Sleep, isNotMovedByTheWallClock) {
  sleep(10s);
  mainThread_.runUntilIdle();
  mainThread_.setWallClock(mainThread_.wallNow() + 1h);
  mainThread_.advance(9s);
  EXPECT_EQ(log_, Log());
  mainThread_.setWallClock(mainThread_.wallNow() - 2h);
  mainThread_.advance(1s);
  EXPECT_EQ(log_, Log{"task slept"});
}

TEST_F(Sleep, throwsWhenCancelledAndLeavesNoTimer) {
  for (const auto before : {0s, 1s}) {
    const auto task = sleep(300s);
    if (before > 0s) {
      mainThread_.advance(before);
    }
    task.cancel();
    EXPECT_EQ(log_, Log());  // never within the cancelling call
    mainThread_.runUntilIdle();
    EXPECT_EQ(std::exchange(log_, {}), Log{"task cancelled"});
    EXPECT_EQ(mainThread_.untilNextTimer(), std::nullopt);
  }
}

TEST_F(Sleep, isNotTouchedByACancellationAfterIt) {
  const auto task = sleep(1s);
  mainThread_.advance(1s);
  task.cancel();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"task slept"});
}

TEST_F(Sleep, givesWhetherItLastedItsWholeDuration) {
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

// Cancelled on another thread as it ends, or as its scope ends.
TEST(SleepRace, endsAtMostOnce) {
  VirtualMainThread mainThread(VirtualMainThread::Jobs::onThreads);
  for (int round = 0; round < 4000; ++round) {
    const bool isAwaited = round % 2 == 0;
    Log log;
    {
      TaskScope scope(mainThread);
      const auto task = scope.start(logsSleep(1s, log, "task"));
      mainThread.runUntilIdle();
      mainThread.runOnWorker([task] { task.cancel(); });
      if (isAwaited) {
        mainThread.advance(1s);
        EXPECT_TRUE(task.isFinished());
      }
    }
    mainThread.runUntilIdle();
    EXPECT_EQ(log.size(), isAwaited ? 1U : 0U);
  }
}

}  // namespace tolvander::tests
