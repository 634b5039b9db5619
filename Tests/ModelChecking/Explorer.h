#pragma once

#include <array>
#include <optional>
#include <string>

#include "Tests/ModelChecking/Invariants.h"

namespace tolvander::tests {

// The result of an exploration.
struct Exploration {
  std::size_t states = 0;
  std::size_t transitions = 0;
  std::size_t depth = 0;    // the length of the longest sequence of commands
  bool isComplete = false;  // all reachable states were visited
  std::array<std::size_t, outcomeCount> outcomes{};
  std::optional<Violation> violation;
  std::string log;  // the commands that lead to the violation
};

// Visits every state that can be reached by at most `depth` commands, breadth-first, and checks the
// invariants after each transition. Stops at the first violation.
Exploration explore(const Configuration& configuration, std::size_t depth);

}  // namespace tolvander::tests
