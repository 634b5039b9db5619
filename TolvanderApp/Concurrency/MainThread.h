#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "TolvanderApp/Concurrency/Outcome.h"
#include "TolvanderApp/Concurrency/Subscription.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::app {

// The clock of sleeps and timers: never set, and goes on while the machine sleeps. Its beginning is
// arbitrary.
struct ContinuousClock {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<ContinuousClock>;
  static constexpr bool is_steady = true;
};

// The thread on which the application lives: a loop that runs one function after the other, and the workers
// beside it. A shell answers it with its toolkit's loop; it outlives everything that is given a reference to
// it.
//
// A loop ends once. From then on it runs nothing: what is left, or comes later, is destroyed without being
// run. Then it waits for its workers, so that nothing runs beside whoever ended it.
class MainThread {
 public:
  using Instant = ContinuousClock::time_point;

  virtual ~MainThread() = default;

  // Runs the function on the main thread, later, in the order of posting. Any thread. The function must not
  // throw.
  virtual void post(std::function<void()> function) = 0;

  // Runs the function once, `delay` from now, unless the subscription ends before. A delay of 0 or less is
  // due at once, and still runs later. Timers that are due run in the order of their instants, then of their
  // making. Main thread only. The function must not throw.
  virtual Subscription postAfter(std::chrono::nanoseconds delay, std::function<void()> function) = 0;

  virtual Instant now() const = 0;
  // What the wall clock shows, which may be set at any time.
  virtual Date wallNow() const = 0;

  // Whether the caller runs on the main thread.
  virtual bool isCurrent() const = 0;

  // Runs the job on a worker of its own, beside all others, so that one that blocks delays none. Any thread.
  // The job must not throw. Flows use `background` instead, which brings the result back.
  virtual void runOnWorker(std::function<void()> job) = 0;

  // Runs the function on the main thread and gives its result, or throws what it threw. A worker's way to
  // ask the model something; on the main thread itself it is a plain call. Throws CancellationError when the
  // loop has ended, or ends before it comes to the function. The caller may hold no lock that the main
  // thread takes.
  template <typename Function>
  auto call(Function&& function) -> std::invoke_result_t<Function&> {
    using Result = std::invoke_result_t<Function&>;
    if (isCurrent()) {
      return std::invoke(function);
    }
    std::optional<Outcome<Result>> outcome;
    postAndWait([&outcome, &function] { outcome.emplace(Outcome<Result>::of(function)); });
    if (!outcome) {
      throw CancellationError();
    }
    return outcome->take();
  }

 protected:
  // Posts the function and returns when it has run, or has been destroyed without being run.
  virtual void postAndWait(std::function<void()> function);
};

}  // namespace tolvander::app
