#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <thread>

#include "Platform/Linux/System/DescriptorWatcher.h"
#include "TolvanderApp/Concurrency/MainQueue.h"
#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Workers.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::platform::linux_ {

// The event loop of a program without a GUI toolkit. The thread that creates it is the main thread and runs
// it. It sleeps in epoll_wait until a function is posted, a timer is due or a watched descriptor is ready,
// and doesn't poll.
class EventLoop final : public app::MainThread, public DescriptorWatcher {
 public:
  // Throws PosixError if the process has no free descriptors.
  EventLoop();
  // Does what run() does at its end, if it never ran.
  ~EventLoop() override;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // Runs until `stop`; at most once. Waits for all workers before it returns; so cancel their jobs before
  // `stop`.
  void run();

  // Makes `run` return after everything that was posted before. On any thread, also before `run`.
  void stop();

  app::Subscription watch(int descriptor, std::uint32_t events,
                          std::function<void(std::uint32_t ready)> function) override;

  // The number of returns from epoll_wait; for tests that the loop doesn't poll.
  std::uint64_t wakeUpCount() const { return wakeUpCount_; }

  void post(std::function<void()> function) override;
  app::Subscription postAfter(std::chrono::nanoseconds delay, std::function<void()> function) override;
  Instant now() const override;
  Date wallNow() const override;
  bool isCurrent() const override;
  void runOnWorker(std::function<void()> job) override;

 private:
  using WatchNumber = std::uint64_t;
  using ReadyFunction = std::function<void(std::uint32_t)>;
  struct Watches {
    OwnedDescriptor poll;
    std::map<WatchNumber, std::shared_ptr<const ReadyFunction>> functions;
    WatchNumber made = 0;
  };

  void wake() const;
  void runDueTimers();
  void setAlarm();
  void waitForEvents();
  void end();

  const std::thread::id thread_ = std::this_thread::get_id();
  std::shared_ptr<Watches> watches_ = std::make_shared<Watches>();  // a subscription may outlive the loop
  OwnedDescriptor woken_;                                           // an eventfd
  OwnedDescriptor alarm_;                                           // a timerfd
  app::Subscription wokenWatch_;
  app::Subscription alarmWatch_;
  std::optional<Instant> alarmAt_;
  bool isStopped_ = false;
  std::uint64_t wakeUpCount_ = 0;
  app::MainQueue queue_;
  app::Workers workers_;
};

}  // namespace tolvander::platform::linux_
