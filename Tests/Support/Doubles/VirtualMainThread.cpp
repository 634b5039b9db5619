#include "Tests/Support/Doubles/VirtualMainThread.h"

#include <utility>

#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander::tests {

namespace {

using namespace std::chrono_literals;

constexpr Date firstWallClock = std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) + 12h;

}  // namespace

VirtualMainThread::VirtualMainThread(Jobs jobs)
    : jobsMode_(jobs), wallClockStart_(firstWallClock), queue_([this] {
        const std::lock_guard lock(mutex_);
        changed_.notify_all();
      }) {}

VirtualMainThread::~VirtualMainThread() { end(); }

void VirtualMainThread::end() {
  hasEnded_ = true;
  queue_.close();
  jobs_.clear();
  workers_.end();
}

void VirtualMainThread::post(std::function<void()> function) { queue_.post(std::move(function)); }

app::Subscription VirtualMainThread::postAfter(std::chrono::nanoseconds delay,
                                               std::function<void()> function) {
  precondition(isCurrent(), "timers belong to the main thread");
  return queue_.addTimer(now_, delay, std::move(function));
}

Date VirtualMainThread::wallNow() const { return wallClockStart_ + now_.time_since_epoch(); }

void VirtualMainThread::setWallClock(Date date) { wallClockStart_ = date - now_.time_since_epoch(); }

std::optional<std::chrono::nanoseconds> VirtualMainThread::untilNextTimer() const {
  const auto due = queue_.nextDue();
  return due ? std::optional(*due - now_) : std::nullopt;
}

bool VirtualMainThread::isCurrent() const { return std::this_thread::get_id() == thread_ && !inJob_; }

void VirtualMainThread::runOnWorker(std::function<void()> job) {
  if (jobsMode_ == Jobs::inTurn) {
    precondition(std::this_thread::get_id() == thread_, "jobs in turn come from the test's thread");
    if (!hasEnded_) {
      jobs_.push_back(std::move(job));
    }
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    ++jobsOnThreads_;
  }
  workers_.run([this, job = std::move(job)]() mutable {
    job();
    job = nullptr;
    countJobsEnd();
  });
}

void VirtualMainThread::countJobsEnd() {
  const std::lock_guard lock(mutex_);
  --jobsOnThreads_;
  changed_.notify_all();
}

// A job in turn asks the main thread, which is its own: the main thread's work up to the answer is done here.
void VirtualMainThread::postAndWait(std::function<void()> function) {
  if (!isInJob()) {
    MainThread::postAndWait(std::move(function));
    return;
  }
  inJob_ = false;
  bool isDone = false;
  post([&] {
    function();
    isDone = true;
  });
  while (!isDone && queue_.hasPosted()) {
    queue_.runPosted();
  }
  inJob_ = true;
}

bool VirtualMainThread::runRound() {
  if (queue_.hasPosted()) {
    queue_.runPosted();
    return true;
  }
  return runNextJob();
}

bool VirtualMainThread::runNextJob() {
  if (jobs_.empty()) {
    return false;
  }
  auto job = std::move(jobs_.front());
  jobs_.pop_front();
  inJob_ = true;
  job();
  job = nullptr;
  inJob_ = false;
  return true;
}

// Returns whether there are some; if not, no job is left that could post one.
bool VirtualMainThread::waitForFunctions() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return jobsOnThreads_ == 0 || queue_.hasPosted(); });
  return queue_.hasPosted();
}

void VirtualMainThread::runUntilIdle() {
  runUntil([] { return false; });
}

bool VirtualMainThread::runUntil(const std::function<bool()>& condition) {
  precondition(isCurrent(), "the loop runs on the main thread");
  while (!condition()) {
    if (!runRound() && !waitForFunctions()) {
      return false;
    }
  }
  return true;
}

void VirtualMainThread::advance(std::chrono::nanoseconds duration) {
  const Instant end = now_ + duration;
  runUntilIdle();
  for (auto due = queue_.nextDue(); due && *due <= end; due = queue_.nextDue()) {
    now_ = *due;
    queue_.runDueTimer(now_);
    runUntilIdle();
  }
  now_ = end;
}

}  // namespace tolvander::tests
