#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "Tests/ModelChecking/Invariants.h"

namespace tolvander::tests {

// A program with one mistake in it, the rule that it breaks, and a world in which that shows.
struct Mutant {
  std::string name;
  Rule broken;
  Setting setting;
};

std::vector<Mutant> mutants();

inline void PrintTo(const Mutant& mutant, std::ostream* stream) { *stream << mutant.name; }

}  // namespace tolvander::tests
