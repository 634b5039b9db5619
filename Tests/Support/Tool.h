#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tolvander::tests {

// Runs a program of this machine without a shell and gives what it wrote to standard output; absent when it
// isn't installed. A status other than 0 throws std::runtime_error with what it wrote to standard error.
std::optional<std::string> outputOfTool(const std::vector<std::string>& command);

}  // namespace tolvander::tests
