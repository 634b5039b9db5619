#pragma once

#include <chrono>
#include <optional>

#include "Platform/Linux/PhotoLibrary/LibraryListing.h"

namespace tolvander::shell {

// How far a look at the whole library is: a line on a terminal that is written over, and leaves nothing
// behind.
class ProgressLine {
 public:
  explicit ProgressLine(bool isWanted);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void show(const platform::linux_::VerificationProgress& progress);

 private:
  const bool isShown_;
  std::optional<std::chrono::steady_clock::time_point> shown_;
};

}  // namespace tolvander::shell
