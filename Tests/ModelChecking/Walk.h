#pragma once

#include <array>
#include <optional>
#include <string>

#include "Tests/ModelChecking/Invariants.h"

namespace tolvander::tests {

struct WalkResult {
  std::size_t states = 0;
  std::size_t transitions = 0;
  std::size_t depth = 0;  // commands one after another
  bool isClosed = false;  // no command leads to a state that wasn't seen
  std::array<std::size_t, endingCount> endings{};
  std::optional<Violation> violation;
  std::string story;  // of the violation, command by command
};

// Goes from the start to every state that at most `depth` commands lead to, by every road, and judges every
// command on the way. Ends with the first violation.
WalkResult walk(const Setting& setting, std::size_t depth);

}  // namespace tolvander::tests
