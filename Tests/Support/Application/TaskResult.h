#pragma once

#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/TaskScope.h"

namespace tolvander::tests {

// Runs a task to its end, and returns its result or throws its exception. No time passes in the test.
template <typename T>
T resultOf(VirtualMainThread& mainThread, app::Task<T> task) {
  struct Ending {
    bool isReached = false;
    std::exception_ptr failure;
    std::optional<T> value;

    static app::Task<> of(app::Task<T> task, Ending* ending) {
      try {
        ending->value.emplace(co_await task);
      } catch (...) {
        ending->failure = std::current_exception();
      }
      ending->isReached = true;
    }
  };
  Ending ending;
  app::TaskScope scope(mainThread);
  scope.start(Ending::of(std::move(task), &ending));
  if (!mainThread.runUntil([&] { return ending.isReached; })) {
    throw std::logic_error("the task waits for something that doesn't come");
  }
  if (ending.failure) {
    std::rethrow_exception(ending.failure);
  }
  return *std::move(ending.value);
}

inline void runToEnd(VirtualMainThread& mainThread, app::Task<> task) {
  struct Ending {
    static app::Task<bool> of(app::Task<> awaited) {
      co_await awaited;
      co_return true;
    }
  };
  resultOf(mainThread, Ending::of(std::move(task)));
}

}  // namespace tolvander::tests
