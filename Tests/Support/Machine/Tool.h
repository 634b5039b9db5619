#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Whether `name` is a program on the search path. A test that needs one skips with its name as the reason.
bool toolExists(const std::string& name);

struct ToolResult {
  int status = -1;  // the exit status; -1 when it couldn't be started or died of a signal
  std::string output;
  std::string errors;
  // The most memory of its own that it had in use at one time (its resident set). Never less than what this
  // process had in use when it started the program, since the kernel counts that too.
  std::uint64_t peakResidentBytes = 0;
};

// Runs a program of the search path to its end, with nothing on its standard input.
ToolResult runTool(const std::vector<std::string>& arguments);

// The same, with Ctrl-C (SIGINT) for the program as soon as it has made `file`, if it ever does.
ToolResult runToolInterruptedWhenItMakes(const FileURL& file, const std::vector<std::string>& arguments);

}  // namespace tolvander::tests
