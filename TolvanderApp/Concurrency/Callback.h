#pragma once

#include <concepts>
#include <coroutine>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Outcome.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::app {

// One wait of a coroutine for an outcome from any thread. The coroutine goes on from a posted function of the
// main thread, never from within the thread that brings the outcome.
template <typename T>
class Wait : public std::enable_shared_from_this<Wait<T>> {
 public:
  explicit Wait(MainThread& mainThread) : mainThread_(mainThread) {}

  // Any thread. The first outcome counts, every later one is dropped.
  void finish(Outcome<T> outcome) {
    {
      const std::lock_guard lock(mutex_);
      if (outcome_) {
        return;
      }
      outcome_.emplace(std::move(outcome));
    }
    mainThread_.post([self = this->shared_from_this()] { self->resume(); });
  }

  // Lives in the frame of the waiting coroutine. When the frame is destroyed, the coroutine is not resumed.
  class Awaiter {
   public:
    explicit Awaiter(std::shared_ptr<Wait> wait) : wait_(std::move(wait)) {}
    ~Awaiter() { wait_->coroutine_ = nullptr; }
    Awaiter(const Awaiter&) = delete;
    Awaiter& operator=(const Awaiter&) = delete;

    bool await_ready() const noexcept { return wait_->ready_; }
    void await_suspend(std::coroutine_handle<> coroutine) const noexcept { wait_->coroutine_ = coroutine; }
    T await_resume() const { return wait_->take(); }

   private:
    std::shared_ptr<Wait> wait_;
  };

 private:
  void resume() {
    ready_ = true;
    if (const auto coroutine = std::exchange(coroutine_, nullptr)) {
      coroutine.resume();
    }
  }

  T take() {
    std::unique_lock lock(mutex_);
    Outcome<T> outcome = std::move(*outcome_);
    lock.unlock();
    return outcome.take();
  }

  MainThread& mainThread_;
  std::mutex mutex_;
  std::optional<Outcome<T>> outcome_;
  // Main thread only.
  bool ready_ = false;
  std::coroutine_handle<> coroutine_;
};

// The end of a wait, given to something that answers through a callback: called once, on any thread. Copies
// are the same callback; of several calls the first counts. When all copies are gone without a call, the
// waiting coroutine gets CancellationError.
template <typename T = void>
class Callback {
 public:
  explicit Callback(std::shared_ptr<Wait<T>> wait) : end_(std::make_shared<End>(std::move(wait))) {}

  void operator()() const requires std::is_void_v<T> {
    finish(Outcome<T>::of([] {}));
  }
  template <std::convertible_to<T> Value>
  void operator()(Value&& value) const {
    finish(Outcome<T>::of([&]() -> T { return std::forward<Value>(value); }));
  }
  void fail(std::exception_ptr error) const { finish(Outcome<T>::failure(std::move(error))); }
  void finish(Outcome<T> outcome) const { end_->wait->finish(std::move(outcome)); }

 private:
  struct End {
    explicit End(std::shared_ptr<Wait<T>> of) : wait(std::move(of)) {}
    ~End() { wait->finish(Outcome<T>::failure(std::make_exception_ptr(CancellationError()))); }
    End(const End&) = delete;
    End& operator=(const End&) = delete;
    std::shared_ptr<Wait<T>> wait;
  };
  std::shared_ptr<End> end_;
};

// Calls `start` with a Callback<T>, and waits until that is called. `start` runs on the main thread within
// the await, and may call the callback there and then. Cancellation doesn't end the wait; the holder of
// the callback has to watch the token if it should.
template <typename T, typename Start>
Task<T> callback(Start start) {
  auto current = currentEnvironment();
  const TaskEnvironment& environment = co_await current;
  const auto wait = std::make_shared<Wait<T>>(environment.mainThread);
  start(Callback<T>(wait));
  typename Wait<T>::Awaiter outcome(wait);
  co_return co_await outcome;
}

}  // namespace tolvander::app
