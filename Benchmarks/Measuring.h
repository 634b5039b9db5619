#pragma once

#include <chrono>
#include <functional>

namespace tolvander::benchmarks {

// What `work` takes by the clock on the wall.
inline double seconds(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// By how many MiB the memory of a process grows at most while it does `work`; done in a child process, whose
// peak is nobody else's.
double peakMebibytes(const std::function<void()>& work);

}  // namespace tolvander::benchmarks
