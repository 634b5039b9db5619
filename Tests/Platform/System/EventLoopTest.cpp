#include "Platform/Linux/System/EventLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Concurrency/TaskScope.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

using app::Subscription;
using app::Task;
using platform::linux_::EventLoop;
using namespace std::chrono_literals;

namespace {

using Log = std::vector<std::string>;

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    readEnd = OwnedDescriptor(ends[0]);
    writeEnd = OwnedDescriptor(ends[1]);
  }
  void put() const { EXPECT_EQ(write(writeEnd.number(), "x", 1), 1); }
  void take() const {
    char byte = 0;
    EXPECT_EQ(read(readEnd.number(), &byte, 1), 1);
  }

  OwnedDescriptor readEnd;
  OwnedDescriptor writeEnd;
};

}  // namespace

TEST(EventLoop, runsFunctionsInTheOrderOfPosting) {
  EventLoop loop;
  Log log;
  loop.post([&] {
    log.emplace_back("first");
    EXPECT_TRUE(loop.isCurrent());
    loop.post([&] {
      log.emplace_back("posted by the first");
      loop.stop();
    });
  });
  loop.post([&] { log.emplace_back("second"); });
  EXPECT_EQ(log, Log());
  loop.run();
  EXPECT_EQ(log, (Log{"first", "second", "posted by the first"}));
}

TEST(EventLoop, runsWhatWasPostedBeforeTheStopAndNothingAfterTheEnd) {
  EventLoop loop;
  const auto held = std::make_shared<int>();
  Log log;
  loop.post([&] { log.emplace_back("before"); });
  loop.stop();
  loop.run();
  EXPECT_EQ(log, Log{"before"});
  loop.post([held] { ADD_FAILURE(); });
  const Subscription timer = loop.postAfter(0s, [held] { ADD_FAILURE(); });
  loop.runOnWorker([held] { ADD_FAILURE(); });
  EXPECT_EQ(held.use_count(), 1);
}

TEST(EventLoop, destroysWhatIsLeftWhenItNeverRan) {
  const auto held = std::make_shared<int>();
  Subscription timer;
  {
    EventLoop loop;
    loop.post([held] { ADD_FAILURE(); });
    timer = loop.postAfter(1h, [held] { ADD_FAILURE(); });
  }
  EXPECT_EQ(held.use_count(), 1);
  timer.end();
}

TEST(EventLoop, isStoppedFromAnotherThreadWhileItWaits) {
  EventLoop loop;
  std::promise<void> running;
  loop.post([&] { running.set_value(); });
  std::thread other([&] {
    running.get_future().wait();
    EXPECT_FALSE(loop.isCurrent());
    loop.stop();
  });
  loop.run();
  other.join();
}

TEST(EventLoop, runsTimersInTheOrderOfTheirInstants) {
  EventLoop loop;
  Log log;
  const Subscription third = loop.postAfter(3ms, [&] {
    log.emplace_back("third");
    loop.stop();
  });
  const Subscription second = loop.postAfter(2ms, [&] { log.emplace_back("second"); });
  const Subscription first = loop.postAfter(-5s, [&] { log.emplace_back("first"); });
  loop.run();
  EXPECT_EQ(log, (Log{"first", "second", "third"}));
}

TEST(EventLoop, runsNoTimerBeforeItsInstant) {
  EventLoop loop;
  const auto due = loop.now() + 5ms;
  const Subscription timer = loop.postAfter(5ms, [&] {
    EXPECT_GE(loop.now(), due);
    loop.stop();
  });
  loop.run();
}

TEST(EventLoop, dropsATimerWhoseSubscriptionEnds) {
  EventLoop loop;
  const auto held = std::make_shared<int>();
  Subscription dropped = loop.postAfter(1ms, [held] { ADD_FAILURE(); });
  Subscription droppedByTimer = loop.postAfter(3ms, [] { ADD_FAILURE(); });
  dropped.end();
  EXPECT_EQ(held.use_count(), 1);
  const Subscription dropping = loop.postAfter(2ms, [&] { droppedByTimer.end(); });
  const Subscription last = loop.postAfter(4ms, [&] { loop.stop(); });
  loop.run();
}

