#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace tolvander::shell {

// How far a long look is: a line on a terminal that is written over, and leaves nothing
// behind.
class ProgressLine {
 public:
  explicit ProgressLine(bool isWanted);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Passed over within 0.1 s of the one before.
  void show(std::string_view text);

 private:
  const bool isShown_;
  std::optional<std::chrono::steady_clock::time_point> shown_;
};

}  // namespace tolvander::shell
