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

// The main thread of a program without a toolkit: the thread that makes the loop and runs it. It sleeps in
// the kernel until a function is posted, a timer is due or a watched file is ready, and isn't woken
// otherwise.
class EventLoop final : public app::MainThread, public DescriptorWatcher {
 public:
  // Throws PosixError when the kernel gives no descriptors.
  EventLoop();
  // Ends the loop if it never ran.
  ~EventLoop() override;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // Runs until `stop`, once in the loop's life. When it returns, no worker runs any more: jobs that should
  // not be waited for are cancelled before `stop`.
  void run();

  // Lets `run` return when all that was posted before has been run. Any thread, also before `run`.
  void stop();

  app::Subscription watch(int descriptor, std::uint32_t events,
                          std::function<void(std::uint32_t ready)> function) override;

  // How often the loop has come back from the kernel.
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
