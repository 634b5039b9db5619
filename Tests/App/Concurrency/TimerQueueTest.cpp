#include "TolvanderApp/Concurrency/TimerQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>

namespace tolvander::tests {
namespace {

using namespace tolvander::app;

constexpr auto never = std::chrono::hours(1);

TEST(TimerQueue, ringsAtOnceWhenNoTimeIsLeft) {
  TimerQueue queue;
  for (const std::chrono::nanoseconds duration :
       {std::chrono::nanoseconds::min(), std::chrono::nanoseconds(0), std::chrono::nanoseconds(1)}) {
    std::promise<std::thread::id> rung;
    const auto alarm = queue.after(duration, [&] { rung.set_value(std::this_thread::get_id()); });
    EXPECT_NE(rung.get_future().get(), std::this_thread::get_id());
  }
}

TEST(TimerQueue, ringsNotBeforeItsTime) {
  TimerQueue queue;
  std::promise<MonotonicTimer::Instant> rung;
  const auto start = queue.now();
  const auto alarm = queue.after(std::chrono::milliseconds(5), [&] { rung.set_value(queue.now()); });
  EXPECT_GE(rung.get_future().get() - start, std::chrono::milliseconds(5));
}

TEST(TimerQueue, ringsAnEarlierAlarmThatIsSetWhileItWaitsForALaterOne) {
  TimerQueue queue;
  std::atomic<bool> hasRung = false;
  const auto later = queue.after(never, [&] { hasRung = true; });
  std::promise<void> rung;
  const auto earlier = queue.after(std::chrono::nanoseconds(0), [&] { rung.set_value(); });
  rung.get_future().wait();
  EXPECT_FALSE(hasRung);
}

TEST(TimerQueue, holdsDurationsOfCenturies) {
  TimerQueue queue;
  std::atomic<bool> hasRung = false;
  const auto alarm = queue.after(std::chrono::nanoseconds::max(), [&] { hasRung = true; });
  std::promise<void> rung;
  const auto earlier = queue.after(std::chrono::nanoseconds(0), [&] { rung.set_value(); });
  rung.get_future().wait();
  EXPECT_FALSE(hasRung);
}

TEST(TimerQueue, neverRingsAnAlarmThatWasTakenBack) {
  bool hasRung = false;
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> watch = held;
  {
    TimerQueue queue;
    const auto alarm = queue.after(never, [&, kept = std::move(held)] { hasRung = *kept != 0; });
  }
  EXPECT_FALSE(hasRung);
  EXPECT_TRUE(watch.expired());
}

TEST(TimerQueue, waitsForARunWhenAnAlarmIsTakenBack) {
  TimerQueue queue;
  for (int round = 0; round < 500; ++round) {
    std::promise<void> started;
    int value = 0;  // guarded by the waiting alone, so that ThreadSanitizer sees it go wrong
    auto alarm = queue.after(std::chrono::nanoseconds(0), [&] {
      started.set_value();
      value = 1;
    });
    started.get_future().wait();
    alarm.reset();
    EXPECT_EQ(value, 1);
  }
}

TEST(TimerQueue, letsAnAlarmDestroyItself) {
  TimerQueue queue;
  std::promise<void> set;
  std::promise<void> rung;
  std::unique_ptr<MonotonicTimer::Alarm> alarm;
  const std::shared_future<void> isSet = set.get_future().share();
  alarm = queue.after(std::chrono::nanoseconds(0), [&] {
    isSet.wait();
    alarm.reset();
    rung.set_value();
  });
  set.set_value();
  rung.get_future().wait();
  EXPECT_EQ(alarm, nullptr);
}

TEST(TimerQueue, allowsCallsFromAnAlarm) {
  TimerQueue queue;
  std::promise<void> rung;
  std::unique_ptr<MonotonicTimer::Alarm> second;
  const auto first = queue.after(std::chrono::nanoseconds(0), [&] {
    second = queue.after(std::chrono::nanoseconds(0), [&] { rung.set_value(); });
  });
  rung.get_future().wait();
}

TEST(TimerQueue, ringsOnceOrNeverWhenTakenBackAtTheLastMoment) {
  TimerQueue queue;
  for (int round = 0; round < 2000; ++round) {
    int count = 0;  // guarded by the taking back alone
    auto alarm = queue.after(std::chrono::microseconds(round % 50), [&] { ++count; });
    const auto until = queue.now() + std::chrono::microseconds(round % 47);
    while (queue.now() < until) {
    }
    alarm.reset();
    ASSERT_LE(count, 1);
  }
}

}  // namespace
}  // namespace tolvander::tests
