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

// A task that was started: its environment, its coroutine and those who wait for its end. Seen by others
// through TaskHandle.
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

// Stands for a started task. Copies stand for the same one, and dropping them changes nothing: the task
// belongs to its scope. Main thread only, but for `cancel` and `token`.
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

// Starts tasks, and owns them until they have ended. Its end cancels the unfinished ones and destroys them
// where they wait, so that a task never outlives the object that it works on: declare the scope as that
// object's last member. Main thread only; never ended from within one of its own tasks.
//
// A job that such a task runs on a worker isn't waited for. What the job uses, it holds itself.
class TaskScope {
 public:
  explicit TaskScope(MainThread& mainThread) : mainThread_(mainThread) {}
  ~TaskScope();
  TaskScope(const TaskScope&) = delete;
  TaskScope& operator=(const TaskScope&) = delete;

  // The task begins from a posted function, so that the caller can keep the handle first. What it throws is
  // for those who join it, and otherwise dropped.
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
