#pragma once

#include <sys/resource.h>

#include <functional>

namespace tolvander::tests {

// By how many KiB `work` raises the most memory that this process has ever used. To be called in a child
// process, whose past is short.
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
