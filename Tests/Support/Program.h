#pragma once

#include <string>
#include <vector>

namespace tolvander::tests {

struct ProgramResult {
  int exitStatus = -1;  // -1 when a signal ended it
  std::string output;
  std::string errors;
};

// Runs a program to its end, found on the PATH where `arguments[0]` has no slash, with nothing on its standard input.
ProgramResult runProgram(const std::vector<std::string>& arguments);

}  // namespace tolvander::tests
