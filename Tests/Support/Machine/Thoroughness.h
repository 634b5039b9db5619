#pragma once

#include <cstddef>

namespace tolvander::tests {

// g++ has macros for this, clang a feature test.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool isSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = false;
#endif
#else
inline constexpr bool isSanitized = false;
#endif

// Tests over many similar cases try each of them, or every `step`th one under the sanitizers, which are
// slow.
constexpr std::size_t stepThrough(std::size_t step) { return isSanitized ? step : 1; }

}  // namespace tolvander::tests
