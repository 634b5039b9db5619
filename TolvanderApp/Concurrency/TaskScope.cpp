#include "TolvanderApp/Concurrency/TaskScope.h"

#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander::app {

StartedTask::StartedTask(MainThread& mainThread, TaskScope& scope)
    : environment_{mainThread, source_.token()}, scope_(&scope), number_(scope.startedCount_++) {}

void StartedTask::start(Task<> body) {
  precondition(environment_.mainThread.isCurrent(), "a task is started on the main thread");
  body_ = run(this, std::move(body));
  scope_->unfinished_.emplace(number_, shared_from_this());
  environment_.mainThread.post([self = shared_from_this()] { self->begin(); });
}

void StartedTask::begin() {
  if (scope_ != nullptr) {
    body_.begin(environment_);
  }
}

Task<> StartedTask::run(StartedTask* self, Task<> body) {
  try {
    co_await body;
  } catch (...) {
    self->failure_ = std::current_exception();
  }
  self->finish();
}

// The coroutine still runs here; it is destroyed from the loop.
void StartedTask::finish() {
  isFinished_ = true;
  for (const Callback<>& joined : std::exchange(joiners_, {})) {
    joined();
  }
  environment_.mainThread.post([self = shared_from_this()] { self->leave(); });
}

void StartedTask::leave() {
  if (scope_ != nullptr) {
    std::exchange(scope_, nullptr)->unfinished_.erase(number_);
    destroyBody();
  }
}

void StartedTask::abandon() {
  scope_ = nullptr;
  destroyBody();
  joiners_.clear();
}

void StartedTask::destroyBody() { const Task<> body = std::move(body_); }

void TaskHandle::cancel() const { task_->source_.cancel(); }

CancellationToken TaskHandle::token() const { return task_->environment_.token; }

bool TaskHandle::isFinished() const { return task_->isFinished_; }

Task<> TaskHandle::join() const { return join(task_); }

Task<> TaskHandle::join(std::shared_ptr<StartedTask> task) {
  if (!task->isFinished_ && task->scope_ == nullptr) {
    throw CancellationError();
  }
  if (!task->isFinished_) {
    auto waitForEnd = [&task](const Callback<>& ended) { task->joiners_.push_back(ended); };
    auto ended = callback<void>(waitForEnd);
    co_await ended;
  }
  if (task->failure_) {
    std::rethrow_exception(task->failure_);
  }
}

TaskScope::~TaskScope() {
  cancelAll();
  while (!unfinished_.empty()) {
    const auto task = unfinished_.extract(unfinished_.begin()).mapped();
    task->abandon();
  }
}

TaskHandle TaskScope::start(Task<> task) {
  const std::shared_ptr<StartedTask> started(new StartedTask(mainThread_, *this));
  started->start(std::move(task));
  return TaskHandle(started);
}

void TaskScope::cancelAll() {
  for (const auto& [number, task] : std::map(unfinished_)) {
    task->source_.cancel();
  }
}

}  // namespace tolvander::app
