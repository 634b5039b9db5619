#pragma once

#include <cstddef>

namespace tolvander::tests {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

// A test that goes through many like cases tries each of them, and under the sanitizers, which make it slow,
// every `step`th.
constexpr std::size_t stepThrough(std::size_t step) { return isSanitized ? step : 1; }

}  // namespace tolvander::tests
