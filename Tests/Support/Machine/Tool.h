#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Whether `name` is a program of the search path. A test that needs one is skipped with the name as the
// reason.
bool toolExists(const std::string& name);

struct ToolResult {
  int status = -1;  // exit status; -1 if it couldn't be started or a signal ended it
  std::string output;
  std::string errors;
  // Its peak resident set. At least that of this process when it started the program, because the kernel
  // includes that.
  std::uint64_t peakResidentBytes = 0;
};

// Runs a program of the search path to its end, with an empty standard input.
ToolResult runTool(const std::vector<std::string>& arguments);

// The same, and sends SIGINT (Ctrl-C) when the program has created `file`, if it does.
ToolResult runToolInterruptedWhenItMakes(const FileURL& file, const std::vector<std::string>& arguments);

}  // namespace tolvander::tests
