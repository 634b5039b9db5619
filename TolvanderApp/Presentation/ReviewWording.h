#pragma once

#include <cstdint>
#include <string>

#include "TolvanderApp/ReviewCounts.h"

// The words for what a check of a camera against the library found. Plain text without an end of its line.
namespace tolvander::app {

// "40 in Photos · 2 likely duplicates · 1 missing · 3 need review · 5 new": what there is none of isn't
// named.
std::string verificationCounts(const ReviewCounts& counts);

// "1 file still needs checking"
std::string needsCheckingText(std::int64_t count);

// "2 imports were cut short"
std::string cutShortText(std::int64_t count);
// "The next sync finishes them."
std::string cutShortAdvice(std::int64_t count);

// "2 interrupted imports need recovery"
std::string recoveryText(std::int64_t count);
std::string recoveryAdvice();

}  // namespace tolvander::app
