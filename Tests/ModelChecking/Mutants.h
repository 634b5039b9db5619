#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "Tests/ModelChecking/Invariants.h"

namespace tolvander::tests {

// A program with one bug, the invariant that the bug violates, and a configuration in which that happens.
struct Mutant {
  std::string name;
  Rule broken;
  Configuration configuration;
};

std::vector<Mutant> mutants();

inline void PrintTo(const Mutant& mutant, std::ostream* stream) { *stream << mutant.name; }

}  // namespace tolvander::tests
