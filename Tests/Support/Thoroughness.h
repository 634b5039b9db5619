#pragma once

#include <cstddef>

namespace tolvander::tests {

// Tests that try every point of something (each system call that can fail, each moment for an attack) try every
// so-many-th under the sanitizers, which take ten times as long for the same answer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr std::size_t pointStride = 7;
#else
inline constexpr std::size_t pointStride = 1;
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

// A test that goes through many like cases tries each of them, and under the sanitizers, which make it slow,
// every `step`th.
constexpr std::size_t stepThrough(std::size_t step) { return isSanitized ? step : 1; }

}  // namespace tolvander::tests
