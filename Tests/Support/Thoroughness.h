#pragma once

#include <cstddef>

namespace tolvander::tests {

// Tests that try every point of something (each system call that can fail, each moment for an attack) try
// every so-many-th under the sanitizers, which take ten times as long for the same answer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr std::size_t pointStride = 7;
#else
inline constexpr std::size_t pointStride = 1;
#endif

}  // namespace tolvander::tests
