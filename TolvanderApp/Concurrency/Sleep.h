#pragma once

#include <chrono>

#include "TolvanderApp/Concurrency/Task.h"

namespace tolvander::app {

// Waits for `duration` on the continuous clock. Throws CancellationError at once when the task is cancelled,
// also when it was cancelled before. A duration of 0 or less still returns to the loop once.
Task<> sleep(std::chrono::nanoseconds duration);

// The same without the exception: returns whether the whole time passed.
Task<bool> sleepOrCancellation(std::chrono::nanoseconds duration);

}  // namespace tolvander::app
