#pragma once

#include <sys/resource.h>

#include <functional>

namespace tolvander::tests {

// The increase in KiB of the process's peak memory by `work`. To be called in a new child process.
inline long peakMemoryGrowth(const std::function<void()>& work) {
  const auto peak = [] {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  const long before = peak();
  work();
  return peak() - before;
}

}  // namespace tolvander::tests
