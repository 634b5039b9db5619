#pragma once

#include <concepts>
#include <coroutine>
#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Outcome.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Precondition.h"

// Flows of the main thread as coroutines. What g++ 12 gets wrong, and therefore is not written here:
//  - A coroutine takes its parameters by value, and is a function, never a lambda with captures: the lambda
//    is gone when the coroutine goes on.
//  - The awaited expression is a named local (`auto read = history.count(); co_await read;`):
//    temporaries with destructors in a co_await expression can be destroyed twice.
//  - No co_await in a conditional expression, an initialiser list or a catch block.

namespace tolvander::app {

// What a started task hands down to every Task that is awaited in it.
struct TaskEnvironment {
  MainThread& mainThread;
  CancellationToken token;
};

// What the promises of all Tasks have in common.
class TaskPromise {
 public:
  const TaskEnvironment& environment() const { return *environment_; }
  std::suspend_always initial_suspend() const noexcept { return {}; }
  auto final_suspend() const noexcept { return FinalAwaiter(); }

 private:
  template <typename T>
  friend class Task;

  struct FinalAwaiter {
    bool await_ready() const noexcept { return false; }
    template <std::derived_from<TaskPromise> Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> task) const noexcept {
      return task.promise().continuation_;
    }
    void await_resume() const noexcept {}
  };

  const TaskEnvironment* environment_ = nullptr;
  std::coroutine_handle<> continuation_ = std::noop_coroutine();
};

template <typename T>
class TaskResultPromise : public TaskPromise {
 public:
  template <typename Value = T>
  void return_value(Value&& value) {
    outcome_.emplace(Outcome<T>::of([&]() -> T { return std::forward<Value>(value); }));
  }
  void unhandled_exception() noexcept { outcome_.emplace(Outcome<T>::failure(std::current_exception())); }
  T take() { return outcome_->take(); }

 private:
  std::optional<Outcome<T>> outcome_;
};

template <>
class TaskResultPromise<void> : public TaskPromise {
 public:
  void return_void() const noexcept {}
  void unhandled_exception() noexcept { error_ = std::current_exception(); }
  void take() {
    if (error_) {
      std::rethrow_exception(std::exchange(error_, nullptr));
    }
  }

 private:
  std::exception_ptr error_;
};

// A piece of a flow that does nothing until it is awaited, once, by another Task, or is started by a
// TaskScope. It has one owner; destroying it destroys what it holds, wherever it waits. Exceptions come out
// of the co_await. It runs on the main thread, from wait to wait without interruption, and knows the
// environment of the started task that it is part of.
template <typename T = void>
class [[nodiscard]] Task {
 public:
  class promise_type : public TaskResultPromise<T> {
   public:
    Task get_return_object() { return Task(Handle::from_promise(*this)); }
  };

  Task() = default;
  ~Task() { reset(); }
  Task(Task&& other) noexcept : coroutine_(std::exchange(other.coroutine_, nullptr)) {}
  Task& operator=(Task&& other) noexcept {
    if (this != &other) {
      reset();
      coroutine_ = std::exchange(other.coroutine_, nullptr);
    }
    return *this;
  }

  auto operator co_await() const {
    precondition(coroutine_ && !coroutine_.promise().environment_, "a task is awaited once");
    return Awaiter(coroutine_);
  }

 private:
  friend class StartedTask;
  using Handle = std::coroutine_handle<promise_type>;

  // Runs the task at once, within the awaiting one. If it ends without a wait, the awaiting one just goes on,
  // so that a loop over such tasks needs no stack, whether or not the compiler makes tail calls.
  class Awaiter {
   public:
    explicit Awaiter(Handle task) : task_(task) {}
    bool await_ready() const noexcept { return false; }
    template <std::derived_from<TaskPromise> Promise>
    bool await_suspend(std::coroutine_handle<Promise> awaiting) const {
      task_.promise().environment_ = &awaiting.promise().environment();
      task_.resume();
      if (task_.done()) {
        return false;
      }
      task_.promise().continuation_ = awaiting;
      return true;
    }
    T await_resume() const { return task_.promise().take(); }

   private:
    Handle task_;
  };

  explicit Task(Handle coroutine) : coroutine_(coroutine) {}

  void reset() {
    if (coroutine_) {
      std::exchange(coroutine_, nullptr).destroy();
    }
  }

  // Begins a task that no other one awaits. The environment outlives it.
  void begin(const TaskEnvironment& environment) {
    coroutine_.promise().environment_ = &environment;
    coroutine_.resume();
  }

  Handle coroutine_;
};

// `co_await currentEnvironment()`: what the started task runs in. Doesn't wait.
class [[nodiscard]] CurrentEnvironment {
 public:
  bool await_ready() const noexcept { return false; }
  template <std::derived_from<TaskPromise> Promise>
  bool await_suspend(std::coroutine_handle<Promise> task) noexcept {
    environment_ = &task.promise().environment();
    return false;
  }
  const TaskEnvironment& await_resume() const noexcept { return *environment_; }

 protected:
  const TaskEnvironment* environment_ = nullptr;
};

inline CurrentEnvironment currentEnvironment() { return {}; }

// `co_await currentToken()`: the token that is cancelled with the started task. Doesn't wait.
class [[nodiscard]] CurrentToken : public CurrentEnvironment {
 public:
  CancellationToken await_resume() const { return environment_->token; }
};

inline CurrentToken currentToken() { return {}; }

}  // namespace tolvander::app
