#pragma once

#include <functional>
#include <optional>
#include <string>

namespace tolvander::tests {

// Runs `body` in a child process, for what a test may not do to its own process. An expectation that fails
// there, an exception, or a death of the child is a failure of the calling test.
void inChildProcess(const std::function<void()>& body);

// As inChildProcess, with both at the same time.
void inTwoChildProcesses(const std::function<void()>& first, const std::function<void()>& second);

// As inChildProcess, with mounts that nobody else sees and that are gone when the child is.
void inPrivateMountNamespace(const std::function<void()>& body);

// Why inPrivateMountNamespace can't be had here; absent when it can.
std::optional<std::string> reasonAgainstPrivateMounts();

}  // namespace tolvander::tests
