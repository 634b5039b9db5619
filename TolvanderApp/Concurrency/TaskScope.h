#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::app {

class TaskScope;

// A started task: its environment, its coroutine and the callbacks that wait for its end. Used through
// TaskHandle.
class StartedTask : public std::enable_shared_from_this<StartedTask> {
 public:
  virtual ~StartedTask() = default;
  StartedTask(const StartedTask&) = delete;
  StartedTask& operator=(const StartedTask&) = delete;

 protected:
  StartedTask(MainThread& mainThread, TaskScope& scope);
  std::exception_ptr failure_;

 private:
  friend class TaskScope;
  friend class TaskHandle;

  void start(Task<> body);
  void begin();
  static Task<> run(StartedTask* self, Task<> body);
  void finish();
  void leave();
  void abandon();
  void destroyBody();

  CancellationSource source_;
  TaskEnvironment environment_;
  TaskScope* scope_;
  const std::uint64_t number_;  // among the tasks of the scope
  Task<> body_;
  bool isFinished_ = false;
  std::vector<Callback<>> joiners_;
};

// Refers to a started task; copies refer to the same one. Dropping a handle changes nothing, because the task
// belongs to its scope. Main thread only, except `cancel` and `token`, which any thread may call.
class TaskHandle {
 public:
  // Asks the task to stop. It sees that at its next checkpoint, or in the sleep that it is in.
  void cancel() const;
  CancellationToken token() const;
  bool isFinished() const;

  // Waits for the end of the task, and throws what the task threw; CancellationError if its scope ended
  // before it. Cancelling the waiting task doesn't end the wait. Any number may wait.
  Task<> join() const;

  friend bool operator==(const TaskHandle&, const TaskHandle&) = default;

 protected:
  explicit TaskHandle(std::shared_ptr<StartedTask> task) : task_(std::move(task)) {}
  static Task<> join(std::shared_ptr<StartedTask> task);

 private:
  friend class TaskScope;
  std::shared_ptr<StartedTask> task_;
};

template <typename T>
class StartedValueTask;

// A handle of a task that gives a value.
template <typename T>
class ValueTaskHandle : public TaskHandle {
 public:
  // As `join`, with a copy of the value.
  Task<T> value() const { return value(task_); }

 private:
  friend class TaskScope;
  explicit ValueTaskHandle(std::shared_ptr<StartedValueTask<T>> task) : TaskHandle(task), task_(task) {}
  static Task<T> value(std::shared_ptr<StartedValueTask<T>> task);

  std::shared_ptr<StartedValueTask<T>> task_;
};

// Starts tasks, and owns them until they have ended. The destructor cancels the unfinished tasks and destroys
// them where they wait, so that no task outlives the object that it works on: declare the scope as that
// object's last member. Main thread only. A task of the scope must not destroy the scope.
//
// The destructor does not wait for a job that such a task runs on a worker. The job must own what it uses.
class TaskScope {
 public:
  explicit TaskScope(MainThread& mainThread) : mainThread_(mainThread) {}
  ~TaskScope();
  TaskScope(const TaskScope&) = delete;
  TaskScope& operator=(const TaskScope&) = delete;

  // The task begins in a function posted to the main thread, after the caller has the handle. What the task
  // throws is thrown by `join`, and dropped when nothing joins it.
  TaskHandle start(Task<> task);
  template <typename T>
  ValueTaskHandle<T> start(Task<T> task);

  // Cancels every task that is unfinished at this moment.
  void cancelAll();

 private:
  friend class StartedTask;

  MainThread& mainThread_;
  std::map<std::uint64_t, std::shared_ptr<StartedTask>> unfinished_;  // in the order of starting
  std::uint64_t startedCount_ = 0;
};

template <typename T>
class StartedValueTask final : public StartedTask {
 private:
  friend class TaskScope;
  friend class ValueTaskHandle<T>;

  using StartedTask::StartedTask;

  static Task<> keepValue(StartedValueTask* self, Task<T> task) { self->value_.emplace(co_await task); }

  std::optional<T> value_;
};

template <typename T>
Task<T> ValueTaskHandle<T>::value(std::shared_ptr<StartedValueTask<T>> task) {
  auto joined = join(task);
  co_await joined;
  co_return *task->value_;
}

template <typename T>
ValueTaskHandle<T> TaskScope::start(Task<T> task) {
  const std::shared_ptr<StartedValueTask<T>> started(new StartedValueTask<T>(mainThread_, *this));
  started->start(StartedValueTask<T>::keepValue(started.get(), std::move(task)));
  return ValueTaskHandle<T>(started);
}

}  // namespace tolvander::app
