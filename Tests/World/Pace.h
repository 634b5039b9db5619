#pragma once

namespace tolvander::tests {

// The sanitizers take about ten times as long for the same answer, so that under them only the first part of
// a long road is gone.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool isSlow = true;
#else
inline constexpr bool isSlow = false;
#endif

}  // namespace tolvander::tests
