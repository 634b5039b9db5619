#include "TolvanderApp/Concurrency/Sleep.h"

#include "TolvanderApp/Concurrency/Callback.h"

namespace tolvander::app {

Task<bool> sleepOrCancellation(std::chrono::nanoseconds duration) {
  auto current = currentEnvironment();
  const TaskEnvironment& environment = co_await current;
  Subscription timer;
  std::optional<CancellationCallback> cancelled;
  auto begin = [&](const Callback<bool>& ended) {
    cancelled.emplace(environment.token, [ended] { ended(false); });
    timer = environment.mainThread.postAfter(duration, [ended] { ended(true); });
  };
  auto ended = callback<bool>(begin);
  co_return co_await ended;
}

Task<> sleep(std::chrono::nanoseconds duration) {
  auto slept = sleepOrCancellation(duration);
  const bool isOver = co_await slept;
  if (!isOver) {
    throw CancellationError();
  }
}

}  // namespace tolvander::app
