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

// The clock of sleeps and timers. It is never set, and goes on while the machine sleeps. Its epoch is
// arbitrary.
struct ContinuousClock {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<ContinuousClock>;
  static constexpr bool is_steady = true;
};

// The thread on which the application runs: a loop that calls one function after the other, with workers for
// blocking jobs. A shell implements it with the loop of its toolkit. It must outlive everything that has a
// reference to it.
//
// When the loop ends, functions that are still queued or posted later are destroyed without being called. The
// end waits for the running jobs of the workers.
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

  // Runs the job at once on a free or new worker thread, so that no job waits for another. Any thread. The
  // job must not throw. Flows use `background` instead, which also returns the result.
  virtual void runOnWorker(std::function<void()> job) = 0;

  // Runs the function on the main thread and gives its result, or throws what it threw. For workers that
  // need something of the model; on the main thread itself it is a plain call. Throws CancellationError when
  // the loop has ended, or ends before the function was called. The caller may hold no lock that the main
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