TEST(EventLoop, letsATimerEndItself) {
  EventLoop loop;
  const auto held = std::make_shared<int>(1);
  Subscription timer;
  timer = loop.postAfter(0s, [&, held] {
    timer.end();
    EXPECT_EQ(*held, 1);
    loop.stop();
  });
  loop.run();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(EventLoop, givesFilesTheirTurnBesideTimersThatFollowEachOther) {
  EventLoop loop;
  const Pipe pipe;
  Subscription timer;
  std::function<void()> again = [&] { timer = loop.postAfter(0s, again); };
  again();
  const Subscription watch = loop.watch(pipe.readEnd.number(), EPOLLIN, [&](std::uint32_t) { loop.stop(); });
  pipe.put();
  loop.run();
}

// One wake-up for the timer, one for the function that stops the loop, and none while nothing happens: a
// loop that looked round now and then would count more, however fast the machine.
TEST(EventLoop, isNotWokenWhileNothingHappens) {
  EventLoop loop;
  const Pipe pipe;
  const Subscription watch = loop.watch(pipe.readEnd.number(), EPOLLIN, [](std::uint32_t) { ADD_FAILURE(); });
  const Subscription later = loop.postAfter(1h, [] { ADD_FAILURE(); });
  Subscription cancelled = loop.postAfter(1ms, [] { ADD_FAILURE(); });
  cancelled.end();
  const Subscription timer = loop.postAfter(100ms, [&] { loop.stop(); });
  loop.run();
  EXPECT_EQ(loop.wakeUpCount(), 2U);
}

TEST(EventLoop, callsTheWatcherForAsLongAsTheFileIsReady) {
  EventLoop loop;
  const Pipe pipe;
  Log log;
  const Subscription watch = loop.watch(pipe.readEnd.number(), EPOLLIN, [&](std::uint32_t ready) {
    EXPECT_EQ(ready, EPOLLIN);
    pipe.take();
    log.emplace_back("byte");
    if (log.size() == 3) {
      loop.stop();
    }
  });
  pipe.put();
  pipe.put();
  loop.post([&] { pipe.put(); });
  loop.run();
  EXPECT_EQ(log, (Log{"byte", "byte", "byte"}));
}

TEST(EventLoop, tellsTheWatcherOfAHangUp) {
  EventLoop loop;
  std::optional<Pipe> pipe(std::in_place);
  Subscription watch = loop.watch(pipe->readEnd.number(), EPOLLIN, [&](std::uint32_t ready) {
    EXPECT_TRUE(ready & EPOLLHUP);
    watch.end();
    loop.stop();
  });
  pipe->writeEnd = OwnedDescriptor();
  loop.run();
}

TEST(EventLoop, callsNoWatcherWhoseSubscriptionHasEnded) {
  EventLoop loop;
  const std::array<Pipe, 2> pipes;
  std::array<Subscription, 2> watches;
  int calls = 0;
  // Both are ready at once, and whichever is called first ends the other and itself.
  for (std::size_t index = 0; index < 2; ++index) {
    watches[index] = loop.watch(pipes[index].readEnd.number(), EPOLLIN, [&](std::uint32_t) {
      ++calls;
      watches[0].end();
      watches[1].end();
      loop.stop();
    });
    pipes[index].put();
  }
  loop.run();
  EXPECT_EQ(calls, 1);
}

TEST(EventLoop, watchesADescriptorAgainAfterTheFormerWatchEnded) {
  EventLoop loop;
  const Pipe pipe;
  Subscription watch = loop.watch(pipe.readEnd.number(), EPOLLIN, [](std::uint32_t) { ADD_FAILURE(); });
  watch.end();
  watch = loop.watch(pipe.readEnd.number(), EPOLLIN, [&](std::uint32_t) { loop.stop(); });
  pipe.put();
  loop.run();
}

TEST(EventLoop, refusesToWatchWhatCannotBeWatched) {
  EventLoop loop;
  const OwnedDescriptor regular(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  try {
    const Subscription watch = loop.watch(regular.number(), EPOLLIN, [](std::uint32_t) {});
    ADD_FAILURE();
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), EPERM);
  }
  EXPECT_THROW(static_cast<void>(loop.watch(-1, EPOLLIN, [](std::uint32_t) {})), PosixError);
}

TEST(EventLoop, canWatchTheMountTable) {
  EventLoop loop;
  const OwnedDescriptor mounts(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
  const Subscription watch = loop.watch(mounts.number(), EPOLLPRI, [](std::uint32_t) {});
  loop.stop();
  loop.run();
}

TEST(EventLoop, isOutlivedByTheSubscriptionOfAWatch) {
  const Pipe pipe;
  Subscription watch;
  {
    EventLoop loop;
    watch = loop.watch(pipe.readEnd.number(), EPOLLIN, [](std::uint32_t) {});
  }
  watch.end();
}

TEST(EventLoop, waitsForItsWorkersWhenItEnds) {
  EventLoop loop;
  std::atomic<bool> isOver = false;
  loop.runOnWorker([&] {
    loop.stop();
    const auto askForEver = [&] {
      while (true) {
        loop.call([] {});
      }
    };
    EXPECT_THROW(askForEver(), CancellationError);
    isOver = true;
  });
  loop.run();
  EXPECT_TRUE(isOver);
}

TEST(EventLoop, runsEveryFunctionThatManyThreadsPost) {
  for (int round = 0; round < 50; ++round) {
    EventLoop loop;
    std::vector<int> lastSeen(4, -1);
    int count = 0;
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < 4; ++index) {
      threads.emplace_back([&, index] {
        for (int number = 0; number < 100; ++number) {
          loop.post([&, index, number] {
            EXPECT_EQ(lastSeen[index], number - 1);  // each thread's own in their order
            lastSeen[index] = number;
            if (++count == 400) {
              loop.stop();
            }
          });
        }
      });
    }
    loop.run();
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_EQ(count, 400);
  }
}

namespace {

Task<> sleepsWorksAndStops(EventLoop& loop, Log& log) {
  auto slept = app::sleep(1ms);
  co_await slept;
  log.emplace_back("slept");
  auto job = app::background([&loop] { return loop.call([] { return std::string("worked"); }); });
  log.push_back(co_await job);
  loop.stop();
}

Task<> sleepsForLong() {
  auto slept = app::sleep(1h);
  co_await slept;
}

}  // namespace

TEST(EventLoop, runsTasks) {
  EventLoop loop;
  Log log;
  app::TaskScope scope(loop);
  scope.start(sleepsWorksAndStops(loop, log));
  scope.start(sleepsForLong());
  loop.run();
  EXPECT_EQ(log, (Log{"slept", "worked"}));
}

TEST(EventLoop, hasAWallClockAndOneThatIsNeverSet) {
  EventLoop loop;
  const Date before = std::chrono::system_clock::now();
  EXPECT_GE(loop.wallNow(), before);
  const auto first = loop.now();
  EXPECT_GE(loop.now(), first);
}

}  // namespace tolvander::tests
