#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "TolvanderApp/Concurrency/MainQueue.h"
#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Workers.h"

namespace tolvander::tests {

// A main thread by hand, with virtual time: the test's thread is the main thread while it is in one of the
// operations below or makes calls itself, and time passes only where the test says so.
class VirtualMainThread final : public app::MainThread {
 public:
  enum class Jobs {
    inTurn,     // one after the other on the test's thread, when nothing else is left to do: always the same
                // order
    onThreads,  // beside each other on real threads, for races and for jobs that wait for one another
  };

  explicit VirtualMainThread(Jobs jobs = Jobs::inTurn);
  // Ends the loop.
  ~VirtualMainThread() override;

  // Runs everything that can run without time passing: functions, jobs, and what follows from them. Waits for
  // jobs on threads.
  void runUntilIdle();

  // Lets time pass: runs until idle, then the timers that come due, each at its instant and until idle again.
  // Both clocks move.
  void advance(std::chrono::nanoseconds duration);

  // Runs functions, and waits for them if there are jobs on threads, until the condition holds. Returns
  // whether it does; if it doesn't, nothing is left that could make it so. Checked after every round of
  // functions, so a job on a thread posts what it wants to be noticed.
  bool runUntil(const std::function<bool()>& condition);

  // Sets the wall clock, which otherwise begins at 2026-11-20T12:00:00Z. Timers don't care.
  void setWallClock(Date date);

  // How far away the next timer is. Absent when nothing waits for time to pass.
  std::optional<std::chrono::nanoseconds> untilNextTimer() const;

  // What a loop does at its end: nothing runs any more, and jobs on threads are waited for.
  void end();

  void post(std::function<void()> function) override;
  app::Subscription postAfter(std::chrono::nanoseconds delay, std::function<void()> function) override;
  Instant now() const override { return now_; }
  Date wallNow() const override;
  bool isCurrent() const override;
  void runOnWorker(std::function<void()> job) override;

 protected:
  void postAndWait(std::function<void()> function) override;

 private:
  bool isInJob() const { return std::this_thread::get_id() == thread_ && inJob_; }
  bool runRound();
  bool runNextJob();
  bool waitForFunctions();
  void countJobsEnd();

  const Jobs jobsMode_;
  const std::thread::id thread_ = std::this_thread::get_id();
  Instant now_;
  Date wallClockStart_;
  bool inJob_ = false;
  bool hasEnded_ = false;
  std::deque<std::function<void()>> jobs_;  // in turn

  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t jobsOnThreads_ = 0;

  app::MainQueue queue_;
  app::Workers workers_;
};

}  // namespace tolvander::tests
