#pragma once

#include <concepts>
#include <memory>
#include <type_traits>
#include <utility>

#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Outcome.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::app {

// Runs a blocking function, such as an engine call, on a worker, and gives its result or exception to the
// coroutine on the main thread. The function is called with `token` and has to watch it itself: it is also
// called when the token is cancelled already, and the coroutine waits until it has returned. The function and
// its captures are destroyed before the coroutine goes on.
template <std::invocable<const CancellationToken&> Function>
Task<std::invoke_result_t<Function&, const CancellationToken&>> background(CancellationToken token,
                                                                           Function function) {
  using Result = std::invoke_result_t<Function&, const CancellationToken&>;
  auto current = currentEnvironment();
  const TaskEnvironment& environment = co_await current;
  auto held = std::make_shared<Function>(std::move(function));
  auto start = [&environment, &held, &token](Callback<Result> done) {
    auto job = [function = std::move(held), token, done = std::move(done)]() mutable {
      auto outcome = Outcome<Result>::of([&] { return (*function)(token); });
      function.reset();
      done.finish(std::move(outcome));
    };
    environment.mainThread.runOnWorker(std::move(job));
  };
  auto result = callback<Result>(std::move(start));
  co_return co_await result;
}

// The same with the token of the awaiting task. The function may also have no parameter.
template <typename Function>
requires std::invocable<Function, const CancellationToken&>
auto background(Function function) -> Task<std::invoke_result_t<Function&, const CancellationToken&>> {
  auto current = currentToken();
  CancellationToken token = co_await current;
  auto result = background(std::move(token), std::move(function));
  co_return co_await result;
}

template <std::invocable Function>
Task<std::invoke_result_t<Function&>> background(Function function) {
  auto withToken = [function = std::move(function)](const CancellationToken&) mutable { return function(); };
  return background(std::move(withToken));
}

}  // namespace tolvander::app
