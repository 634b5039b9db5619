#include "Platform/Linux/System/EventLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <string>
#include <utility>

#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

using namespace std::chrono_literals;

// Includes the time while the machine is suspended, unlike CLOCK_MONOTONIC.
constexpr clockid_t continuousClock = CLOCK_BOOTTIME;

OwnedDescriptor checked(int descriptor, const char* operation) {
  if (descriptor < 0) {
    throw PosixError(errno, operation, FileURL("/proc/self/fd"));
  }
  return OwnedDescriptor(descriptor);
}

timespec timespecOf(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  return {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
}

// Reading resets the counter of an eventfd or timerfd.
void clearCount(const OwnedDescriptor& descriptor) {
  std::uint64_t count = 0;
  static_cast<void>(retryOnEINTR([&] { return read(descriptor.number(), &count, sizeof count); }));
}

}  // namespace

EventLoop::EventLoop() : queue_([this] { wake(); }) {
  watches_->poll = checked(epoll_create1(EPOLL_CLOEXEC), "make an epoll");
  woken_ = checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "make an eventfd");
  alarm_ = checked(timerfd_create(continuousClock, TFD_CLOEXEC | TFD_NONBLOCK), "make a timerfd");
  wokenWatch_ = watch(woken_.number(), EPOLLIN, [this](std::uint32_t) { clearCount(woken_); });
  alarmWatch_ = watch(alarm_.number(), EPOLLIN, [this](std::uint32_t) {
    clearCount(alarm_);
    alarmAt_.reset();
  });
}

EventLoop::~EventLoop() { end(); }

void EventLoop::end() {
  queue_.close();
  workers_.end();
}

void EventLoop::run() {
  precondition(isCurrent(), "a loop runs on the thread that made it");
  while (!isStopped_) {
    queue_.runPosted();
    runDueTimers();
    if (!isStopped_) {
      setAlarm();
      waitForEvents();
    }
  }
  end();
}

void EventLoop::stop() {
  post([this] { isStopped_ = true; });
}

// Timers added by these functions wait for the next iteration, so that they can't starve the descriptors.
void EventLoop::runDueTimers() {
  const Instant due = now();
  while (queue_.runDueTimer(due)) {
  }
}

void EventLoop::setAlarm() {
  const auto due = queue_.nextDue();
  if (due == alarmAt_) {
    return;
  }
  alarmAt_ = due;
  itimerspec time{};  // all zero: off
  if (due) {
    time.it_value = timespecOf(std::max(due->time_since_epoch(), 1ns));
  }
  const int result = timerfd_settime(alarm_.number(), TFD_TIMER_ABSTIME, &time, nullptr);
  precondition(result == 0, "a timer can always be set");
}

void EventLoop::waitForEvents() {
  std::array<epoll_event, 16> events{};
  const int timeout = queue_.hasPosted() ? 0 : -1;
  const int count = retryOnEINTR([&] {
    return epoll_wait(watches_->poll.number(), events.data(), static_cast<int>(events.size()), timeout);
  });
  ++wakeUpCount_;
  for (const epoll_event& event : std::span(events).first(static_cast<std::size_t>(count))) {
    const std::uint64_t watch = event.data.u64;  // epoll_event is packed: find() can't refer to its member
    const auto found = watches_->functions.find(watch);
    if (found != watches_->functions.end()) {  // otherwise an earlier function has ended the watch
      const auto function = found->second;
      (*function)(event.events);
    }
  }
}

app::Subscription EventLoop::watch(int descriptor, std::uint32_t events, ReadyFunction function) {
  precondition(isCurrent(), "files are watched from the main thread");
  const WatchNumber number = watches_->made++;
  epoll_event event{};
  event.events = events;
  event.data.u64 = number;
  if (epoll_ctl(watches_->poll.number(), EPOLL_CTL_ADD, descriptor, &event) != 0) {
    throw PosixError(errno, "watch", FileURL("/proc/self/fd/" + std::to_string(descriptor)));
  }
  watches_->functions.emplace(number, std::make_shared<const ReadyFunction>(std::move(function)));
  return app::Subscription([weakWatches = std::weak_ptr(watches_), descriptor, number] {
    if (const auto watches = weakWatches.lock()) {
      epoll_ctl(watches->poll.number(), EPOLL_CTL_DEL, descriptor, nullptr);
      watches->functions.erase(number);
    }
  });
}

void EventLoop::wake() const {
  const std::uint64_t one = 1;
  static_cast<void>(retryOnEINTR([&] { return write(woken_.number(), &one, sizeof one); }));
}

void EventLoop::post(std::function<void()> function) { queue_.post(std::move(function)); }

app::Subscription EventLoop::postAfter(std::chrono::nanoseconds delay, std::function<void()> function) {
  precondition(isCurrent(), "timers belong to the main thread");
  return queue_.addTimer(now(), delay, std::move(function));
}

app::MainThread::Instant EventLoop::now() const {
  timespec time{};
  clock_gettime(continuousClock, &time);
  return Instant(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

Date EventLoop::wallNow() const { return std::chrono::system_clock::now(); }

bool EventLoop::isCurrent() const { return std::this_thread::get_id() == thread_; }

void EventLoop::runOnWorker(std::function<void()> job) { workers_.run(std::move(job)); }

}  // namespace tolvander::platform::linux_
